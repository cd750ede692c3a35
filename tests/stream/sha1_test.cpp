#include "stream/sha1.h"

#include "tests/stream/sha1text.h"

#include <algorithm>
#include <string>

#include <gtest/gtest.h>

namespace {

// FIPS 180-2, appendix A.
TEST(Sha1, AgreesWithTheExamplesOfTheStandard) {
  EXPECT_EQ(sha1("abc"), "a9993e364706816aba3e25717850c26c9cd0d89d");
  EXPECT_EQ(sha1("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
            "84983e441c3bd26ebaae4aa1f95129e5e54670f1");
  EXPECT_EQ(sha1(std::string(1000000, 'a')), "34aa973cd4c4daa4f61eeb2bdbad27316534016f");
}

// RFC 3174, section 7.3: TEST3 and TEST4 (ten times eight times the digits).
TEST(Sha1, AgreesWithTheExamplesOfTheRfc) {
  std::string digits;
  for (int i = 0; i < 80; ++i) digits += "01234567";
  EXPECT_EQ(sha1(digits), "dea356a2cddd90c7a7ecedc5ebb563934f460452");
}

// Letters "a"; the digests are those of sha1sum (GNU coreutils 9.1).
TEST(Sha1, AgreesAroundTheEndsOfBlocks) {
  const struct {
    unsigned length;
    const char* digest;
  } cases[] = {
      {0, "da39a3ee5e6b4b0d3255bfef95601890afd80709"},
      {1, "86f7e437faa5a7fce15d1ddcb9eaeaea377667b8"},
      {55, "c1c8bbdc22796e28c0e15163d20899b65621d65a"},
      {56, "c2db330f6083854c99d4b5bfb6e8f29f201be699"},
      {57, "f08f24908d682555111be7ff6f004e78283d989a"},
      {63, "03f09f5b158a7a8cdad920bddc29b81c18a551f5"},
      {64, "0098ba824b5c16427bd7a1122a5a442a25ec644d"},
      {65, "11655326c708d70319be2610e8a57d9a5b959d3b"},
      {119, "ee971065aaa017e0632a8ca6c77bb3bf8b1dfc56"},
      {120, "f34c1488385346a55709ba056ddd08280dd4c6d6"},
      {127, "89d95fa32ed44a7c610b7ee38517ddf57e0bb975"},
      {128, "ad5b3fdbcb526778c2839d2f151ea753995e26a0"},
  };
  for (const auto& c : cases) EXPECT_EQ(sha1(std::string(c.length, 'a')), c.digest) << c.length;
}

TEST(Sha1, EverySplitGivesTheSameDigest) {
  std::string data;
  for (int i = 0; i < 150; ++i) data += static_cast<char>(i * 37);
  const std::string whole = sha1(data);
  for (std::size_t split = 0; split <= data.size(); ++split) {
    SHA1 hasher;
    hasher.update(data.data(), static_cast<unsigned>(split));
    hasher.update(data.data() + split, static_cast<unsigned>(data.size() - split));
    EXPECT_EQ(digestOf(hasher), whole) << split;
  }
}

TEST(Sha1, EveryStepGivesTheSameDigest) {
  std::string data;
  for (int i = 0; i < 150; ++i) data += static_cast<char>(i * 37);
  const std::string whole = sha1(data);
  for (std::size_t step = 1; step <= data.size(); ++step) {
    SHA1 hasher;
    for (std::size_t at = 0; at < data.size(); at += step) {
      hasher.update(data.data() + at, static_cast<unsigned>(std::min(step, data.size() - at)));
    }
    EXPECT_EQ(digestOf(hasher), whole) << step;
  }
}

TEST(Sha1, SecondDigestInARowIsThatOfNothing) {
  SHA1 hasher;
  hasher.update("abc", 3);
  EXPECT_EQ(digestOf(hasher), "a9993e364706816aba3e25717850c26c9cd0d89d");
  EXPECT_EQ(digestOf(hasher), kDigestOfNothing);
}

TEST(Sha1, StartsAfreshWithTheNextUpdate) {
  SHA1 hasher;
  hasher.update("something else", 14);
  digestOf(hasher);
  hasher.update("abc", 3);
  EXPECT_EQ(digestOf(hasher), "a9993e364706816aba3e25717850c26c9cd0d89d");
}

TEST(Sha1, DigestHasTwentyBytes) { EXPECT_EQ(SHA1().digestSize(), 20u); }

}  // namespace
