#include "tools/tpk/host/targetfolder.h"

#include "tests/support/tree.h"
#include "tests/tpk/failuretext.h"

#include <cerrno>
#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <unistd.h>

namespace {

class TargetFolderTest : public ::testing::Test {
 protected:
  TargetFolderTest() { writeFile(temp_.path() + "/outside/file", "outside"); }
  ~TargetFolderTest() override {
    EXPECT_EQ(listTree(temp_.path() + "/outside", kTreeSize), "/file file size=7\n");
  }

  std::string tree() const { return listTree(path_, kTreeTypes | kTreeSize); }
  int create(const std::string& path) {
    OwnedDescriptor file;
    return folder_->createFile(path, file);
  }

  TempFolder temp_;
  std::string path_ = temp_.path() + "/target";
  std::unique_ptr<TargetFolder> folder_ = std::make_unique<TargetFolder>(path_);
};

TEST_F(TargetFolderTest, MakesWhatItIsAskedFor) {
  EXPECT_EQ(folder_->makeFolder("bin"), 0);
  EXPECT_EQ(folder_->writeFile("bin/a", "12345", 0755), 0);
  EXPECT_EQ(folder_->makeLink("bin/l", "a"), 0);
  EXPECT_FALSE(folder_->takeImplied());
  EXPECT_EQ(folder_->makeNode("etc/deep/pipe", 0010600, 0), 0);
  EXPECT_TRUE(folder_->takeImplied());
  EXPECT_TRUE(folder_->hasFolder("etc/deep"));
  EXPECT_FALSE(folder_->hasFolder("bin/a"));
  EXPECT_EQ(tree(),
            "/bin dir\n/bin/a file size=5\n/bin/l link -> a\n/etc dir\n/etc/deep dir\n"
            "/etc/deep/pipe fifo\n");
}

TEST_F(TargetFolderTest, NeverFollowsALink) {
  EXPECT_EQ(folder_->makeLink("out", "../outside"), 0);
  EXPECT_EQ(folder_->makeLink("file", "../outside/file"), 0);
  EXPECT_EQ(folder_->makeLink("absolute", temp_.path() + "/outside"), 0);
  EXPECT_EQ(create("out/new"), ENOTDIR);
  EXPECT_EQ(create("absolute/new"), ENOTDIR);
  EXPECT_EQ(folder_->makeFolder("out/deep/folder"), ENOTDIR);
  EXPECT_EQ(folder_->makeLink("out/link", "x"), ENOTDIR);
  EXPECT_EQ(folder_->makeNode("out/pipe", 0010600, 0), ENOTDIR);
  EXPECT_EQ(create("file"), EEXIST);
  EXPECT_EQ(folder_->makeFolder("out"), EEXIST);
  EXPECT_FALSE(folder_->hasFolder("out"));
}

TEST_F(TargetFolderTest, ReplacesNothing) {
  EXPECT_EQ(folder_->writeFile("a", "first", 0644), 0);
  EXPECT_EQ(folder_->writeFile("a", "second", 0644), EEXIST);
  EXPECT_EQ(folder_->makeLink("a", "b"), EEXIST);
  EXPECT_EQ(create("a/b"), ENOTDIR);
  EXPECT_EQ(readFile(path_ + "/a"), "first");
}

TEST_F(TargetFolderTest, RefusesPathsThatAreTooLongOrTooDeep) {
  EXPECT_EQ(create(std::string(300, 'x')), ENAMETOOLONG);
  EXPECT_EQ(create(std::string(300, 'x') + "/a"), ENAMETOOLONG);
  std::string deep = "a";
  for (int i = 0; i < 1000; ++i) deep += "/a";
  EXPECT_EQ(create(deep), ENAMETOOLONG);
  EXPECT_EQ(tree(), "");
}

TEST_F(TargetFolderTest, IsGoneWithAllItsContentsUnlessItIsKept) {
  EXPECT_EQ(folder_->writeFile("a/b/c", "1", 0644), 0);
  EXPECT_EQ(folder_->makeLink("a/l", "../../outside"), 0);
  folder_.reset();
  EXPECT_FALSE(exists(path_));

  folder_ = std::make_unique<TargetFolder>(path_);
  EXPECT_EQ(folder_->writeFile("a", "1", 0644), 0);
  folder_->keep();
  folder_.reset();
  EXPECT_EQ(tree(), "/a file size=1\n");
}

TEST_F(TargetFolderTest, AFolderThatWasThereStays) {
  makeFolders(temp_.path() + "/mine");
  folder_ = std::make_unique<TargetFolder>(temp_.path() + "/mine");
  EXPECT_EQ(folder_->writeFile("a/b", "1", 0644), 0);
  folder_.reset();
  EXPECT_TRUE(exists(temp_.path() + "/mine"));
  EXPECT_EQ(listTree(temp_.path() + "/mine", 0), "");
}

TEST_F(TargetFolderTest, MustBeEmpty) {
  const std::string outside = temp_.path() + "/outside";
  EXPECT_EQ(failureOf([&] { TargetFolder folder(outside); }),
            outside + ": is not empty; name a folder that is new or empty");
  EXPECT_EQ(failureOf([&] { TargetFolder folder(outside + "/file"); }),
            outside + "/file: cannot be opened: Not a directory");
}

}  // namespace
