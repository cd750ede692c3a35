#include "stream/field25519.h"

#include "stream/packformat.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr std::int32_t kFold = 19;  // 2^255 = 19 modulo p

constexpr unsigned limbBits(unsigned i) { return i % 2 == 0 ? 26 : 25; }
constexpr unsigned limbPosition(unsigned i) { return (51 * i + 1) / 2; }
constexpr std::int32_t limbUnit(unsigned i) { return std::int32_t{1} << limbBits(i); }

// Rounds down, also below zero, as the arithmetic shifts of all compilers do.
template <typename Int>
Int shiftedDown(Int value, unsigned bits) {
  return value >> bits;
}

// One pass that leaves every limb at least 0 and below its unit, except that the lowest one
// receives the fold of what left the top.
void carryDown(std::int32_t* limb) {
  std::int32_t carry = 0;
  for (unsigned i = 0; i < Field25519::kLimbs; ++i) {
    limb[i] += carry;
    carry = shiftedDown(limb[i], limbBits(i));
    limb[i] -= carry * limbUnit(i);
  }
  limb[0] += kFold * carry;
}

// For limbs that carryDown() has settled: a number in 0 .. 2^255 - 1 is p or more exactly when
// every limb is at its largest, the lowest one from 2^26 - 19 = 0x3FFFFED on.
bool atLeastPrime(const std::int32_t* limb) {
  for (unsigned i = 1; i < Field25519::kLimbs; ++i)
    if (limb[i] != limbUnit(i) - 1) return false;
  return limb[0] >= limbUnit(0) - kFold;
}

}  // namespace

// Settles products. With |limbs[i]| < 2^62 no sum below overflows: a carry is at most 2^38. The
// carry out of the top is at most 2^38, so limb 0 receives at most 19 * 2^38 < 2^43, and the last
// step hands at most 2^17 on to limb 1, whose size is then at most 2^24 + 2^17 < 1.01 * 2^24.
// Rounding to nearest leaves all others within half a unit: the result is tight.
Field25519 Field25519::carried(std::int64_t* limbs) {
  const auto carryOut = [limbs](unsigned i) {
    const std::int32_t unit = limbUnit(i);
    const std::int64_t raised = limbs[i] + unit / 2;
    limbs[i] = static_cast<std::int32_t>(raised & (unit - 1)) - unit / 2;
    // By a constant: the processor shifts no number of 64 bits by a variable one.
    return i % 2 == 0 ? shiftedDown(raised, limbBits(0)) : shiftedDown(raised, limbBits(1));
  };
  for (unsigned i = 0; i + 1 < kLimbs; ++i) limbs[i + 1] += carryOut(i);
  limbs[0] += kFold * carryOut(kLimbs - 1);
  limbs[1] += carryOut(0);

  Field25519 result;
  for (unsigned i = 0; i < kLimbs; ++i) result.limb_[i] = static_cast<std::int32_t>(limbs[i]);
  return result;
}

// A limb with its position within a byte never needs more than 32 bits. The top limb takes 26 bits,
// so that bit 255 is not lost.
Field25519 Field25519::fromBytes(const unsigned char* littleEndian) {
  std::int64_t limbs[kLimbs];
  for (unsigned i = 0; i < kLimbs; ++i) {
    const unsigned position = limbPosition(i);
    const unsigned bits = i + 1 < kLimbs ? limbBits(i) : limbBits(i) + 1;
    const std::uint32_t word = get32(littleEndian + position / 8) >> position % 8;
    limbs[i] = word & ((std::uint32_t{1} << bits) - 1);
  }
  return carried(limbs);
}

Field25519 Field25519::fromSmall(std::int32_t value) {
  Field25519 result;
  result.limb_[0] = value;
  return result;
}

// With limbs of at most 2^27 the number is below 2^257 in size, so the first pass folds at most
// 19 * 4 = 76 into limb 0, up or down. What the second pass carries out of the top is then -1, 0 or
// 1, and only when the number is within 76 of the wrap; folding 19 of it cannot leave limb 0's
// range again.
void Field25519::toBytes(unsigned char* out) const {
  std::int32_t limb[kLimbs];
  std::copy(limb_, limb_ + kLimbs, limb);
  carryDown(limb);
  carryDown(limb);
  if (atLeastPrime(limb)) {
    std::fill(limb + 1, limb + kLimbs, 0);
    limb[0] -= limbUnit(0) - kFold;
  }

  std::memset(out, 0, kSize);
  for (unsigned i = 0; i < kLimbs; ++i) {
    const unsigned position = limbPosition(i);
    unsigned char* const word = out + position / 8;
    put32(word, get32(word) | static_cast<std::uint32_t>(limb[i]) << position % 8);
  }
}

