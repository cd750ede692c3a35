#include "package/files.h"

#include "tests/support/inroot.h"

#include <chrono>
#include <climits>
#include <ctime>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

class MakeDirs : public InRoot {
 protected:
  // What is below "/d".
  static std::string made() { return listTreeAt("/", "/d", kTreeMode); }
};

TEST_F(MakeDirs, CreatesEveryMissingFolder) {
  EXPECT_TRUE(makeDirs("/d/e/f", false));
  EXPECT_EQ(made(), "/d dir 0750\n/d/e dir 0750\n/d/e/f dir 0750\n");
}

TEST_F(MakeDirs, ModeIs0770LessTheMask) {
  umask(0);
  EXPECT_TRUE(makeDirs("/d", false));
  EXPECT_EQ(made(), "/d dir 0770\n");
}

TEST_F(MakeDirs, ParentsOnlyLeavesThePathItselfOut) {
  EXPECT_TRUE(makeDirs("/d/e/f", true));
  EXPECT_EQ(made(), "/d dir 0750\n/d/e dir 0750\n");
}

TEST_F(MakeDirs, LeavesExistingFoldersAlone) {
  makeFolders("/d");
  chmod("/d", 0700);
  EXPECT_TRUE(makeDirs("/d/e", false));
  EXPECT_TRUE(makeDirs("/d/e", false));
  EXPECT_EQ(made(), "/d dir 0700\n/d/e dir 0750\n");
}

TEST_F(MakeDirs, DropsTrailingSlashesFirst) {
  EXPECT_TRUE(makeDirs("/d/e///", false));
  EXPECT_TRUE(makeDirs("/d/f///", true));
  EXPECT_EQ(made(), "/d dir 0750\n/d/e dir 0750\n");
}

TEST_F(MakeDirs, DoubledSlashesAreOne) {
  EXPECT_TRUE(makeDirs("//d///e//f", false));
  EXPECT_TRUE(makeDirs("/d/g//h", true));
  EXPECT_EQ(made(), "/d dir 0750\n/d/e dir 0750\n/d/e/f dir 0750\n/d/g dir 0750\n");
}

TEST_F(MakeDirs, DotFoldersAreNoFolders) {
  EXPECT_TRUE(makeDirs("/d/./e/.", false));
  EXPECT_EQ(made(), "/d dir 0750\n/d/e dir 0750\n");
}

TEST_F(MakeDirs, StopsAtTheRootAndAtTheWorkingFolder) {
  for (const char* path : {"/", "///", ".", "./", "./."}) {
    EXPECT_TRUE(makeDirs(path, false)) << path;
    EXPECT_TRUE(makeDirs(path, true)) << path;
  }
}

TEST_F(MakeDirs, RelativePathsStartInTheWorkingFolder) {
  makeFolders("/d");
  ASSERT_EQ(chdir("/d"), 0);
  EXPECT_TRUE(makeDirs("./e/f", false));
  EXPECT_TRUE(makeDirs("g/h", true));
  EXPECT_TRUE(makeDirs("./i", true));
  EXPECT_TRUE(makeDirs("j", true));
  EXPECT_EQ(made(), "/d dir 0755\n/d/e dir 0750\n/d/e/f dir 0750\n/d/g dir 0750\n");
}

TEST_F(MakeDirs, FoldersWhoseNameBeginsWithADotAreFolders) {
  makeFolders("/d");
  ASSERT_EQ(chdir("/d"), 0);
  EXPECT_TRUE(makeDirs(".a/b", false));
  EXPECT_EQ(made(), "/d dir 0755\n/d/.a dir 0750\n/d/.a/b dir 0750\n");
}

TEST_F(MakeDirs, OneCharacterFolderIsAFolder) {
  makeFolders("/d");
  ASSERT_EQ(chdir("/d"), 0);
  EXPECT_TRUE(makeDirs("a/b", true));
  EXPECT_EQ(made(), "/d dir 0755\n/d/a dir 0750\n");
}

