// tpk list: the entries of a package's file archive.
#pragma once

#include "tools/tpk/command/command.h"

#include <ostream>
#include <string>

struct ListOptions {
  std::string file;  // "-": standard input
  bool json = false;
};

// Throws Failure, behind the entries before the place where an archive is broken.
ExitStatus listCommand(const ListOptions& options);

// A line for every entry, as "tar -tv" writes them; the packages of a bundle each under a line with
// its name. JSON is written entry by entry: an archive can have more of them than memory holds.
void writeList(std::ostream& out, const ListOptions& options);