bool Field25519::isZero() const {
  unsigned char bytes[kSize];
  toBytes(bytes);
  return std::all_of(bytes, bytes + kSize, [](unsigned char byte) { return byte == 0; });
}

bool operator==(const Field25519& a, const Field25519& b) { return (a - b).isZero(); }

Field25519 Field25519::operator+(const Field25519& other) const {
  Field25519 result;
  for (unsigned i = 0; i < kLimbs; ++i) result.limb_[i] = limb_[i] + other.limb_[i];
  return result;
}

Field25519 Field25519::operator-(const Field25519& other) const {
  Field25519 result;
  for (unsigned i = 0; i < kLimbs; ++i) result.limb_[i] = limb_[i] - other.limb_[i];
  return result;
}

// The weights of two odd limbs multiply to twice the weight of their place. Loops instead of a
// hundred written-out products: a verification takes a few thousand multiplications, and the
// program has to fit on the flash. Place by place, so that a sum stays in the processor's
// accumulator until it is whole.
//
// With even limbs of at most 2^27 and odd ones of at most 1.01 * 2^26 each, a product of two even
// limbs is at most 2^54, and all others at most 1.03 * 2^53 with the factor 2. Place 0 collects
// most: one product of even limbs as it stands, four of them and five others times 19:
// 2^54 * (1 + 19 * (4 + 2.6)) < 2^61, within what carried() takes.
Field25519 Field25519::operator*(const Field25519& other) const {
  enum : unsigned { kPlaces = 2 * kLimbs - 1 };
  std::int32_t oddTwice[kLimbs];
  for (unsigned i = 0; i < kLimbs; i += 2) {
    oddTwice[i] = limb_[i];
    oddTwice[i + 1] = 2 * limb_[i + 1];
  }
  std::int64_t places[kPlaces];
  for (unsigned place = 0; place < kPlaces; ++place) {
    // Two odd limbs meet at even places only.
    const unsigned first = place < kLimbs ? 0 : place - (kLimbs - 1);
    const std::int32_t* left = (place % 2 == 0 ? oddTwice : limb_) + first;
    const std::int32_t* right = other.limb_ + (place - first) + 1;
    const std::int32_t* const last = other.limb_ + first;
    std::int64_t sum = 0;
    do {
      sum += std::int64_t{*left++} * *--right;
    } while (right != last);
    places[place] = sum;
  }
  for (unsigned i = kLimbs; i < kPlaces; ++i) places[i - kLimbs] += kFold * places[i];
  return carried(places);
}

Field25519 Field25519::squaredTimes(unsigned count) const {
  Field25519 result = *this;
  while (count-- > 0) result = result.squared();
  return result;
}

// The power 2^250 - 1, with which both exponents below begin: 2^(m+n) - 1 is (2^m - 1) * 2^n plus
// 2^n - 1.
Field25519 Field25519::power250() const {
  Field25519 ones5 = *this;  // exponents of so many one bits
  for (unsigned i = 1; i < 5; ++i) ones5 = ones5.squared() * *this;
  const Field25519 ones10 = ones5.squaredTimes(5) * ones5;
  const Field25519 ones20 = ones10.squaredTimes(10) * ones10;
  const Field25519 ones40 = ones20.squaredTimes(20) * ones20;
  const Field25519 ones50 = ones40.squaredTimes(10) * ones10;
  const Field25519 ones100 = ones50.squaredTimes(50) * ones50;
  const Field25519 ones200 = ones100.squaredTimes(100) * ones100;
  return ones200.squaredTimes(50) * ones50;
}

// p - 2 = 2^255 - 21 = (2^250 - 1) * 2^5 + 11
Field25519 Field25519::inverse() const {
  const Field25519 power11 = squaredTimes(3) * squared() * *this;
  return power250().squaredTimes(5) * power11;
}

// (p + 3) / 8 = 2^252 - 2 = (2^250 - 1) * 2^2 + 2
Field25519 Field25519::rootCandidate() const { return power250().squaredTimes(2) * squared(); }
