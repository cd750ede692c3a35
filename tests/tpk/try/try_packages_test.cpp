// What "tpk try" says of packages is what the installer then does: one package a file.
#include "tests/tpk/try/trial.h"

namespace {

class TryPackages : public Trial {
 protected:
  static Record record(const std::string& name, std::uint32_t version = k3_22,
                       std::uint32_t buildTime = 0) {
    Record result;
    result.name = name;
    result.version = version;
    result.buildTime = buildTime;
    result.files = {"/share/" + name};
    return result;
  }
};

TEST_F(TryPackages, FreshOneIsInstalled) {
  give(simplePack("ppp"));
  tryAndDo();
  EXPECT_EQ(status, 0);
  EXPECT_EQ(outcome("ppp"), "installed");
  EXPECT_EQ(database(), (Words{"ppp 3.22 1000 enabled", "system 3.22 100 enabled"}));
  EXPECT_EQ(sideEffects(), Words());
}

TEST_F(TryPackages, NewerOneUpgrades) {
  router.installed(record("ppp", k3_21));
  give(simplePack("ppp"));
  tryAndDo();
  EXPECT_EQ(status, 0);
  EXPECT_EQ(outcome("ppp"), "upgraded from 3.21");
}

TEST_F(TryPackages, LaterBuildUpgrades) {
  router.installed(record("ppp", k3_22, 999));
  give(simplePack("ppp"));
  tryAndDo();
  EXPECT_EQ(outcome("ppp"), "upgraded from 3.22");
}

TEST_F(TryPackages, OlderOneIsRefused) {
  router.installed(record("ppp"));
  give(simplePack("ppp", k3_21));
  tryAndDo();
  EXPECT_EQ(status, 1);
  EXPECT_EQ(outcome("ppp"), "refused");
  EXPECT_EQ(report["files"][0]["messages"],
            (Words{"verified ppp.tpk",
                   "WARNING: omitting package ppp-3.21: newer package ppp-3.22 "
                   "is already installed"}));
}

TEST_F(TryPackages, OlderOneDowngradesWithTheOption) {
  router.installed(record("ppp"));
  give(simplePack("ppp", k3_21));
  tryAndDo({"-down"});
  EXPECT_EQ(status, 0);
  EXPECT_EQ(outcome("ppp"), "downgraded from 3.22");
}

TEST_F(TryPackages, OlderOneDowngradesWithTheRoutersMarker) {
  router.installed(record("ppp")).put("/rw/DOWNGRADE", "");
  give(simplePack("ppp", k3_21));
  tryAndDo();
  EXPECT_EQ(outcome("ppp"), "downgraded from 3.22");
}

TEST_F(TryPackages, EqualOneIsRefused) {
  router.installed(record("ppp", k3_22, 1000));
  give(simplePack("ppp"));
  tryAndDo();
  EXPECT_EQ(status, 1);
  EXPECT_EQ(outcome("ppp"), "refused");
}

TEST_F(TryPackages, EqualOneIsUnchangedInReinstallMode) {
  router.installed(record("ppp", k3_22, 1000));
  give(simplePack("ppp"));
  tryAndDo({"--reinstall"});
  EXPECT_EQ(status, 0);
  EXPECT_EQ(outcome("ppp"), "unchanged");
}

TEST_F(TryPackages, MissingRequirementIsARefusal) {
  Pack vpn = simplePack("vpn");
  vpn.deps = {dep("ppp")};
  give(vpn);
  tryAndDo();
  EXPECT_EQ(status, 1);
  EXPECT_EQ(report["files"][0]["messages"][1],
            "ERROR: can not install vpn-3.22: ppp is not installed, but is required");
}

TEST_F(TryPackages, RequirementMayBeGivenToo) {
  Pack ui = simplePack("ui");
  ui.deps = {dep("vpn")};
  Pack vpn = simplePack("vpn");
  vpn.deps = {dep("ppp")};
  for (const Pack& pack : {ui, vpn, simplePack("ppp")}) give(pack);
  tryAndDo();
  EXPECT_EQ(status, 0);
}

TEST_F(TryPackages, DisabledRequirementIsNone) {
  Record ppp = record("ppp");
  ppp.disabled = "user";
  router.installed(ppp);
  Pack vpn = simplePack("vpn");
  vpn.deps = {dep("ppp")};
  give(vpn);
  tryAndDo();
  EXPECT_EQ(outcome("vpn"), "refused");
}

TEST_F(TryPackages, ConflictInstallsDisabled) {
  Record slip = record("slip");
  slip.conflicts = {dep("ppp")};
  router.installed(slip);
  give(simplePack("ppp"));
  tryAndDo();
  EXPECT_EQ(status, 0);
  EXPECT_EQ(outcome("ppp"), "installed, disabled");
}

TEST_F(TryPackages, ConflictOfTheNewOneDisablesTheOtherForTheRunOnly) {
  router.installed(record("slip"));
  Pack pack = simplePack("ppp");
  pack.conflicts = {dep("slip")};
  give(pack);
  tryAndDo();
  EXPECT_EQ(outcome("ppp"), "installed");
  EXPECT_EQ(sideEffects(), Words());
}

TEST_F(TryPackages, WhatNeedsADroppedProvidesIsUninstalled) {
  Record ppp = record("ppp", k3_21);
  ppp.provides = {dep("dialer")};
  Record vpn = record("vpn");
  vpn.deps = {dep("dialer")};
  router.installed(ppp).installed(vpn);
  give(simplePack("ppp"));
  tryAndDo();
  EXPECT_EQ(status, 0);
  EXPECT_EQ(sideEffects(), (Words{"vpn-3.22 uninstalled"}));
}

TEST_F(TryPackages, RequestsOfTheRouterAreCarriedOut) {
  Record slip = record("slip");
  slip.disabled = "auto";
  router.installed(slip).installed(record("vpn")).schedule("slip", "enable");
  router.schedule("vpn", "uninstall");
  give(simplePack("ppp"));
  tryAndDo();
  EXPECT_EQ(sideEffects(), (Words{"slip-3.22 enabled", "vpn-3.22 uninstalled"}));
}

TEST_F(TryPackages, UserDisabledOneIsUpgradedDisabled) {
  Record old = record("ppp", k3_21);
  old.disabled = "user";
  old.files = {"/x/ppp/share/ppp"};
  router.installed(old);
  give(simplePack("ppp"));
  tryAndDo();
  EXPECT_EQ(status, 0);
  EXPECT_EQ(outcome("ppp"), "upgraded from 3.21, disabled");
}

TEST_F(TryPackages, WrongArchitectureIsARefusal) {
  Pack pack = simplePack("ppp");
  pack.arch = "mips";
  give(pack);
  tryAndDo();
  EXPECT_EQ(status, 1);
  EXPECT_EQ(report["files"][0]["messages"][1],
            "ERROR: can not install ppp-3.22: it is not made for mipsel, but for mips");
}

TEST_F(TryPackages, ForgedOneIsRefusedAndExplained) {
  PackBuilder builder;
  builder.header("ppp", k3_22, 1000).part(kPartArchitecture, "mipsel");
  builder.archive(ArchiveBuilder().regular("share/ppp", "x"));
  give("ppp.tpk", builder.finish());
  tryAndDo();
  EXPECT_EQ(status, 1);
  EXPECT_EQ(outcome("ppp"), "refused");
  EXPECT_EQ(report["files"][0]["messages"], (Words{"ERROR: broken package ppp.tpk"}));
  EXPECT_NE(fileReason("ppp.tpk"), "");
}

TEST_F(TryPackages, WhatIsNoPackageIsRefusedBesideOneThatIs) {
  give("x.tpk", "no package");
  give(simplePack("ppp"));
  tryAndDo();
  EXPECT_EQ(status, 1);
  EXPECT_EQ(outcome("ppp"), "installed");
  EXPECT_NE(fileReason("x.tpk"), "");
}

TEST_F(TryPackages, BrokenArchiveTakesTheOldVersionAlong) {
  router.installed(record("ppp", k3_21));
  Pack pack = simplePack("ppp");
  pack.files.entry("share/bad", 0xF000, "");
  give(pack);
  tryAndDo();
  EXPECT_EQ(status, 1);
  EXPECT_EQ(outcome("ppp"), "refused");
  EXPECT_EQ(sideEffects(), (Words{"ppp-3.21 uninstalled"}));
}

TEST_F(TryPackages, OnlyTheNewerOfTwoVersionsIsInstalled) {
  give("old.tpk", simplePack("ppp", k3_21).file());
  give("new.tpk", simplePack("ppp", k3_22).file());
  tryAndDo();
  EXPECT_EQ(status, 1);
}

TEST_F(TryPackages, TwoEqualFilesAreBothRefused) {
  give("one.tpk", simplePack("ppp").file());
  give("two.tpk", simplePack("ppp").file());
  tryAndDo();
  EXPECT_EQ(status, 1);
  EXPECT_EQ(fileReason("one.tpk"), "it is given twice, and the installer takes neither");
}

TEST_F(TryPackages, FileOfAnotherPackageIsLeftAndSaid) {
  Record slip = record("slip");
  slip.files = {"/share/ppp"};
  router.installed(slip).put("/flash/share/extra", "ghost");
  Pack pack = simplePack("ppp");
  pack.files.regular("share/extra", "mine");
  give(pack);
  tryAndDo();
  EXPECT_EQ(report["files"][0]["messages"],
            (Words{"verified ppp.tpk", "WARNING: file /share/ppp collides with slip package",
                   "WARNING: ghost file /share/extra", "installed ppp-3.22"}));
}

TEST_F(TryPackages, WholeSetInOneGo) {
  router.installed(record("ppp", k3_21)).installed(record("slip"));
  Pack vpn = simplePack("vpn");
  vpn.deps = {dep("ppp", k3_22)};
  vpn.conflicts = {dep("slip")};
  BundlePack combo = {"combo", k3_22, {simplePack("a"), simplePack("b")}};
  combo.turnOff = {dep("b")};
  Pack wrong = simplePack("wrong");
  wrong.arch = "i386";
  give(vpn);
  give(simplePack("ppp"));
  give(combo);
  give(wrong);
  tryAndDo();
  EXPECT_EQ(status, 1);
  EXPECT_EQ(outcome("ppp"), "upgraded from 3.21");
  EXPECT_EQ(outcome("vpn"), "installed");
  EXPECT_EQ(outcome("combo"), "installed");
  EXPECT_EQ(outcome("b"), "installed, disabled");
  EXPECT_EQ(outcome("wrong"), "refused");
}

TEST_F(TryPackages, DumbOneIsUnpacked) {
  Pack pack = simplePack("ppp");
  pack.dumb = true;
  give(pack);
  tryAndDo();
  EXPECT_EQ(status, 0);
  EXPECT_EQ(outcome("ppp"), "unpacked");
}

TEST_F(TryPackages, KeptImageCountsAsFlash) {
  Pack pack = simplePack("ppp");
  pack.image = "";
  give(pack);
  tryAndDo();
  EXPECT_GT(report["flash"]["added"]["bytes"].get<std::size_t>(), files["ppp.tpk"].size());
}

TEST_F(TryPackages, DevicesAreRecordedWithoutBeingMade) {
  Pack pack = simplePack("ppp");
  pack.files.charDevice("share/null", 0x103).fifo("share/pipe");
  give(pack);
  report = tryOut();
  EXPECT_EQ(status, 0);
  EXPECT_EQ(outcome("ppp"), "installed");
  EXPECT_EQ(readFile(temp.path() + "/kept/router/flash/var/pdb/ppp/files"),
            "share/null\nshare/pipe\nshare/ppp\n");
}

TEST_F(TryPackages, RouterWithoutPackagesIsLost) {
  router.put("/flash/var/pdb/.keep", "");
  removeTree(router.path("/flash/var/pdb/system"));
  router.installed(record("ppp", k3_21));
  Pack pack = simplePack("ppp");
  pack.files.entry("share/bad", 0xF000, "");
  give(pack);
  report = tryOut();
  EXPECT_EQ(status, 1);
  EXPECT_EQ(report["router-lost"], true);
  EXPECT_EQ(database(), Words());
}

}  // namespace
