// tpk verify: what the installer says of package files, and why.
#pragma once

#include "tools/tpk/command/command.h"

#include <string>
#include <vector>

struct VerifyOptions {
  std::vector<std::string> files;  // "-" is standard input
  bool quiet = false;              // says nothing of what is good
  bool json = false;
};

// Checks against productData() and prints the verdicts. A file that cannot be opened is reported on
// standard error, and the others are verified all the same.
ExitStatus verifyCommand(const VerifyOptions& options);
