// tpk diff: what changed between two package files.
#pragma once

#include "tools/tpk/command/command.h"

#include <ostream>
#include <string>

struct DiffOptions {
  std::string before;  // "-": standard input; not both
  std::string after;
};

// kGood when the files have the same bytes, kBad when they differ, after saying in what. Throws
// Failure for what is no package and for a broken archive.
ExitStatus diffCommand(const DiffOptions& options);

// False when the files differ.
bool writeDiff(std::ostream& out, const DiffOptions& options);
