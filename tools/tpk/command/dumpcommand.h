// The command line's side of tpk dump.
#pragma once

#include "tools/tpk/command/command.h"

#include <string>

// Prints the dump of the file, "-" for standard input, with colours when standard output is a
// terminal and the environment does not have NO_COLOR. Checks against productData().
ExitStatus dumpCommand(const std::string& file, bool full);
