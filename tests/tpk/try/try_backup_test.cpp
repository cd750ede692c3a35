// Backups that "tpk try" takes a router from: where the database is in them, and what is wrong with
// them.
#include "tests/support/isolation.h"
#include "tests/tpk/make/tarbuilder.h"
#include "tests/tpk/try/trial.h"

#include <cstdlib>

#include <gmock/gmock.h>
#include <sys/stat.h>

namespace {

using ::testing::HasSubstr;

class TryBackup : public Trial {
 protected:
  void SetUp() override {
    Trial::SetUp();
    if (IsSkipped()) return;
    Record ppp = {"ppp", k3_21, 5};
    ppp.files = {"/share/ppp"};
    router.installed(ppp);
    give(simplePack("ppp"));
  }
  // A program that packs, without a shell between.
  void pack(const Words& words) {
    Command command;
    command.words = words;
    command.environment = {"PATH=/usr/bin:/bin"};
    const ProcessResult result = Process(command).wait(std::chrono::seconds(15));
    ASSERT_TRUE(result.exited(0)) << result;
  }
  void expectUpgrade() {
    report = tryOut();
    EXPECT_EQ(status, 0);
    EXPECT_EQ(outcome("ppp"), "upgraded from 3.21");
  }
  // With a tar as the backup.
  ProcessResult tryTar(const std::string& bytes) {
    writeFile(temp.path() + "/backup.tar", bytes);
    return tpk({"--router", "backup.tar", "ppp.tpk"});
  }
  void expectNothingLeft() const { EXPECT_EQ(listTree(temp.path(), 0), treeBefore()); }
  std::string treeBefore() const { return "/backup.tar file\n/ppp.tpk file\n"; }
  static TarBuilder databaseTar() {
    TarBuilder tar;
    tar.entry("flash/var/pdb/", TarBuilder::kFolder, 0755)
        .file("flash/var/pdb/system/version", "51799552 100\n");
    return tar.file("flash/var/pdb/system/deps", "").file("flash/var/pdb/system/files", "lib/x\n");
  }
};

TEST_F(TryBackup, MayBeTheFlashFolder) {
  backup = router.path("/flash");
  expectUpgrade();
}

TEST_F(TryBackup, MayBeTheDatabaseFolder) {
  backup = router.path("/flash/var/pdb");
  expectUpgrade();
  // Nobody knows how large the files are that it lists.
  EXPECT_EQ(report["flash"]["removed"]["unsized-files"], 1);
}

TEST_F(TryBackup, MayBeReachedThroughALink) {
  ASSERT_EQ(symlink(router.root().c_str(), (temp.path() + "/link").c_str()), 0);
  backup = "link";
  expectUpgrade();
}

TEST_F(TryBackup, TellsSizesWhenItHasTheFiles) {
  expectUpgrade();
  // The file holds its own path; its record is three lines.
  const std::size_t record = std::string("51734016 5\nshare/ppp\n").size();
  EXPECT_EQ(report["flash"]["removed"]["bytes"], record + std::string("/share/ppp").size());
  EXPECT_EQ(report["flash"]["removed"]["unsized-files"], 0);
}

TEST_F(TryBackup, MayBeATarOfAnyOfThem) {
  int count = 0;
  for (const char* const folder : {"", "/flash", "/flash/var/pdb"}) {
    backup = temp.path() + "/backup" + std::to_string(++count) + ".tar";
    pack({"/bin/tar", "-cf", backup, "-C", router.path(folder), "."});
    SCOPED_TRACE(folder);
    expectUpgrade();
  }
}

TEST_F(TryBackup, MayBeACompressedTar) {
  backup = temp.path() + "/backup.tgz";
  pack({"/bin/tar", "-czf", backup, "-C", router.root(), "flash/var/pdb"});
  expectUpgrade();
}

TEST_F(TryBackup, PackageFilesInItsDropDirectoryAreNotTried) {
  router.drop("vpn.tpk", simplePack("vpn").file());
  report = tryOut();
  EXPECT_EQ(database(), (Words{"ppp 3.22 1000 enabled", "system 3.22 100 enabled"}));
}

TEST_F(TryBackup, DamagedRecordIsUninstalledAsOnTheRouter) {
  router.put("/flash/var/pdb/slip/deps", "system 1\n").put("/flash/var/pdb/slip/version", "1 1\n");
  tryAndDo();
  EXPECT_EQ(sideEffects(), (Words{"slip-0.01 uninstalled"}));
}

TEST_F(TryBackup, FilesOfRecordsCutShortAreReadAsTheyAre) {
  for (const char* const text : {"", "5179", "51734016", "x"}) {
    router.put("/flash/var/pdb/slip/version", text).put("/flash/var/pdb/slip/deps", "");
    report = tryOut();
    EXPECT_EQ(status, 0) << text;
    EXPECT_EQ(sideEffects().size(), 1U) << text;
  }
}

TEST_F(TryBackup, WithoutADatabaseIsRefused) {
  const ProcessResult result = tpk({"--router", ".", "ppp.tpk"});
  EXPECT_TRUE(result.exited(1)) << result;
  EXPECT_THAT(result.err, HasSubstr("tpk: .: holds no package database"));
}

TEST_F(TryBackup, ThatIsNotThereIsStatusThree) {
  const ProcessResult result = tpk({"--router", "missing", "ppp.tpk"});
  EXPECT_TRUE(result.exited(3)) << result;
  EXPECT_EQ(result.err, "tpk: missing: cannot be opened: No such file or directory\n");
}

TEST_F(TryBackup, ThatIsNoTarIsRefused) {
  const ProcessResult result = tryTar("this is no tar");
  EXPECT_TRUE(result.exited(1)) << result;
  EXPECT_THAT(result.err, HasSubstr("backup.tar: the backup cannot be read"));
  expectNothingLeft();
}

TEST_F(TryBackup, CutShortAnywhereIsRefusedOrRead) {
  const std::string whole = databaseTar().bytes();
  EXPECT_TRUE(tryTar(whole).exited(0));
  for (std::size_t size = 0; size < whole.size(); size += 256) {
    const ProcessResult result = tryTar(whole.substr(0, size));
    EXPECT_TRUE(result.exited(0) || result.exited(1)) << size << " " << result;
    expectNothingLeft();
  }
}

TEST_F(TryBackup, PathWithParentFoldersIsRefused) {
  const ProcessResult result = tryTar(
      databaseTar().file("flash/../../evil", "x").file("flash/var/pdb/../../../evil", "x").bytes());
  EXPECT_TRUE(result.exited(1)) << result;
  EXPECT_THAT(result.err, HasSubstr("flash/../../evil: a path with \"..\" in it"));
  expectNothingLeft();
}

TEST_F(TryBackup, AbsolutePathsStayInTheScratchRoot) {
  TarBuilder tar;
  tar.file("/flash/var/pdb/system/version", "51799552 100\n").file("/etc/evil", "x");
  EXPECT_TRUE(tryTar(tar.bytes()).exited(0));
  EXPECT_FALSE(exists("/etc/evil"));
}

TEST_F(TryBackup, LinksInTheDatabaseAreRefused) {
  using Add = std::function<void(TarBuilder&)>;
  const std::vector<Add> cases = {
      [](TarBuilder& tar) { tar.entry("flash/var/pdb/evil", TarBuilder::kLink, 0777, "", "/etc"); },
      [](TarBuilder& tar) {
        tar.entry("flash/var/pdb/evil/version", TarBuilder::kLink, 0777, "", "/etc/hostname");
      },
      [](TarBuilder& tar) {
        tar.entry("flash/var/pdb/evil/deps", TarBuilder::kHardLink, 0644, "", "/etc/hostname");
      },
      [](TarBuilder& tar) {
        tar.entry("flash/var/pdb/evil/files", TarBuilder::kChar, 0600, "", "", 1, 5);
      },
  };
  for (const Add& add : cases) {
    TarBuilder tar = databaseTar();
    add(tar);
    const ProcessResult result = tryTar(tar.bytes());
    EXPECT_TRUE(result.exited(1)) << result;
    EXPECT_THAT(result.err, HasSubstr("is neither file nor folder"));
    expectNothingLeft();
  }
}

TEST_F(TryBackup, LinkInPlaceOfTheDatabaseIsRefused) {
  removeTree(router.path("/flash/var/pdb"));
  ASSERT_EQ(symlink("/etc", router.path("/flash/var/pdb").c_str()), 0);
  const ProcessResult result = tpk({"--router", backup, "ppp.tpk"});
  EXPECT_TRUE(result.exited(1)) << result;
  EXPECT_THAT(result.err, HasSubstr("flash/var/pdb: is no folder"));
}

TEST_F(TryBackup, LinksElsewhereAreNotTaken) {
  const std::string evil = temp.path() + "/evil";
  ASSERT_EQ(symlink(temp.path().c_str(), router.path("/flash/share/out").c_str()), 0);
  ASSERT_EQ(symlink("..", router.path("/flash/share/loop").c_str()), 0);
  Record slip = {"slip", k3_22};
  router.installed(slip);
  router.put("/flash/var/pdb/slip/files", "share/out/evil\nshare/loop/loop/x\n");
  report = tryOut();
  EXPECT_EQ(status, 0);
  EXPECT_FALSE(exists(evil));
}

TEST_F(TryBackup, ListedPathsThatLeaveTheRootHaveNoPlace) {
  router.installed({"slip", k3_22});
  router.put("/flash/var/pdb/slip/files",
             "../../evil\nshare/../../../evil\nshare/ppp/below\nvar/pdb/fake/version\n" +
                 std::string(5000, 'a') + "\nshare/" + std::string(300, 'b') + "\n");
  report = tryOut();
  EXPECT_EQ(status, 0);
  Words expected;
  if (!noteOfIsolation().empty()) expected.push_back(noteOfIsolation());
  expected.emplace_back("6 listed files have no place in the scratch root");
  expected.push_back("the scratch root is " + temp.path() + "/kept/router");
  EXPECT_EQ(report["notes"], expected);
  EXPECT_FALSE(exists(temp.path() + "/evil"));
  EXPECT_EQ(database().size(), 3U);
}

TEST_F(TryBackup, FileInPlaceOfAFolderIsRefused) {
  const ProcessResult result = tryTar(
      databaseTar().file("flash/var/pdb/x", "").file("flash/var/pdb/x/version", "1 1").bytes());
  EXPECT_TRUE(result.exited(1)) << result;
  expectNothingLeft();
}

TEST_F(TryBackup, HugeRecordIsRefused) {
  const ProcessResult result =
      tryTar(databaseTar().file("flash/var/pdb/x/deps", std::string(5 << 20, 'x')).bytes());
  EXPECT_TRUE(result.exited(1)) << result;
  EXPECT_THAT(result.err, HasSubstr("has more than 4194304 bytes"));
  expectNothingLeft();
}

TEST_F(TryBackup, FileWithAHugeSizeTakesNoRoom) {
  const ProcessResult result =
      tryTar(databaseTar().pax("size=999999999999").file("flash/share/huge", "").bytes());
  // It is cut short, too.
  EXPECT_TRUE(result.exited(1)) << result;
  expectNothingLeft();
}

TEST_F(TryBackup, LeftOverImageIsADamagedPackage) {
  router.put("/flash/var/pdb/image", "half a package");
  tryAndDo();
  EXPECT_EQ(report["database"][0]["name"], "image");
  EXPECT_EQ(report["database"][0]["damaged"], true);
}

TEST_F(TryBackup, KeptImagesMayBeLinks) {
  const ProcessResult result =
      tryTar(databaseTar()
                 .entry("flash/var/pdb/system/image", TarBuilder::kHardLink, 0644, "", "rw/pckg/x")
                 .bytes());
  EXPECT_TRUE(result.exited(0)) << result;
}

}  // namespace
