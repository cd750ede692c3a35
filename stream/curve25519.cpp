#include "stream/curve25519.h"

namespace {

enum : std::int32_t {
  kA = 486662,  // the curve's coefficient
  kQuarterA = (kA - 2) / 4,
  kBaseX = 9,
};
enum : int { kScalarBits = 256 };

const unsigned char kBaseY[Field25519::kSize] = {
    0xd9, 0xd3, 0xce, 0x7e, 0xa2, 0xc5, 0xe9, 0x29, 0xb2, 0x61, 0x7c, 0x6d, 0x7e, 0x4d, 0x3d, 0x92,
    0x4c, 0xd1, 0x48, 0x77, 0x2c, 0xdd, 0x1e, 0xe0, 0xb4, 0x86, 0xa0, 0xb8, 0xa1, 0x19, 0xae, 0x20,
};

// A point without its y: (x : z) stands for the x-coordinate x/z, and z = 0 for infinity. The two
// are never both zero.
struct Point {
  Field25519 x;
  Field25519 z;
};

struct AffinePoint {
  Field25519 x;
  Field25519 y;
};

// P. L. Montgomery, "Speeding the Pollard and elliptic curve methods of factorization", 1987: the
// doubling, right for every point.
Point doubled(const Point& p) {
  const Field25519 sum = (p.x + p.z).squared();
  const Field25519 difference = (p.x - p.z).squared();
  const Field25519 product = sum - difference;  // 4xz
  return {sum * difference, product * (sum + Field25519::fromSmall(kQuarterA) * product)};
}

// p + q, knowing p - q (up to its sign, which x does not show). Montgomery's addition is right for
// all p and q whose difference has an x other than 0 and infinity (D. J. Bernstein, T. Lange,
// "Montgomery curves and the Montgomery ladder", 2017). In the other two cases p is q, or q plus
// the point (0, 0) of order two; then p + q is 2p, or 2p plus (0, 0), and adding (0, 0) turns an x
// into its inverse.
Point added(const Point& p, const Point& q, const Point& difference) {
  if (difference.z.isZero()) return doubled(p);
  if (difference.x.isZero()) {
    const Point twice = doubled(p);
    return {twice.z, twice.x};
  }
  const Field25519 a = (p.x - p.z) * (q.x + q.z);
  const Field25519 b = (p.x + p.z) * (q.x - q.z);
  return {difference.z * (a + b).squared(), difference.x * (a - b).squared()};
}

// The sum of two points with different x: ((yp - yq)^2 / (xp - xq)^2) - A - xp - xq.
Point chordSum(const AffinePoint& p, const AffinePoint& q) {
  const Field25519 runSquared = (p.x - q.x).squared();
  const Field25519 riseSquared = (p.y - q.y).squared();
  return {riseSquared - (p.x + q.x + Field25519::fromSmall(kA)) * runSquared, runSquared};
}

// The multiples that the chain starts with and whose differences it needs.
struct Bases {
  Point b;
  Point p;
  Point sum;         // b + p
  Point difference;  // b - p
};

Bases makeBases(const AffinePoint& b, const AffinePoint& p) {
  const Field25519 one = Field25519::fromSmall(1);
  Bases bases = {{b.x, one}, {p.x, one}, {one, {}}, {one, {}}};
  if (b.x == p.x) {
    (b.y == p.y ? bases.sum : bases.difference) = doubled(bases.b);
  } else {
    bases.sum = chordSum(b, p);
    bases.difference = chordSum(b, {p.x, Field25519() - p.y});
  }
  return bases;
}

unsigned bitOf(const unsigned char* bytes, int index) {
  return static_cast<unsigned>(bytes[index / 8]) >> index % 8 & 1;
}

// The chain of D. J. Bernstein, "Differential addition chains", 2006, section 4, for s*b + k*p.
//
// Cut the last bits off s and k until nothing is left; with m and n of them remaining, at every
// stage the chain holds three of the four multiples whose coefficients are m or m + 1 and n or
// n + 1: the one with both coefficients even, the one with both odd, and one of the two mixed ones,
// the one whose odd coefficient is that of b or that of p. Any two of the three differ by b, p,
// b + p or b - p, and are enough to make the three of the next stage:
//
//   both odd    the sum of both even and both odd. They differ by (1, 1) when the old m and n were
//               both even or both odd, otherwise by (1, -1).
//   both even   twice the one of the three whose coefficients are m and n, each plus the bit that
//   is
//               appended to it: odd where that bit is not the last of m or n, even where it is.
//   mixed       the old mixed one plus one of the others; they differ in one coefficient only.
//
// Which mixed one a stage needs is decided by the stage that follows it, so the choices are made
// first, from the last bits up.
class Chain {
 public:
  Chain(const unsigned char* s, const unsigned char* k) : s_(s), k_(k) { chooseMixed(); }

