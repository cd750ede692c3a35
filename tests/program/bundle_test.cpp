// Bundles: one file that carries several packages.
#include "tests/program/world.h"

namespace {

using Names = std::vector<std::string>;

class Bundle : public World {
 protected:
  ProcessResult install(const std::string& bytes, Router::Arguments options = {}) {
    router.put("/in.tpk", bytes);
    unlink(router.path("/image").c_str());
    options.push_back("/in.tpk");
    return router.run(options);
  }
  static BundlePack combo(const std::vector<Pack>& members, std::uint32_t version = k3_22) {
    BundlePack bundle;
    bundle.name = "combo";
    bundle.version = version;
    bundle.members = members;
    return bundle;
  }
  static std::string memberRecord(const Pack& pack, const std::vector<MetaFile>& more = {}) {
    std::vector<MetaFile> all = more;
    all.push_back({"bundle", "combo\n"});
    return recordOf(pack, {"/share/" + pack.name}, all);
  }
  // The bundle and its members as an installation of before left them.
  void installedCombo(const Names& members, std::uint32_t version = k3_21) {
    Record bundle = {"combo", version, 1000};
    bundle.isBundle = true;
    router.installed(bundle);
    for (const std::string& name : members) {
      Record member = {name, version, 1000};
      member.bundle = "combo";
      member.files = {"/share/" + name};
      router.installed(member);
    }
  }
  Names packages() const { return router.names("/flash/var/pdb"); }
};

TEST_F(Bundle, InstallsItsMembersUnderItsName) {
  const BundlePack bundle = combo({simplePack("a"), simplePack("b")});
  const std::string bytes = bundle.file();
  Console console;
  console.installing("combo-3.22", bytes, 0).installing("combo-3.22", bytes, 1);
  console.bundleInstalled("combo-3.22");
  EXPECT_RUN(install(bytes), 0, console);
  EXPECT_EQ(router.log(), "installed combo-3.22\n");
  EXPECT_EQ(router.database(), memberRecord(simplePack("a")) + memberRecord(simplePack("b")) +
                                   recordOfBundle(bundle) + systemLines());
  EXPECT_EQ(router.read("/flash/share/a"), simpleContents("a"));
  EXPECT_EQ(router.read("/flash/share/b"), simpleContents("b"));
}

TEST_F(Bundle, MembersMayRequireEachOtherInFileOrder) {
  Pack b = simplePack("b");
  b.deps = {dep("a", k3_22)};
  EXPECT_TRUE(install(combo({simplePack("a"), b}).file()).exited(0));
  EXPECT_EQ(packages(), (Names{"a", "b", "combo", "system"}));
}

TEST_F(Bundle, MemberThatCannotBeUsedIsLeftOutInSilence) {
  Pack b = simplePack("b");
  b.deps = {dep("missing")};
  const std::string bytes = combo({simplePack("a"), b}).file();
  Console console;
  console.installing("combo-3.22", bytes, 0).bundleInstalled("combo-3.22");
  EXPECT_RUN(install(bytes), 0, console);
  EXPECT_EQ(packages(), (Names{"a", "combo", "system"}));
}

TEST_F(Bundle, UpgradeDropsMembersThatItDoesNotCarryAnyMore) {
  installedCombo({"a", "b", "c"});
  const std::string bytes = combo({simplePack("a"), simplePack("c")}).file();
  Console console;
  console.installing("combo-3.22", bytes, 0).installing("combo-3.22", bytes, 1);
  console.bundleInstalled("combo-3.22");
  EXPECT_RUN(install(bytes), 0, console);
  EXPECT_EQ(packages(), (Names{"a", "c", "combo", "system"}));
  EXPECT_FALSE(router.has("/flash/share/b"));
  EXPECT_EQ(router.read("/flash/share/a"), simpleContents("a"));
}

TEST_F(Bundle, WithAllMembersInstalledAlreadySucceedsAndTouchesNone) {
  installedCombo({"a", "b"}, k3_22);
  const unsigned fields = kTreeTypes | kTreeMode | kTreeSize | kTreeContents;
  const std::string before = router.treeOf("/flash/var/pdb/a", fields) +
                             router.treeOf("/flash/var/pdb/b", fields) +
                             router.treeOf("/flash/share", fields);
  const BundlePack bundle = combo({simplePack("a"), simplePack("b")});
  EXPECT_RUN(install(bundle.file()), 0, Console().bundleInstalled("combo-3.22"));
  EXPECT_EQ(router.treeOf("/flash/var/pdb/a", fields) + router.treeOf("/flash/var/pdb/b", fields) +
                router.treeOf("/flash/share", fields),
            before);
  EXPECT_EQ(packages(), (Names{"a", "b", "combo", "system"}));
}

TEST_F(Bundle, NewerMemberThatIsInstalledCountsAsPresent) {
  Record a = {"a", k3_23};
  router.installed(a);
  EXPECT_RUN(install(combo({simplePack("a")}).file()), 0, Console().bundleInstalled("combo-3.22"));
  EXPECT_EQ(router.record("a", "version"), std::to_string(k3_23) + " 0\n");
  // It stays a package of its own.
  EXPECT_FALSE(router.has("/flash/var/pdb/a/bundle"));
}

TEST_F(Bundle, BundleWithTheNameOfAPackageTakesItsPlace) {
  Record single = {"combo", k3_21};
  single.files = {"/share/combo"};
  router.installed(single);
  EXPECT_TRUE(install(combo({simplePack("a")}).file()).exited(0));
  EXPECT_FALSE(router.has("/flash/share/combo"));
  EXPECT_EQ(router.database(),
            memberRecord(simplePack("a")) + recordOfBundle(combo({})) + systemLines());
}

TEST_F(Bundle, MemberOnTheTurnOffListIsInstalledDisabled) {
  BundlePack bundle = combo({simplePack("a"), simplePack("b")});
  bundle.turnOff = {dep("b")};
  const std::string bytes = bundle.file();
  Console console;
  // A member is reported under the bundle's name, without a mark.
  console.installing("combo-3.22", bytes, 0).installing("combo-3.22", bytes, 1);
  console.bundleInstalled("combo-3.22");
  EXPECT_RUN(install(bytes), 0, console);
  EXPECT_EQ(router.database(), memberRecord(simplePack("a")) +
                                   recordOf(simplePack("b"), {"/x/b/share/b"},
                                            {{"bundle", "combo\n"}, {"disabled", "auto\n"}}) +
                                   recordOfBundle(bundle) + systemLines());
  EXPECT_TRUE(router.has("/flash/x/b/share/b"));
  EXPECT_FALSE(router.has("/flash/share/b"));
}

// While all of the members so far are disabled, so is the bundle; the first enabled one needs it.
TEST_F(Bundle, WhoseFirstMemberIsTurnedOffIsDisabledForAWhile) {
  BundlePack bundle = combo({simplePack("a"), simplePack("b")});
  bundle.turnOff = {dep("a")};
  const std::string bytes = bundle.file();
  Console console;
  console.status("disabling combo-3.22...").log("disabled combo-3.22");
  console.installing("combo-3.22", bytes, 0);
  console.status("enabling combo-3.22...").log("enabled combo-3.22");
  console.installing("combo-3.22", bytes, 1).bundleInstalled("combo-3.22");
  EXPECT_RUN(install(bytes), 0, console);
  EXPECT_EQ(router.names("/flash/var/pdb/combo"), (Names{"deps", "version"}));
  EXPECT_EQ(router.record("a", "disabled"), "auto\n");
}

TEST_F(Bundle, WithAllMembersTurnedOffIsDisabled) {
  BundlePack bundle = combo({simplePack("a")});
  bundle.turnOff = {dep("a")};
  EXPECT_TRUE(install(bundle.file()).exited(0));
  EXPECT_EQ(router.record("combo", "disabled"), "auto\n");
  EXPECT_EQ(router.record("a", "disabled"), "auto\n");
}

TEST_F(Bundle, TurnOffListThatIsCutShortCountsAsFarAsItWasRead) {
  PackBuilder builder;
  builder.bundleHeader("combo", k3_22).part(kPartArchitecture, "mipsel");
  const std::string list = dependencyList({dep("b"), dep("a")});
  builder.part(kPartTurnOff, list.substr(0, list.size() - 1));
  simplePack("a").appendTo(builder);
  simplePack("b").appendTo(builder);
  const ProcessResult result = install(builder.finish());
  // The read beyond the part's end fails the stream: no member is reached.
  EXPECT_TRUE(result.exited(3)) << result;
  EXPECT_EQ(packages(), (Names{"combo", "system"}));
}

TEST_F(Bundle, PlaceholdersOfTheTurnOffListLeaveNoTrace) {
  BundlePack bundle = combo({simplePack("a"), simplePack("b")});
  bundle.turnOff = {dep("b"), dep("unknown")};
  EXPECT_TRUE(install(bundle.file()).exited(0));
  EXPECT_EQ(packages(), (Names{"a", "b", "combo", "system"}));
  EXPECT_FALSE(router.has("/flash/var/pdb/disabled"));
  EXPECT_FALSE(router.has("/flash/var/pdb/enabled"));
}

TEST_F(Bundle, MemberThatConflictsWithAnInstalledPackageIsInstalledDisabled) {
  Record slip = {"slip", k3_22};
  slip.conflicts = {dep("b")};
  router.installed(slip);
  EXPECT_TRUE(install(combo({simplePack("a"), simplePack("b")}).file()).exited(0));
  EXPECT_EQ(router.record("b", "disabled"), "auto\n");
  EXPECT_TRUE(router.has("/flash/x/b/share/b"));
}

TEST_F(Bundle, ForgedMemberDoesNotEndTheBundle) {
  PackBuilder builder;
  builder.bundleHeader("combo", k3_22, 1000).part(kPartArchitecture, "mipsel");
  builder.header("a", k3_22).part(kPartArchitecture, "mipsel");
  builder.archive(ArchiveBuilder().regular("share/a", "forged"));
  simplePack("b").appendTo(builder);
  const std::string bytes = builder.finish();
  Console console;
  console.installing("combo-3.22", bytes, 0);
  console.error("installation of combo-3.22 failed: broken package");
  console.installing("combo-3.22", bytes, 1).bundleInstalled("combo-3.22");
  EXPECT_RUN(install(bytes), 0, console);
  EXPECT_EQ(packages(), (Names{"b", "combo", "system"}));
  EXPECT_FALSE(router.has("/flash/share/a"));
}

TEST_F(Bundle, MemberWithABrokenArchiveDoesNotEndTheBundle) {
  Pack a = simplePack("a");
  a.files.entry("share/bad", 0xF000, "");
  EXPECT_TRUE(install(combo({a, simplePack("b")}).file()).exited(0));
  EXPECT_EQ(packages(), (Names{"b", "combo", "system"}));
  EXPECT_EQ(router.log(),
            "ERROR: installation of combo-3.22 failed: broken package\n"
            "installed combo-3.22\n");
}

// The read beyond the part's end fails the stream: what follows is lost, and the program must not
// look for it for ever.
TEST_F(Bundle, MemberHeaderThatIsTooShortEndsTheBundle) {
  router.timeLimit(std::chrono::seconds(10));
  PackBuilder builder;
  builder.bundleHeader("combo", k3_22).part(kPartArchitecture, "mipsel");
  simplePack("a").appendTo(builder);
  builder.part(kPartPackage, std::string(31, 'b'));
  simplePack("c").appendTo(builder);
  const ProcessResult result = install(builder.finish());
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_EQ(packages(), (Names{"a", "combo", "system"}));
}

TEST_F(Bundle, MemberWithoutAUsableNameDoesNotEndTheBundle) {
  Pack bad = simplePack("..");
  EXPECT_TRUE(install(combo({bad, simplePack("b")}).file()).exited(0));
  EXPECT_EQ(packages(), (Names{"b", "combo", "system"}));
}

TEST_F(Bundle, ThatIsRefusedGivesTwo) {
  BundlePack bundle = combo({simplePack("a")});
  bundle.arch = "i386";
  const std::string before = router.database();
  EXPECT_RUN(
      install(bundle.file()), 2,
      Console().error("can not install combo-3.22: it is not made for mipsel, but for i386"));
  EXPECT_EQ(router.database(), before);
}

TEST_F(Bundle, ThatIsOlderGivesTwo) {
  installedCombo({"a"}, k3_23);
  const std::string before = router.database();
  EXPECT_RUN(install(combo({simplePack("a")}).file()), 2,
             Console().warning(
                 "omitting package combo-3.22: newer package combo-3.23 is already installed"));
  EXPECT_EQ(router.database(), before);
}

TEST_F(Bundle, ThatIsOlderIsTakenWhenDowngradesAreAllowed) {
  installedCombo({"a", "b"}, k3_23);
  EXPECT_TRUE(install(combo({simplePack("a")}).file(), {"-down"}).exited(0));
  EXPECT_EQ(packages(), (Names{"a", "combo", "system"}));
  EXPECT_EQ(router.record("a", "version"), "51799552 1000\n");
}

TEST_F(Bundle, ThatConflictsGivesTwo) {
  Record slip = {"slip", k3_22};
  slip.conflicts = {dep("combo")};
  router.installed(slip);
  EXPECT_RUN(install(combo({simplePack("a")}).file()), 2,
             Console().error("can not install combo-3.22: it conflicts with slip-3.22"));
}

TEST_F(Bundle, ThatNeedsWhatIsMissingGivesTwo) {
  BundlePack bundle = combo({simplePack("a")});
  bundle.deps = {dep("ppp", k3_22)};
  EXPECT_RUN(
      install(bundle.file()), 2,
      Console().error("can not install combo-3.22: ppp-3.22 is not installed, but is required"));
}

TEST_F(Bundle, WithoutAnInstalledMemberGivesThree) {
  Pack a = simplePack("a");
  a.arch = "i386";
  EXPECT_RUN(install(combo({a}).file()), 3, Console());
  EXPECT_EQ(packages(), (Names{"combo", "system"}));
  // A bundle of nothing goes with the next plan.
  EXPECT_TRUE(router.run().exited(0));
  EXPECT_EQ(packages(), (Names{"system"}));
}

TEST_F(Bundle, WithoutAMemberAtAllGivesThree) {
  EXPECT_RUN(install(combo({}).file()), 3, Console());
}

TEST_F(Bundle, WithAHeaderCutShortGivesOne) {
  PackBuilder builder;
  builder.part(kPartBundle, std::string(31, 'b'));
  EXPECT_RUN(install(builder.finish()), 1, Console());
  EXPECT_EQ(packages(), (Names{"system"}));
}

TEST_F(Bundle, WithAnEmptyNameGivesOne) {
  BundlePack bundle = combo({simplePack("a")});
  bundle.name = "";
  router.installed({"ppp", k3_22});
  EXPECT_RUN(install(bundle.file()), 1, Console());
  EXPECT_EQ(packages(), (Names{"ppp", "system"}));
}

TEST_F(Bundle, WhoseRecordCannotBeWrittenGivesOne) {
  // A name that begins with a dot keeps the folder, in the place of the file.
  router.put("/flash/var/pdb/combo/version/.keep", "");
  const ProcessResult result = install(combo({simplePack("a")}).file());
  EXPECT_TRUE(result.exited(1)) << result;
  EXPECT_EQ(router.log(),
            "ERROR: installation of combo-3.22 failed: could not create meta/version: Is a "
            "directory\n");
  EXPECT_FALSE(router.has("/flash/share/a"));
}

TEST_F(Bundle, ImageMarkerOfTheBundleLinksItsFile) {
  BundlePack bundle = combo({simplePack("a")});
  bundle.image = "anything";
  const std::string bytes = bundle.file();
  EXPECT_TRUE(install(bytes).exited(0));
  EXPECT_EQ(router.read("/flash/var/pdb/combo/image"), bytes);
}

// The new package satisfies itself only through the old one, which has to go for it.
TEST_F(Bundle, PackageThatIsTakenAwayByItsOwnPlanIsNotInstalled) {
  Record old = {"ppp", k3_21};
  old.provides = {dep("dialer")};
  old.files = {"/share/old"};
  router.installed(old);
  Pack pack = simplePack("ppp");
  pack.deps = {dep("dialer")};
  EXPECT_RUN(install(pack.file()), 1, Console());
  EXPECT_EQ(packages(), (Names{"system"}));
  EXPECT_FALSE(router.has("/flash/share/old"));
  EXPECT_FALSE(router.has("/flash/share/ppp"));
}

}  // namespace
