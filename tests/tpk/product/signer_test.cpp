#include "tools/tpk/product/signer.h"

#include "stream/producthash.h"
#include "stream/signature.h"
#include "tests/support/hex.h"
#include "tests/support/random.h"
#include "tests/support/sign.h"
#include "tests/support/slowcurve.h"
#include "tests/support/vectors.h"
#include "tests/tpk/failuretext.h"
#include "tools/tpk/product/newproduct.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <set>
#include <string>

#include <gtest/gtest.h>

namespace {

const unsigned char* data(const std::string& bytes) {
  return reinterpret_cast<const unsigned char*>(bytes.data());
}

std::string bytesOf(const unsigned char* bytes, std::size_t size = 32) {
  return std::string(reinterpret_cast<const char*>(bytes), size);
}

std::string hashOf(const ProductData& product, const std::string& message) {
  ProductHash hash(product);
  hash.update(message.data(), static_cast<unsigned>(message.size()));
  std::string digest(ProductHash::kDigestSize, '\0');
  hash.digest(reinterpret_cast<unsigned char*>(&digest[0]));
  return digest;
}

// The x-coordinate of R = s*B + k*P on the curve's Edwards form, by school arithmetic; empty when
// there is no P.
std::string signedPoint(const ProductData& product, const std::string& record,
                        const std::string& digest) {
  const std::string check = record.substr(20, 16);
  std::string k = hashOf(product, digest);
  for (std::size_t i = 0; i < check.size(); ++i) k[8 + i] = static_cast<char>(k[8 + i] ^ check[i]);
  k[0] = static_cast<char>(k[0] & 0xf8);
  k[31] = static_cast<char>((k[31] & 0x7f) | 0x40);

  const SlowNumber x = SlowNumber::fromBytes(bytesOf(product.publicKey));
  SlowNumber y;
  if (!slowRoot(slowRightSide(x), SlowNumber::fromBytes(bytesOf(product.rootSelector)), y))
    return std::string();
  const SlowPoint joint = SlowPoint::base().times(record.substr(36)) + SlowPoint::at(x, y).times(k);
  return joint.xBytes();
}

bool verifiesIndependently(const ProductData& product, const std::string& record,
                           const std::string& digest) {
  const std::string check = record.substr(20, 16);
  const std::string point = signedPoint(product, record, digest);
  return !point.empty() && record.substr(0, 20) == digest &&
         hashOf(product, point).substr(0, check.size()) == check;
}

struct MadeProduct {
  MadeProduct() : data(makeProductData(key)) {}

  // The other of the two roots of -1.
  void turnSelector() {
    const std::string turned =
        (SlowNumber(0) - SlowNumber::fromBytes(bytesOf(data->rootSelector))).bytes();
    std::copy(turned.begin(), turned.end(), data->rootSelector);
  }
  // Whether the verifier finds a*B, rather than its negative, for the key.
  bool rootIsOfTheMultiple() const {
    const SlowNumber x = SlowNumber::fromBytes(bytesOf(data->publicKey));
    SlowNumber y;
    EXPECT_TRUE(slowRoot(slowRightSide(x), SlowNumber::fromBytes(bytesOf(data->rootSelector)), y));
    return SlowPoint::at(x, y) == SlowPoint::base().times(bytesOf(key.bytes));
  }

