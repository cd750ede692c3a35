// The numbers of the package format as people read them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// "3.22"; of a number that no version has, its digits and what is wrong with it.
std::string versionText(std::uint32_t version);
// The same; 0 is "any".
std::string boundText(std::uint32_t version);
// "3 bytes", "1 byte"
std::string countText(std::uint64_t count, const std::string& what);

// In quotation marks; a long one is cut, and followed by how many bytes there are.
std::string shownText(const std::string& text);
// The same of the beginning of a text of so many bytes.
std::string shownText(const std::string& begin, std::uint64_t size);
// Of bytes that should be zero: nothing, or that they are not.
std::string unusedText(const unsigned char* bytes, std::size_t count);
