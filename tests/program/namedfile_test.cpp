// One package file named on the command line.
#include "tests/program/world.h"

namespace {

class NamedFile : public World {
 protected:
  void put(const Pack& pack) {
    bytes = pack.file();
    router.put("/store/ppp.tpk", bytes);
  }
  ProcessResult run() { return router.run({"/store/ppp.tpk"}); }
  bool sameFile(const std::string& a, const std::string& b) const {
    struct stat first;
    struct stat second;
    return lstat(router.path(a).c_str(), &first) == 0 &&
           lstat(router.path(b).c_str(), &second) == 0 && first.st_ino == second.st_ino;
  }

  std::string bytes;
};

TEST_F(NamedFile, IsInstalledAndStays) {
  put(simplePack("ppp"));
  EXPECT_RUN(run(), 0, Console().installed("ppp-3.22", bytes));
  EXPECT_EQ(router.log(), "installed ppp-3.22\n");
  EXPECT_EQ(router.read("/flash/share/ppp"), simpleContents("ppp"));
  EXPECT_EQ(router.read("/store/ppp.tpk"), bytes);
  EXPECT_FALSE(router.has("/flash/PCKGS_CHANGED"));
}

TEST_F(NamedFile, WithTheImageMarkerIsLinkedIntoTheRecord) {
  Pack pack = simplePack("ppp");
  pack.image = "";
  put(pack);
  EXPECT_RUN(run(), 0, Console().installed("ppp-3.22", bytes));
  EXPECT_TRUE(sameFile("/store/ppp.tpk", "/flash/var/pdb/ppp/image"));
}

TEST_F(NamedFile, WithoutTheImageMarkerIsLinkedIntoTheRoot) {
  put(simplePack("ppp"));
  run();
  EXPECT_TRUE(sameFile("/store/ppp.tpk", "/image"));
}

TEST_F(NamedFile, ImageThatCannotBeLinkedIsAnError) {
  put(simplePack("ppp"));
  router.put("/image", "in the way");
  Console console;
  console.installed("ppp-3.22", bytes).line("ERROR: could not save package image");
  EXPECT_RUN(run(), 255, console);
  EXPECT_EQ(router.log(), "installed ppp-3.22\n");
  EXPECT_TRUE(router.has("/flash/var/pdb/ppp/version"));
}

TEST_F(NamedFile, OnAnotherFileSystemCannotBeLinked) {
  NEEDS_MOUNT();
  router.withOwnFileSystem("/store");
  put(simplePack("ppp"));
  Console console;
  console.installed("ppp-3.22", bytes).line("ERROR: could not save package image");
  EXPECT_RUN(run(), 255, console);
}

TEST_F(NamedFile, ThatIsMissingSaysNothing) {
  EXPECT_RUN(run(), 1, Console());
  EXPECT_FALSE(router.has("/flash/postlog"));
}

TEST_F(NamedFile, ThatIsAFolderFails) {
  router.folder("/store/ppp.tpk");
  EXPECT_RUN(run(), 1, Console());
}

TEST_F(NamedFile, ThatIsNoPackageFails) {
  router.put("/store/ppp.tpk", "text");
  EXPECT_RUN(run(), 1, Console());
}

TEST_F(NamedFile, ThatIsEmptyFails) {
  router.put("/store/ppp.tpk", "");
  EXPECT_RUN(run(), 1, Console());
}

TEST_F(NamedFile, ThatFailsIsNotLinked) {
  Pack pack = simplePack("ppp");
  pack.arch = "arm";
  put(pack);
  EXPECT_RUN(run(), 1,
             Console().error("can not install ppp-3.22: it is not made for mipsel, but for arm"));
  EXPECT_FALSE(router.has("/image"));
  EXPECT_FALSE(router.has("/flash/var/pdb/ppp"));
}

// The name may be relative to the root, whatever the folder was in which the program was started.
TEST_F(NamedFile, IsLookedUpFromTheRoot) {
  put(simplePack("ppp"));
  EXPECT_RUN(router.run({"store/ppp.tpk"}), 0, Console().installed("ppp-3.22", bytes));
}

TEST_F(NamedFile, NameMayBeTheExtensionAlone) {
  router.put("/.tpk", simplePack("ppp").file());
  EXPECT_TRUE(router.run({".tpk"}).exited(0));
  EXPECT_TRUE(router.has("/flash/share/ppp"));
}

TEST_F(NamedFile, QuietModeSaysNothing) {
  put(simplePack("ppp"));
  EXPECT_RUN(router.run({"-q", "/store/ppp.tpk"}), 0, Console());
  EXPECT_FALSE(router.has("/flash/postlog"));
  EXPECT_TRUE(router.has("/flash/var/pdb/ppp/version"));
}

TEST_F(NamedFile, MissingDatabaseIsMade) {
  removeTree(router.path("/flash/var"));
  put(simplePack("ppp"));
  Console console;
  console.warning("could not open repo").installed("ppp-3.22", bytes);
  EXPECT_RUN(run(), 0, console);
  EXPECT_EQ(router.log(), console.messages());
  EXPECT_EQ(router.database(), recordOf(simplePack("ppp"), {"/share/ppp"}));
  EXPECT_EQ(router.treeOf("/flash/var", kTreeMode),
            "/flash/var dir 0770\n/flash/var/pdb dir 0770\n/flash/var/pdb/ppp dir 0770\n"
            "/flash/var/pdb/ppp/deps file 0666\n/flash/var/pdb/ppp/files file 0666\n"
            "/flash/var/pdb/ppp/version file 0666\n");
}

}  // namespace