  SigningKey key;
  std::unique_ptr<ProductData> data;
};

void expectGoodSignatures(const ProductData& product, const SigningKey& key, TestRandom& random) {
  const ProductInUse inUse(product);
  const Signer signer(product, key);
  for (int round = 0; round < 3; ++round) {
    const std::string digest = random.bytes(SignatureRecord::kDigestSize);
    const SignatureRecord record = signer.sign(data(digest));
    EXPECT_TRUE(goodSignatureRecord(record, data(digest)));
    EXPECT_TRUE(verifiesIndependently(product, bytesOf(record.bytes, sizeof record.bytes), digest));
  }
}

// With either root selector, and with either root of the key: all four meet soon.
TEST(Signer, SignaturesVerifyWithEitherRoot) {
  TestRandom random;
  bool met[2] = {};
  for (int round = 0; round < 6; ++round) {
    MadeProduct product;
    for (int selector = 0; selector < 2; ++selector) {
      met[product.rootIsOfTheMultiple()] = true;
      expectGoodSignatures(*product.data, product.key, random);
      product.turnSelector();
    }
  }
  EXPECT_TRUE(met[0]);
  EXPECT_TRUE(met[1]);
}

TEST(Signer, SignsWithTheKeysOfTheVectors) {
  TestRandom random;
  for (const char* set : {"a", "b"}) {
    const std::string folder = std::string(TEST_DATA_DIR "/vectors/product-") + set;
    SigningKey key;
    readSigningKey(folder, key);
    expectGoodSignatures(*readProductData(folder), key, random);
  }
}

std::string sign(const ProductData& product, const SigningKey& key, const std::string& digest) {
  const SignatureRecord record = Signer(product, key).sign(data(digest));
  return bytesOf(record.bytes, sizeof record.bytes);
}

TEST(Signer, SignsTheSamePackageTheSameWay) {
  const MadeProduct product;
  const std::string digest(SignatureRecord::kDigestSize, 'd');
  const std::string signature = sign(*product.data, product.key, digest);
  EXPECT_EQ(signature.substr(0, 20), digest);
  EXPECT_EQ(sign(*product.data, product.key, digest), signature);
}

// Each of these with one r in common would tell the key.
TEST(Signer, NoTwoSignaturesShareTheirPoint) {
  MadeProduct product;
  const std::string digest(SignatureRecord::kDigestSize, 'd');
  std::set<std::string> points;
  const auto add = [&](const std::string& of) {
    points.insert(signedPoint(*product.data, sign(*product.data, product.key, of), of));
  };
  add(digest);
  for (std::size_t i = 0; i < digest.size(); ++i) {
    std::string other = digest;
    other[i] = 'e';
    add(other);
  }
  product.turnSelector();
  add(digest);
  product.data->hashState[7] ^= 1;
  add(digest);
  product.data->hashConstants[63] ^= 1;
  add(digest);
  EXPECT_EQ(points.size(), digest.size() + 4);
}

TEST(Signer, OtherKeysChooseOtherPoints) {
  MadeProduct product;
  const std::string digest(SignatureRecord::kDigestSize, 'd');
  const std::string point =
      signedPoint(*product.data, sign(*product.data, product.key, digest), digest);
  const MadeProduct other;
  std::copy_n(other.data->publicKey, sizeof other.data->publicKey, product.data->publicKey);
  EXPECT_NE(signedPoint(*product.data, sign(*product.data, other.key, digest), digest), point);
}

// The number was computed with another program: SHA-512 of the text with its NUL, a zero byte, the
// key, the public key, the root selector, the words of the hash and the digest, modulo the order.
TEST(Signer, PointIsTheMultipleByAHashOfKeyAndDigest) {
  const std::string folder = TEST_DATA_DIR "/vectors/product-a";
  SigningKey key;
  readSigningKey(folder, key);
  const auto product = readProductData(folder);
  const std::string digest(SignatureRecord::kDigestSize, 'd');
  const std::string r = unhex("7b1a10049c5f71c35a10faad29a817d5e3ae100b0833aa0e30bbd43cc3dc9a08");
  EXPECT_EQ(hex(signedPoint(*product, sign(*product, key, digest), digest)),
            hex(SlowPoint::base().times(r).xBytes()));
}

TEST(Signer, OtherKeysMakeOtherSignatures) {
  const MadeProduct product;
  const MadeProduct other;
  const ProductInUse inUse(*product.data);
  // As somebody would forge: everything but the key is the product's.
  ProductData forged = *product.data;
  std::copy(std::begin(other.data->publicKey), std::end(other.data->publicKey), forged.publicKey);
  const std::string digest(SignatureRecord::kDigestSize, 'd');
  EXPECT_FALSE(goodSignatureRecord(Signer(forged, other.key).sign(data(digest)), data(digest)));
}

TEST(Signer, RefusesAKeyThatIsNotThePublicKeys) {
  const MadeProduct product;
  const MadeProduct other;
  EXPECT_EQ(failureOf([&] { Signer(*product.data, other.key); }),
            "signing-key: is not the key of public-key");
}

TEST(Signer, RefusesAKeyOfNothing) {
  const MadeProduct product;
  const SigningKey zero;
  EXPECT_EQ(failureOf([&] { Signer(*product.data, zero); }),
            "signing-key: is a multiple of the group's order");
}

// Without a root of -1 half of all keys have no point for the verifier.
TEST(Signer, RefusesAKeyThatTheVerifierFindsNoPointFor) {
  for (;;) {
    MadeProduct product;
    std::fill(std::begin(product.data->rootSelector), std::end(product.data->rootSelector), 1);
    const SlowNumber x = SlowNumber::fromBytes(bytesOf(product.data->publicKey));
    SlowNumber y;
    if (slowRoot(slowRightSide(x), SlowNumber::fromBytes(bytesOf(product.data->rootSelector)), y))
      continue;
    EXPECT_EQ(failureOf([&] { Signer(*product.data, product.key); }),
              "public-key: is on no point of the curve");
    return;
  }
}

TEST(Signer, TakesAKeyAboveTheGroupOrder) {
  TestRandom random;
  MadeProduct product;
  // One more group order: the same multiple of the base point.
  const std::string order =
      unhex("edd3f55c1a631258d69cf7a2def9de1400000000000000000000000000000010");
  unsigned carry = 0;
  for (std::size_t i = 0; i < order.size(); ++i) {
    carry += product.key.bytes[i];
    carry += static_cast<unsigned char>(order[i]);
    product.key.bytes[i] = static_cast<unsigned char>(carry);
    carry >>= 8;
  }
  expectGoodSignatures(*product.data, product.key, random);
}

TEST(SignatureFor, SignsWithTheBuiltInProductsKey) {
  const std::string digest(SignatureRecord::kDigestSize, 'd');
  const std::string signature = signatureFor(data(digest));
  ASSERT_EQ(signature.size(), std::size_t{SignatureRecord::kSize});
  EXPECT_TRUE(verifiesIndependently(kBuiltInProductData, signature, digest));
}

}  // namespace