TEST_F(MakeDirs, FailureEndsItAtOnce) {
  writeFile("/d/file", "x");
  EXPECT_FALSE(makeDirs("/d/file/e/f", false));
  EXPECT_FALSE(makeDirs("/d/file/e/f", true));
  EXPECT_EQ(made(), "/d dir 0755\n/d/file file 0644\n");
}

TEST_F(MakeDirs, WhateverExistsCountsAsExisting) {
  writeFile("/d/file", "x");
  EXPECT_TRUE(makeDirs("/d/file", false));
}

TEST_F(MakeDirs, FollowsLinksToFolders) {
  makeFolders("/d/real");
  ASSERT_EQ(symlink("real", "/d/link"), 0);
  EXPECT_TRUE(makeDirs("/d/link/e", false));
  EXPECT_EQ(listTreeAt("/", "/d/real", kTreeMode), "/d/real dir 0755\n/d/real/e dir 0750\n");
}

// A package may carry a name of 64 KiB: neither its parents' texts together, a gigabyte, nor the
// time for them must be spent.
TEST_F(MakeDirs, TensOfThousandsOfFoldersAreRefusedQuickly) {
  std::string path = "/d";
  while (path.size() < 65000) path += "/e";
  // Its own time: where no RAM disk can be mounted the folders are made on one that others use.
  const std::clock_t start = std::clock();
  struct rusage before, after;
  getrusage(RUSAGE_SELF, &before);
  EXPECT_FALSE(makeDirs(path, true));
  getrusage(RUSAGE_SELF, &after);
  EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 4096);
  EXPECT_LT(std::clock() - start, 3 * CLOCKS_PER_SEC);
  // Too deep to be removed from outside.
  ASSERT_EQ(chdir("/d"), 0);
  while (chdir("e") == 0) {
  }
  while (chdir("..") == 0 && rmdir("e") == 0) {
  }
}

TEST_F(MakeDirs, TensOfThousandsOfSlashesAreOne) {
  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(makeDirs("/d" + std::string(65000, '/') + "e", true));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
}

TEST(ParentComponent, IsTwoDotsAlone) {
  for (const char* path :
       {"..", "/..", "../", "a/..", "../a", "a/../b", "/a/..", ".../..", "//..//"})
    EXPECT_TRUE(hasParentComponent(path)) << path;
}

TEST(ParentComponent, IsNotPartOfAName) {
  for (const char* path : {"", "/", ".", "...", "..a", "a..", "a..b", "/a/..b/c..", "./.", "/.../"})
    EXPECT_FALSE(hasParentComponent(path)) << path;
}

// The guard's root is /flash; /outside lies beside it.
class Guard : public InRoot {
 protected:
  void SetUp() override {
    InRoot::SetUp();
    if (IsSkipped()) return;
    makeFolders("/flash/bin");
    makeFolders("/outside");
    guard_ = std::make_unique<PathGuard>("/flash");
  }

  static void link(const char* target, const char* path) { ASSERT_EQ(symlink(target, path), 0); }
  // "left", or where the path leads.
  std::string follow(const std::string& path) {
    return guard_->stays(path) ? guard_->resolved() : "left";
  }

  std::unique_ptr<PathGuard> guard_;
};

TEST_F(Guard, PlainPathsStay) {
  EXPECT_EQ(follow("/flash/bin/foo"), "/bin/foo");
  EXPECT_EQ(follow("/flash/foo"), "/foo");
  EXPECT_EQ(follow("/flash/missing/too/foo"), "/missing/too/foo");
}

TEST_F(Guard, EmptyAndDotComponentsAreDropped) {
  EXPECT_EQ(follow("/flash//bin///./foo"), "/bin/foo");
  EXPECT_EQ(follow("/flash//foo"), "/foo");
}

