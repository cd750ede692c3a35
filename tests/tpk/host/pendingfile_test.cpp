#include "tools/tpk/host/pendingfile.h"

#include "tests/support/privilege.h"
#include "tests/support/tree.h"
#include "tests/tpk/failuretext.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

class Pending : public ::testing::Test {
 protected:
  std::string path(const std::string& name) const { return temp_.path() + "/" + name; }
  std::string tree(unsigned fields = 0) const { return listTree(temp_.path(), fields); }

  static void fill(PendingFile& pending, const std::string& contents) {
    std::ofstream(pending.workPath()) << contents;
  }
  static void write(const std::string& to, const std::string& contents) {
    PendingFile pending(to);
    fill(pending, contents);
    pending.commit();
  }

  TempFolder temp_;
};

TEST_F(Pending, NothingIsCreatedBeforeItIsWritten) {
  const PendingFile pending(path("out"));
  EXPECT_EQ(tree(), "");
}

TEST_F(Pending, AppearsWhenItIsWhole) {
  PendingFile pending(path("out"));
  fill(pending, "new");
  EXPECT_FALSE(exists(path("out")));
  pending.commit();
  EXPECT_EQ(readFile(path("out")), "new");
  EXPECT_EQ(tree(), "/out file\n");
}

TEST_F(Pending, ReplacesARegularFileWhole) {
  writeFile(path("out"), "old");
  {
    PendingFile pending(path("out"));
    fill(pending, "new");
    EXPECT_EQ(readFile(path("out")), "old");
  }
  EXPECT_EQ(readFile(path("out")), "old");
  EXPECT_EQ(tree(), "/out file\n");
  write(path("out"), "new");
  EXPECT_EQ(readFile(path("out")), "new");
}

TEST_F(Pending, HasTheModeOfAnyNewFile) {
  const mode_t before = umask(027);
  write(path("out"), "");
  umask(before);
  EXPECT_EQ(tree(kTreeMode), "/out file 0640\n");
}

TEST_F(Pending, LongNamesNeedNoLongerOnes) {
  const std::string name(255, 'x');
  write(path(name), "new");
  EXPECT_EQ(readFile(path(name)), "new");
}

TEST_F(Pending, OfALinkItsTargetIsReplaced) {
  writeFile(path("real/out"), "old");
  ASSERT_EQ(symlink("real/out", path("second").c_str()), 0);
  ASSERT_EQ(symlink("second", path("first").c_str()), 0);
  write(path("first"), "new");
  EXPECT_EQ(readFile(path("real/out")), "new");
  EXPECT_EQ(tree(kTreeTarget),
            "/first link -> second\n/real dir\n/real/out file\n/second link -> real/out\n");
}

TEST_F(Pending, LinkToNothingIsFilled) {
  makeFolders(path("real"));
  ASSERT_EQ(symlink(path("real/out").c_str(), path("link").c_str()), 0);
  write(path("link"), "new");
  EXPECT_EQ(readFile(path("real/out")), "new");
}

TEST_F(Pending, LinksInACircleAreRefused) {
  ASSERT_EQ(symlink("b", path("a").c_str()), 0);
  ASSERT_EQ(symlink("a", path("b").c_str()), 0);
  EXPECT_EQ(failureOf([&] { PendingFile pending(path("a")); }),
            path("a") + ": cannot be created: Too many levels of symbolic links");
}

TEST_F(Pending, FoldersAreRefused) {
  EXPECT_EQ(failureOf([&] { PendingFile pending(temp_.path()); }),
            temp_.path() + ": is a folder; name a file in it");
}

TEST_F(Pending, FifoGetsTheFinishedBytes) {
  ASSERT_EQ(mkfifo(path("fifo").c_str(), 0600), 0);
  const int reader = ::open(path("fifo").c_str(), O_RDONLY | O_NONBLOCK);
  ASSERT_GE(reader, 0);
  write(path("fifo"), "new");
  char out[8] = {};
  EXPECT_EQ(::read(reader, out, sizeof out), 3);
  close(reader);
  EXPECT_STREQ(out, "new");
  EXPECT_EQ(tree(), "/fifo fifo\n");
}

TEST_F(Pending, DevicesStay) {
  EXPECT_FALSE(PendingFile("/dev/null").isReplaced());
  write("/dev/null", "new");
  struct stat status = {};
  ASSERT_EQ(::stat("/dev/null", &status), 0);
  EXPECT_TRUE(S_ISCHR(status.st_mode));
}

TEST_F(Pending, DescriptorsAreWrittenInto) {
  NEEDS_PROC();
  const int out = ::open(path("kept").c_str(), O_RDWR | O_CREAT, 0600);
  ASSERT_GE(out, 0);
  struct stat before = {};
  ASSERT_EQ(fstat(out, &before), 0);
  for (const char* folder : {"/proc/self/fd/", "/dev/fd/"}) {
    ASSERT_EQ(ftruncate(out, 0), 0);
    write(folder + std::to_string(out), "new");
    EXPECT_EQ(readFile(path("kept")), "new") << folder;
  }
  struct stat after = {};
  ASSERT_EQ(::stat(path("kept").c_str(), &after), 0);
  EXPECT_EQ(after.st_ino, before.st_ino);
  close(out);
}

TEST_F(Pending, KnowsTheFileThatItReplaces) {
  writeFile(path("out"), "old");
  writeFile(path("other"), "");
  ASSERT_EQ(symlink("out", path("link").c_str()), 0);
  const auto identity = [&](const std::string& name) {
    struct stat status = {};
    EXPECT_EQ(::stat(path(name).c_str(), &status), 0);
    return FileIdentity{status.st_dev, status.st_ino};
  };
  const PendingFile pending(path("link"));
  EXPECT_TRUE(pending.replaces(identity("out")));
  EXPECT_FALSE(pending.replaces(identity("other")));
  EXPECT_TRUE(pending.folder() == identity("."));
  EXPECT_EQ(pending.name(), "out");
}

TEST_F(Pending, FolderThatIsNotThereIsSaid) {
  const std::string nowhere = path("nowhere/out");
  EXPECT_EQ(failureOf([&] { PendingFile(nowhere).workPath(); }),
            nowhere + ": cannot be created: No such file or directory");
}

// A child with two work files, which a signal ends.
class PendingSignal : public Pending, public ::testing::WithParamInterface<int> {};

TEST_P(PendingSignal, LeavesNothing) {
  writeFile(path("out"), "old");
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const pid_t child = fork();
  if (child == 0) {
    PendingFile first(path("out"));
    PendingFile second(path("other"));
    fill(first, "new");
    fill(second, "new");
    const bool told = ::write(ready[1], "x", 1) == 1;
    while (told) pause();
    _exit(1);
  }
  char byte;
  ASSERT_EQ(::read(ready[0], &byte, 1), 1);
  close(ready[0]);
  close(ready[1]);
  EXPECT_NE(tree(), "/out file\n");
  ASSERT_EQ(kill(child, GetParam()), 0);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == GetParam());
  EXPECT_EQ(tree(), "/out file\n");
  EXPECT_EQ(readFile(path("out")), "old");
}

INSTANTIATE_TEST_SUITE_P(Of, PendingSignal, ::testing::Values(SIGINT, SIGTERM, SIGHUP));

}  // namespace
