// "--filegc": files that no installed package lists go.
#include "tests/program/world.h"

namespace {

class FileCollection : public World {
 protected:
  void SetUp() override {
    World::SetUp();
    Record record = {"ppp", k3_22};
    record.files = {"/lib/ppp/owned", "/lib/ppp/link"};
    router.installed(record);
    router.put("/lib/ppp/owned", "1").put("/lib/ppp/stray", "2");
  }

  void collect(const Router::Arguments& folders) {
    Router::Arguments arguments = {"--filegc"};
    arguments.insert(arguments.end(), folders.begin(), folders.end());
    Console nothing;
    EXPECT_RUN(router.run(arguments), 0, nothing);
    EXPECT_FALSE(router.has("/flash/postlog"));
  }
  std::string tree() const { return router.treeOf("/lib", kTreeTypes); }
};

TEST_F(FileCollection, WithoutFoldersTouchesNothing) {
  const std::string before = router.tree();
  collect({});
  EXPECT_EQ(router.tree(), before);
}

TEST_F(FileCollection, RemovesWhatNobodyOwns) {
  collect({"/lib"});
  EXPECT_EQ(tree(), "/lib dir\n/lib/ppp dir\n/lib/ppp/owned file\n");
}

TEST_F(FileCollection, FileOfADisabledPackageStays) {
  router.put("/flash/var/pdb/ppp/disabled", "auto\n");
  collect({"/lib"});
  EXPECT_EQ(tree(), "/lib dir\n/lib/ppp dir\n/lib/ppp/owned file\n");
}

TEST_F(FileCollection, MissingFolderChangesNothing) {
  const std::string before = router.tree();
  collect({"/nowhere"});
  EXPECT_EQ(router.tree(), before);
}

TEST_F(FileCollection, FolderWithATrailingSlashLosesItsOwnedFilesToo) {
  collect({"/lib/ppp/"});
  EXPECT_EQ(tree(), "/lib dir\n/lib/ppp dir\n");
}

TEST_F(FileCollection, OwnersAreLookedUpByTheLogicalPath) {
  router.put("/flash/lib/ppp/owned", "1");
  collect({"/flash/lib"});
  EXPECT_FALSE(router.has("/flash/lib/ppp/owned"));
}

TEST_F(FileCollection, OwnedLinkStaysAndItsTargetGoes) {
  ASSERT_EQ(symlink("stray", router.path("/lib/ppp/link").c_str()), 0);
  collect({"/lib"});
  EXPECT_EQ(tree(), "/lib dir\n/lib/ppp dir\n/lib/ppp/link link -> stray\n/lib/ppp/owned file\n");
}

TEST_F(FileCollection, UnownedLinkGoesAndItsTargetStays) {
  router.put("/elsewhere/file", "3");
  ASSERT_EQ(symlink("/elsewhere", router.path("/lib/ppp/folder").c_str()), 0);
  collect({"/lib"});
  EXPECT_FALSE(router.has("/lib/ppp/folder"));
  EXPECT_TRUE(router.has("/elsewhere/file"));
}

TEST_F(FileCollection, EmptyFoldersStay) {
  router.put("/lib/deep/er/stray", "").put("/lib/.hidden/.stray", "");
  collect({"/lib"});
  EXPECT_EQ(tree(),
            "/lib dir\n/lib/.hidden dir\n/lib/deep dir\n/lib/deep/er dir\n"
            "/lib/ppp dir\n/lib/ppp/owned file\n");
}

TEST_F(FileCollection, EveryTypeOfFileIsRemoved) {
  ASSERT_EQ(mkfifo(router.path("/lib/ppp/fifo").c_str(), 0600), 0);
  collect({"/lib"});
  EXPECT_FALSE(router.has("/lib/ppp/fifo"));
}

// The cut path would name another file.
TEST_F(FileCollection, FileWithAPathThatIsTooLongStays) {
  std::string folder = "/lib";
  while (folder.size() < 450) folder += "/a-folder-with-a-name";
  folder += "/" + std::string(499 - folder.size(), 'f');
  const std::string longest = folder + "/" + std::string(511 - folder.size() - 1, 'x');
  const std::string tooLong = folder + "/" + std::string(512 - folder.size() - 1, 'y');
  router.put(longest, "").put(tooLong, "");
  collect({"/lib"});
  EXPECT_FALSE(router.has(longest));
  EXPECT_TRUE(router.has(tooLong));
}

// Failures made by strace, because root is refused nothing.
class FailingCollection : public FileCollection {
 protected:
  void SetUp() override {
    FileCollection::SetUp();
    if (IsSkipped()) return;
    if (!canTrace()) GTEST_SKIP() << "strace is not there, or not permitted";
  }
  void collectWith(const std::string& failure) {
    Console nothing;
    EXPECT_RUN(router.runWith({kStrace, "-o", "/dev/null", "-P", router.path("/lib/ppp"), "-P",
                               "/lib/ppp", "-P", "/lib/ppp/stray", "-e", "inject=" + failure},
                              {"--filegc", "/lib"}),
               0, nothing);
  }
};

TEST_F(FailingCollection, FileThatCannotBeRemovedIsPassedOver) {
  router.put("/lib/stray", "");
  collectWith("unlink:error=EPERM");
  EXPECT_TRUE(router.has("/lib/ppp/stray"));
  EXPECT_FALSE(router.has("/lib/stray"));
}

TEST_F(FailingCollection, FolderThatCannotBeReadIsPassedOver) {
  router.put("/lib/stray", "");
  collectWith("openat:error=EACCES");
  EXPECT_TRUE(router.has("/lib/ppp/stray"));
  EXPECT_FALSE(router.has("/lib/stray"));
}

TEST_F(FailingCollection, FileWhoseStatusCannotBeHadIsPassedOver) {
  router.put("/lib/stray", "");
  collectWith("newfstatat,lstat,statx:error=EIO");
  EXPECT_TRUE(router.has("/lib/ppp/stray"));
  EXPECT_FALSE(router.has("/lib/stray"));
}

TEST_F(FileCollection, DatabaseIsLoadedForTheOwners) {
  removeTree(router.path("/flash/var/pdb"));
  Console console;
  console.warning("could not open repo");
  EXPECT_RUN(router.run({"--filegc", "/lib"}), 0, console);
  EXPECT_FALSE(router.has("/lib/ppp/owned"));
  EXPECT_FALSE(router.has("/flash/postlog"));
}

}  // namespace
