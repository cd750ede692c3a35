// What people call the numbers of the package format (stream/packformat.h).
#pragma once

#include <cstdint>
#include <string>

// "archive", "requires list"; "part of unknown type 99".
std::string partName(std::uint32_t type);

// Whether some reader of the program takes notice of parts of this type.
bool isKnownPart(std::uint32_t type);

// Of the type bits of an archive entry's mode: "file", "directory", "link", "char", "block",
// "fifo", the words of a package's description; "unknown".
const char* entryTypeName(std::uint16_t mode);
