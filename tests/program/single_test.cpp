// One package: what is let in, what is refused, and what becomes of the version before it.
#include "tests/program/world.h"

namespace {

class SinglePackage : public World {
 protected:
  // As the named file of the command line; options in front.
  ProcessResult install(const std::string& bytes, Router::Arguments options = {}) {
    router.put("/in.tpk", bytes);
    options.push_back("/in.tpk");
    return router.run(options);
  }
  void expectInstalled(const Pack& pack, const Router::Arguments& options = {}) {
    const std::string bytes = pack.file();
    EXPECT_RUN(install(bytes, options), 0, Console().installed(fullName(pack), bytes));
  }
  // Refused with what the console says, and nothing is changed.
  void expectRefused(const Pack& pack, const Console& console,
                     const Router::Arguments& options = {}) {
    const std::string before = allButTheLog();
    EXPECT_RUN(install(pack.file(), options), 1, console);
    EXPECT_EQ(allButTheLog(), before);
    EXPECT_EQ(router.log(), console.messages());
  }
  std::string allButTheLog() const {
    return router.treeOf("/flash/var", kEverything) + router.treeOf("/flash/lib", kEverything) +
           router.treeOf("/flash/share", kEverything) + router.treeOf("/flash/x", kEverything);
  }
  static std::string fullName(const Pack& pack) {
    return pack.name + (pack.version == k3_21   ? "-3.21"
                        : pack.version == k3_23 ? "-3.23"
                                                : "-3.22");
  }

