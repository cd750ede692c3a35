#include "package/depfile.h"

#include "tests/support/tree.h"

#include <cerrno>

#include <gtest/gtest.h>

namespace {

class DepFile : public testing::Test {
 protected:
  // The entries read, and "broken" when the reader says so.
  std::string read(const std::string& contents, bool withWeight) {
    writeFile(path_, contents);
    std::vector<PackageDep> list;
    const bool good = readDepFile(path_, list, withWeight);
    std::string text;
    for (const PackageDep& entry : list) {
      text += entry.name + ' ' + std::to_string(entry.minVersion) + ' ' +
              std::to_string(entry.maxVersion) + ' ' + std::to_string(entry.weight) + '|';
    }
    return good ? text : text + "broken";
  }

  TempFolder folder_;
  const std::string path_ = folder_.path() + "/list";
};

TEST_F(DepFile, EntriesAreWordsHoweverTheyAreSeparated) {
  EXPECT_EQ(read("a 1 2\nb 3 4\n", false), "a 1 2 0|b 3 4 0|");
  EXPECT_EQ(read("\n\t a\n1\n2 b 3\r\n4", false), "a 1 2 0|b 3 4 0|");
}

TEST_F(DepFile, EmptyFileIsAnEmptyList) {
  EXPECT_EQ(read("", false), "");
  EXPECT_EQ(read(" \n\n", true), "");
}

TEST_F(DepFile, MissingFileIsAnEmptyList) {
  std::vector<PackageDep> list;
  EXPECT_TRUE(readDepFile(folder_.path() + "/missing", list, false));
  EXPECT_TRUE(list.empty());
}

TEST_F(DepFile, DirectoryIsAnEmptyList) {
  std::vector<PackageDep> list;
  EXPECT_TRUE(readDepFile(folder_.path(), list, true));
  EXPECT_TRUE(list.empty());
}

TEST_F(DepFile, EntriesAreAppended) {
  writeFile(path_, "b 1 2\n");
  std::vector<PackageDep> list(1);
  EXPECT_TRUE(readDepFile(path_, list, false));
  ASSERT_EQ(list.size(), 2U);
  EXPECT_EQ(list[1].name, "b");
}

TEST_F(DepFile, EntryWithoutItsNumbersIsBroken) {
  EXPECT_EQ(read("a 1 2\nb", false), "a 1 2 0|broken");
  EXPECT_EQ(read("a 1 2\nb 3\n", false), "a 1 2 0|broken");
  EXPECT_EQ(read("a 1 x\n", false), "broken");
  EXPECT_EQ(read("a x 1\nb 1 2\n", false), "broken");
}

TEST_F(DepFile, EntryWithoutItsWeightIsBroken) {
  EXPECT_EQ(read("a 1 2 3\nb 4 5\n", true), "a 1 2 3|broken");
  EXPECT_EQ(read("a 1 2 x\n", true), "broken");
}

TEST_F(DepFile, WeightWhereNoneIsExpectedIsTheNextName) {
  EXPECT_EQ(read("a 1 2 3\nb 4 5\n", false), "a 1 2 0|broken");
  EXPECT_EQ(read("a 1 2 3 4 5\n", false), "a 1 2 0|3 4 5 0|");
}

TEST_F(DepFile, VersionsAreUnsigned) {
  EXPECT_EQ(read("a +1 4294967295\n", false), "a 1 4294967295 0|");
  EXPECT_EQ(read("a -1 2\n", false), "a 4294967295 2 0|");
  EXPECT_EQ(read("a 4294967296 2\n", false), "broken");
}

TEST_F(DepFile, WeightsAreSigned) {
  EXPECT_EQ(read("a 1 2 -2147483648\n", true), "a 1 2 -2147483648|");
  EXPECT_EQ(read("a 1 2 +2147483647\n", true), "a 1 2 2147483647|");
  EXPECT_EQ(read("a 1 2 2147483648\n", true), "broken");
  EXPECT_EQ(read("a 1 2 -2147483649\n", true), "broken");
}

TEST_F(DepFile, NumberEndsWhereItsDigitsEnd) {
  EXPECT_EQ(read("a 1 2x 3 4\n", false), "a 1 2 0|x 3 4 0|");
}

TEST_F(DepFile, WrittenWithAndWithoutWeight) {
  PackageDep entry;
  entry.name = "a";
  entry.minVersion = 1;
  entry.maxVersion = 4294967295U;
  entry.weight = -3;
  EXPECT_TRUE(writeDepFile(path_, {entry, entry}, true));
  EXPECT_EQ(readFile(path_), "a 1 4294967295 -3\na 1 4294967295 -3\n");
  EXPECT_TRUE(writeDepFile(path_, {entry}, false));
  EXPECT_EQ(readFile(path_), "a 1 4294967295\n");
  EXPECT_TRUE(writeDepFile(path_, {}, false));
  EXPECT_EQ(readFile(path_), "");
}

TEST_F(DepFile, FailureToWriteKeepsItsReason) {
  EXPECT_FALSE(writeDepFile(folder_.path() + "/missing/list", {}, false));
  EXPECT_EQ(errno, ENOENT);
  EXPECT_FALSE(writeDepFile(folder_.path(), {}, false));
  EXPECT_EQ(errno, EISDIR);
}

TEST_F(DepFile, FullDiskIsNoticed) {
  if (!exists("/dev/full")) GTEST_SKIP() << "there is no /dev/full";
  PackageDep entry;
  entry.name = "a";
  EXPECT_FALSE(writeDepFile("/dev/full", {entry}, false));
  EXPECT_EQ(errno, ENOSPC);
}

}  // namespace
