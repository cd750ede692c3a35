#include "tools/tpk/product/productfolder.h"

#include "tests/tpk/failuretext.h"
#include "tests/tpk/product/productworld.h"

#include <cstring>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using ::testing::HasSubstr;

class ProductFolder : public ProductWorld {
 protected:
  std::string readFailure() const {
    return failureOf([this] { readProductData(folder_); });
  }

  // The failure of reading when one of the files has another text.
  std::string failureWith(const std::string& name, const std::string& text) {
    const std::string original = readFile(file(name));
    writeFile(file(name), text);
    std::string failure = readFailure();
    writeFile(file(name), original);
    return failure;
  }
};

TEST_F(ProductFolder, ReadsWhatItWrote) {
  writeFresh();
  const auto read = readProductData(folder_);
  EXPECT_EQ(std::memcmp(read.get(), data_.get(), sizeof *data_), 0);
  SigningKey key;
  readSigningKey(folder_, key);
  EXPECT_EQ(std::memcmp(key.bytes, key_.bytes, sizeof key.bytes), 0);
}

TEST_F(ProductFolder, OnlyTheOwnerReadsTheSigningKey) {
  writeFresh();
  EXPECT_THAT(listTree(folder_, kTreeMode), HasSubstr("/signing-key file 0600\n"));
}

TEST_F(ProductFolder, HasSixFiles) {
  writeFresh();
  EXPECT_EQ(listTree(folder_, 0),
            "/hash-constants file\n/hash-state file\n/known-digests file\n/public-key file\n"
            "/root-selector file\n/signing-key file\n");
}

TEST_F(ProductFolder, WordsAreNumbers) {
  writeFresh();
  writeFile(file("hash-state"),
            "00000001 00000203 04050607 ffffffff\n80000000 00000000 00000000 deadbeef\n");
  const auto read = readProductData(folder_);
  EXPECT_EQ(read->hashState[0], 1U);
  EXPECT_EQ(read->hashState[1], 0x203U);
  EXPECT_EQ(read->hashState[2], 0x04050607U);
  EXPECT_EQ(read->hashState[7], 0xdeadbeefU);
}

TEST_F(ProductFolder, TakesAnyWhiteSpaceAndComments) {
  writeFresh();
  writeFile(file("hash-state"),
            "# comment: 12 (not a digit)\n\t00000001\r\n00000002 00000003#directly behind\n"
            "00000004 00000005 00000006 00000007 00000008 # no line end");
  EXPECT_EQ(readProductData(folder_)->hashState[7], 8U);
}

TEST_F(ProductFolder, NamesTheFileThatIsMissing) {
  writeFresh();
  for (const char* name :
       {"public-key", "root-selector", "hash-state", "hash-constants", "known-digests"}) {
    const std::string original = readFile(file(name));
    removeTree(file(name));
    EXPECT_EQ(readFailure(), file(name) + ": cannot be opened: No such file or directory");
    writeFile(file(name), original);
  }
  EXPECT_EQ(readFailure(), "no failure");
}

TEST_F(ProductFolder, DoesNotNeedTheSigningKeyForTheData) {
  writeFresh();
  removeTree(file("signing-key"));
  EXPECT_EQ(readFailure(), "no failure");
  SigningKey key;
  EXPECT_EQ(failureOf([&] { readSigningKey(folder_, key); }),
            file("signing-key") + ": cannot be opened: No such file or directory");
}

TEST_F(ProductFolder, SaysWhatWasExpected) {
  writeFresh();
  const std::string expected =
      file("hash-state") + ": expected 8 words of 8 lower-case hex digits, found ";
  EXPECT_EQ(failureWith("hash-state", ""), expected + "0");
  EXPECT_EQ(failureWith("hash-state", "00000001 00000002\n"), expected + "2");
  EXPECT_EQ(failureWith("hash-state", "1 2 3 4 5 6 7 8 9"), expected + "one of 1 digits in line 1");
  EXPECT_EQ(failureWith("hash-state", "\n# x\n0000000A"),
            expected + "a character that is no such digit in line 3");
  EXPECT_EQ(failureWith("hash-state", "0000000g"),
            expected + "a character that is no such digit in line 1");
  EXPECT_EQ(failureWith("public-key", "00"),
            file("public-key") + ": expected 32 bytes of 2 lower-case hex digits, found 1");
  EXPECT_EQ(failureWith("public-key", "00 000"),
            file("public-key") +
                ": expected 32 bytes of 2 lower-case hex digits, found one of 3 digits in line 1");
  EXPECT_EQ(failureWith("hash-state", std::string("#\n\0", 3)), expected + "a NUL byte in line 2");
}

TEST_F(ProductFolder, RefusesOneDigestTooMany) {
  writeFresh();
  const std::string text = readFile(file("known-digests"));
  EXPECT_EQ(
      failureWith("known-digests", text + std::string(40, '0')),
      file("known-digests") + ": expected 953 digests of 40 lower-case hex digits, found 954");
}

TEST_F(ProductFolder, IsNotOverwritten) {
  writeFresh();
  const std::string before = listTree(folder_, kTreeContents);
  EXPECT_EQ(failureOf([this] { writeFresh(); }),
            file("public-key") + ": exists already and is not overwritten");
  EXPECT_EQ(listTree(folder_, kTreeContents), before);
}

TEST_F(ProductFolder, IsNotMixedWithASingleOldFile) {
  writeFile(file("signing-key"), "old\n");
  EXPECT_EQ(failureOf([this] { writeFresh(); }),
            file("signing-key") + ": exists already and is not overwritten");
  EXPECT_EQ(listTree(folder_, 0), "/signing-key file\n");
}

TEST_F(ProductFolder, MayStandEmpty) {
  makeFolders(folder_);
  writeFresh();
  EXPECT_EQ(readFailure(), "no failure");
}

TEST_F(ProductFolder, NeedsAFolderAboveIt) {
  folder_ = temp_.path() + "/missing/product";
  EXPECT_EQ(failureOf([this] { writeFresh(); }),
            folder_ + ": cannot be created: No such file or directory");
  EXPECT_EQ(listTree(temp_.path(), 0), "");
}

TEST_F(ProductFolder, IsNoFile) {
  writeFile(folder_, "in the way");
  EXPECT_EQ(failureOf([this] { writeFresh(); }),
            file("signing-key") + ": cannot be created: Not a directory");
  EXPECT_EQ(readFile(folder_), "in the way");
}

TEST_F(ProductFolder, CutAnywhereIsRefusedOrWhole) {
  writeFresh();
  const std::string whole = readFile(file("hash-state"));
  for (std::size_t size = 0; size + 1 < whole.size(); ++size)  // the last line end may miss
    EXPECT_NE(failureWith("hash-state", whole.substr(0, size)), "no failure") << size;
}

}  // namespace
