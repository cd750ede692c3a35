#include "stream/field25519.h"

#include "tests/support/hex.h"
#include "tests/support/random.h"
#include "tests/support/slowcurve.h"

#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace {

Field25519 field(const std::string& bytes) {
  return Field25519::fromBytes(reinterpret_cast<const unsigned char*>(bytes.data()));
}

std::string bytesOf(const Field25519& value) {
  std::string out(Field25519::kSize, '\0');
  value.toBytes(reinterpret_cast<unsigned char*>(&out[0]));
  return out;
}

// p + difference, in hex: only the lowest byte of p = 2^255 - 19 differs for small differences.
std::string nearPrime(int difference) {
  const char digits[] = "0123456789abcdef";
  const int low = 0xed + difference;
  std::string text = {digits[low >> 4], digits[low & 15]};
  return text + std::string(60, 'f') + "7f";
}

std::string small(unsigned value) {
  std::string bytes(Field25519::kSize, '\0');
  for (unsigned i = 0; i < 4; ++i) bytes[i] = static_cast<char>(value >> 8 * i & 0xff);
  return hex(bytes);
}

TEST(Field25519, EncodesNumbersBelowThePrimeAsTheyAre) {
  const std::vector<std::string> numbers = {
      small(0),
      small(1),
      small(18),
      small(19),
      small(20),
      small(0x3ffffff),
      small(0x4000000),
      nearPrime(-1),
      nearPrime(-2),
      nearPrime(-19),
      "0000000000000000000000000000000000000000000000000000000000000040",
      "ffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffff3f"};
  for (const std::string& number : numbers)
    EXPECT_EQ(hex(bytesOf(field(unhex(number)))), number) << number;
}

TEST(Field25519, ReducesNumbersFromThePrimeOn) {
  for (unsigned above = 0; above < 19; ++above)  // up to 2^255 - 1
    EXPECT_EQ(hex(bytesOf(field(unhex(nearPrime(static_cast<int>(above)))))), small(above));
}

TEST(Field25519, CountsAll256Bits) {
  const std::string top(31, '\0');
  EXPECT_EQ(hex(bytesOf(field(top + '\x80'))), small(19));             // 2^255
  EXPECT_EQ(hex(bytesOf(field(std::string(32, '\xff')))), small(37));  // 2^256 - 1
}

TEST(Field25519, EncodesResultsAroundThePrimeFullyReduced) {
  const Field25519 last = field(unhex(nearPrime(-1)));
  const Field25519 one = Field25519::fromSmall(1);
  EXPECT_EQ(hex(bytesOf(last + one)), small(0));
  EXPECT_EQ(hex(bytesOf(last + one + one)), small(1));
  EXPECT_EQ(hex(bytesOf(Field25519() - one)), nearPrime(-1));
  EXPECT_EQ(hex(bytesOf(Field25519() - last)), small(1));
  EXPECT_EQ(hex(bytesOf(last * last)), small(1));
  EXPECT_EQ(hex(bytesOf(last + last)), nearPrime(-2));
  for (int difference = -19; difference <= 18; ++difference) {
    const std::string product = bytesOf(field(unhex(nearPrime(difference))) * one);
    const std::string expected =
        difference < 0 ? nearPrime(difference) : small(static_cast<unsigned>(difference));
    EXPECT_EQ(hex(product), expected);
  }
}

// A tight element is less than half of p in size: only a sum of several gets here.
TEST(Field25519, ReducesSumsThatReachThePrime) {
  const Field25519 third = field(unhex("a4" + std::string(60, 'a') + "2a"));  // (p - 1) / 3
  const Field25519 sum = third + third + third;
  EXPECT_EQ(hex(bytesOf(sum)), nearPrime(-1));
  for (int above = 1; above <= 19; ++above)
    EXPECT_EQ(hex(bytesOf(sum + Field25519::fromSmall(above))),
              small(static_cast<unsigned>(above - 1)));
}

