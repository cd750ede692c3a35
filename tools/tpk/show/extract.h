// A package file back into a folder that tpk build makes it of.
#pragma once

#include <string>

struct ExtractOptions {
  std::string file;      // "-": standard input
  std::string folder;    // new or empty
  bool devices = false;  // make device nodes and FIFOs too, instead of only describing them
};

// Unpacks a package into package.toml, root/, oninstall and onuninstall in the folder, the members
// of a bundle each into a folder of its name. What cannot be unpacked or described is said on
// standard error; the rest is there, and the result is false. That building again will not give the
// same bytes is said too, but is nothing bad. Throws Failure, and leaves nothing, for a file that
// is no package and for a broken archive.
bool extractFile(const ExtractOptions& options);
