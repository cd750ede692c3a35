// Builds package files.
#pragma once

#include "tools/tpk/make/manifest.h"

#include <string>
#include <vector>

class Signer;

// Writes the package or bundle to the file as PendingFile takes it; every package in it is signed
// unless signer is null. Returns what is to be said to the author, beside the description's own
// warnings. Throws Failure and then leaves the file as it was.
std::vector<std::string> buildPackage(const Manifest& manifest, const Signer* signer,
                                      const std::string& file);

// name-version.tpk
std::string packageFileName(const Manifest& manifest);