TEST(Field25519, TakesSmallNumbersOfEitherSign) {
  EXPECT_EQ(hex(bytesOf(Field25519::fromSmall(486662))), small(486662));
  EXPECT_EQ(hex(bytesOf(Field25519::fromSmall(-1))), nearPrime(-1));
  EXPECT_EQ(hex(bytesOf(Field25519::fromSmall(1 << 25))), small(1U << 25));
}

TEST(Field25519, KnowsZeroInAllItsForms) {
  EXPECT_TRUE(Field25519().isZero());
  EXPECT_TRUE(field(unhex(nearPrime(0))).isZero());
  EXPECT_TRUE((field(unhex(nearPrime(1))) - Field25519::fromSmall(1)).isZero());
  EXPECT_FALSE(field(unhex(nearPrime(1))).isZero());
  EXPECT_FALSE(Field25519::fromSmall(-1).isZero());
}

TEST(Field25519, ComparesByValue) {
  EXPECT_TRUE(field(unhex(nearPrime(5))) == Field25519::fromSmall(5));
  EXPECT_FALSE(Field25519::fromSmall(5) == Field25519::fromSmall(-5));
}

TEST(Field25519, InverseOfZeroIsZero) { EXPECT_TRUE(Field25519().inverse().isZero()); }

// The same number twice: in the field and by school arithmetic.
struct Pair {
  Field25519 fast;
  SlowNumber slow;
};

Pair pairOf(const std::string& bytes) { return {field(bytes), SlowNumber::fromBytes(bytes)}; }

// Random, or one whose limbs are at their limits.
Pair anyNumber(TestRandom& random) {
  switch (random.below(4)) {
    case 0:
      return pairOf(unhex(nearPrime(static_cast<int>(random.below(38)) - 19)));
    case 1:
      return pairOf(std::string(32, '\xff'));
    default:
      return pairOf(random.bytes(32));
  }
}

// What may be multiplied at most: up to four, added or subtracted.
Pair anySum(TestRandom& random) {
  Pair sum = anyNumber(random);
  for (std::uint64_t more = random.below(4); more > 0; --more) {
    const Pair next = anyNumber(random);
    sum = random.below(2) == 0 ? Pair{sum.fast + next.fast, sum.slow + next.slow}
                               : Pair{sum.fast - next.fast, sum.slow - next.slow};
  }
  return sum;
}

TEST(Field25519, AgreesWithSchoolArithmetic) {
  TestRandom random;
  for (int round = 0; round < 3000; ++round) {
    const Pair a = anySum(random);
    const Pair b = anySum(random);
    ASSERT_EQ(hex(bytesOf(a.fast)), hex(a.slow.bytes()));
    ASSERT_EQ(hex(bytesOf(a.fast * b.fast)), hex((a.slow * b.slow).bytes()));
    ASSERT_EQ(hex(bytesOf(a.fast.squared())), hex((a.slow * a.slow).bytes()));
    ASSERT_EQ(a.fast.isZero(), a.slow == SlowNumber(0));
  }
}

// A number each of whose limbs is as large as rounding leaves it; bit i of negative is the sign of
// limb i.
Pair largestLimbs(unsigned negative) {
  SlowNumber sum;
  SlowNumber weight = 1;
  for (unsigned i = 0; i < Field25519::kLimbs; ++i) {
    const unsigned bits = i % 2 == 0 ? 26 : 25;
    const SlowNumber limb = SlowNumber((1U << (bits - 1)) - 1) * weight;
    sum = negative >> i & 1 ? sum - limb : sum + limb;
    weight = weight * SlowNumber(1U << bits);
  }
  return pairOf(sum.bytes());
}

TEST(Field25519, MultipliesTheLargestOperands) {
  std::vector<Pair> extremes;
  for (const unsigned negative : {0U, 0x3ffU, 0x155U, 0x2aaU, 0x3feU, 0x001U}) {
    const Pair once = largestLimbs(negative);
    const Pair twice = {once.fast + once.fast, once.slow + once.slow};
    extremes.push_back({twice.fast + twice.fast, twice.slow + twice.slow});
  }
  for (const Pair& a : extremes)
    for (const Pair& b : extremes)
      EXPECT_EQ(hex(bytesOf(a.fast * b.fast)), hex((a.slow * b.slow).bytes()));
}

