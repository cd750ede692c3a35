// The batch run: what was dropped on flash is found, verified, chosen and installed.
#include "tests/program/world.h"

namespace {

using Names = std::vector<std::string>;

class Batch : public World {
 protected:
  // A package file, kept to tell what the console says of it.
  void drop(const std::string& fileName, const std::string& bytes,
            const std::string& folder = "/flash/rw/pckg") {
    router.put(folder + "/" + fileName, bytes);
    files[fileName] = bytes;
  }
  void drop(const Pack& pack) { drop(pack.name + ".tpk", pack.file()); }
  // The scan of a folder whose package files are all genuine.
  Console& scanned(Console& console, const std::string& folder = "/flash/rw/pckg") const {
    console.line();
    for (const std::string& name : router.scanOrder(folder)) {
      console.verified(name, files.at(name));
    }
    return console.line();
  }
  void expectRun(const Console& console, const Router::Arguments& arguments = {}) {
    EXPECT_RUN(router.run(arguments), 0, console);
  }
  Names packages() const { return router.names("/flash/var/pdb"); }
  Names dropped() const { return router.names("/flash/rw/pckg"); }

  std::map<std::string, std::string> files;
};

TEST_F(Batch, PackageIsVerifiedInstalledAndRemoved) {
  drop(simplePack("ppp"));
  Console console;
  scanned(console).installed("ppp-3.22", files["ppp.tpk"]);
  expectRun(console);
  EXPECT_EQ(router.log(), "verified ppp.tpk\ninstalled ppp-3.22\n");
  EXPECT_EQ(router.database(), recordOf(simplePack("ppp"), {"/share/ppp"}) + systemLines());
  EXPECT_EQ(router.read("/flash/share/ppp"), simpleContents("ppp"));
  EXPECT_EQ(dropped(), Names());
  EXPECT_EQ(router.treeOf("/flash/PCKGS_CHANGED"), "/flash/PCKGS_CHANGED file 0600 0:0 size=0\n");
  // Nothing is kept of a package without the image marker.
  EXPECT_FALSE(router.has("/image"));
}

// The whole of it as bytes.
TEST_F(Batch, ConsoleBytesOfABrokenPackage) {
  drop("x.tpk", "no package");
  EXPECT_EQ(router.run().out,
            "\n"
            "\x1b[?25l\rverifying x.tpk\r\x1b[?25h"
            "\x1b[?25l\r               \r\x1b[?25h"
            "ERROR: broken package x.tpk\n"
            "\n");
}

TEST_F(Batch, BrokenPackageStaysAndChangesNothing) {
  drop("x.tpk", "no package");
  Console console;
  console.line().status("verifying x.tpk").error("broken package x.tpk").line();
  expectRun(console);
  EXPECT_EQ(dropped(), (Names{"x.tpk"}));
  EXPECT_FALSE(router.has("/flash/PCKGS_CHANGED"));
  EXPECT_EQ(router.log(), console.messages());
}

TEST_F(Batch, BrokenPackageDoesNotStopTheOthers) {
  drop(simplePack("ppp"));
  std::string forged = simplePack("vpn").file();
  forged[20] = 'x';
  drop("vpn.tpk", forged);
  EXPECT_TRUE(router.run().exited(0));
  EXPECT_EQ(packages(), (Names{"ppp", "system"}));
  EXPECT_EQ(dropped(), (Names{"vpn.tpk"}));
  EXPECT_TRUE(router.has("/flash/PCKGS_CHANGED"));
}

// Genuine, but padded or cut: its header has another size.
TEST_F(Batch, FileOfAnotherSizeThanItsHeaderHasIsBroken) {
  const std::string bytes = simplePack("ppp").file() + "more";
  drop("ppp.tpk", bytes);
  Console console;
  console.line().status("verifying ppp.tpk");
  const PartAt archive = partOf(bytes, kPartArchive);
  console.bar("verifying ppp.tpk", archive.offset + archive.size, bytes.size() - 4);
  console.log("verified ppp.tpk").error("broken package ppp.tpk").line();
  expectRun(console);
  EXPECT_EQ(dropped(), (Names{"ppp.tpk"}));
}

TEST_F(Batch, BothExtensionsAreTaken) {
  drop("ppp.mpk", simplePack("ppp").file());
  drop("vpn.tpk", simplePack("vpn").file());
  EXPECT_TRUE(router.run().exited(0));
  EXPECT_EQ(packages(), (Names{"ppp", "system", "vpn"}));
}

TEST_F(Batch, OtherNamesAreLeftAlone) {
  const std::string bytes = simplePack("ppp").file();
  for (const char* name : {".ppp.tpk", ".tpk", "ppp.TPK", "ppp.tpk.part", "ppptpk", "README"}) {
    drop(name, bytes);
  }
  const Names before = dropped();
  expectRun(Console());
  EXPECT_EQ(dropped(), before);
}

TEST_F(Batch, FolderWithAPackagesNameIsBroken) {
  router.folder("/flash/rw/pckg/x.tpk");
  Console console;
  console.line().status("verifying x.tpk").error("broken package x.tpk").line();
  expectRun(console);
}

TEST_F(Batch, MissingDropDirectoriesAreNoFailure) {
  removeTree(router.path("/flash/rw"));
  removeTree(router.path("/flash/var/pckg"));
  expectRun(Console());
}

TEST_F(Batch, SecondDropDirectoryIsUsedWhenTheFirstHasNothing) {
  drop("ppp.tpk", simplePack("ppp").file(), "/flash/var/pckg");
  Console console;
  scanned(console, "/flash/var/pckg").installed("ppp-3.22", files["ppp.tpk"]);
  expectRun(console);
  EXPECT_EQ(router.names("/flash/var/pckg"), Names());
}

TEST_F(Batch, SecondDropDirectoryIsNotLookedAtWhenTheFirstHasSomething) {
  drop("ppp.tpk", simplePack("ppp").file());
  drop("vpn.tpk", simplePack("vpn").file(), "/flash/var/pckg");
  Console console;
  scanned(console).installed("ppp-3.22", files["ppp.tpk"]);
  expectRun(console);
  EXPECT_EQ(router.names("/flash/var/pckg"), (Names{"vpn.tpk"}));
}

TEST_F(Batch, SecondDropDirectoryIsUsedWhenTheFirstHasOnlyBrokenFiles) {
  drop("x.tpk", "no package");
  drop("ppp.tpk", simplePack("ppp").file(), "/flash/var/pckg");
  Console console;
  console.line().status("verifying x.tpk").error("broken package x.tpk").line();
  scanned(console, "/flash/var/pckg").installed("ppp-3.22", files["ppp.tpk"]);
  expectRun(console);
}

TEST_F(Batch, RamIsNotScanned) {
  drop("ppp.tpk", simplePack("ppp").file(), "/ram");
  expectRun(Console());
  EXPECT_TRUE(router.has("/ram/ppp.tpk"));
}

TEST_F(Batch, RamIsScannedFirstInReinstallMode) {
  drop("ppp.tpk", simplePack("ppp").file(), "/ram");
  removeTree(router.path("/ram/pdb"));
  drop("vpn.tpk", simplePack("vpn").file());
  Console console;
  console.line().line("Resuming upgrade...");
  scanned(console, "/ram");
  scanned(console);
  // Without relations each goes to the front.
  console.installed("vpn-3.22", files["vpn.tpk"]).installed("ppp-3.22", files["ppp.tpk"]);
  console.line();
  expectRun(console, {"--reinstall"});
  EXPECT_EQ(router.names("/ram"), Names());
}

TEST_F(Batch, RamWithAPackageKeepsTheSecondDropDirectoryOut) {
  drop("ppp.tpk", simplePack("ppp").file(), "/ram");
  drop("vpn.tpk", simplePack("vpn").file(), "/flash/var/pckg");
  EXPECT_TRUE(router.run({"--reinstall"}).exited(0));
  EXPECT_EQ(packages(), (Names{"ppp", "system"}));
}

TEST_F(Batch, ReinstallModeEndsWithAnEmptyLine) {
  expectRun(Console().line().line("Resuming upgrade...").line(), {"--reinstall"});
}

TEST_F(Batch, ReinstallModeTakesAnEqualPackage) {
  router.installed({"ppp", k3_22, 1000});
  drop(simplePack("ppp"));
  Console console;
  scanned(console.line().line("Resuming upgrade..."));
  console.status(std::string(78, ' ')).log("installed ppp-3.22").line();
  expectRun(console, {"--reinstall"});
  EXPECT_EQ(dropped(), Names());
}

TEST_F(Batch, EqualPackageStaysInTheDropDirectory) {
  router.installed({"ppp", k3_22, 1000});
  drop(simplePack("ppp"));
  Console console;
  scanned(console).warning("omitting package ppp-3.22: it is already installed");
  expectRun(console);
  EXPECT_EQ(dropped(), (Names{"ppp.tpk"}));
  // Something was there to install: that counts.
  EXPECT_TRUE(router.has("/flash/PCKGS_CHANGED"));
}

TEST_F(Batch, MarkerAllowsADowngradeOnce) {
  router.installed({"ppp", k3_22, 1000}).put("/rw/DOWNGRADE", "");
  drop(simplePack("ppp", k3_21));
  Console console;
  scanned(console).installed("ppp-3.21", files["ppp.tpk"]);
  expectRun(console);
  EXPECT_FALSE(router.has("/rw/DOWNGRADE"));
}

TEST_F(Batch, MarkerGoesWhenNothingIsThereToInstall) {
  router.put("/rw/DOWNGRADE", "");
  expectRun(Console());
  EXPECT_FALSE(router.has("/rw/DOWNGRADE"));
}

TEST_F(Batch, WithoutTheMarkerADowngradeIsRefused) {
  router.installed({"ppp", k3_22, 1000});
  drop(simplePack("ppp", k3_21));
  Console console;
  scanned(console).warning(
      "omitting package ppp-3.21: newer package ppp-3.22 is already installed");
  expectRun(console);
  EXPECT_EQ(dropped(), (Names{"ppp.tpk"}));
}

TEST_F(Batch, OptionAllowsADowngrade) {
  router.installed({"ppp", k3_22, 1000});
  drop(simplePack("ppp", k3_21));
  EXPECT_TRUE(router.run({"-down"}).exited(0));
  EXPECT_EQ(router.record("ppp", "version"), "51734016 1000\n");
}

TEST_F(Batch, NewerOfTwoVersionsIsTaken) {
  drop("old.tpk", simplePack("ppp", k3_21).file());
  drop("new.tpk", simplePack("ppp", k3_22).file());
  Console console;
  scanned(console).warning("omitting package ppp-3.21: newer package is already provided");
  console.installed("ppp-3.22", files["new.tpk"]);
  expectRun(console);
  EXPECT_EQ(dropped(), (Names{"old.tpk"}));
}

TEST_F(Batch, OlderOfTwoVersionsIsTakenInADowngrade) {
  drop("old.tpk", simplePack("ppp", k3_21).file());
  drop("new.tpk", simplePack("ppp", k3_22).file());
  Console console;
  scanned(console).warning("omitting package ppp-3.22: older package is already provided");
  console.installed("ppp-3.21", files["old.tpk"]);
  expectRun(console, {"-down"});
}

TEST_F(Batch, TwoEqualFilesAreBothOmittedInSilence) {
  drop("one.tpk", simplePack("ppp").file());
  drop("two.tpk", simplePack("ppp").file());
  Console console;
  expectRun(scanned(console));
  EXPECT_EQ(dropped(), (Names{"one.tpk", "two.tpk"}));
  EXPECT_FALSE(router.has("/flash/PCKGS_CHANGED"));
}

TEST_F(Batch, BundleIsTakenInPlaceOfAnEqualPackage) {
  BundlePack bundle = {"combo", k3_22, {simplePack("ppp")}};
  drop("combo.tpk", bundle.file());
  drop(simplePack("ppp"));
  Console console;
  scanned(console).installing("combo-3.22", files["combo.tpk"]).bundleInstalled("combo-3.22");
  expectRun(console);
  EXPECT_EQ(dropped(), (Names{"ppp.tpk"}));
}

TEST_F(Batch, PackagesWithoutRelationsAreInstalledLastFirst) {
  for (const char* name : {"a", "b", "c", "d"}) drop(simplePack(name));
  Console console;
  Names order = router.scanOrder("/flash/rw/pckg");
  scanned(console);
  std::reverse(order.begin(), order.end());
  for (const std::string& name : order) {
    console.installed(name.substr(0, 1) + "-3.22", files[name]);
  }
  expectRun(console);
}

TEST_F(Batch, PackageIsInstalledBehindWhatItRequires) {
  Pack vpn = simplePack("vpn");
  vpn.deps = {dep("ppp")};
  Pack ui = simplePack("ui");
  ui.deps = {dep("vpn")};
  for (const Pack& pack : {ui, vpn, simplePack("ppp")}) drop(pack);
  Console console;
  scanned(console).installed("ppp-3.22", files["ppp.tpk"]);
  console.installed("vpn-3.22", files["vpn.tpk"]).installed("ui-3.22", files["ui.tpk"]);
  expectRun(console);
}

TEST_F(Batch, RefusedPackageStays) {
  Pack vpn = simplePack("vpn");
  vpn.deps = {dep("ppp")};
  drop(vpn);
  Console console;
  scanned(console).error("can not install vpn-3.22: ppp is not installed, but is required");
  expectRun(console);
  EXPECT_EQ(dropped(), (Names{"vpn.tpk"}));
}

TEST_F(Batch, StatusIsZeroWhateverHappens) {
  Pack pack = simplePack("ppp");
  pack.files.entry("share/bad", 0xF000, "");
  drop(pack);
  const ProcessResult result = router.run();
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_EQ(router.log(),
            "verified ppp.tpk\nERROR: installation of ppp-3.22 failed: broken package\n");
}

TEST_F(Batch, QuietModeWritesLineEndsOnly) {
  drop(simplePack("ppp"));
  expectRun(Console().line().line(), {"-q"});
  EXPECT_EQ(packages(), (Names{"ppp", "system"}));
  EXPECT_EQ(router.log(), "");
}

TEST_F(Batch, QuietReinstallStillSaysSo) {
  expectRun(Console().line().line("Resuming upgrade...").line(), {"-q", "--reinstall"});
}

TEST_F(Batch, MissingDatabaseIsAWarningAndIsMade) {
  removeTree(router.path("/flash/var/pdb"));
  drop(simplePack("ppp"));
  Console console;
  scanned(console.warning("could not open repo")).installed("ppp-3.22", files["ppp.tpk"]);
  expectRun(console);
  EXPECT_EQ(packages(), (Names{"ppp"}));
}

// What the user chose for a package holds for its next version.
TEST_F(Batch, PackageThatTheUserDisabledIsUpgradedDisabled) {
  Record old = {"ppp", k3_21};
  old.disabled = "user";
  old.files = {"/x/ppp/share/ppp"};
  router.installed(old);
  drop(simplePack("ppp"));
  Console console;
  scanned(console).installing(" (disabled) ppp-3.22", files["ppp.tpk"]);
  console.log("installed (disabled) ppp-3.22");
  expectRun(console);
  EXPECT_EQ(router.record("ppp", "disabled"), "user\n");
  EXPECT_TRUE(router.has("/flash/x/ppp/share/ppp"));
}

TEST_F(Batch, PackageThatTheUserEnabledIsUpgradedEnabled) {
  Record old = {"ppp", k3_21};
  old.enabled = "user";
  router.installed(old);
  drop(simplePack("ppp"));
  EXPECT_TRUE(router.run().exited(0));
  EXPECT_EQ(router.record("ppp", "enabled"), "user\n");
}

TEST_F(Batch, PackageThatWasDisabledForAReasonIsUpgradedEnabled) {
  Record old = {"ppp", k3_21};
  old.disabled = "auto";
  router.installed(old);
  drop(simplePack("ppp"));
  EXPECT_TRUE(router.run().exited(0));
  EXPECT_EQ(router.names("/flash/var/pdb/ppp"), (Names{"deps", "files", "version"}));
}

TEST_F(Batch, UsersChoiceBeatsTheTurnOffListOfABundle) {
  Record old = {"b", k3_21};
  old.enabled = "user";
  router.installed(old);
  BundlePack bundle = {"combo", k3_22, {simplePack("a"), simplePack("b")}};
  bundle.turnOff = {dep("b")};
  drop("combo.tpk", bundle.file());
  EXPECT_TRUE(router.run().exited(0));
  EXPECT_EQ(router.record("b", "enabled"), "user\n");
  EXPECT_TRUE(router.has("/flash/share/b"));
}

TEST_F(Batch, WhatTheRunDisabledIsEnabledAgain) {
  Record slip = {"slip", k3_22};
  router.installed(slip);
  Pack pack = simplePack("ppp");
  pack.conflicts = {dep("slip")};
  drop(pack);
  Console console;
  scanned(console).status("disabling slip-3.22...").log("disabled slip-3.22");
  console.installed("ppp-3.22", files["ppp.tpk"]);
  console.status("enabling slip-3.22...").log("enabled slip-3.22");
  expectRun(console);
  EXPECT_EQ(router.log(), console.messages());
  EXPECT_EQ(router.names("/flash/var/pdb/slip"), (Names{"deps", "files", "version"}));
}

TEST_F(Batch, MemberThatABundleTurnedOffIsEnabledAgain) {
  router.installed({"b", k3_21});
  BundlePack bundle = {"combo", k3_22, {simplePack("a"), simplePack("b")}};
  bundle.turnOff = {dep("b")};
  drop("combo.tpk", bundle.file());
  Console console;
  // The list stands against the old version already.
  scanned(console).status("disabling b-3.21...").log("disabled b-3.21");
  console.installing("combo-3.22", files["combo.tpk"], 0);
  console.installing("combo-3.22", files["combo.tpk"], 1).bundleInstalled("combo-3.22");
  console.status("enabling b-3.22...").log("enabled b-3.22");
  expectRun(console);
  EXPECT_FALSE(router.has("/flash/var/pdb/b/disabled"));
  // Enabling moves no files.
  EXPECT_EQ(router.record("b", "files"), "x/b/share/b\n");
}

TEST_F(Batch, WhatTookOverAProvidedNameIsEnabledAgainOnce) {
  Record dialer = {"dialer", k3_22};
  dialer.provides = {dep("modem"), dep("phone")};
  router.installed(dialer);
  Pack pack = simplePack("ppp");
  pack.conflicts = {dep("dialer")};
  drop(pack);
  Console console;
  scanned(console).status("disabling dialer-3.22...").log("disabled dialer-3.22");
  console.installed("ppp-3.22", files["ppp.tpk"]);
  console.status("enabling dialer-3.22...").log("enabled dialer-3.22");
  expectRun(console);
}

}  // namespace