TEST_F(Guard, LinksInsideAreFollowed) {
  link("bin", "/flash/relative");
  link("/flash/bin", "/flash/absolute");
  link("relative", "/flash/second");
  link("../bin", "/flash/bin/up");
  EXPECT_EQ(follow("/flash/relative/foo"), "/bin/foo");
  EXPECT_EQ(follow("/flash/absolute/foo"), "/bin/foo");
  EXPECT_EQ(follow("/flash/second/foo"), "/bin/foo");
  EXPECT_EQ(follow("/flash/bin/up/foo"), "/bin/foo");
}

TEST_F(Guard, LinksThatLeadOutAreNoticed) {
  link("/outside", "/flash/absolute");
  link("../outside", "/flash/relative");
  link("/", "/flash/root");
  link("absolute", "/flash/second");
  EXPECT_EQ(follow("/flash/absolute/foo"), "left");
  EXPECT_EQ(follow("/flash/relative/foo"), "left");
  EXPECT_EQ(follow("/flash/root/foo"), "left");
  EXPECT_EQ(follow("/flash/second/foo"), "left");
}

// The path would end inside again, but what it passes outside may change.
TEST_F(Guard, LeavingOnTheWayCounts) {
  link("/", "/flash/root");
  EXPECT_EQ(follow("/flash/root/flash/bin/foo"), "left");
}

TEST_F(Guard, FolderWhoseNameBeginsLikeTheRootIsOutside) {
  makeFolders("/flash2");
  link("/flash2", "/flash/other");
  EXPECT_EQ(follow("/flash/other/foo"), "left");
}

TEST_F(Guard, LinkToTheRootItselfStays) {
  link(".", "/flash/here");
  EXPECT_EQ(follow("/flash/here/foo"), "/foo");
}

TEST_F(Guard, LastComponentIsNotFollowed) {
  link("/outside", "/flash/bin/out");
  EXPECT_EQ(follow("/flash/bin/out"), "/bin/out");
}

TEST_F(Guard, TrailingSlashFollowsTheLastComponent) {
  link("/outside", "/flash/bin/out");
  EXPECT_EQ(follow("/flash/bin/out/"), "left");
  EXPECT_EQ(follow("/flash/bin/"), "/bin/");
}

TEST_F(Guard, NothingCanBeBelowADanglingLink) {
  link("/nowhere", "/flash/dangling");
  EXPECT_EQ(follow("/flash/dangling/foo"), "/dangling/foo");
}

TEST_F(Guard, LinkToAFileHasNothingBelow) {
  writeFile("/outside/file", "x");
  link("/outside/file/deeper", "/flash/link");
  EXPECT_EQ(follow("/flash/link/foo"), "/link/foo");
}

TEST_F(Guard, LinksInACircleAreRefused) {
  link("b", "/flash/a");
  link("a", "/flash/b");
  EXPECT_EQ(follow("/flash/a/foo"), "left");
}

TEST_F(Guard, TwoDotsLeave) {
  for (const char* path : {"/flash/../outside/foo", "/flash/bin/../foo", "/flash/..",
                           "/flash/bin/..", "/flash/../flash/bin/foo", "/flash/bin//../foo"})
    EXPECT_EQ(follow(path), "left") << path;
}

TEST_F(Guard, PathsBesideTheRootLeave) {
  EXPECT_EQ(follow("foo"), "left");
  EXPECT_EQ(follow("/foo"), "left");
}

TEST_F(Guard, ChangedLinksAreSeenAfterForget) {
  makeFolders("/flash/lib");
  link("bin", "/flash/way");
  EXPECT_EQ(follow("/flash/way/foo"), "/bin/foo");
  ASSERT_EQ(unlink("/flash/way"), 0);
  link("/outside", "/flash/way");
  guard_->forget();
  EXPECT_EQ(follow("/flash/way/foo"), "left");
}

