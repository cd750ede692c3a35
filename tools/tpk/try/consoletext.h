// What the installer's console says, without the status line that it draws over in place.
#pragma once

#include <string>
#include <vector>

// The lines that stay, as a terminal would show them; empty ones are left out.
std::vector<std::string> consoleLines(const std::string& output);
