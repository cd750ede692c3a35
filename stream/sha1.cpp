#include "stream/sha1.h"

namespace {

enum : unsigned { kRounds = 80, kRoundsPerPhase = 20, kBlockWords = 16 };

std::uint32_t rotateLeft(std::uint32_t word, unsigned bits) {
  return word << bits | word >> (32 - bits);
}

// Each phase of 20 rounds has a function and a constant of its own (FIPS 180-4, sections 4.1.1 and
// 4.2.1).
enum Phase { kChoice, kParity, kMajority, kParityAgain, kPhases };

constexpr std::uint32_t kConstants[kPhases] = {0x5A827999, 0x6ED9EBA1, 0x8F1BBCDC, 0xCA62C1D6};

std::uint32_t mixed(unsigned phase, std::uint32_t b, std::uint32_t c, std::uint32_t d) {
  if (phase == kChoice) return d ^ (b & (c ^ d));
  if (phase == kMajority) return (b & c) | (d & (b | c));
  return b ^ c ^ d;
}

}  // namespace

void SHA1::init() {
  state_[0] = 0x67452301;
  state_[1] = 0xEFCDAB89;
  state_[2] = 0x98BADCFE;
  state_[3] = 0x10325476;
  state_[4] = 0xC3D2E1F0;
}

// Most of the time that a package takes to verify is spent here.
void SHA1::transform() {
  std::uint32_t schedule[kRounds];
  for (unsigned t = 0; t < kBlockWords; ++t) schedule[t] = blockWord(t);
  for (std::uint32_t* w = schedule + kBlockWords; w != schedule + kRounds; ++w) {
    *w = rotateLeft(w[-3] ^ w[-8] ^ w[-14] ^ w[-16], 1);
  }

  std::uint32_t a = state_[0], b = state_[1], c = state_[2], d = state_[3], e = state_[4];
  const std::uint32_t* word = schedule;
  for (unsigned phase = 0; phase < kPhases; ++phase) {
    for (const std::uint32_t* const end = word + kRoundsPerPhase; word != end; ++word) {
      const std::uint32_t next =
          rotateLeft(a, 5) + mixed(phase, b, c, d) + kConstants[phase] + e + *word;
      e = d;
      d = c;
      c = rotateLeft(b, 30);
      b = a;
      a = next;
    }
  }
  state_[0] += a;
  state_[1] += b;
  state_[2] += c;
  state_[3] += d;
  state_[4] += e;
}

void SHA1::digest(unsigned char* out) {
  finish(false);
  for (std::uint32_t word : state_) {
    putWord(out, word);
    out += 4;
  }
}
