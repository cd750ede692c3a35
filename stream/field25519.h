// Integers modulo p = 2^255 - 19, the coordinates of the signature's curve.
//
// An element is ten signed limbs of alternately 26 and 25 bits: limb i has the weight 2^ceil(25.5
// i) (D. J. Bernstein, "Curve25519: new Diffie-Hellman speed records", 2006). Sums and differences
// are not carried, so limbs grow; call an element tight when its limbs are at most 2^25 in size at
// even places and 1.01 * 2^24 at odd ones. fromBytes(), fromSmall() and products are tight. Sums
// and differences of up to four tight elements may be multiplied and encoded. A comparison encodes
// the difference of its two sides: they may have four tight elements between them.
//
// Nothing here runs in constant time: only public numbers are computed with.
#pragma once

#include <cstdint>

class Field25519 {
 public:
  enum : unsigned { kSize = 32, kLimbs = 10 };

  Field25519() = default;  // zero

  // All 256 bits count: a number not below p is reduced.
  static Field25519 fromBytes(const unsigned char* littleEndian);
  // |value| at most 2^25.
  static Field25519 fromSmall(std::int32_t value);

  // Writes kSize bytes, little-endian, fully reduced: 0 to p - 1.
  void toBytes(unsigned char* out) const;

  bool isZero() const;

  Field25519 operator+(const Field25519& other) const;
  Field25519 operator-(const Field25519& other) const;
  Field25519 operator*(const Field25519& other) const;
  Field25519 squared() const { return *this * *this; }

  // The power p - 2; the inverse of zero is zero.
  Field25519 inverse() const;
  // The power (p + 3) / 8: where this is a square, a root of it or a root of its negative.
  Field25519 rootCandidate() const;

 private:
  static Field25519 carried(std::int64_t* limbs);

  Field25519 squaredTimes(unsigned count) const;
  Field25519 power250() const;

  std::int32_t limb_[kLimbs] = {};
};

bool operator==(const Field25519& a, const Field25519& b);
