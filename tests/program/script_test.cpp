// Package scripts: stored behind a prologue, and run by the real shell with /flash as its root.
#include "tests/program/world.h"

namespace {

class Script : public World {
 protected:
  void SetUp() override {
    World::SetUp();
    if (!exists("/bin/bash-static")) GTEST_SKIP() << "there is no /bin/bash-static";
    router.withShell();
  }
  static Pack packWith(const std::string& onInstall) {
    Pack pack = simplePack("ppp");
    pack.onInstall = onInstall;
    return pack;
  }
  void expectInstalled(const Pack& pack, const std::string& warning = "") {
    const std::string bytes = pack.file();
    router.put("/in.tpk", bytes);
    Console console;
    console.installing("ppp-3.22", bytes);
    if (!warning.empty()) console.warning(warning);
    console.log("installed ppp-3.22");
    const ProcessResult result = router.run({"/in.tpk"});
    EXPECT_TRUE(result.exited(0)) << result;
    EXPECT_EQ(visible(result.out), visible(console.bytes()));
    EXPECT_EQ(withoutShellsComplaints(result.err), "");
    EXPECT_EQ(router.log(), console.messages());
  }
  // What the shell itself has to say: of a script that was killed, and of the working folder, which
  // stays outside the script's root.
  static std::string withoutShellsComplaints(const std::string& err) {
    std::istringstream lines(err);
    std::string rest;
    for (std::string line; std::getline(lines, line);) {
      const bool shells = line.compare(0, 6, "bash: ") == 0 ||
                          line.find("error retrieving current directory") != std::string::npos;
      if (!shells) rest += line + '\n';
    }
    return rest;
  }
};

constexpr char kFailed[] = "package ppp-3.22 oninstall script failed";

TEST_F(Script, RunsWithTheFlashAsItsRoot) {
  expectInstalled(packWith("echo $0 > /made\n"));
  EXPECT_EQ(router.read("/flash/made"), "/var/pdb/ppp/oninstall\n");
}

TEST_F(Script, SourcesTheSystemsProfile) {
  router.put("/flash/tarn/lib/install/profile.sh", "greeting=hello\n");
  expectInstalled(packWith("echo $greeting > /made\n"));
  EXPECT_EQ(router.read("/flash/made"), "hello\n");
}

TEST_F(Script, FindsTheFilesOfItsPackage) {
  expectInstalled(packWith("read line < /share/ppp && echo \"$line\" > /made\n"));
  EXPECT_EQ(router.read("/flash/made"), simpleContents("ppp"));
}

TEST_F(Script, FindsTheRecordOfItsPackage) {
  expectInstalled(packWith("read version < /var/pdb/ppp/version && echo $version > /made\n"));
  EXPECT_EQ(router.read("/flash/made"), "51799552 1000\n");
}

TEST_F(Script, OutputIsThrownAway) { expectInstalled(packWith("echo noise; echo noise >&2\n")); }

TEST_F(Script, IsStoredBehindThePrologue) {
  Pack pack = packWith("exit 0\n");
  pack.onUninstall = "";
  expectInstalled(pack);
  EXPECT_EQ(router.record("ppp", "oninstall"),
            "#!/bin/bash\n\n. /tarn/lib/install/profile.sh\n\nexit 0\n");
  EXPECT_EQ(router.record("ppp", "onuninstall"),
            "#!/bin/bash\n\n. /tarn/lib/install/profile.sh\n\n");
  EXPECT_EQ(router.treeOf("/flash/var/pdb/ppp/oninstall", kTreeMode),
            "/flash/var/pdb/ppp/oninstall file 0755\n");
  EXPECT_EQ(router.treeOf("/flash/var/pdb/ppp/onuninstall", kTreeMode),
            "/flash/var/pdb/ppp/onuninstall file 0755\n");
}

TEST_F(Script, ModeDoesNotDependOnTheProcessesMask) {
  router.umask(077);
  expectInstalled(packWith("exit 0\n"));
  EXPECT_EQ(router.treeOf("/flash/var/pdb/ppp/oninstall", kTreeMode),
            "/flash/var/pdb/ppp/oninstall file 0755\n");
}

TEST_F(Script, EmptyScriptIsThePrologueAlone) {
  expectInstalled(packWith(""));
  EXPECT_EQ(router.record("ppp", "oninstall"), storedScript(""));
}

TEST_F(Script, UninstallScriptIsNotRun) {
  Pack pack = simplePack("ppp");
  pack.onUninstall = "echo > /made\n";
  expectInstalled(pack);
  EXPECT_FALSE(router.has("/flash/made"));
}

TEST_F(Script, ThatFailsIsAWarning) { expectInstalled(packWith("exit 1\n"), kFailed); }

TEST_F(Script, ThatIsKilledIsAWarning) { expectInstalled(packWith("kill -9 $$\n"), kFailed); }

TEST_F(Script, ThatKillsItsShellIsAWarning) {
  expectInstalled(packWith("kill -9 $PPID\n"), kFailed);
}

TEST_F(Script, WithoutAShellIsAWarning) {
  ASSERT_EQ(unlink(router.path("/flash/bin/bash").c_str()), 0);
  expectInstalled(packWith("exit 0\n"), kFailed);
}

TEST_F(Script, SyntaxErrorIsAWarning) { expectInstalled(packWith("if\n"), kFailed); }

TEST_F(Script, ThatFailsLeavesThePackageInstalled) {
  expectInstalled(packWith("exit 1\n"), kFailed);
  EXPECT_EQ(router.database(), recordOf(packWith("exit 1\n"), {"/share/ppp"}) + systemLines());
}

// Whoever started the installer may have it that ended children are not waited for.
TEST_F(Script, IgnoredEndOfChildrenIsNoFailure) {
  const std::string bytes = packWith("echo > /made\n").file();
  router.put("/in.tpk", bytes);
  const ProcessResult result =
      router.runWith({"/bin/bash-static", "-c", "trap '' CHLD; exec \"$@\"", "bash"}, {"/in.tpk"});
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_EQ(router.log(), "installed ppp-3.22\n");
  EXPECT_TRUE(router.has("/flash/made"));
}

TEST_F(Script, OfAPackageWithAnImageIsNeitherStoredNorRun) {
  Pack pack = packWith("echo > /made\n");
  pack.image = "";
  expectInstalled(pack);
  EXPECT_FALSE(router.has("/flash/made"));
  EXPECT_FALSE(router.has("/flash/var/pdb/ppp/oninstall"));
}

TEST_F(Script, UninstallScriptOfAPackageWithAnImageIsStored) {
  Pack pack = simplePack("ppp");
  pack.image = "";
  pack.onUninstall = "exit 0\n";
  expectInstalled(pack);
  EXPECT_EQ(router.record("ppp", "onuninstall"), storedScript("exit 0\n"));
}

TEST_F(Script, OfAPackageInstalledDisabledIsStoredAndNotRun) {
  Record slip = {"slip", k3_22};
  slip.conflicts = {dep("ppp")};
  router.installed(slip).put("/in.tpk", packWith("echo > /made\n").file());
  EXPECT_TRUE(router.run({"/in.tpk"}).exited(0));
  EXPECT_FALSE(router.has("/flash/made"));
  EXPECT_TRUE(router.has("/flash/var/pdb/ppp/oninstall"));
}

TEST_F(Script, OfAPackageThatIsTakenBackIsNotRun) {
  PackBuilder builder;
  builder.header("ppp", k3_22).part(kPartArchitecture, "mipsel");
  builder.part(kPartOnInstall, "echo > /made\n");
  builder.archive(ArchiveBuilder().regular("share/ppp", "x"));
  router.put("/in.tpk", builder.finish());
  EXPECT_TRUE(router.run({"/in.tpk"}).exited(1));
  EXPECT_FALSE(router.has("/flash/made"));
}

TEST_F(Script, MembersOfABundleRunTheirs) {
  BundlePack bundle = {"combo", k3_22, {packWith("echo ppp >> /made\n")}};
  bundle.members.push_back(simplePack("vpn"));
  bundle.members[1].onInstall = "exit 3\n";
  router.put("/in.tpk", bundle.file());
  EXPECT_TRUE(router.run({"/in.tpk"}).exited(0));
  EXPECT_EQ(router.read("/flash/made"), "ppp\n");
  // The script is the member's, not the bundle's.
  EXPECT_EQ(router.log(),
            "WARNING: package vpn-3.22 oninstall script failed\n"
            "installed combo-3.22\n");
}

TEST_F(Script, CutShortIsReportedTwice) {
  PackBuilder builder;
  builder.header("ppp", k3_22).part(kPartArchitecture, "mipsel");
  builder.partHeader(kPartOnInstall, 1000).raw("echo > /made\n");
  router.put("/in.tpk", builder.finish());
  EXPECT_TRUE(router.run({"/in.tpk"}).exited(1));
  EXPECT_EQ(router.log(),
            "ERROR: installation of ppp-3.22 failed: broken package\n"
            "ERROR: installation of ppp-3.22 failed: could not create oninstall: Bad message\n");
  EXPECT_FALSE(router.has("/flash/var/pdb/ppp"));
}

TEST_F(Script, ThatCannotBeStoredIsReportedTwice) {
  // In the place of the script; a name that begins with a dot keeps the folder.
  router.put("/flash/var/pdb/ppp/oninstall/.keep", "").put("/in.tpk", packWith("exit\n").file());
  EXPECT_TRUE(router.run({"/in.tpk"}).exited(1));
  EXPECT_EQ(router.log(),
            "ERROR: installation of ppp-3.22 failed: could not create oninstall: Is a directory\n"
            "ERROR: installation of ppp-3.22 failed: could not create oninstall: Is a directory\n");
}

}  // namespace
