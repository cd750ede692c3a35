// Enable, disable and uninstall of one package.
#include "package/package.h"
#include "tests/support/inroot.h"
#include "tests/support/systemcalls.h"

#include <sys/stat.h>
#include <unistd.h>

namespace {

// How many files in use this process has kept: their names go on counting from test to test.
unsigned keptFiles = 0;

class State : public InRoot {
 protected:
  void SetUp() override {
    InRoot::SetUp();
    if (IsSkipped()) return;
    package_.name = "tool";
    makeFolders("/flash/var/pdb/tool");
  }

  static void put(const std::string& file, const std::string& contents) {
    writeFile("/flash/var/pdb/tool/" + file, contents);
  }
  static std::string meta() { return listTree("/flash/var/pdb", 0); }
  static std::string get(const std::string& file) {
    return readFile("/flash/var/pdb/tool/" + file);
  }
  // A file on the flash that the package lists.
  void own(const std::string& logical, const std::string& contents = "data") {
    writeFile("/flash" + logical, contents);
    package_.files.insert(logical);
  }
  static void use(const std::string& logical) {
    RepoAccess::usedFiles().insert("/flash/" + logical);
  }
  static std::string nextName() { return "/tmp/inst" + std::to_string(++keptFiles); }
  static std::string kept() { return listTree("/tmp", 0); }

