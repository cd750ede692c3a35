// A package as a line of a product's list of known digests.
#pragma once

#include "tools/tpk/read/packreader.h"

#include <string>

// Name and version. Has no line end, whatever the package says its name is.
std::string digestComment(const PackedPackage& package);

// "digest  # name version". The installer looks for a package in the list only when it has no
// signature; one that has says "(signed)" at the end.
std::string digestLine(const PackedPackage& package);
