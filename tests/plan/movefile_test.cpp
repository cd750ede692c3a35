#include "plan/movefile.h"

#include "tests/support/privilege.h"
#include "tests/support/tree.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

class MoveFile : public testing::Test {
 protected:
  std::string at(const std::string& name) const { return folder_.path() + "/" + name; }
  void expectAsBefore(const std::string& contents) const {
    EXPECT_EQ(listTree(folder_.path(), 0), "/from file\n");
    EXPECT_EQ(readFile(at("from")), contents);
  }

  TempFolder folder_;
};

TEST_F(MoveFile, TakesTheFileAway) {
  writeFile(at("from"), "contents");
  EXPECT_TRUE(moveFile(at("from"), at("to")));
  EXPECT_EQ(listTree(folder_.path(), 0), "/to file\n");
  EXPECT_EQ(readFile(at("to")), "contents");
}

TEST_F(MoveFile, TakesAnEmptyFile) {
  writeFile(at("from"), "");
  EXPECT_TRUE(moveFile(at("from"), at("to")));
  EXPECT_EQ(listTree(folder_.path(), kTreeSize), "/to file size=0\n");
}

TEST_F(MoveFile, TakesFilesOfManySizes) {
  for (const std::size_t size : {1u, 4095u, 4096u, 16383u, 16384u, 16385u, 32768u, 100000u}) {
    std::string contents;
    for (std::size_t i = 0; i < size; ++i) contents += static_cast<char>(i * 7 + i / 256);
    writeFile(at("from"), contents);
    ASSERT_TRUE(moveFile(at("from"), at("to"))) << size;
    ASSERT_EQ(readFile(at("to")), contents) << size;
    ASSERT_FALSE(exists(at("from"))) << size;
  }
}

TEST_F(MoveFile, ReplacesWhatIsThere) {
  writeFile(at("from"), "new");
  writeFile(at("to"), "old and longer");
  EXPECT_TRUE(moveFile(at("from"), at("to")));
  EXPECT_EQ(readFile(at("to")), "new");
}

TEST_F(MoveFile, LeavesTheFileWhenTheTargetCannotBeMade) {
  writeFile(at("from"), "contents");
  EXPECT_FALSE(moveFile(at("from"), at("missing/to")));
  expectAsBefore("contents");
}

TEST_F(MoveFile, LeavesTheFileWhenTheTargetIsAFolder) {
  writeFile(at("from"), "contents");
  makeFolders(at("to"));
  EXPECT_FALSE(moveFile(at("from"), at("to")));
  EXPECT_EQ(listTree(folder_.path(), kTreeSize), "/from file size=8\n/to dir\n");
}

TEST_F(MoveFile, FailsWithoutASource) {
  EXPECT_FALSE(moveFile(at("from"), at("to")));
  EXPECT_EQ(listTree(folder_.path(), 0), "");
}

TEST_F(MoveFile, LeavesTheTargetAloneWithoutASource) {
  writeFile(at("to"), "old");
  EXPECT_FALSE(moveFile(at("from"), at("to")));
  EXPECT_EQ(readFile(at("to")), "old");
}

// A folder opens, but reading it fails, which looks like an empty file.
TEST_F(MoveFile, FailsWhenTheSourceCannotBeRead) {
  makeFolders(at("from"));
  EXPECT_FALSE(moveFile(at("from"), at("to")));
  EXPECT_EQ(listTree(folder_.path(), 0), "/from dir\n");
}

// A file that ends before its size, as one does behind which the flash cannot be read. The kernel's
// attribute files are such: they have the size of a page.
TEST_F(MoveFile, LeavesASourceThatEndsEarly) {
  const std::string source = "/sys/kernel/mm/transparent_hugepage/enabled";
  struct stat info = {};
  if (stat(source.c_str(), &info) != 0 || info.st_size == 0) {
    GTEST_SKIP() << "no file that is shorter than its size: " << source;
  }
  EXPECT_FALSE(moveFile(source, at("to")));
  EXPECT_FALSE(exists(at("to")));
  EXPECT_TRUE(exists(source));
}

// These have no size at all.
TEST_F(MoveFile, LeavesASourceThatEndsLate) {
  EXPECT_FALSE(moveFile("/proc/version", at("to")));
  EXPECT_FALSE(exists(at("to")));
}

TEST_F(MoveFile, RemovesThePartialCopyWhenTheDeviceIsFull) {
  writeFile(at("from"), std::string(50000, 'x'));
  ASSERT_EQ(symlink("/dev/full", at("to").c_str()), 0);
  EXPECT_FALSE(moveFile(at("from"), at("to")));
  EXPECT_TRUE(exists("/dev/full"));
  expectAsBefore(std::string(50000, 'x'));
}

// All of it fits into one write, which fails.
TEST_F(MoveFile, LeavesASmallFileWhenTheDeviceIsFull) {
  writeFile(at("from"), "contents");
  ASSERT_EQ(symlink("/dev/full", at("to").c_str()), 0);
  EXPECT_FALSE(moveFile(at("from"), at("to")));
  expectAsBefore("contents");
}

// In a child process, which may then make no file longer than that.
TEST_F(MoveFile, RemovesThePartialCopyWhenTheDeviceFillsUp) {
  const std::string contents(50000, 'x');
  writeFile(at("from"), contents);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit = {20000, 20000};
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0) _exit(2);
    _exit(moveFile(at("from"), at("to")) ? 1 : 0);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  expectAsBefore(contents);
}

}  // namespace
