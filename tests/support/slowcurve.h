// The signature's curve once more, with nothing in common with what it checks: numbers modulo
// 2^255 - 19 as eight full words, always reduced, and points in the twisted Edwards form of the
// curve (RFC 7748, section 4.1), whose one addition is right for all points.
#pragma once

#include <array>
#include <cstdint>
#include <string>

class SlowNumber {
 public:
  SlowNumber(std::uint32_t value = 0);  // NOLINT: plain numbers are meant to be numbers here
  // 32 bytes, little-endian; all 256 bits count.
  static SlowNumber fromBytes(const std::string& bytes);

  std::string bytes() const;

  SlowNumber operator+(const SlowNumber& other) const;
  SlowNumber operator-(const SlowNumber& other) const;
  SlowNumber operator*(const SlowNumber& other) const;
  bool operator==(const SlowNumber& other) const { return words_ == other.words_; }
  bool operator!=(const SlowNumber& other) const { return !(*this == other); }
  // The exponent is little-endian.
  SlowNumber power(const std::string& exponent) const;
  SlowNumber inverse() const;

 private:
  using Words = std::array<std::uint32_t, 8>;

  explicit SlowNumber(const Words& words);

  Words words_;  // below the prime
};

// x^3 + 486662 x^2 + x
SlowNumber slowRightSide(const SlowNumber& x);
// v^((p+3)/8), times the selector where that is no root. False when v has none.
bool slowRoot(const SlowNumber& v, const SlowNumber& selector, SlowNumber& root);

class SlowPoint {
 public:
  static SlowPoint infinity();
  // The base point, x = 9.
  static SlowPoint base();
  // By the coordinates on the Montgomery form; they must be those of a point.
  static SlowPoint at(const SlowNumber& x, const SlowNumber& y);

  SlowPoint operator+(const SlowPoint& other) const;
  bool operator==(const SlowPoint& other) const;
  // The scalar is little-endian.
  SlowPoint times(const std::string& scalar) const;
  // The x-coordinate on the Montgomery form as 32 bytes; 0 for infinity.
  std::string xBytes() const;

 private:
  SlowPoint(const SlowNumber& x, const SlowNumber& y, const SlowNumber& z) : x_(x), y_(y), z_(z) {}

  SlowNumber x_;  // the point is (x/z, y/z)
  SlowNumber y_;
  SlowNumber z_;
};
