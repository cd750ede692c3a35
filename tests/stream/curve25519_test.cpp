#include "stream/curve25519.h"

#include "tests/support/hex.h"
#include "tests/support/random.h"
#include "tests/support/slowcurve.h"
#include "tests/support/vectors.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sodium.h>

namespace {

const unsigned char* data(const std::string& bytes) {
  return reinterpret_cast<const unsigned char*>(bytes.data());
}

unsigned char* data(std::string& bytes) { return reinterpret_cast<unsigned char*>(&bytes[0]); }

// The square root of -1 that is even, and its negative.
const char kSelector[] = "b0a00e4a271beec478e42fad0618432fa7d7fb3d99004d2b0bdfc14f8024832b";
const char kOtherSelector[] = "3d5ff1b5d8e4113b871bd052f9e7bcd0582804c266ffb2d4f4203eb07fdb7c54";

std::string scalar(unsigned value) {
  std::string bytes(32, '\0');
  for (unsigned i = 0; i < 4; ++i) bytes[i] = static_cast<char>(value >> 8 * i & 0xff);
  return bytes;
}

const std::string kGroupOrder =
    unhex("edd3f55c1a631258d69cf7a2def9de1400000000000000000000000000000010");

// In hex; "none" when the key is on no point.
std::string joint(const std::string& s, const std::string& k, const std::string& x,
                  const std::string& selector = unhex(kSelector)) {
  std::string out(32, '\0');
  return jointMultiple(data(s), data(k), data(x), data(selector), data(out)) ? hex(out) : "none";
}

// The root that belongs to a key with this x, by school arithmetic.
SlowNumber keyRoot(const std::string& x, const std::string& selector) {
  SlowNumber y;
  EXPECT_TRUE(slowRoot(slowRightSide(SlowNumber::fromBytes(x)), SlowNumber::fromBytes(selector), y))
      << hex(x);
  return y;
}

SlowPoint keyPoint(const std::string& x, const std::string& selector) {
  return SlowPoint::at(SlowNumber::fromBytes(x), keyRoot(x, selector));
}

std::string slowJoint(const std::string& s, const std::string& k, const SlowPoint& p) {
  return hex((SlowPoint::base().times(s) + p.times(k)).xBytes());
}

std::string anyKey(TestRandom& random) {
  for (;;) {
    std::string x = random.bytes(32);
    SlowNumber root;
    if (slowRoot(slowRightSide(SlowNumber::fromBytes(x)), SlowNumber::fromBytes(unhex(kSelector)),
                 root))
      return x;
  }
}

class Curve25519Vectors : public ::testing::TestWithParam<const char*> {
 protected:
  Curve25519Vectors() : product_(std::string(GetParam())) {}

  std::string bytes(const unsigned char* p) const {
    return std::string(reinterpret_cast<const char*>(p), 32);
  }
  std::string key() { return bytes(product_.data().publicKey); }
  std::string selector() { return bytes(product_.data().rootSelector); }
  std::string named(const std::string& name) const { return name + "[" + GetParam() + "]"; }

