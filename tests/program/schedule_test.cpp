// Requests that the rest of the system left in schedule files are carried out at the start of every
// install mode. Most tests run the batch mode without any package file.
#include "tests/program/world.h"

namespace {

class Schedule : public World {
 protected:
  void SetUp() override {
    World::SetUp();
    router.installed(plainRecord("ppp"));
  }

  static Record plainRecord(const std::string& name) {
    Record record;
    record.name = name;
    record.version = k3_22;
    record.buildTime = 100;
    record.files = {"/lib/" + name};
    return record;
  }
  static std::string plainLines(const std::string& name) {
    return "== " + name + "/deps\n== " + name + "/files\nlib/" + name + "\n== " + name +
           "/version\n51799552 100\n";
  }
  void expectRun(const Console& console, const Router::Arguments& arguments = {}) {
    EXPECT_RUN(router.run(arguments), 0, console);
    EXPECT_EQ(router.log(), console.messages());
  }
};

TEST_F(Schedule, NothingPendingLeavesNoTrace) {
  const std::string before = router.tree();
  expectRun(Console());
  EXPECT_EQ(router.tree(), before);
}

TEST_F(Schedule, UninstallIsSilent) {
  router.schedule("ppp", "uninstall");
  expectRun(Console());
  EXPECT_EQ(router.database(), systemLines());
  EXPECT_FALSE(router.has("/flash/var/pdb/ppp"));
  EXPECT_FALSE(router.has("/flash/lib/ppp"));
  // Folders were never the package's.
  EXPECT_TRUE(router.has("/flash/lib"));
  EXPECT_FALSE(router.has("/ram/pdb/ppp/schedule"));
  EXPECT_TRUE(router.has("/ram/pdb/ppp"));
}

TEST_F(Schedule, UninstallDoesNotRunTheScript) {
  router.withShell().put("/flash/var/pdb/ppp/onuninstall", storedScript("echo > /ran\n"), 0755);
  router.schedule("ppp", "uninstall");
  expectRun(Console());
  EXPECT_FALSE(router.has("/flash/ran"));
}

TEST_F(Schedule, DisableWritesWhoAsked) {
  router.schedule("ppp", "disable");
  Console console;
  console.status("disabling ppp-3.22...").log("disabled ppp-3.22");
  expectRun(console);
  EXPECT_EQ(router.database(),
            "== ppp/deps\n== ppp/disabled\nuser\n== ppp/files\nlib/ppp\n"
            "== ppp/version\n51799552 100\n" +
                systemLines());
  EXPECT_TRUE(router.has("/flash/lib/ppp"));
}

// The whole of it as bytes: hidden cursor, status line, its erasure, the message.
TEST_F(Schedule, ConsoleBytesOfADisabledPackage) {
  router.schedule("ppp", "disable");
  EXPECT_EQ(router.run().out,
            "\x1b[?25l\rdisabling ppp-3.22...\r\x1b[?25h"
            "\x1b[?25l\r                     \r\x1b[?25h"
            "disabled ppp-3.22\n");
}

TEST_F(Schedule, EnableWritesWhoAsked) {
  router.put("/flash/var/pdb/ppp/disabled", "auto\n").schedule("ppp", "enable");
  Console console;
  console.status("enabling ppp-3.22...").log("enabled ppp-3.22");
  expectRun(console);
  EXPECT_EQ(router.database(),
            "== ppp/deps\n== ppp/enabled\nuser\n== ppp/files\nlib/ppp\n"
            "== ppp/version\n51799552 100\n" +
                systemLines());
}

TEST_F(Schedule, UnknownWordIsDroppedWithItsFile) {
  router.schedule("ppp", "explode");
  expectRun(Console());
  EXPECT_FALSE(router.has("/ram/pdb/ppp/schedule"));
  EXPECT_EQ(router.database(), plainLines("ppp") + systemLines());
  EXPECT_FALSE(router.has("/flash/PCKGS_CHANGED"));
}

TEST_F(Schedule, RequestForAnUnknownPackageStays) {
  router.schedule("vpn", "uninstall");
  expectRun(Console());
  EXPECT_TRUE(router.has("/ram/pdb/vpn/schedule"));
}

TEST_F(Schedule, DoneRequestLeavesTheChangeMarker) {
  router.schedule("ppp", "uninstall");
  expectRun(Console());
  EXPECT_EQ(router.treeOf("/flash/PCKGS_CHANGED"), "/flash/PCKGS_CHANGED file 0600 0:0 size=0\n");
}

TEST_F(Schedule, ChangeMarkerIsEmptiedWhenItIsThere) {
  router.put("/flash/PCKGS_CHANGED", "old", 0644).schedule("ppp", "uninstall");
  expectRun(Console());
  EXPECT_EQ(router.treeOf("/flash/PCKGS_CHANGED"), "/flash/PCKGS_CHANGED file 0644 0:0 size=0\n");
}

TEST_F(Schedule, ChangeMarkerThatCannotBeMadeIsNoFailure) {
  router.folder("/flash/PCKGS_CHANGED").schedule("ppp", "uninstall");
  expectRun(Console());
}

TEST_F(Schedule, CarriedOutBeforeASinglePackageWithoutTheChangeMarker) {
  const std::string bytes = simplePack("vpn").file();
  router.put("/vpn.tpk", bytes).schedule("ppp", "disable");
  Console console;
  console.status("disabling ppp-3.22...").log("disabled ppp-3.22").installed("vpn-3.22", bytes);
  expectRun(console, {"/vpn.tpk"});
  EXPECT_FALSE(router.has("/flash/PCKGS_CHANGED"));
}

TEST_F(Schedule, CarriedOutBeforeAPackageFromStandardInputWithoutTheChangeMarker) {
  const std::string bytes = simplePack("vpn").file();
  router.schedule("ppp", "disable");
  Console console;
  console.status("disabling ppp-3.22...").log("disabled ppp-3.22").installed("vpn-3.22", bytes);
  console.line("ERROR: could not save package image");
  router.put("/image", "in the way");
  EXPECT_RUN(router.run({"-"}, bytes), 255, console);
  EXPECT_FALSE(router.has("/flash/PCKGS_CHANGED"));
}

TEST_F(Schedule, DisabledPackageThatIsNeededStaysOn) {
  Record vpn = plainRecord("vpn");
  vpn.deps = {dep("ppp", k3_20rc2)};
  router.installed(vpn).schedule("ppp", "disable");
  Console console;
  console.warning("can not disable ppp-3.22: vpn depends on it");
  expectRun(console);
  EXPECT_FALSE(router.has("/flash/var/pdb/ppp/disabled"));
  EXPECT_FALSE(router.has("/flash/PCKGS_CHANGED"));
}

TEST_F(Schedule, UninstalledPackageThatIsNeededStays) {
  Record vpn = plainRecord("vpn");
  vpn.deps = {dep("ppp")};
  router.installed(vpn).schedule("ppp", "uninstall");
  Console console;
  console.warning("can not uninstall ppp-3.22: vpn depends on it");
  expectRun(console);
  EXPECT_TRUE(router.has("/flash/lib/ppp"));
}

TEST_F(Schedule, EnableBringsWhatIsNeeded) {
  Record vpn = plainRecord("vpn");
  vpn.deps = {dep("ppp")};
  vpn.disabled = "user";
  router.installed(vpn).put("/flash/var/pdb/ppp/disabled", "auto\n").schedule("vpn", "enable");
  Console console;
  console.status("enabling ppp-3.22...").log("enabled ppp-3.22");
  console.status("enabling vpn-3.22...").log("enabled vpn-3.22");
  expectRun(console);
  // The state of a package that was pulled in is nobody's choice.
  EXPECT_EQ(router.names("/flash/var/pdb/ppp"),
            (std::vector<std::string>{"deps", "files", "version"}));
  EXPECT_EQ(router.record("vpn", "enabled"), "user\n");
}

TEST_F(Schedule, DependentsAreDisabledFirst) {
  Record vpn = plainRecord("vpn");
  vpn.deps = {dep("ppp")};
  router.installed(vpn).schedule("vpn", "disable").schedule("ppp", "disable");
  Console console;
  console.status("disabling vpn-3.22...").log("disabled vpn-3.22");
  console.status("disabling ppp-3.22...").log("disabled ppp-3.22");
  expectRun(console);
}

TEST_F(Schedule, EnabledPackageDisablesWhatItConflictsWith) {
  Record vpn = plainRecord("vpn");
  vpn.conflicts = {dep("ppp")};
  vpn.disabled = "auto";
  router.installed(vpn).schedule("vpn", "enable");
  Console console;
  console.status("disabling ppp-3.22...").log("disabled ppp-3.22");
  console.status("enabling vpn-3.22...").log("enabled vpn-3.22");
  expectRun(console);
  EXPECT_EQ(router.record("ppp", "disabled"), "auto\n");
}

// Each has the conflict from its own side, so neither is refused.
TEST_F(Schedule, TwoThatConflictWithEachOtherBothComeOn) {
  Record a = plainRecord("a");
  Record b = plainRecord("b");
  a.disabled = b.disabled = "auto";
  a.conflicts = {dep("b")};
  b.conflicts = {dep("a")};
  router.installed(a).installed(b).schedule("a", "enable").schedule("b", "enable");
  const ProcessResult result = router.run();
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_EQ(router.record("a", "enabled"), "user\n");
  EXPECT_EQ(router.record("b", "enabled"), "user\n");
}

TEST_F(Schedule, EnableIsRefusedForAConflictFromTheOtherSide) {
  Record a = plainRecord("a");
  Record b = plainRecord("b");
  a.disabled = b.disabled = "auto";
  b.conflicts = {dep("a")};
  router.installed(a).installed(b).schedule("a", "enable").schedule("b", "enable");
  Console console;
  console.error("can not enable a: b-3.22 conflicts with it");
  console.status("enabling b-3.22...").log("enabled b-3.22");
  expectRun(console);
  EXPECT_TRUE(router.has("/flash/var/pdb/a/disabled"));
}

TEST_F(Schedule, UninstallingEverythingIsRefused) {
  router.schedule("ppp", "uninstall").schedule("system", "uninstall");
  Console console;
  console.error("can not uninstall or disable all packages");
  expectRun(console);
  EXPECT_EQ(router.database(), plainLines("ppp") + systemLines());
  EXPECT_FALSE(router.has("/flash/PCKGS_CHANGED"));
}

TEST_F(Schedule, EverythingDisabledAlreadyIsAnErrorWithoutARequest) {
  router.put("/flash/var/pdb/ppp/disabled", "user\n");
  router.put("/flash/var/pdb/system/disabled", "user\n");
  Console console;
  console.error("can not uninstall or disable all packages");
  expectRun(console);
}

TEST_F(Schedule, DisabledBundleTakesItsMembersWithIt) {
  Record bundle = {"combo", k3_22, 100};
  bundle.isBundle = true;
  Record member = plainRecord("member");
  member.bundle = "combo";
  router.installed(bundle).installed(member).schedule("combo", "disable");
  const ProcessResult result = router.run();
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_EQ(router.record("combo", "disabled"), "user\n");
  EXPECT_EQ(router.record("member", "disabled"), "auto\n");
}

TEST_F(Schedule, BundleGoesWithTheLastOfItsMembers) {
  Record bundle = {"combo", k3_22, 100};
  bundle.isBundle = true;
  Record member = plainRecord("member");
  member.bundle = "combo";
  router.installed(bundle).installed(member).schedule("member", "uninstall");
  expectRun(Console());
  EXPECT_EQ(router.database(), plainLines("ppp") + systemLines());
}

TEST_F(Schedule, DamagedRecordIsUninstalledWithTheFilesItLists) {
  ASSERT_EQ(unlink(router.path("/flash/var/pdb/ppp/version").c_str()), 0);
  expectRun(Console());
  EXPECT_EQ(router.database(), systemLines());
  EXPECT_FALSE(router.has("/flash/lib/ppp"));
  EXPECT_TRUE(router.has("/flash/PCKGS_CHANGED"));
}

TEST_F(Schedule, RecordWithADependencyCutShortIsUninstalled) {
  router.put("/flash/var/pdb/ppp/deps", "system 51799552 0\nsystem 5\n");
  expectRun(Console());
  EXPECT_EQ(router.database(), systemLines());
}

TEST_F(Schedule, DotFileKeepsTheFolderOfAnUninstalledPackage) {
  router.put("/flash/var/pdb/ppp/.keep", "").schedule("ppp", "uninstall");
  expectRun(Console());
  EXPECT_EQ(router.names("/flash/var/pdb/ppp"), (std::vector<std::string>{".keep"}));
}

// What a failed installation from standard input left stands for a package in every later run.
TEST_F(Schedule, LeftOverImageIsAPackageThatCannotGo) {
  router.put("/flash/var/pdb/image", "half a package");
  expectRun(Console());
  EXPECT_EQ(router.read("/flash/var/pdb/image"), "half a package");
  EXPECT_TRUE(router.has("/flash/PCKGS_CHANGED"));
}

TEST_F(Schedule, QuietModeSaysAndLogsNothing) {
  router.schedule("ppp", "disable").schedule("system", "disable");
  router.put("/flash/postlog", "old\n");
  Console nothing;
  EXPECT_RUN(router.run({"-q"}), 0, nothing);
  EXPECT_EQ(router.log(), "old\n");
}

TEST_F(Schedule, MessagesAreAppendedToTheRunLog) {
  router.schedule("ppp", "disable").put("/flash/postlog", "old\nopen end");
  router.run();
  EXPECT_EQ(router.log(), "old\nopen enddisabled ppp-3.22\n");
}

TEST_F(Schedule, RunLogThatCannotBeWrittenIsNoFailure) {
  router.schedule("ppp", "disable").folder("/flash/postlog");
  EXPECT_TRUE(router.run().exited(0));
}

// A path that leads out of the flash, in a record that somebody wrote into.
TEST_F(Schedule, FilesOutsideTheFlashAreNeverDeleted) {
  router.put("/flash/var/pdb/ppp/files", "../outside\nlib/../../outside\nlib/ppp\n");
  router.put("/outside", "").schedule("ppp", "uninstall");
  expectRun(Console());
  EXPECT_TRUE(router.has("/outside"));
  EXPECT_FALSE(router.has("/flash/lib/ppp"));
}

}  // namespace
