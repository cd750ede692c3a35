// SHA-1 digests in hexadecimal digits, as published examples have them.
#pragma once

#include "stream/sha1.h"
#include "tests/support/hex.h"

#include <string>

constexpr char kDigestOfNothing[] = "da39a3ee5e6b4b0d3255bfef95601890afd80709";

inline std::string digestOf(SHA1& sha1) {
  unsigned char out[SHA1::kDigestSize];
  sha1.digest(out);
  return hex(std::string(out, out + sizeof out));
}

inline std::string sha1(const std::string& data) {
  SHA1 hasher;
  hasher.update(data.data(), static_cast<unsigned>(data.size()));
  return digestOf(hasher);
}