  ProductInUse product_;
};

TEST_P(Curve25519Vectors, RootsAreRecovered) {
  for (const VectorValue& value : vectorValues(named("recovered-y"))) {
    Field25519 y;
    ASSERT_TRUE(recoverRoot(Field25519::fromBytes(data(value.input)),
                            Field25519::fromBytes(data(selector())), y));
    std::string encoded(32, '\0');
    y.toBytes(data(encoded));
    EXPECT_EQ(hex(encoded), hex(value.output));
  }
}

TEST_P(Curve25519Vectors, JointMultiplesAreComputed) {
  for (const VectorValue& value : vectorValues(named("s*B+k*P")))
    EXPECT_EQ(joint(value.input.substr(0, 32), value.input.substr(32), key(), selector()),
              hex(value.output));
}

INSTANTIATE_TEST_SUITE_P(BothSets, Curve25519Vectors, ::testing::Values("a", "b"));

// RFC 7748, section 6.1, with the private keys clamped as its section 5 says. With a multiple of
// the base point that is zero, what remains is the X25519 function.
const std::string kAlicePrivate =
    unhex("70076d0a7318a57d3c16c17251b26645df4c2f87ebc0992ab177fba51db92c6a");
const std::string kBobPrivate =
    unhex("58ab087e624a8a4b79e17f8b83800ee66f3bb1292618b6fd1c2f8b27ff88e06b");
const char kAlicePublic[] = "8520f0098930a754748b7ddcb43ef75a0dbf3a0d26381af4eba4a98eaa9b4e6a";
const char kBobPublic[] = "de9edb7d7b7dc1b4d35b61c2ece435373f8343c85b78674dadfc7e146f882b4f";
const char kShared[] = "4a5d9d5ba4ce2de1728e3bf480350f25e07e21c947d19e3376f09b3c1e161742";

TEST(Curve25519, MultiplesOfTheBasePointAreThePublishedPublicKeys) {
  EXPECT_EQ(joint(kAlicePrivate, scalar(0), unhex(kBobPublic)), kAlicePublic);
  EXPECT_EQ(joint(kBobPrivate, scalar(0), unhex(kAlicePublic)), kBobPublic);
}

TEST(Curve25519, MultiplesOfThePublicKeysAreThePublishedSecret) {
  EXPECT_EQ(joint(scalar(0), kAlicePrivate, unhex(kBobPublic)), kShared);
  EXPECT_EQ(joint(scalar(0), kBobPrivate, unhex(kAlicePublic)), kShared);
}

TEST(Curve25519, TheSchoolCurveIsTheCurve) {
  EXPECT_EQ(hex(SlowPoint::base().xBytes()), hex(scalar(9)));
  EXPECT_TRUE(SlowPoint::base().times(kGroupOrder) == SlowPoint::infinity());
  EXPECT_EQ(hex(SlowPoint::base().times(kAlicePrivate).xBytes()), kAlicePublic);
}

TEST(Curve25519, RecoversTheRootThatTheSelectorAsksFor) {
  TestRandom random;
  bool same = false;
  bool opposite = false;
  for (int round = 0; round < 30; ++round) {
    const std::string x = anyKey(random);
    Field25519 roots[2];
    const char* const selectors[] = {kSelector, kOtherSelector};
    for (int i = 0; i < 2; ++i) {
      const std::string selector = unhex(selectors[i]);
      ASSERT_TRUE(recoverRoot(Field25519::fromBytes(data(x)), Field25519::fromBytes(data(selector)),
                              roots[i]));
      std::string encoded(32, '\0');
      roots[i].toBytes(data(encoded));
      EXPECT_EQ(hex(encoded), hex(keyRoot(x, selector).bytes()));
    }
    if (roots[0] == roots[1]) {
      same = true;  // the candidate itself was a root
    } else {
      EXPECT_TRUE((roots[0] + roots[1]).isZero());
      opposite = true;
    }
  }
  EXPECT_TRUE(same);
  EXPECT_TRUE(opposite);
}

TEST(Curve25519, RefusesKeysThatAreOnNoPoint) {
  const std::string selector = unhex(kSelector);
  for (const unsigned x : {2U, 3U, 5U}) {
    SlowNumber root;
    ASSERT_FALSE(slowRoot(slowRightSide(x), SlowNumber::fromBytes(selector), root));
    Field25519 y;
    EXPECT_FALSE(recoverRoot(Field25519::fromSmall(static_cast<std::int32_t>(x)),
                             Field25519::fromBytes(data(selector)), y));
    EXPECT_EQ(joint(scalar(1), scalar(1), scalar(x)), "none");
  }
}

TEST(Curve25519, RefusesARootThatTheSelectorSpoils) {
  TestRandom random;
  bool refused = false;
  for (int round = 0; round < 30; ++round) {
    const std::string x = anyKey(random);
    SlowNumber root;
    const bool expected = slowRoot(slowRightSide(SlowNumber::fromBytes(x)), 7, root);
    Field25519 y;
    EXPECT_EQ(recoverRoot(Field25519::fromBytes(data(x)), Field25519::fromSmall(7), y), expected);
    refused = refused || !expected;
  }
  EXPECT_TRUE(refused);
}

TEST(Curve25519, InfinityIsEncodedAsZero) {
  const std::string key = unhex(kBobPublic);
  const std::string zero(64, '0');
  EXPECT_EQ(joint(scalar(0), scalar(0), key), zero);
  EXPECT_EQ(joint(kGroupOrder, scalar(0), key), zero);
  EXPECT_EQ(joint(scalar(0), kGroupOrder, key), zero);
  EXPECT_EQ(joint(kGroupOrder, kGroupOrder, key), zero);
}

TEST(Curve25519, TakesTheScalarsAsTheyStand) {
  // One more group order changes nothing on points of the group, a cleared bit would.
  const std::string key = unhex(kBobPublic);
  std::string s = kGroupOrder;
  s[0] = static_cast<char>(s[0] + 5);
  EXPECT_EQ(joint(s, scalar(3), key), joint(scalar(5), scalar(3), key));
  EXPECT_EQ(joint(scalar(3), s, key), joint(scalar(3), scalar(5), key));
  const std::string top = std::string(31, '\0') + '\x80';
  EXPECT_EQ(joint(top, top, key), slowJoint(top, top, keyPoint(key, unhex(kSelector))));
}

TEST(Curve25519, KeysAreReducedNumbers) {
  // 9 and p + 9 are the same x.
  const std::string nine = scalar(9);
  const std::string ninePlusPrime = unhex("f6" + std::string(60, 'f') + "7f");
  EXPECT_EQ(joint(scalar(2), scalar(8), ninePlusPrime), joint(scalar(2), scalar(8), nine));
}

std::string inverseOf(const std::string& x) { return SlowNumber::fromBytes(x).inverse().bytes(); }

// Keys for which one of the chain's differences is infinity or the point of order two, and the
// other points of small order.
std::vector<std::string> specialKeys() {
  return {
      scalar(0),             // (0, 0), of order two
      scalar(1),             // of order four
      scalar(9),             // the base point or its negative
      inverseOf(scalar(9)),  // one of these plus (0, 0)
      unhex("e0eb7a7c3b41b8ae1656e3faf19fc46ada098deb9c32b1fd866205165f49b800"),  // of order eight
      unhex("5f9c95bca3508c24b1d0b1559c83ef5b04445cc4581c8e86d8224eddd09f1157"),  // of order eight
      SlowPoint::base().times(scalar(2)).xBytes(),
      SlowPoint::base().times(scalar(3)).xBytes(),
      unhex(kBobPublic),
  };
}

class Curve25519Keys : public ::testing::TestWithParam<const char*> {
 protected:
  std::string selector() const { return unhex(GetParam()); }
};

// Every small pair: among them all points at which the chain's first steps are degenerate.
TEST_P(Curve25519Keys, SmallMultiplesOfSpecialKeysAgreeWithSchoolArithmetic) {
  for (const std::string& key : specialKeys()) {
    const SlowPoint p = keyPoint(key, selector());
    SlowPoint sOfBase = SlowPoint::infinity();
    for (unsigned s = 0; s < 8; ++s) {
      SlowPoint sum = sOfBase;
      for (unsigned k = 0; k < 8; ++k) {
        EXPECT_EQ(joint(scalar(s), scalar(k), key, selector()), hex(sum.xBytes()))
            << s << "*B + " << k << "*P, P = " << hex(key);
        sum = sum + p;
      }
      sOfBase = sOfBase + SlowPoint::base();
    }
  }
}

TEST_P(Curve25519Keys, LargeMultiplesOfSpecialKeysAgreeWithSchoolArithmetic) {
  TestRandom random;
  for (const std::string& key : specialKeys()) {
    const SlowPoint p = keyPoint(key, selector());
    const std::string s = random.bytes(32);
    const std::string k = random.bytes(32);
    EXPECT_EQ(joint(s, k, key, selector()), slowJoint(s, k, p)) << hex(key);
  }
}

TEST_P(Curve25519Keys, RandomMultiplesOfRandomPointsAgreeWithSchoolArithmetic) {
  TestRandom random;
  for (int round = 0; round < 10; ++round) {
    const std::string key = anyKey(random);
    const std::string s = random.bytes(32);
    const std::string k = random.bytes(32);
    EXPECT_EQ(joint(s, k, key, selector()), slowJoint(s, k, keyPoint(key, selector())))
        << hex(s) << ' ' << hex(k) << ' ' << hex(key);
  }
}

INSTANTIATE_TEST_SUITE_P(BothSelectors, Curve25519Keys,
                         ::testing::Values(kSelector, kOtherSelector));

std::string reduced(const std::string& wide) {
  std::string padded = wide;
  padded.resize(crypto_core_ed25519_NONREDUCEDSCALARBYTES);
  std::string out(32, '\0');
  crypto_core_ed25519_scalar_reduce(data(out), data(padded));
  return out;
}

// x((s + sign * k * a)*B), on the Edwards form of the curve.
std::string edwardsJoint(const std::string& s, const std::string& k, const std::string& a,
                         bool negative) {
  std::string product(32, '\0');
  std::string sum(32, '\0');
  crypto_core_ed25519_scalar_mul(data(product), data(reduced(k)), data(a));
  (negative ? crypto_core_ed25519_scalar_sub : crypto_core_ed25519_scalar_add)(
      data(sum), data(reduced(s)), data(product));
  std::string point(32, '\0');
  std::string x(32, '\0');
  EXPECT_EQ(crypto_scalarmult_ed25519_base_noclamp(data(point), data(sum)), 0);
  EXPECT_EQ(crypto_sign_ed25519_pk_to_curve25519(data(x), data(point)), 0);
  return hex(x);
}

TEST(Curve25519, RandomMultiplesAgreeWithLibsodium) {
  ASSERT_GE(sodium_init(), 0);
  TestRandom random;
  for (int round = 0; round < 30; ++round) {
    const std::string a = reduced(random.bytes(64));
    const std::string key = unhex(edwardsJoint(a, scalar(0), a, false));
    const bool negative = !(keyPoint(key, unhex(kSelector)) == SlowPoint::base().times(a));
    const std::string s = random.bytes(32);
    const std::string k = random.bytes(32);
    EXPECT_EQ(joint(s, k, key), edwardsJoint(s, k, a, negative))
        << hex(a) << ' ' << hex(s) << ' ' << hex(k);
  }
}

}  // namespace
