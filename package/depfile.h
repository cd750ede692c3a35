// The dependency lists of the database: one entry a line, its words separated by single spaces.
#pragma once

#include "model/packagedep.h"

#include <string>
#include <vector>

// Appends the entries of the file; a missing or empty file is an empty list. False when an entry
// lacks a number: entries before it stay.
[[nodiscard]] bool readDepFile(const std::string& path, std::vector<PackageDep>& list,
                               bool withWeight);

// Writes the file anew. False, with errno, when that failed.
[[nodiscard]] bool writeDepFile(const std::string& path, const std::vector<PackageDep>& list,
                                bool withWeight);
