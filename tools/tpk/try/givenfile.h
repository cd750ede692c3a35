// A file for a dry run: what its headers say, and its bytes in the drop directory.
#pragma once

#include "tools/tpk/try/tryreport.h"

#include <string>

class ScratchRoot;

// Puts the file there under its own name; "-", which is standard input, under another. A file that
// is no package is one, too: the installer has the last word. Throws EnvironmentFailure when it
// cannot be read, UsageFailure for a name that the installer passes over.
GivenFile dropFile(const std::string& path, const ScratchRoot& root);
