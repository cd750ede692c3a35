#include "tests/support/slowcurve.h"

#include "tests/support/hex.h"

namespace {

using Words = std::array<std::uint32_t, 8>;

const Words kPrime = {0xffffffed, 0xffffffff, 0xffffffff, 0xffffffff,
                      0xffffffff, 0xffffffff, 0xffffffff, 0x7fffffff};

bool less(const Words& a, const Words& b) {
  for (std::size_t i = a.size(); i-- > 0;)
    if (a[i] != b[i]) return a[i] < b[i];
  return false;
}

// Returns the carry.
std::uint32_t addTo(Words& a, const Words& b) {
  std::uint64_t carry = 0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    carry += std::uint64_t{a[i]} + b[i];
    a[i] = static_cast<std::uint32_t>(carry);
    carry >>= 32;
  }
  return static_cast<std::uint32_t>(carry);
}

void subtractFrom(Words& a, const Words& b) {
  std::uint64_t borrow = 0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    const std::uint64_t difference = std::uint64_t{a[i]} - b[i] - borrow;
    a[i] = static_cast<std::uint32_t>(difference);
    borrow = difference >> 63;
  }
}

// p - 2 and (p + 3) / 8
const char kExponentInverse[] = "ebffffffffffffffffffffffffffffffffffffffffffffffffffffffffffff7f";
const char kExponentRoot[] = "feffffffffffffffffffffffffffffffffffffffffffffffffffffffffffff0f";
const char kBaseY[] = "d9d3ce7ea2c5e929b2617c6d7e4d3d924cd148772cdd1ee0b486a0b8a119ae20";

const char kRootOfMinusOne[] = "b0a00e4a271beec478e42fad0618432fa7d7fb3d99004d2b0bdfc14f8024832b";

const std::uint32_t kA = 486662;

}  // namespace

SlowNumber::SlowNumber(std::uint32_t value) : words_{value} {}

SlowNumber::SlowNumber(const Words& words) : words_(words) {
  while (!less(words_, kPrime)) subtractFrom(words_, kPrime);
}

SlowNumber SlowNumber::fromBytes(const std::string& bytes) {
  Words words = {};
  for (std::size_t i = 0; i < 32; ++i)
    words[i / 4] |= std::uint32_t{static_cast<unsigned char>(bytes.at(i))} << 8 * (i % 4);
  return SlowNumber(words);
}

std::string SlowNumber::bytes() const {
  std::string result;
  for (std::size_t i = 0; i < 32; ++i)
    result += static_cast<char>(words_[i / 4] >> 8 * (i % 4) & 0xff);
  return result;
}

SlowNumber SlowNumber::operator+(const SlowNumber& other) const {
  Words sum = words_;
  addTo(sum, other.words_);  // both below 2^255: no carry
  return SlowNumber(sum);
}

SlowNumber SlowNumber::operator-(const SlowNumber& other) const {
  Words difference = words_;
  addTo(difference, kPrime);
  subtractFrom(difference, other.words_);
  return SlowNumber(difference);
}

// By columns, as on paper; then 2^256 is 38, twice.
SlowNumber SlowNumber::operator*(const SlowNumber& other) const {
  std::array<std::uint32_t, 16> product = {};
  for (std::size_t i = 0; i < 8; ++i) {
    std::uint64_t carry = 0;
    for (std::size_t j = 0; j < 8; ++j) {
      carry += std::uint64_t{words_[i]} * other.words_[j] + product[i + j];
      product[i + j] = static_cast<std::uint32_t>(carry);
      carry >>= 32;
    }
    product[i + 8] = static_cast<std::uint32_t>(carry);
  }
  Words folded;
  std::uint64_t carry = 0;
  for (std::size_t i = 0; i < 8; ++i) {
    carry += std::uint64_t{product[i + 8]} * 38 + product[i];
    folded[i] = static_cast<std::uint32_t>(carry);
    carry >>= 32;
  }
  while (carry > 0) carry = addTo(folded, {static_cast<std::uint32_t>(carry * 38)});
  return SlowNumber(folded);
}

SlowNumber SlowNumber::power(const std::string& exponent) const {
  SlowNumber result = 1;
  for (std::size_t bit = 8 * exponent.size(); bit-- > 0;) {
    result = result * result;
    if (static_cast<unsigned char>(exponent[bit / 8]) >> bit % 8 & 1) result = result * *this;
  }
  return result;
}

SlowNumber SlowNumber::inverse() const { return power(unhex(kExponentInverse)); }

SlowNumber slowRightSide(const SlowNumber& x) { return x * x * x + SlowNumber(kA) * x * x + x; }

bool slowRoot(const SlowNumber& v, const SlowNumber& selector, SlowNumber& root) {
  root = v.power(unhex(kExponentRoot));
  if (root * root != v) root = root * selector;
  return root * root == v;
}

SlowPoint SlowPoint::infinity() { return {0, 1, 1}; }

SlowPoint SlowPoint::base() { return at(9, SlowNumber::fromBytes(unhex(kBaseY))); }

// x = c u / v and y = (u - 1) / (u + 1), c being a root of -486664; either one will do.
SlowPoint SlowPoint::at(const SlowNumber& u, const SlowNumber& v) {
  if (v == SlowNumber(0)) return {0, SlowNumber(0) - 1, 1};
  SlowNumber c;
  slowRoot(SlowNumber(0) - (kA + 2), SlowNumber::fromBytes(unhex(kRootOfMinusOne)), c);
  return {c * u * (u + 1), v * (u - 1), v * (u + 1)};
}

// D. J. Bernstein, P. Birkner, M. Joye, T. Lange, C. Peters, "Twisted Edwards curves", 2008,
// section 6, for -x^2 + y^2 = 1 + d x^2 y^2 with d = -121665/121666.
SlowPoint SlowPoint::operator+(const SlowPoint& other) const {
  static const SlowNumber d = (SlowNumber(0) - 121665) * SlowNumber(121666).inverse();
  const SlowNumber a = z_ * other.z_;
  const SlowNumber c = x_ * other.x_;
  const SlowNumber e = y_ * other.y_;
  const SlowNumber f = a * a - d * c * e;
  const SlowNumber g = a * a + d * c * e;
  return {a * f * ((x_ + y_) * (other.x_ + other.y_) - c - e), a * g * (e + c), f * g};
}

bool SlowPoint::operator==(const SlowPoint& other) const {
  return x_ * other.z_ == other.x_ * z_ && y_ * other.z_ == other.y_ * z_;
}

SlowPoint SlowPoint::times(const std::string& scalar) const {
  SlowPoint result = infinity();
  for (std::size_t bit = 8 * scalar.size(); bit-- > 0;) {
    result = result + result;
    if (static_cast<unsigned char>(scalar[bit / 8]) >> bit % 8 & 1) result = result + *this;
  }
  return result;
}

// u = (1 + y) / (1 - y); at infinity y is 1 and the inverse of zero comes out as zero.
std::string SlowPoint::xBytes() const { return ((z_ + y_) * (z_ - y_).inverse()).bytes(); }
