// Bytes as the lower-case hex digits that published test vectors are written in.
#pragma once

#include <string>

inline std::string hex(const std::string& bytes) {
  static const char digits[] = "0123456789abcdef";
  std::string out;
  for (char c : bytes) {
    const unsigned byte = static_cast<unsigned char>(c);
    out += digits[byte >> 4];
    out += digits[byte & 15];
  }
  return out;
}

// Takes hex digits only, an even number of them.
inline std::string unhex(const std::string& digits) {
  std::string out;
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
    out += static_cast<char>(std::stoul(digits.substr(i, 2), nullptr, 16));
  }
  return out;
}
