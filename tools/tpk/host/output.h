// Standard output of commands that print much.
#pragma once

#include <ostream>
#include <string>

// Throws EnvironmentFailure when something of it could not be written.
void finishOutput(std::ostream& out);
// At once. Throws EnvironmentFailure.
void printOutput(const std::string& text);
