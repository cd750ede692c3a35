#include "tools/tpk/host/removetree.h"

#include "tests/support/privilege.h"
#include "tests/support/tree.h"

#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

class RemoveTree : public ::testing::Test {
 protected:
  std::string path(const std::string& name) const { return temp_.path() + "/" + name; }

  TempFolder temp_;
};

TEST_F(RemoveTree, RemovesEverythingBelow) {
  writeFile(path("top/a/b/c"), "x");
  writeFile(path("top/d"), "x");
  makeFolders(path("top/e"));
  EXPECT_TRUE(removeHostTree(path("top")));
  EXPECT_FALSE(exists(path("top")));
}

TEST_F(RemoveTree, FollowsNoLink) {
  writeFile(path("outside/file"), "x");
  makeFolders(path("top/in"));
  ASSERT_EQ(symlink(path("outside").c_str(), path("top/in/link").c_str()), 0);
  ASSERT_EQ(symlink(path("outside").c_str(), path("link").c_str()), 0);
  EXPECT_TRUE(removeHostTree(path("top")));
  EXPECT_TRUE(removeHostTree(path("link")));
  EXPECT_TRUE(exists(path("outside/file")));
}

// Only for others than root a mode is in the way.
TEST_F(RemoveTree, OpensWhatIsLocked) {
  writeFile(path("top/a/b/c"), "x");
  for (const char* const folder : {"top/a/b", "top/a", "top"})
    ASSERT_EQ(chmod(path(folder).c_str(), 0), 0);
  EXPECT_TRUE(removeHostTree(path("top")));
  EXPECT_FALSE(exists(path("top")));
}

TEST_F(RemoveTree, IsAsDeepAsNeeded) {
  makeFolders(path("top"));
  const int before = open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_EQ(chdir(path("top").c_str()), 0);
  const std::string name(250, 'd');
  for (int i = 0; i < 100; ++i)
    ASSERT_TRUE(mkdir(name.c_str(), 0700) == 0 && chdir(name.c_str()) == 0) << i;
  ASSERT_EQ(fchdir(before), 0);
  close(before);
  EXPECT_TRUE(removeHostTree(path("top")));
  EXPECT_FALSE(exists(path("top")));
}

TEST_F(RemoveTree, NamesThatItUsesItselfMayBeThere) {
  for (const char* const name : {".moved1", ".moved2", ".moved3"})
    writeFile(path(std::string("top/") + name + "/.moved1/.moved2/file"), "x");
  writeFile(path("top/.moved4"), "x");
  EXPECT_TRUE(removeHostTree(path("top")));
  EXPECT_FALSE(exists(path("top")));
}

TEST_F(RemoveTree, NothingThereIsNoFailure) { EXPECT_TRUE(removeHostTree(path("missing"))); }

}  // namespace
