// Pieces of a package's description (tools/tpk/make/manifest.h) as they are written. The text reads
// back as what went in.
#pragma once

#include "model/packagedep.h"

#include <cstdint>
#include <string>
#include <vector>

// A basic string with its quotation marks. text must be UTF-8.
std::string tomlText(const std::string& text);

// A pattern (tools/tpk/make/glob.h) that only the path itself matches.
std::string literalPattern(const std::string& path);

// Between "[" and "]", names alone where there is nothing but a name.
std::string tomlDeps(const std::vector<PackageDep>& list);
