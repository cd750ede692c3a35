#pragma once

#include <string>

// Moves a file to another file system: copies it and removes the source. False when the copy could
// not be written whole; then there is no copy, and the file stays where it was.
[[nodiscard]] bool moveFile(const std::string& from, const std::string& to);
