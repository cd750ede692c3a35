#include "stream/outputfile.h"

#include "tests/support/tree.h"

#include <cerrno>

#include <gtest/gtest.h>
#include <unistd.h>

namespace {

class OutputFileTest : public testing::Test {
 protected:
  TempFolder folder_;
  const std::string path_ = folder_.path() + "/file";
};

TEST_F(OutputFileTest, KeepsFewBytesBackUntilItIsClosed) {
  OutputFile file(path_);
  EXPECT_TRUE(file.write("abc"));
  EXPECT_EQ(readFile(path_), "");
  EXPECT_TRUE(file.close());
  EXPECT_EQ(readFile(path_), "abc");
}

TEST_F(OutputFileTest, KeepsLessThanAPageBack) {
  OutputFile file(path_);
  const std::string half(2048, 'a');
  EXPECT_TRUE(file.write(half));
  EXPECT_TRUE(file.write(half));
  EXPECT_EQ(readFile(path_), half + half);
  EXPECT_TRUE(file.write("b"));
  EXPECT_EQ(readFile(path_), half + half);
  EXPECT_TRUE(file.close());
  EXPECT_EQ(readFile(path_), half + half + "b");
}

TEST_F(OutputFileTest, KeepsTheOrderOfSmallAndLargeWrites) {
  OutputFile file(path_);
  const std::string page(4096, 'p');
  EXPECT_TRUE(file.write(page));
  EXPECT_EQ(readFile(path_), page);
  EXPECT_TRUE(file.write("a"));
  EXPECT_TRUE(file.write(page));
  EXPECT_TRUE(file.write("b"));
  EXPECT_TRUE(file.close());
  EXPECT_EQ(readFile(path_), page + "a" + page + "b");
}

TEST_F(OutputFileTest, AppendsOrStartsAnew) {
  writeFile(path_, "old");
  OutputFile appended(path_, OutputFile::kAppend);
  appended.write("new");
  EXPECT_TRUE(appended.close());
  EXPECT_EQ(readFile(path_), "oldnew");
  OutputFile anew(path_);
  EXPECT_TRUE(anew.close());
  EXPECT_EQ(readFile(path_), "");
}

TEST_F(OutputFileTest, WhatWasKeptBackIsLostWithoutClose) {
  { OutputFile(path_).write("abc"); }
  EXPECT_EQ(readFile(path_), "");
}

TEST_F(OutputFileTest, FailureToOpenKeepsItsReason) {
  OutputFile file(folder_.path() + "/missing/file");
  errno = 0;
  EXPECT_FALSE(file.good());
  EXPECT_EQ(errno, ENOENT);
  errno = 0;
  EXPECT_FALSE(file.write("abc"));
  EXPECT_EQ(errno, ENOENT);
  errno = 0;
  EXPECT_FALSE(file.close());
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(OutputFileTest, AFolderIsNoFile) {
  EXPECT_FALSE(writeTextFile(folder_.path(), "abc"));
  EXPECT_EQ(errno, EISDIR);
}

TEST_F(OutputFileTest, FullDiskIsNoticedByTheCallThatWrites) {
  if (!exists("/dev/full")) GTEST_SKIP() << "there is no /dev/full";
  OutputFile kept("/dev/full");
  EXPECT_TRUE(kept.write("abc"));
  EXPECT_FALSE(kept.close());
  EXPECT_EQ(errno, ENOSPC);
  OutputFile file("/dev/full");
  EXPECT_FALSE(file.write(std::string(4096, 'x')));
  EXPECT_EQ(errno, ENOSPC);
  errno = 0;
  EXPECT_FALSE(file.close());
  EXPECT_EQ(errno, ENOSPC);
}

TEST_F(OutputFileTest, FollowsALinkUnlessToldNotTo) {
  const std::string link = folder_.path() + "/link";
  ASSERT_EQ(symlink(path_.c_str(), link.c_str()), 0);
  EXPECT_FALSE(writeTextFile(link, "abc"));
  EXPECT_EQ(errno, ELOOP);
  EXPECT_TRUE(OutputFile(link).close());
  EXPECT_TRUE(exists(path_));
}

}  // namespace
