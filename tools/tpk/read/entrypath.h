// Paths of entries in the file archive of a package.
#pragma once

#include <string>

// The path without leading, double and trailing "/" and without "."; empty for the root. Throws
// Failure, saying what is wrong, for a path that the router refuses: with "..", a line end or NUL.
std::string cleanPath(const std::string& path);

// Either may be empty.
std::string joinPaths(const std::string& folder, const std::string& path);
