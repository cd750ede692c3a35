// What "tpk try" says of bundles is what the installer then does.
#include "tests/tpk/try/trial.h"

namespace {

class TryBundles : public Trial {
 protected:
  static BundlePack combo(const std::vector<Pack>& members, std::uint32_t version = k3_22) {
    BundlePack bundle;
    bundle.name = "combo";
    bundle.version = version;
    bundle.members = members;
    return bundle;
  }
  void installedCombo(const Words& members, std::uint32_t version = k3_21) {
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
};

TEST_F(TryBundles, MembersAreInstalled) {
  give(combo({simplePack("a"), simplePack("b")}));
  tryAndDo();
  EXPECT_EQ(status, 0);
  EXPECT_EQ(outcome("combo"), "installed");
  EXPECT_EQ(outcome("a"), "installed");
  EXPECT_EQ(database(), (Words{"a 3.22 1000 enabled of combo", "b 3.22 1000 enabled of combo",
                               "combo 3.22 1000 enabled", "system 3.22 100 enabled"}));
}

TEST_F(TryBundles, MembersThatAreNotCarriedAnyMoreGo) {
  installedCombo({"a", "b", "c"});
  give(combo({simplePack("a"), simplePack("c")}));
  tryAndDo();
  EXPECT_EQ(status, 0);
  EXPECT_EQ(outcome("combo"), "upgraded from 3.21");
  EXPECT_EQ(outcome("a"), "upgraded from 3.21");
  EXPECT_EQ(sideEffects(), (Words{"b-3.21 uninstalled"}));
}

TEST_F(TryBundles, MemberThatNeedsWhatIsMissingIsNamed) {
  Pack b = simplePack("b");
  b.deps = {dep("missing")};
  Pack c = simplePack("c");
  c.arch = "i386";
  give(combo({simplePack("a"), b, c}));
  tryAndDo();
  EXPECT_EQ(status, 1);
  EXPECT_EQ(report["files"][0]["taken"], true);
  EXPECT_EQ(outcome("b"), "refused");
  EXPECT_EQ(reason("b"), "missing is required");
  EXPECT_EQ(reason("c"), "it is made for i386");
}

TEST_F(TryBundles, MembersThatStandThereAreUnchanged) {
  installedCombo({"a", "b"}, k3_22);
  give(combo({simplePack("a"), simplePack("b")}));
  tryAndDo({"-q"});
  EXPECT_EQ(status, 0);
  EXPECT_EQ(outcome("a"), "unchanged");
}

TEST_F(TryBundles, NewerMemberThatIsInstalledStays) {
  Record a = {"a", k3_23};
  router.installed(a);
  give(combo({simplePack("a")}));
  tryAndDo();
  EXPECT_EQ(status, 1);
  EXPECT_EQ(outcome("a"), "refused");
  EXPECT_EQ(reason("a"), "a-3.23 is installed");
}

TEST_F(TryBundles, TurnedOffMemberIsDisabled) {
  BundlePack bundle = combo({simplePack("a"), simplePack("b")});
  bundle.turnOff = {dep("b")};
  give(bundle);
  tryAndDo();
  EXPECT_EQ(status, 0);
  EXPECT_EQ(outcome("b"), "installed, disabled");
}

TEST_F(TryBundles, TurnedOffMemberThatWasEnabledIsEnabledAgain) {
  router.installed({"b", k3_21});
  BundlePack bundle = combo({simplePack("a"), simplePack("b")});
  bundle.turnOff = {dep("b")};
  give(bundle);
  tryAndDo();
  EXPECT_EQ(outcome("b"), "upgraded from 3.21");
}

TEST_F(TryBundles, UsersChoiceBeatsTheTurnOffList) {
  Record old = {"b", k3_21};
  old.enabled = "user";
  router.installed(old);
  BundlePack bundle = combo({simplePack("a"), simplePack("b")});
  bundle.turnOff = {dep("b")};
  give(bundle);
  tryAndDo();
  EXPECT_EQ(outcome("b"), "upgraded from 3.21");
}

TEST_F(TryBundles, AllMembersTurnedOffDisableTheBundle) {
  BundlePack bundle = combo({simplePack("a")});
  bundle.turnOff = {dep("a")};
  give(bundle);
  tryAndDo();
  EXPECT_EQ(outcome("combo"), "installed, disabled");
}

TEST_F(TryBundles, MemberThatConflictsIsDisabled) {
  Record slip = {"slip", k3_22};
  slip.conflicts = {dep("b")};
  router.installed(slip);
  give(combo({simplePack("a"), simplePack("b")}));
  tryAndDo();
  EXPECT_EQ(outcome("b"), "installed, disabled");
}

TEST_F(TryBundles, ForAnotherArchitectureIsRefused) {
  BundlePack bundle = combo({simplePack("a")});
  bundle.arch = "i386";
  give(bundle);
  tryAndDo();
  EXPECT_EQ(status, 1);
  EXPECT_EQ(outcome("combo"), "refused");
  EXPECT_EQ(outcome("a"), "refused");
}

TEST_F(TryBundles, OlderOneIsRefused) {
  installedCombo({"a"}, k3_23);
  give(combo({simplePack("a")}));
  tryAndDo();
  EXPECT_EQ(outcome("combo"), "refused");
}

TEST_F(TryBundles, OlderOneDowngradesWithTheOption) {
  installedCombo({"a", "b"}, k3_23);
  give(combo({simplePack("a")}));
  tryAndDo({"-down"});
  EXPECT_EQ(status, 0);
  EXPECT_EQ(outcome("combo"), "downgraded from 3.23");
  EXPECT_EQ(outcome("a"), "downgraded from 3.23");
  EXPECT_EQ(sideEffects(), (Words{"b-3.23 uninstalled"}));
}

TEST_F(TryBundles, WithoutAUsableMemberLeavesItsRecordAndIsRefused) {
  Pack a = simplePack("a");
  a.arch = "i386";
  give(combo({a}));
  tryAndDo();
  EXPECT_EQ(status, 1);
  EXPECT_EQ(report["files"][0]["taken"], false);
  EXPECT_EQ(outcome("combo"), "installed");
}

TEST_F(TryBundles, MemberWithABrokenArchiveDoesNotEndTheBundle) {
  Pack a = simplePack("a");
  a.files.entry("share/bad", 0xF000, "");
  give(combo({a, simplePack("b")}));
  tryAndDo();
  EXPECT_EQ(status, 1);
  EXPECT_EQ(outcome("a"), "refused");
  EXPECT_EQ(outcome("b"), "installed");
}

TEST_F(TryBundles, IsTakenInPlaceOfAnEqualPackage) {
  give(combo({simplePack("ppp")}));
  give(simplePack("ppp"));
  tryAndDo();
  EXPECT_EQ(status, 1);
}

}  // namespace