TEST(Field25519, PowersAgreeWithSchoolArithmetic) {
  TestRandom random;
  for (int round = 0; round < 30; ++round) {
    const Pair a = anySum(random);
    EXPECT_EQ(hex(bytesOf(a.fast.inverse())), hex(a.slow.inverse().bytes()));
    // (p + 3) / 8 = 2^252 - 2
    const std::string exponent = "\xfe" + std::string(30, '\xff') + "\x0f";
    EXPECT_EQ(hex(bytesOf(a.fast.rootCandidate())), hex(a.slow.power(exponent).bytes()));
  }
}

TEST(Field25519, InverseTimesNumberIsOne) {
  TestRandom random;
  for (int round = 0; round < 30; ++round) {
    const Field25519 a = field(random.bytes(32));
    EXPECT_EQ(hex(bytesOf(a * a.inverse())), small(1));
  }
}

// The X25519 function of RFC 7748, section 5, on the field's operations.
std::string x25519(std::string scalar, std::string u) {
  scalar[0] = static_cast<char>(scalar[0] & 0xf8);
  scalar[31] = static_cast<char>((scalar[31] & 0x7f) | 0x40);
  u[31] = static_cast<char>(u[31] & 0x7f);
  const Field25519 x1 = field(u);
  Field25519 x2 = Field25519::fromSmall(1);
  Field25519 z2;
  Field25519 x3 = x1;
  Field25519 z3 = Field25519::fromSmall(1);
  bool swapped = false;
  for (int t = 254; t >= 0; --t) {
    const bool bit =
        static_cast<unsigned char>(scalar[static_cast<std::size_t>(t / 8)]) >> t % 8 & 1;
    if (bit != swapped) {
      std::swap(x2, x3);
      std::swap(z2, z3);
    }
    swapped = bit;
    const Field25519 a = x2 + z2;
    const Field25519 aa = a.squared();
    const Field25519 b = x2 - z2;
    const Field25519 bb = b.squared();
    const Field25519 e = aa - bb;
    const Field25519 da = (x3 - z3) * a;
    const Field25519 cb = (x3 + z3) * b;
    x3 = (da + cb).squared();
    z3 = x1 * (da - cb).squared();
    x2 = aa * bb;
    z2 = e * (aa + Field25519::fromSmall(121665) * e);
  }
  if (swapped) {
    std::swap(x2, x3);
    std::swap(z2, z3);
  }
  return bytesOf(x2 * z2.inverse());
}

TEST(Field25519, ComputesTheX25519FunctionsPublishedResults) {  // RFC 7748, section 5.2
  EXPECT_EQ(hex(x25519(unhex("a546e36bf0527c9d3b16154b82465edd62144c0ac1fc5a18506a2244ba449ac4"),
                       unhex("e6db6867583030db3594c1a424b15f7c726624ec26b3353b10a903a6d0ab1c4c"))),
            "c3da55379de9c6908e94ea4df28d084f32eccf03491c71f754b4075577a28552");
  EXPECT_EQ(hex(x25519(unhex("4b66e9d4d1b4673c5ad22691957d6af5c11b6421e0ea01d42ca4169e7918ba0d"),
                       unhex("e5210f12786811d3f4b7959d0538ae2c31dbe7106fc03c3efc4cd549c715a493"))),
            "95cbde9476e8907d7aade45cb4b873f88b595a68799fa152e6f8f7647aac7957");
}

TEST(Field25519, ComputesTheX25519FunctionsPublishedIterations) {  // RFC 7748, section 5.2
  std::string k = unhex("0900000000000000000000000000000000000000000000000000000000000000");
  std::string u = k;
  for (int round = 1; round <= 1000; ++round) {
    const std::string result = x25519(k, u);
    u = k;
    k = result;
    if (round == 1) {
      EXPECT_EQ(hex(k), "422c8e7a6227d7bca1350b3e2bb7279f7897b87bb6854b783c60e80311ae3079");
    }
  }
  EXPECT_EQ(hex(k), "684cf59ba83309552800ef566f2f4d3c1c3887c49360e3875f2eb94d99532c51");
}

}  // namespace
