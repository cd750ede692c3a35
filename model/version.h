// Packed versions: bits 31..24 major, 23..16 minor, 15..8 release kind as a letter, 7..0 build.
// Plain unsigned comparison orders releases; 0 is no version (an open end of a range).
#pragma once

#include <cstdint>

enum ReleaseKind : std::uint8_t {
  kKindAlpha = 'a',
  kKindBeta = 'b',
  kKindCandidate = 'c',
  kKindFinal = 'f',
};

constexpr std::uint32_t packVersion(std::uint8_t major, std::uint8_t minor, ReleaseKind kind,
                                    std::uint8_t build) {
  return static_cast<std::uint32_t>(major) << 24 | static_cast<std::uint32_t>(minor) << 16 |
         static_cast<std::uint32_t>(kind) << 8 | build;
}

// Text form, such as 3.22, 3.22.1 or 3.20rc2, at most 79 characters, in one static buffer: the next
// call overwrites it.
const char* versionString(unsigned int version);