  Point run(const Bases& bases) const;

 private:
  enum Mixed : unsigned { kOddP = 0, kOddB = 1 };  // whose coefficient is odd

  // Of a scalar, counted from its low end; the bits above the top are 0.
  static unsigned scalarBit(const unsigned char* scalar, int index) {
    return index < kScalarBits ? bitOf(scalar, index) : 0;
  }

  void chooseMixed();
  unsigned mixedAt(int index) const {
    return index < kScalarBits ? bitOf(mixed_, index) : mixedAtTop_;
  }

  const unsigned char* s_;
  const unsigned char* k_;
  unsigned char mixed_[kScalarBits / 8] = {};  // the choice of the stage that ends with this bit
  unsigned mixedAtTop_ = kOddP;                // of the start
};

void Chain::chooseMixed() {
  // The last stage's result is mixed only when its bits differ, and then it is this one.
  unsigned mixed = scalarBit(s_, 0);
  for (int i = 0; i < kScalarBits; ++i) {
    mixed_[i / 8] = static_cast<unsigned char>(mixed_[i / 8] | mixed << i % 8);
    const unsigned changeOfS = scalarBit(s_, i) ^ scalarBit(s_, i + 1);
    const unsigned changeOfK = scalarBit(k_, i) ^ scalarBit(k_, i + 1);
    // A doubling of a mixed one settles it; otherwise the addition needs the same one, or, when
    // both coefficients step over to the other parity, the other one.
    mixed = changeOfS != changeOfK ? changeOfS : mixed ^ changeOfS;
  }
  mixedAtTop_ = mixed;
}

Point Chain::run(const Bases& bases) const {
  Point even = {Field25519::fromSmall(1), Field25519()};  // 0*b + 0*p
  Point odd = bases.sum;
  Point mixed = mixedAtTop_ == kOddB ? bases.b : bases.p;

  for (int i = kScalarBits - 1; i >= 0; --i) {
    const unsigned aboveS = scalarBit(s_, i + 1);
    const unsigned aboveK = scalarBit(k_, i + 1);
    const unsigned changeOfS = aboveS ^ scalarBit(s_, i);
    const unsigned changeOfK = aboveK ^ scalarBit(k_, i);

    const bool oddB = mixedAt(i) == kOddB;
    const bool fromOdd = oddB ? changeOfK : changeOfS;
    const Point nextMixed = added(mixed, fromOdd ? odd : even, oddB ? bases.b : bases.p);
    const Point nextOdd = added(even, odd, aboveS == aboveK ? bases.sum : bases.difference);
    even = doubled(changeOfS != changeOfK ? mixed : changeOfS ? odd : even);
    odd = nextOdd;
    mixed = nextMixed;
  }

  const unsigned lowS = scalarBit(s_, 0);
  return lowS != scalarBit(k_, 0) ? mixed : lowS ? odd : even;
}

}  // namespace

bool recoverRoot(const Field25519& x, const Field25519& rootSelector, Field25519& y) {
  const Field25519 v =
      ((x + Field25519::fromSmall(kA)) * x + Field25519::fromSmall(1)) * x;  // x^3 + A x^2 + x
  y = v.rootCandidate();
  if (y.squared() == v) return true;
  y = y * rootSelector;
  return y.squared() == v;
}

bool jointMultiple(const unsigned char* s, const unsigned char* k, const unsigned char* x,
                   const unsigned char* rootSelector, unsigned char* out) {
  AffinePoint p;
  p.x = Field25519::fromBytes(x);
  if (!recoverRoot(p.x, Field25519::fromBytes(rootSelector), p.y)) return false;
  const AffinePoint b = {Field25519::fromSmall(kBaseX), Field25519::fromBytes(kBaseY)};

  const Point result = Chain(s, k).run(makeBases(b, p));
  (result.x * result.z.inverse()).toBytes(out);
  return true;
}
