// Bytes as hex digits: two lower-case ones for each.
#pragma once

#include <cstddef>
#include <string>

std::string hexText(const std::string& bytes);

// For secrets: takes the same time whatever the bytes are, and leaves no copy behind when the text
// has room for the digits and one more.
void appendHex(std::string& text, const unsigned char* bytes, std::size_t size);
