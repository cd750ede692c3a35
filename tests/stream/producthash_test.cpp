#include "stream/producthash.h"

#include "tests/support/hex.h"
#include "tests/support/vectors.h"

#include <algorithm>
#include <memory>
#include <string>

#include <gtest/gtest.h>

namespace {

std::string digestOf(ProductHash& hash) {
  std::string out(hash.digestSize(), '\0');
  hash.digest(reinterpret_cast<unsigned char*>(&out[0]));
  return out;
}

void update(ProductHash& hash, const std::string& data) {
  hash.update(data.data(), static_cast<unsigned>(data.size()));
}

std::string hashOf(const std::string& message) {
  ProductHash hash;
  update(hash, message);
  return digestOf(hash);
}

// FIPS 180-4, sections 4.2.2 and 5.3.3: with these the product's hash is SHA-256.
const std::uint32_t kSha256State[] = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                      0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
const std::uint32_t kSha256Constants[] = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

class ProductHashAsSha256 : public ::testing::Test {
 protected:
  ProductHashAsSha256() : product_(sha256Data()) {}

  static ProductData sha256Data() {
    ProductData data = {};
    std::copy(std::begin(kSha256State), std::end(kSha256State), data.hashState);
    std::copy(std::begin(kSha256Constants), std::end(kSha256Constants), data.hashConstants);
    return data;
  }

  ProductInUse product_;
};

// The messages of the SHA-256 examples that NIST publishes with FIPS 180-4.
TEST_F(ProductHashAsSha256, HashesThePublishedExamples) {
  EXPECT_EQ(hex(hashOf("")), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  EXPECT_EQ(hex(hashOf("abc")), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(hex(hashOf("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq")),
            "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
}

TEST_F(ProductHashAsSha256, HashesAMillionLetters) {
  EXPECT_EQ(hex(hashOf(std::string(1000000, 'a'))),
            "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

class ProductHashVectors : public ::testing::TestWithParam<const char*> {};

TEST_P(ProductHashVectors, AreHashed) {
  const ProductInUse product(std::string{GetParam()});
  for (const VectorValue& value : vectorValues(std::string("H[") + GetParam() + "]"))
    EXPECT_EQ(hex(hashOf(value.input)), hex(value.output)) << value.input.size() << " bytes";
}

INSTANTIATE_TEST_SUITE_P(BothSets, ProductHashVectors, ::testing::Values("a", "b"));

TEST(ProductHash, WritesThirtyTwoBytes) {
  EXPECT_EQ(ProductHash().digestSize(), 32U);
  EXPECT_EQ(hashOf("x").size(), 32U);
}

TEST(ProductHash, OneUpdateEqualsEverySplit) {
  std::string message;
  for (int i = 0; i < 130; ++i) message += static_cast<char>(i);
  const std::string whole = hashOf(message);
  for (std::size_t split = 0; split <= message.size(); ++split) {
    ProductHash hash;
    update(hash, message.substr(0, split));
    update(hash, message.substr(split));
    EXPECT_EQ(digestOf(hash), whole) << split;
  }
}

TEST(ProductHash, StartsAfreshAfterADigest) {
  ProductHash hash;
  update(hash, "first");
  EXPECT_EQ(digestOf(hash), hashOf("first"));
  update(hash, "second");
  EXPECT_EQ(digestOf(hash), hashOf("second"));
  EXPECT_EQ(digestOf(hash), hashOf(""));
}

TEST(ProductHash, TakesTheDataThatItIsGiven) {
  const ProductInUse a(std::string("a"));
  const std::string withA = hashOf("abc");
  const ProductData copy = productData();
  const ProductInUse b(std::string("b"));
  ProductHash hash(copy);
  update(hash, "abc");
  EXPECT_EQ(digestOf(hash), withA);
  EXPECT_NE(hashOf("abc"), withA);
}

}  // namespace
