#include "stream/sha1.h"

namespace {

enum : unsigned { kRounds = 80, kRoundsPerPhase = 20, kBlockWords = 16 };

std::uint32_t rotateLeft(std::uint32_t word, unsigned bits) {
  return word << bits | word >> (32 - bits);
}

// The function and the constant of each phase of 20 rounds (FIPS 180-4, sections 4.1.1 and 4.2.1).
std::uint32_t mixed(unsigned round, std::uint32_t b, std::uint32_t c, std::uint32_t d) {
  switch (round / kRoundsPerPhase) {
    case 0:
      return ((b & c) | (~b & d)) + 0x5A827999;
    case 1:
      return (b ^ c ^ d) + 0x6ED9EBA1;
    case 2:
      return ((b & c) | (b & d) | (c & d)) + 0x8F1BBCDC;
    default:
      return (b ^ c ^ d) + 0xCA62C1D6;
  }
}

}  // namespace

void SHA1::init() {
  state_[0] = 0x67452301;
  state_[1] = 0xEFCDAB89;
  state_[2] = 0x98BADCFE;
  state_[3] = 0x10325476;
  state_[4] = 0xC3D2E1F0;
}

// The message schedule is kept as a ring of 16 words instead of 80: W(t) depends on nothing older
// than W(t - 16), and the stack of the board is small.
void SHA1::transform() {
  std::uint32_t schedule[kBlockWords];
  for (unsigned i = 0; i < kBlockWords; ++i) schedule[i] = blockWord(i);

  std::uint32_t a = state_[0], b = state_[1], c = state_[2], d = state_[3], e = state_[4];
  for (unsigned t = 0; t < kRounds; ++t) {
    std::uint32_t& word = schedule[t % kBlockWords];
    if (t >= kBlockWords) {
      word = rotateLeft(schedule[(t + 13) % kBlockWords] ^ schedule[(t + 8) % kBlockWords] ^
                            schedule[(t + 2) % kBlockWords] ^ word,
                        1);
    }
    const std::uint32_t next = rotateLeft(a, 5) + mixed(t, b, c, d) + e + word;
    e = d;
    d = c;
    c = rotateLeft(b, 30);
    b = a;
    a = next;
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
