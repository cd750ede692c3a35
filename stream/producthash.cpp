#include "stream/producthash.h"

#include <cstring>

namespace {

enum : unsigned { kRounds = ProductData::kConstantWords, kWords = ProductData::kStateWords };

std::uint32_t rotateRight(std::uint32_t x, unsigned bits) { return x >> bits | x << (32 - bits); }

std::uint32_t bigSigma0(std::uint32_t x) {
  return rotateRight(x, 2) ^ rotateRight(x, 13) ^ rotateRight(x, 22);
}

std::uint32_t bigSigma1(std::uint32_t x) {
  return rotateRight(x, 6) ^ rotateRight(x, 11) ^ rotateRight(x, 25);
}

std::uint32_t smallSigma0(std::uint32_t x) {
  return rotateRight(x, 7) ^ rotateRight(x, 18) ^ x >> 3;
}

std::uint32_t smallSigma1(std::uint32_t x) {
  return rotateRight(x, 17) ^ rotateRight(x, 19) ^ x >> 10;
}

std::uint32_t choose(std::uint32_t x, std::uint32_t y, std::uint32_t z) {
  return (x & y) ^ (~x & z);
}

std::uint32_t majority(std::uint32_t x, std::uint32_t y, std::uint32_t z) {
  return (x & y) ^ (x & z) ^ (y & z);
}

}  // namespace

void ProductHash::init() { std::memcpy(state_, data_.hashState, sizeof state_); }

void ProductHash::transform() {
  std::uint32_t schedule[kRounds];
  for (unsigned t = 0; t < 16; ++t) schedule[t] = blockWord(t);
  for (unsigned t = 16; t < kRounds; ++t)
    schedule[t] = smallSigma1(schedule[t - 2]) + schedule[t - 7] + smallSigma0(schedule[t - 15]) +
                  schedule[t - 16];

  std::uint32_t v[kWords];  // the working variables a to h
  std::memcpy(v, state_, sizeof v);
  for (unsigned t = 0; t < kRounds; ++t) {
    const std::uint32_t t1 =
        v[7] + bigSigma1(v[4]) + choose(v[4], v[5], v[6]) + data_.hashConstants[t] + schedule[t];
    const std::uint32_t t2 = bigSigma0(v[0]) + majority(v[0], v[1], v[2]);
    std::memmove(v + 1, v, (kWords - 1) * sizeof *v);
    v[4] += t1;
    v[0] = t1 + t2;
  }
  for (unsigned i = 0; i < kWords; ++i) state_[i] += v[i];
}

void ProductHash::digest(unsigned char* out) {
  finish(false);
  for (unsigned i = 0; i < kWords; ++i) putWord(out + 4 * i, state_[i]);
}
