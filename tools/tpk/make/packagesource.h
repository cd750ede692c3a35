// Where a command gets a package from that looks into packages and into what is yet to be one.
#pragma once

#include <memory>
#include <string>

class InputFile;

// A folder, or a name that ends in ".toml": a description of a package.
bool isManifest(const std::string& path);

// The package file, or the unsigned one that is built from the description, in a file that nobody
// else sees and that goes with the object. Throws Failure.
std::unique_ptr<InputFile> openPackage(const std::string& path);
