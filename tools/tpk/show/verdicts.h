// What the installer says of package files, and why.
#pragma once

#include "tools/tpk/host/exitstatus.h"

#include <string>
#include <vector>

struct VerifyOptions {
  std::vector<std::string> files;  // "-" is standard input
  bool quiet = false;              // says nothing of what is good
  bool json = false;
};

// Checks against productData() and prints the verdicts. A file that cannot be opened is reported on
// standard error, and the others are verified all the same.
ExitStatus showVerdicts(const VerifyOptions& options);
