#include "stream/signature.h"

#include "stream/curve25519.h"
#include "stream/packformat.h"
#include "stream/producthash.h"
#include "tests/support/hex.h"
#include "tests/support/vectors.h"

#include <algorithm>
#include <string>

#include <gtest/gtest.h>

namespace {

// The signature at the end of a vector package, with the digest that it is for.
SignatureRecord recordOf(const std::string& package) {
  const std::string bytes = vectorPackage(package);
  SignatureRecord record;
  std::copy(bytes.end() - SignatureRecord::kSize, bytes.end(), record.bytes);
  return record;
}

class SignatureOfSet : public ::testing::TestWithParam<const char*> {
 protected:
  SignatureOfSet() : product_(std::string(GetParam())), record_(recordOf(package("single"))) {}

  static std::string package(const std::string& name) {
    return std::string(GetParam()) + "-" + name + ".tpk";
  }

  ProductInUse product_;
  SignatureRecord record_;
};

TEST_P(SignatureOfSet, IsGoodForItsDigest) {
  EXPECT_TRUE(goodSignatureRecord(record_, record_.digest()));
}

TEST_P(SignatureOfSet, IsRefusedWithAnyBitFlipped) {
  const SignatureRecord original = record_;
  for (unsigned bit = 0; bit < 8 * SignatureRecord::kSize; ++bit) {
    SignatureRecord changed = original;
    changed.bytes[bit / 8] ^= static_cast<unsigned char>(1U << bit % 8);
    EXPECT_FALSE(goodSignatureRecord(changed, original.digest())) << "bit " << bit;
  }
}

// Also when record and package agree about the digest, which then is another one than was signed.
TEST_P(SignatureOfSet, IsRefusedForAnotherDigest) {
  for (unsigned bit = 0; bit < 8 * SignatureRecord::kDigestSize; bit += 7) {
    SignatureRecord changed = record_;
    changed.bytes[SignatureRecord::kDigest + bit / 8] ^= static_cast<unsigned char>(1U << bit % 8);
    EXPECT_FALSE(goodSignatureRecord(changed, changed.digest())) << "bit " << bit;
  }
}

TEST_P(SignatureOfSet, IsGoodWithAScalarAboveTheGroupOrder) {
  const SignatureRecord record = recordOf(package("scalar-plus-order"));
  EXPECT_GT(record.scalar()[31], 0x0f);
  EXPECT_TRUE(goodSignatureRecord(record, record.digest()));
}

TEST_P(SignatureOfSet, IsRefusedFromAnotherKey) {
  const SignatureRecord record = recordOf(package("other-key"));
  EXPECT_FALSE(goodSignatureRecord(record, record.digest()));
}

TEST_P(SignatureOfSet, IsRefusedWhenTheKeyIsOnNoPoint) {
  std::fill(std::begin(product_.data().publicKey), std::end(product_.data().publicKey), 0);
  product_.data().publicKey[0] = 2;
  EXPECT_FALSE(goodSignatureRecord(record_, record_.digest()));
}

// With the wrong one of the two roots, the verifier takes the negative of the key.
TEST_P(SignatureOfSet, DependsOnTheRootOfTheKey) {
  ProductData& data = product_.data();
  (Field25519() - Field25519::fromBytes(data.rootSelector)).toBytes(data.rootSelector);
  Field25519 root;
  ASSERT_TRUE(recoverRoot(Field25519::fromBytes(data.publicKey),
                          Field25519::fromBytes(data.rootSelector), root));
  std::string encoded(32, '\0');
  root.toBytes(reinterpret_cast<unsigned char*>(&encoded[0]));
  const std::string original =
      vectorValues(std::string("recovered-y[") + GetParam() + "]").at(0).output;
  EXPECT_EQ(goodSignatureRecord(record_, record_.digest()), encoded == original);
}

TEST_P(SignatureOfSet, IsRefusedWithAnyOtherProductData) {
  ProductData& data = product_.data();
  const ProductData original = data;
  data.hashState[7] ^= 1;
  EXPECT_FALSE(goodSignatureRecord(record_, record_.digest()));
  data = original;
  data.hashConstants[63] ^= 1;
  EXPECT_FALSE(goodSignatureRecord(record_, record_.digest()));
  data = original;
  EXPECT_TRUE(goodSignatureRecord(record_, record_.digest()));
}

TEST_P(SignatureOfSet, ListKnowsAllOfItsDigests) {
  for (const auto& digest : product_.data().knownDigests) EXPECT_TRUE(goodSignature(digest));
}

TEST_P(SignatureOfSet, ListComparesDigestsWhole) {
  for (const unsigned place : {0U, 517U, ProductData::kKnownDigests - 1U})
    for (unsigned bit = 0; bit < 8 * ProductData::kDigestSize; ++bit) {
      unsigned char digest[ProductData::kDigestSize];
      std::copy_n(product_.data().knownDigests[place], ProductData::kDigestSize, digest);
      digest[bit / 8] ^= static_cast<unsigned char>(1U << bit % 8);
      EXPECT_FALSE(goodSignature(digest)) << place << ' ' << bit;
    }
}

INSTANTIATE_TEST_SUITE_P(BothSets, SignatureOfSet, ::testing::Values("a", "b"));

TEST(Signature, OfOneProductIsRefusedByAnother) {
  const SignatureRecord record = recordOf("a-single.tpk");
  const ProductInUse product(std::string("b"));
  EXPECT_FALSE(goodSignatureRecord(record, record.digest()));
}

TEST(Signature, OtherDataAreInUseUntilTheyAreTakenBack) {
  {
    const ProductInUse product(std::string("a"));
    EXPECT_NE(&productData(), &kBuiltInProductData);
  }
  EXPECT_EQ(&productData(), &kBuiltInProductData);
}

TEST(Signature, MultiplierIsTheMixedAndClampedHash) {
  const ProductInUse product(std::string("a"));
  const std::string digest(SignatureRecord::kDigestSize, 'd');
  std::string check;
  for (char c = 0; c < 16; ++c) check += static_cast<char>(0x80 + c);

  ProductHash hash;
  hash.update(digest.data(), static_cast<unsigned>(digest.size()));
  std::string expected(ProductHash::kDigestSize, '\0');
  hash.digest(reinterpret_cast<unsigned char*>(&expected[0]));
  for (std::size_t i = 0; i < 16; ++i)
    expected[8 + i] = static_cast<char>(expected[8 + i] ^ check[i]);
  expected[0] = static_cast<char>(expected[0] & ~7);
  expected[31] = static_cast<char>((expected[31] & ~0x80) | 0x40);

  std::string k(32, '\0');
  signatureMultiplier(productData(), reinterpret_cast<const unsigned char*>(digest.data()),
                      reinterpret_cast<const unsigned char*>(check.data()),
                      reinterpret_cast<unsigned char*>(&k[0]));
  EXPECT_EQ(hex(k), hex(expected));
}

}  // namespace
