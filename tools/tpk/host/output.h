// Standard output of commands that print much.
#pragma once

#include <ostream>

// Throws EnvironmentFailure when something of it could not be written.
void finishOutput(std::ostream& out);
