// Reading what a length field announces without believing it.
#pragma once

#include <cstdint>
#include <istream>
#include <string>

// Appends count bytes of in to out, which grows only with bytes that arrived. False, with the
// stream failed, when fewer came; those are appended.
[[nodiscard]] bool readBytes(std::istream& in, std::uint32_t count, std::string& out);

// Reads count bytes and drops them. False, with the stream failed, when fewer came.
bool skipBytes(std::istream& in, std::uint32_t count);