TEST_F(Guard, SameFolderIsThatOfThePathBefore) {
  EXPECT_TRUE(guard_->stays("/flash/bin/foo"));
  EXPECT_FALSE(guard_->sameFolder());
  EXPECT_TRUE(guard_->stays("/flash/bin/bar"));
  EXPECT_TRUE(guard_->sameFolder());
  EXPECT_TRUE(guard_->stays("/flash/lib/bar"));
  EXPECT_FALSE(guard_->sameFolder());
  guard_->forget();
  EXPECT_TRUE(guard_->stays("/flash/lib/foo"));
  EXPECT_FALSE(guard_->sameFolder());
}

TEST_F(Guard, FolderWithATrailingSlashIsNotItsOwnParent) {
  EXPECT_TRUE(guard_->stays("/flash/new/"));
  EXPECT_TRUE(guard_->stays("/flash/new/foo"));
  EXPECT_FALSE(guard_->sameFolder());
}

TEST_F(Guard, RootMayBeTheRealOne) {
  guard_ = std::make_unique<PathGuard>("/");
  link("/outside", "/flash/out");
  EXPECT_EQ(follow("/foo"), "/foo");
  EXPECT_EQ(follow("/flash/foo"), "/flash/foo");
  EXPECT_EQ(follow("/flash/out/foo"), "/outside/foo");
  EXPECT_EQ(follow("/flash/../foo"), "left");
}

TEST_F(Guard, RootMayBeTheWorkingFolder) {
  ASSERT_EQ(chdir("/flash"), 0);
  guard_ = std::make_unique<PathGuard>(".");
  link("/outside", "/flash/out");
  link("bin", "/flash/in");
  EXPECT_EQ(follow("./foo"), "/foo");
  EXPECT_EQ(follow("./bin/foo"), "/bin/foo");
  EXPECT_EQ(follow("./in/foo"), "/bin/foo");
  EXPECT_EQ(follow("./out/foo"), "left");
}

TEST_F(Guard, RootMayBeALinkItself) {
  link("flash", "/alias");
  guard_ = std::make_unique<PathGuard>("/alias");
  link("/outside", "/flash/out");
  link("/flash/bin", "/flash/in");
  EXPECT_EQ(follow("/alias/in/foo"), "/bin/foo");
  EXPECT_EQ(follow("/alias/out/foo"), "left");
}

TEST_F(Guard, RootThatIsMissingHasNoLinks) {
  guard_ = std::make_unique<PathGuard>("/missing");
  EXPECT_EQ(follow("/missing/bin/foo"), "/bin/foo");
}

TEST_F(Guard, ComponentTooLongForAFolderStays) {
  EXPECT_EQ(follow("/flash/" + std::string(300, 'a') + "/foo"),
            "/" + std::string(300, 'a') + "/foo");
}

TEST_F(Guard, PathTooLongForTheSystemStays) {
  std::string path = "/flash";
  while (path.size() < 65000) path += "/bin";
  EXPECT_TRUE(guard_->stays(path));
}

// The folder's real path is longer than the system takes; by way of the link it can be used.
TEST_F(Guard, FolderTooDeepToFollowIsRefused) {
  std::string deep;
  while (deep.size() < PATH_MAX - 220) deep += "/" + std::string(200, 'd');
  makeFolders("/flash" + deep);
  link(("." + deep).c_str(), "/flash/short");
  const std::string folder = "/flash/short/" + std::string(250, 'e');
  makeFolders(folder);
  ASSERT_EQ(symlink("/outside", (folder + "/out").c_str()), 0);
  EXPECT_TRUE(exists(folder + "/out/.")) << "the way out is there";
  EXPECT_EQ(follow(folder + "/out/foo"), "left");
  EXPECT_EQ(follow(folder + "/foo"), "left");
  // Too deep to be removed from outside.
  removeTree(folder);
  removeTree("/flash" + deep.substr(0, 201));
}

// Every link is followed anew, none makes the real path longer.
TEST_F(Guard, ThousandsOfLinksAreFollowedQuickly) {
  link(".", "/flash/l");
  std::string path = "/flash";
  while (path.size() < 65000) path += "/l";
  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(guard_->stays(path + "/foo"));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
}

}  // namespace
