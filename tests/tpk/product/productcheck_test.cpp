#include "tools/tpk/product/productcheck.h"

#include "tests/support/hex.h"
#include "tests/support/slowcurve.h"
#include "tests/tpk/failuretext.h"
#include "tests/tpk/product/productworld.h"

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using Lines = std::vector<std::string>;

class CheckProduct : public ProductWorld {
 protected:
  void usePublicKey(const std::string& bytes) {
    writeFile(file("public-key"), hex(bytes) + "\n");
    removeTree(file("signing-key"));
  }
  Lines problems() const { return checkProduct(folder_).problems; }
};

// The two roots of an x-coordinate's right side, where it has any.
bool pointAt(const SlowNumber& x, SlowNumber& y) {
  // 2^((p-1)/4)
  const std::string exponent =
      unhex("fbffffffffffffffffffffffffffffffffffffffffffffffffffffffffffff1f");
  return slowRoot(slowRightSide(x), SlowNumber(2).power(exponent), y);
}

TEST_F(CheckProduct, FindsAFreshOneGood) {
  writeFresh();
  const ProductReport report = checkProduct(folder_);
  EXPECT_EQ(report.problems, Lines());
  EXPECT_EQ(report.findings,
            (Lines{file("public-key") + ": a point of the curve",
                   file("root-selector") + ": a square root of -1",
                   file("hash-state") + ": 8 words", file("hash-constants") + ": 64 words",
                   file("known-digests") + ": 953 digests, 953 places free",
                   file("signing-key") + ": the key of public-key"}));
  EXPECT_TRUE(report.hasSigningKey);
}

TEST_F(CheckProduct, NeedsNoSigningKey) {
  writeFresh();
  removeTree(file("signing-key"));
  EXPECT_EQ(problems(), Lines());
  EXPECT_FALSE(checkProduct(folder_).hasSigningKey);
}

TEST_F(CheckProduct, NamesEveryFileThatIsMissing) {
  writeFresh();
  removeTree(file("hash-state"));
  removeTree(file("known-digests"));
  EXPECT_EQ(problems(),
            (Lines{file("hash-state") + ": cannot be opened: No such file or directory",
                   file("known-digests") + ": cannot be opened: No such file or directory"}));
}

TEST_F(CheckProduct, NamesEveryFileThatIsWrong) {
  writeFresh();
  for (const char* name : {"public-key", "root-selector", "hash-state", "hash-constants",
                           "known-digests", "signing-key"}) {
    const std::string original = readFile(file(name));
    writeFile(file(name), original + "00");
    const Lines found = problems();
    ASSERT_EQ(found.size(), 1U) << name;
    EXPECT_EQ(found[0].find(file(name) + ": expected "), 0U) << found[0];
    writeFile(file(name), original);
  }
}

TEST_F(CheckProduct, NeedsTheFolder) {
  EXPECT_EQ(failureOf([this] { checkProduct(folder_); }), folder_ + ": is no folder");
}

TEST_F(CheckProduct, RefusesAKeyOnNoPoint) {
  writeFresh();
  std::uint32_t x = 2;
  for (SlowNumber y; pointAt(SlowNumber(x), y);) ++x;
  usePublicKey(SlowNumber(x).bytes());
  EXPECT_EQ(problems(),
            Lines{file("public-key") + ": is on no point of the curve: nothing verifies with it"});
}

// Orders 2, 4 and 8; RFC 7748, section 6.1, tells of such keys.
TEST_F(CheckProduct, RefusesKeysThatAnybodyCanSignFor) {
  for (const char* key : {"0000000000000000000000000000000000000000000000000000000000000000",
                          "0100000000000000000000000000000000000000000000000000000000000000",
                          "e0eb7a7c3b41b8ae1656e3faf19fc46ada098deb9c32b1fd866205165f49b800",
                          "5f9c95bca3508c24b1d0b1559c83ef5b04445cc4581c8e86d8224eddd09f1157"}) {
    writeFresh();
    usePublicKey(unhex(key));
    EXPECT_EQ(problems(),
              Lines{file("public-key") + ": is a point of small order: anybody can sign for it"});
    removeTree(folder_);
  }
}

TEST_F(CheckProduct, RefusesAKeyThatIsNoMultiple) {
  writeFresh();
  SlowNumber y;
  ASSERT_TRUE(pointAt(SlowNumber(1), y));
  const std::string scalar(reinterpret_cast<const char*>(key_.bytes), sizeof key_.bytes);
  usePublicKey((SlowPoint::base().times(scalar) + SlowPoint::at(1, y)).xBytes());
  EXPECT_EQ(problems(), Lines{file("public-key") +
                              ": is no multiple of the base point: no signing key is its own"});
}

TEST_F(CheckProduct, RefusesTheBasePoint) {
  writeFresh();
  usePublicKey(SlowNumber(9).bytes());
  EXPECT_EQ(problems(), Lines{file("public-key") + ": is the base point: everybody knows its key"});
}

TEST_F(CheckProduct, RefusesASelectorThatIsNoRoot) {
  writeFresh();
  data_->rootSelector[0] ^= 1;
  writeAgain();
  EXPECT_EQ(problems(), Lines{file("root-selector") + ": its square is not -1"});
}

TEST_F(CheckProduct, TakesTheOtherRoot) {
  writeFresh();
  const std::string selector(reinterpret_cast<const char*>(data_->rootSelector), 32);
  const std::string other = (SlowNumber(0) - SlowNumber::fromBytes(selector)).bytes();
  std::copy(other.begin(), other.end(), data_->rootSelector);
  writeAgain();
  EXPECT_EQ(problems(), Lines());
}

TEST_F(CheckProduct, RefusesAnotherKeysSigningKey) {
  writeFresh();
  key_.bytes[0] ^= 1;
  writeAgain();
  EXPECT_EQ(problems(), Lines{file("signing-key") + ": is not the key of public-key"});
}

TEST_F(CheckProduct, CountsTheFreePlaces) {
  writeFresh();
  data_->knownDigests[0][19] = 0xfe;
  data_->knownDigests[952][0] = 0;
  writeAgain();
  EXPECT_EQ(checkProduct(folder_).findings[4],
            file("known-digests") + ": 953 digests, 951 places free");
}

}  // namespace
