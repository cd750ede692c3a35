// What the installer would do with packages on a router, shown on a copy of it.
#pragma once

#include "tools/tpk/host/exitstatus.h"

#include <string>
#include <vector>

struct TryOptions {
  std::string router;                // a backup: folder or tar
  std::vector<std::string> files;    // "-" is standard input
  std::string installer;             // the program; empty for the one of this build
  std::string keep;                  // the scratch root becomes this folder and stays
  std::vector<std::string> options;  // for the installer
  bool json = false;
};

// Lays the backup out as a scratch root, lets the installer loose on it and prints what changed.
// kGood when every package given would then stand in the database in the version given, enabled or
// disabled.
ExitStatus tryPackages(const TryOptions& options);
