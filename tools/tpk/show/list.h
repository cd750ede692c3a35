// The entries of a package's file archive.
#pragma once

#include <ostream>
#include <string>

struct ListOptions {
  std::string file;  // "-": standard input
  bool json = false;
};

// A line for every entry, as "tar -tv" writes them; the packages of a bundle each under a line with
// its name. JSON is written entry by entry: an archive can have more of them than memory holds.
// Throws Failure, behind the entries before the place where an archive is broken.
void writeList(std::ostream& out, const ListOptions& options);
