// What changed between two package files.
#pragma once

#include <ostream>
#include <string>

struct DiffOptions {
  std::string before;  // "-": standard input; not both
  std::string after;
};

// Says in what the files differ; true, and silent, when they have the same bytes. Throws Failure
// for what is no package and for a broken archive.
bool writeDiff(std::ostream& out, const DiffOptions& options);
