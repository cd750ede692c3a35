#include "tools/tpk/product/newproduct.h"

#include "tests/support/hex.h"
#include "tests/support/slowcurve.h"

#include <cstring>
#include <set>
#include <string>

#include <gtest/gtest.h>

namespace {

std::string stringOf(const unsigned char* bytes) {
  return std::string(reinterpret_cast<const char*>(bytes), 32);
}

TEST(NewProduct, PublicKeyIsTheMultipleOfTheBasePoint) {
  SigningKey key;
  const auto data = makeProductData(key);
  EXPECT_EQ(hex(stringOf(data->publicKey)),
            hex(SlowPoint::base().times(stringOf(key.bytes)).xBytes()));
}

TEST(NewProduct, RootSelectorIsEitherRootOfMinusOne) {
  std::set<std::string> selectors;
  for (int round = 0; round < 40; ++round) {
    SigningKey key;
    selectors.insert(stringOf(makeProductData(key)->rootSelector));
  }
  EXPECT_EQ(selectors.size(), 2U);
  for (const std::string& selector : selectors) {
    const SlowNumber root = SlowNumber::fromBytes(selector);
    EXPECT_TRUE(root * root == SlowNumber(0) - 1);
  }
}

TEST(NewProduct, EveryValueIsFresh) {
  SigningKey keys[2];
  const auto one = makeProductData(keys[0]);
  const auto two = makeProductData(keys[1]);
  EXPECT_NE(std::memcmp(keys[0].bytes, keys[1].bytes, sizeof keys[0].bytes), 0);
  EXPECT_NE(std::memcmp(one->publicKey, two->publicKey, sizeof one->publicKey), 0);
  for (unsigned i = 0; i < ProductData::kStateWords; ++i)
    EXPECT_FALSE(one->hashState[i] == 0 && two->hashState[i] == 0) << i;
  for (unsigned i = 0; i < ProductData::kConstantWords; ++i)
    EXPECT_FALSE(one->hashConstants[i] == 0 && two->hashConstants[i] == 0) << i;
}

// A list of random digests could hide those of real packages.
TEST(NewProduct, EveryPlaceOfTheListIsFree) {
  SigningKey key;
  const auto data = makeProductData(key);
  for (const auto& digest : data->knownDigests)
    EXPECT_EQ(hex(std::string(reinterpret_cast<const char*>(digest), sizeof digest)),
              std::string(40, 'f'));
}

}  // namespace
