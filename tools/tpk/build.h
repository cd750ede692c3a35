// Builds package files.
#pragma once

#include "tools/tpk/manifest.h"

#include <string>

class Signer;

// Writes the package or bundle to the file, in place of what was there; every package in it is
// signed unless signer is null. Throws Failure and then leaves the file as it was.
void buildPackage(const Manifest& manifest, const Signer* signer, const std::string& file);

// name-version.tpk
std::string packageFileName(const Manifest& manifest);