  static constexpr unsigned kEverything = 255;
};

TEST_F(SinglePackage, LeavesItsRecord) {
  Pack pack = simplePack("ppp");
  pack.deps = {dep("system", k3_20rc2, k3_23)};
  pack.provides = {dep("dialer", k3_20rc1, k3_22, -5), dep("modem")};
  pack.conflicts = {dep("slip", 0, k3_21)};
  expectInstalled(pack);
  EXPECT_EQ(router.database(),
            "== ppp/conflicts\nslip 0 51734016\n"
            "== ppp/deps\nsystem 51667714 51865088\n"
            "== ppp/files\nshare/ppp\n"
            "== ppp/provides\ndialer 51667713 51799552 -5\nmodem 0 0 0\n"
            "== ppp/version\n51799552 1000\n" +
                systemLines());
  EXPECT_EQ(router.treeOf("/flash/var/pdb/ppp"),
            "/flash/var/pdb/ppp dir 0770 0:0\n"
            "/flash/var/pdb/ppp/conflicts file 0666 0:0 size=16\n"
            "/flash/var/pdb/ppp/deps file 0666 0:0 size=25\n"
            "/flash/var/pdb/ppp/files file 0666 0:0 size=10\n"
            "/flash/var/pdb/ppp/provides file 0666 0:0 size=40\n"
            "/flash/var/pdb/ppp/version file 0666 0:0 size=14\n");
}

TEST_F(SinglePackage, WithoutFilesLeavesAnEmptyList) {
  Pack pack;
  pack.name = "ppp";
  const std::string bytes = pack.file();
  Console console;
  console.bar("installing ppp-3.22", partOf(bytes, kPartArchive).offset, bytes.size());
  console.log("installed ppp-3.22");
  EXPECT_RUN(install(bytes), 0, console);
  EXPECT_EQ(router.database(), recordOf(pack, {}) + systemLines());
}

TEST_F(SinglePackage, NewerVersionTakesTheOldOnesPlace) {
  Record old = {"ppp", k3_21, 1};
  old.files = {"/share/ppp", "/share/old-only"};
  old.provides = {dep("dialer")};
  router.installed(old);
  expectInstalled(simplePack("ppp"));
  EXPECT_EQ(router.database(), recordOf(simplePack("ppp"), {"/share/ppp"}) + systemLines());
  EXPECT_FALSE(router.has("/flash/share/old-only"));
  EXPECT_EQ(router.read("/flash/share/ppp"), simpleContents("ppp"));
}

TEST_F(SinglePackage, LaterBuildOfTheSameVersionIsNewer) {
  router.installed({"ppp", k3_22, 999});
  expectInstalled(simplePack("ppp"));
  EXPECT_EQ(router.record("ppp", "version"), "51799552 1000\n");
}

TEST_F(SinglePackage, EarlierBuildOfTheSameVersionIsOlder) {
  router.installed({"ppp", k3_22, 1001});
  expectRefused(
      simplePack("ppp"),
      Console().warning("omitting package ppp-3.22: newer package ppp-3.22 is already installed"));
}

TEST_F(SinglePackage, OlderVersionIsRefused) {
  router.installed({"ppp", k3_22});
  expectRefused(
      simplePack("ppp", k3_21),
      Console().warning("omitting package ppp-3.21: newer package ppp-3.22 is already installed"));
}

TEST_F(SinglePackage, OlderVersionIsTakenWhenDowngradesAreAllowed) {
  Record newer = {"ppp", k3_22};
  newer.files = {"/share/newer"};
  router.installed(newer);
  expectInstalled(simplePack("ppp", k3_21), {"-down"});
  EXPECT_EQ(router.database(), recordOf(simplePack("ppp", k3_21), {"/share/ppp"}) + systemLines());
  EXPECT_FALSE(router.has("/flash/share/newer"));
}

TEST_F(SinglePackage, InstalledVersionIsRefused) {
  router.installed({"ppp", k3_22, 1000});
  expectRefused(simplePack("ppp"),
                Console().warning("omitting package ppp-3.22: it is already installed"));
}

TEST_F(SinglePackage, InstalledVersionIsRefusedWithDowngradesAllowedToo) {
  router.installed({"ppp", k3_22, 1000});
  expectRefused(simplePack("ppp"),
                Console().warning("omitting package ppp-3.22: it is already installed"), {"-down"});
}

TEST_F(SinglePackage, InstalledVersionIsFineInReinstallModeAndNothingIsWritten) {
  router.installed({"ppp", k3_22, 1000});
  const std::string before = allButTheLog();
  Console console;
  console.line().line("Resuming upgrade...").status(std::string(78, ' '));
  console.log("installed ppp-3.22");
  EXPECT_RUN(install(simplePack("ppp").file(), {"--reinstall"}), 0, console);
  EXPECT_EQ(allButTheLog(), before);
  EXPECT_EQ(router.log(), "installed ppp-3.22\n");
}

TEST_F(SinglePackage, ReinstalledThatConflictsIsReportedAsDisabled) {
  router.installed({"ppp", k3_22, 1000});
  Record slip = {"slip", k3_22};
  slip.conflicts = {dep("ppp")};
  router.installed(slip);
  Console console;
  console.line().line("Resuming upgrade...");
  // The plan sees the same conflict first.
  console.status("disabling ppp-3.22...").log("disabled ppp-3.22");
  console.status(std::string(78, ' ')).log("installed (disabled) ppp-3.22");
  EXPECT_RUN(install(simplePack("ppp").file(), {"--reinstall"}), 0, console);
}

TEST_F(SinglePackage, OlderVersionIsRefusedInReinstallModeToo) {
  router.installed({"ppp", k3_22});
  Console console;
  console.line()
      .line("Resuming upgrade...")
      .warning("omitting package ppp-3.21: newer package ppp-3.22 is already installed");
  EXPECT_RUN(install(simplePack("ppp", k3_21).file(), {"--reinstall"}), 1, console);
}

TEST_F(SinglePackage, ForAnotherArchitectureIsRefused) {
  Pack pack = simplePack("ppp");
  pack.arch = "mips";
  expectRefused(
      pack, Console().error("can not install ppp-3.22: it is not made for mipsel, but for mips"));
}

TEST_F(SinglePackage, WithoutAnArchitectureIsForI386) {
  Pack pack = simplePack("ppp");
  pack.arch.reset();
  expectRefused(
      pack, Console().error("can not install ppp-3.22: it is not made for mipsel, but for i386"));
}

TEST_F(SinglePackage, WithAnEmptyArchitectureIsForAll) {
  Pack pack = simplePack("ppp");
  pack.arch = "";
  expectInstalled(pack);
}

TEST_F(SinglePackage, WithAMissingDependencyIsRefused) {
  Pack pack = simplePack("vpn");
  pack.deps = {dep("system"), dep("ppp", k3_20rc2), dep("slip")};
  expectRefused(pack, Console().error("can not install vpn-3.22: ppp-3.20rc2 is not installed, but "
                                      "is required"));
}

TEST_F(SinglePackage, WithADependencyOnAnotherVersionIsRefused) {
  Pack pack = simplePack("vpn");
  pack.deps = {dep("system", 0, k3_21)};
  expectRefused(
      pack, Console().error("can not install vpn-3.22: system is not installed, but is required"));
}

TEST_F(SinglePackage, DisabledDependencyCountsAsMissing) {
  Record ppp = {"ppp", k3_22};
  ppp.disabled = "user";
  router.installed(ppp);
  Pack pack = simplePack("vpn");
  pack.deps = {dep("ppp")};
  expectRefused(pack,
                Console().error("can not install vpn-3.22: ppp is not installed, but is required"));
}

TEST_F(SinglePackage, DependencyMayBeProvidedByAnotherName) {
  Record slip = {"slip", k3_22};
  slip.provides = {dep("dialer", k3_20rc2)};
  router.installed(slip);
  Pack pack = simplePack("vpn");
  pack.deps = {dep("dialer", k3_22)};
  expectInstalled(pack);
}

TEST_F(SinglePackage, RefusalsOfOnePackageAreOneMessage) {
  router.installed({"ppp", k3_22});
  Pack pack = simplePack("ppp", k3_21);
  pack.arch = "i386";
  pack.deps = {dep("missing")};
  expectRefused(pack, Console().warning("omitting package ppp-3.21: newer package ppp-3.22 is "
                                        "already installed"));
}

TEST_F(SinglePackage, ThatConflictsWithAnInstalledOneIsInstalledDisabled) {
  Record slip = {"slip", k3_22};
  slip.conflicts = {dep("ppp")};
  router.installed(slip);
  const Pack pack = simplePack("ppp");
  const std::string bytes = pack.file();
  Console console;
  // Two spaces: a mark is put in front of the name.
  console.installing(" (disabled) ppp-3.22", bytes).log("installed (disabled) ppp-3.22");
  EXPECT_RUN(install(bytes), 0, console);
  EXPECT_EQ(router.record("ppp", "disabled"), "auto\n");
  EXPECT_EQ(router.record("ppp", "files"), "x/ppp/share/ppp\n");
  EXPECT_FALSE(router.has("/flash/share/ppp"));
  EXPECT_EQ(router.treeOf("/flash/x", kTreeMode),
            "/flash/x dir 0770\n/flash/x/ppp dir 0770\n/flash/x/ppp/share dir 0770\n"
            "/flash/x/ppp/share/ppp file 0644\n/flash/x/ppp/var dir 0770\n"
            "/flash/x/ppp/var/pdb dir 0770\n/flash/x/ppp/var/pdb/ppp dir 0770\n");
}

TEST_F(SinglePackage, ConflictWithADisabledOneDoesNotCount) {
  Record slip = {"slip", k3_22};
  slip.conflicts = {dep("ppp")};
  slip.disabled = "auto";
  router.installed(slip);
  expectInstalled(simplePack("ppp"));
}

TEST_F(SinglePackage, NewPackageTurnsOffWhatItConflictsWithBeforeItsFilesLand) {
  Record slip = {"slip", k3_22};
  slip.files = {"/share/slip"};
  router.installed(slip);
  Pack pack = simplePack("ppp");
  pack.conflicts = {dep("slip")};
  const std::string bytes = pack.file();
  Console console;
  console.status("disabling slip-3.22...").log("disabled slip-3.22").installed("ppp-3.22", bytes);
  EXPECT_RUN(install(bytes), 0, console);
  EXPECT_EQ(router.record("slip", "disabled"), "auto\n");
}

TEST_F(SinglePackage, UpgradeThatDropsWhatOthersNeedDisablesNone) {
  Record ppp = {"ppp", k3_21};
  ppp.provides = {dep("dialer")};
  Record vpn = {"vpn", k3_22};
  vpn.deps = {dep("dialer")};
  router.installed(ppp).installed(vpn);
  const std::string bytes = simplePack("ppp").file();
  // Nothing provides the dialer any more: what needs it is uninstalled, silently.
  EXPECT_RUN(install(bytes), 0, Console().installed("ppp-3.22", bytes));
  EXPECT_FALSE(router.has("/flash/var/pdb/vpn"));
}

TEST_F(SinglePackage, StateOfTheOldVersionIsNotKept) {
  // Only the batch run hands the user's choices on.
  Record old = {"ppp", k3_21};
  old.disabled = "user";
  router.installed(old);
  expectInstalled(simplePack("ppp"));
  EXPECT_EQ(router.names("/flash/var/pdb/ppp"),
            (std::vector<std::string>{"deps", "files", "version"}));
}

TEST_F(SinglePackage, WithANameThatIsNoFolderNameIsRefused) {
  for (const char* name : {"", ".", "..", "a/b", "/"}) {
    Pack pack = simplePack("ppp");
    pack.name = name;
    const std::string before = allButTheLog();
    EXPECT_RUN(install(pack.file()), 1, Console());
    EXPECT_EQ(allButTheLog(), before) << name;
  }
}

TEST_F(SinglePackage, WithItsHeaderCutShortIsRefused) {
  PackBuilder builder;
  builder.part(kPartPackage, std::string(31, 'a'));
  EXPECT_RUN(install(builder.finish()), 1, Console());
}

// The system package and the flash that it was made for.
class OldSystem : public SinglePackage {
 protected:
  void SetUp() override {
    NEEDS_CHROOT();
    router.installed({"moth", k3_22});
  }
};

TEST_F(OldSystem, BeforeTheFileSystemIsRefused) {
  expectRefused(
      simplePack("system", k2_9rc7),
      Console().warning("omitting package system-2.9rc7: it does not support current file system"));
}

TEST_F(OldSystem, WithTheFileSystemIsTaken) {
  const std::string bytes = simplePack("system", k2_9rc8).file();
  EXPECT_RUN(install(bytes), 0, Console().installed("system-2.9rc8", bytes));
}

TEST_F(OldSystem, OtherPackagesMayBeOfAnyAge) {
  const std::string bytes = simplePack("ppp", k2_9rc7).file();
  EXPECT_RUN(install(bytes), 0, Console().installed("ppp-2.9rc7", bytes));
}

TEST_F(OldSystem, WithoutAFlashDeviceBlocksAreSmall) {
  const std::string bytes = simplePack("system", k3_20rc1).file();
  EXPECT_RUN(install(bytes), 0, Console().installed("system-3.20rc1", bytes));
}

TEST_F(OldSystem, FlashDeviceThatDoesNotAnswerHasSmallBlocks) {
  router.put("/dev/mtd0", "no device");
  const std::string bytes = simplePack("system", k3_20rc1).file();
  EXPECT_RUN(install(bytes), 0, Console().installed("system-3.20rc1", bytes));
}

// A flash device that answers.
class Flash : public OldSystem {
 protected:
  void SetUp() override {
#ifdef FAKE_FLASH
    OldSystem::SetUp();
    router.put("/dev/mtd0", "").environment("LD_PRELOAD=" FAKE_FLASH);
#else
    GTEST_SKIP() << "nothing can be preloaded into a program with sanitizers";
#endif
  }
  void eraseSize(unsigned bytes) { router.environment("FAKE_ERASE_SIZE=" + std::to_string(bytes)); }
  void expectTaken(std::uint32_t version, const std::string& fullName) {
    const std::string bytes = simplePack("system", version).file();
    EXPECT_RUN(install(bytes), 0, Console().installed(fullName, bytes));
  }
};

TEST_F(Flash, WithLargeBlocksRefusesAnOldSystem) {
  eraseSize(256 * 1024);
  expectRefused(simplePack("system", k3_20rc1),
                Console().warning(
                    "omitting package system-3.20rc1: it does not support current file system"));
}

TEST_F(Flash, WithLargeBlocksTakesTheFirstSystemThatFits) {
  eraseSize(256 * 1024);
  expectTaken(k3_20rc2, "system-3.20rc2");
}

TEST_F(Flash, WithLargeBlocksTakesOtherPackagesOfAnyAge) {
  eraseSize(256 * 1024);
  const std::string bytes = simplePack("ppp", k3_20rc1).file();
  EXPECT_RUN(install(bytes), 0, Console().installed("ppp-3.20rc1", bytes));
}

TEST_F(Flash, WithSmallBlocksTakesAnOldSystem) {
  eraseSize(64 * 1024);
  expectTaken(k3_20rc1, "system-3.20rc1");
}

TEST_F(Flash, WithLargerBlocksTakesAnOldSystem) {
  eraseSize(512 * 1024);
  expectTaken(k3_20rc1, "system-3.20rc1");
}

TEST_F(Flash, ThatFailsToAnswerCountsAsSmallBlocks) { expectTaken(k3_20rc1, "system-3.20rc1"); }

TEST_F(Flash, IsNotAskedWithoutADevice) {
  eraseSize(256 * 1024);
  unlink(router.path("/dev/mtd0").c_str());
  expectTaken(k3_20rc1, "system-3.20rc1");
}

}  // namespace