  Package package_;
};

// Disabling and enabling.

TEST_F(State, DisabledAutomatically) {
  put("enabled", "user\n");
  package_.scheduledAction = kActionDisable;
  package_.disable();
  EXPECT_EQ(get("disabled"), "auto\n");
  EXPECT_EQ(meta(), "/tool dir\n/tool/disabled file\n");
  EXPECT_TRUE(package_.disabled);
  EXPECT_EQ(package_.scheduledAction, kActionNone);
}

TEST_F(State, DisabledByTheUser) {
  package_.userForced = true;
  package_.disable();
  EXPECT_EQ(get("disabled"), "user\n");
  EXPECT_TRUE(package_.userForced);
}

TEST_F(State, DisabledAgain) {
  put("disabled", "user and much more\n");
  package_.disable();
  EXPECT_EQ(get("disabled"), "auto\n");
}

TEST_F(State, EnabledAutomaticallyLeavesNoMarker) {
  put("disabled", "auto\n");
  put("enabled", "user\n");
  package_.disabled = true;
  package_.scheduledAction = kActionEnable;
  package_.enable();
  EXPECT_EQ(meta(), "/tool dir\n");
  EXPECT_FALSE(package_.disabled);
  EXPECT_EQ(package_.scheduledAction, kActionNone);
}

TEST_F(State, EnabledByTheUser) {
  put("disabled", "user\n");
  package_.disabled = package_.userForced = true;
  package_.enable();
  EXPECT_EQ(get("enabled"), "user\n");
  EXPECT_EQ(meta(), "/tool dir\n/tool/enabled file\n");
  EXPECT_TRUE(package_.userForced);
}

TEST_F(State, OtherFilesOfTheRecordStay) {
  put("version", "1 2\n");
  put("files", "a\n");
  package_.disable();
  package_.enable();
  EXPECT_EQ(meta(), "/tool dir\n/tool/files file\n/tool/version file\n");
  EXPECT_EQ(get("version"), "1 2\n");
}

TEST_F(State, FilesStayWhereTheyAre) {
  own("/bin/foo");
  package_.disable();
  EXPECT_EQ(readFile("/flash/bin/foo"), "data");
  EXPECT_EQ(package_.files.size(), 1U);
}

TEST_F(State, FailuresAreSilent) {
  removeTree("/flash/var/pdb/tool");
  package_.disable();
  EXPECT_TRUE(package_.disabled);
  package_.userForced = true;
  package_.enable();
  EXPECT_FALSE(package_.disabled);
  EXPECT_EQ(takeConsole(), "");
  EXPECT_EQ(meta(), "");
}

// Its record would be the database itself.
TEST_F(State, PackageWithoutANameTouchesNothing) {
  package_.name.clear();
  put("version", "1 2\n");
  writeFile("/flash/var/pdb/disabled", "a package of this name");
  package_.userForced = true;
  package_.disable();
  package_.enable();
  package_.uninstall();
  EXPECT_EQ(meta(), "/disabled file\n/tool dir\n/tool/version file\n");
  EXPECT_FALSE(package_.disabled);
}

// Uninstalling.

TEST_F(State, UninstallRemovesFilesAndRecord) {
  put("version", "1 2\n");
  put("oninstall", "script");
  put("image", "large");
  own("/bin/foo");
  own("/etc/rc");
  package_.scheduledAction = kActionUninstall;
  package_.uninstall();
  EXPECT_EQ(listTree("/flash", 0, {"/rw"}), "/bin dir\n/etc dir\n/var dir\n/var/pdb dir\n");
  EXPECT_TRUE(package_.files.empty());
  EXPECT_EQ(package_.scheduledAction, kActionNone);
  EXPECT_EQ(takeConsole(), "");
}

TEST_F(State, UninstallKeepsTheDescription) {
  package_.version = 7;
  package_.disabled = package_.userForced = true;
  package_.uninstall();
  EXPECT_EQ(package_.name, "tool");
  EXPECT_EQ(package_.version, 7U);
  EXPECT_TRUE(package_.disabled);
  EXPECT_TRUE(package_.userForced);
}

TEST_F(State, UninstallLeavesFilesOfOthers) {
  own("/bin/foo");
  writeFile("/flash/bin/bar", "other");
  package_.uninstall();
  EXPECT_EQ(readFile("/flash/bin/bar"), "other");
}

TEST_F(State, UninstallLeavesDirectoriesAlone) {
  makeFolders("/flash/bin");
  package_.files.insert("/bin");
  package_.uninstall();
  EXPECT_TRUE(exists("/flash/bin"));
}

TEST_F(State, UninstallRemovesLinksNotTheirTargets) {
  writeFile("/flash/target", "data");
  ASSERT_EQ(symlink("target", "/flash/link"), 0);
  package_.files.insert("/link");
  package_.uninstall();
  EXPECT_FALSE(exists("/flash/link"));
  EXPECT_TRUE(exists("/flash/target"));
}

TEST_F(State, UninstallRemovesDanglingLinksAndFifos) {
  ASSERT_EQ(symlink("/nowhere", "/flash/link"), 0);
  ASSERT_EQ(mkfifo("/flash/pipe", 0600), 0);
  package_.files = {"/link", "/pipe"};
  package_.uninstall();
  EXPECT_EQ(listTree("/flash", 0, {"/rw", "/var"}), "");
}

TEST_F(State, MissingFilesDoNotCount) {
  package_.files = {"/bin/foo", "/etc/rc"};
  own("/usr/bar");
  package_.uninstall();
  EXPECT_FALSE(exists("/flash/usr/bar"));
  EXPECT_EQ(takeConsole(), "");
}

TEST_F(State, MissingRecordDoesNotCount) {
  removeTree("/flash/var/pdb/tool");
  own("/bin/foo");
  package_.uninstall();
  EXPECT_FALSE(exists("/flash/bin/foo"));
  EXPECT_EQ(takeConsole(), "");
}

TEST_F(State, DotFilesKeepTheMetaDirectory) {
  put("version", "1 2\n");
  put(".hidden", "kept");
  put("..both", "kept");
  package_.uninstall();
  EXPECT_EQ(meta(), "/tool dir\n/tool/..both file\n/tool/.hidden file\n");
}

TEST_F(State, FoldersKeepTheMetaDirectory) {
  put("version", "1 2\n");
  put("folder/file", "x");
  package_.uninstall();
  EXPECT_EQ(meta(), "/tool dir\n/tool/folder dir\n/tool/folder/file file\n");
  EXPECT_EQ(takeConsole(), "");
}

TEST_F(State, ManyMetaFilesAllGo) {
  for (int i = 0; i < 500; ++i) put("file" + std::to_string(i), "");
  package_.uninstall();
  EXPECT_EQ(meta(), "");
}

TEST_F(State, NothingStaysOpen) {
  put("version", "1 2\n");
  const int before = nextDescriptor();
  package_.disable();
  package_.enable();
  package_.uninstall();
  EXPECT_EQ(nextDescriptor(), before);
}

TEST_F(State, FileInPlaceOfTheRecordStays) {
  removeTree("/flash/var/pdb/tool");
  writeFile("/flash/var/pdb/tool", "an image left behind");
  package_.uninstall();
  EXPECT_TRUE(exists("/flash/var/pdb/tool"));
}

TEST_F(State, FilesOfADisabledPackage) {
  own("/x/tool/bin/foo");
  package_.disabled = true;
  package_.uninstall();
  EXPECT_FALSE(exists("/flash/x/tool/bin/foo"));
}

// What somebody wrote into the database.

TEST_F(State, PathsWithTwoDotsAreNeverDeleted) {
  writeFile("/outside", "data");
  writeFile("/flash/bin/foo", "data");
  package_.files = {"/../outside", "/bin/../../outside", "/bin/../bin/foo", "/.."};
  package_.uninstall();
  EXPECT_TRUE(exists("/outside"));
  EXPECT_TRUE(exists("/flash/bin/foo"));
  EXPECT_TRUE(package_.files.empty());
}

TEST_F(State, PathsThroughLinksThatLeaveAreNeverDeleted) {
  writeFile("/outside/file", "data");
  ASSERT_EQ(symlink("/outside", "/flash/out"), 0);
  ASSERT_EQ(symlink("../outside", "/flash/relative"), 0);
  package_.files = {"/out/file", "/relative/file"};
  package_.uninstall();
  EXPECT_TRUE(exists("/outside/file"));
}

TEST_F(State, PathsThroughLinksInsideAreDeleted) {
  writeFile("/flash/real/file", "data");
  ASSERT_EQ(symlink("real", "/flash/link"), 0);
  package_.files = {"/link/file"};
  package_.uninstall();
  EXPECT_FALSE(exists("/flash/real/file"));
}

TEST_F(State, LinkThatLeavesIsDeletedItself) {
  writeFile("/outside/file", "data");
  ASSERT_EQ(symlink("/outside", "/flash/out"), 0);
  package_.files = {"/out", "/out/file"};
  package_.uninstall();
  EXPECT_FALSE(exists("/flash/out"));
  EXPECT_TRUE(exists("/outside/file"));
}

// It is not the package's what it leads to.
TEST_F(State, LinkInPlaceOfTheRecordGoesItself) {
  removeTree("/flash/var/pdb/tool");
  writeFile("/flash/var/pdb/other/version", "1 2\n");
  ASSERT_EQ(symlink("other", "/flash/var/pdb/tool"), 0);
  package_.uninstall();
  EXPECT_EQ(meta(), "/other dir\n/other/version file\n");
}

TEST_F(State, UsedPathsThatLeaveAreNotKept) {
  writeFile("/outside", "data");
  package_.files = {"/../outside"};
  use("/../outside");
  package_.uninstall();
  EXPECT_EQ(kept(), "");
}

// Files in use.

TEST_F(State, FileInUseIsKeptUnderAnotherName) {
  own("/bin/foo", "running");
  use("/bin/foo");
  struct stat before = {}, after = {};
  stat("/flash/bin/foo", &before);
  package_.uninstall();
  const std::string name = nextName();
  EXPECT_FALSE(exists("/flash/bin/foo"));
  EXPECT_EQ(readFile(name), "running");
  stat(name.c_str(), &after);
  EXPECT_EQ(before.st_ino, after.st_ino) << "the very file, not a copy";
  EXPECT_EQ(takeConsole(), "");
}

TEST_F(State, FilesInUseAreCounted) {
  own("/bin/a", "first");
  own("/bin/b", "second");
  own("/bin/c", "third");
  use("/bin/a");
  use("/bin/c");
  package_.uninstall();
  EXPECT_EQ(readFile(nextName()), "first");
  EXPECT_EQ(readFile(nextName()), "third");
  Package other;
  writeFile("/flash/bin/d", "fourth");
  other.files = {"/bin/d"};
  use("/bin/d");
  other.uninstall();
  EXPECT_EQ(readFile(nextName()), "fourth");
}

TEST_F(State, NamesThatAreTakenArePassedOver) {
  writeFile(nextName(), "taken");
  makeFolders(nextName());
  ASSERT_EQ(symlink("/nowhere", nextName().c_str()), 0);
  own("/bin/a", "running");
  use("/bin/a");
  package_.uninstall();
  EXPECT_EQ(readFile(nextName()), "running");
}

TEST_F(State, PathInUseHasTwoSlashes) {
  own("/bin/a");
  RepoAccess::usedFiles() = {"/flash/bin/a", "/bin/a"};
  package_.uninstall();
  EXPECT_EQ(kept(), "");
  EXPECT_FALSE(exists("/flash/bin/a"));
}

TEST_F(State, FailureToKeepAFileIsWarnedOf) {
  own("/bin/a");
  own("/bin/b");
  use("/bin/a");
  use("/bin/b");
  removeTree("/tmp");
  package_.uninstall();
  EXPECT_EQ(takeConsole(),
            "WARNING: link failed: No such file or directory\n"
            "WARNING: link failed: No such file or directory\n");
  keptFiles += 2;
  EXPECT_FALSE(exists("/flash/bin/a"));
  EXPECT_FALSE(exists("/flash/bin/b")) << "goes on with the next";
}

TEST_F(State, MissingFileInUseIsWarnedOf) {
  package_.files = {"/bin/a"};
  use("/bin/a");
  package_.uninstall();
  ++keptFiles;
  EXPECT_EQ(takeConsole(), "WARNING: link failed: No such file or directory\n");
}

TEST_F(State, FileInUseOnAnotherDiskCannotBeKept) {
  NEEDS_MOUNT();
  mountRamDisk("/tmp", 16);
  own("/bin/a");
  use("/bin/a");
  package_.uninstall();
  ++keptFiles;
  EXPECT_EQ(takeConsole(), "WARNING: link failed: Invalid cross-device link\n");
  EXPECT_FALSE(exists("/flash/bin/a"));
}

}  // namespace
