// tpk sign, unsign and digest: signatures of package files that are there already.
#pragma once

#include "tools/tpk/command/command.h"

#include <string>
#include <vector>

struct SignOptions {
  std::vector<std::string> files;  // "-" is standard input, and standard output as its own place
  std::string key;                 // product data folder to sign with
  std::string output;              // of the one file; empty: in its own place
};

// Both throw Failure at the first file that fails; the ones before it are done.
ExitStatus signCommand(const SignOptions& options);
ExitStatus unsignCommand(const SignOptions& options);

// One line of a digest list for every package: its digest, and as a comment its name and version.
ExitStatus digestCommand(const std::vector<std::string>& files);
