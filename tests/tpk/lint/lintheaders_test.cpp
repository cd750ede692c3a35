#include "tests/tpk/lint/lintfixture.h"

#include <map>

namespace {

using LintHeaders = LintTest;

TEST_F(LintHeaders, NamesWithWhiteSpaceCannotBeReadBack) {
  EXPECT_EQ(lint(begin("my one").sign()),
            "error name-with-space my one-1.0: its own name \"my one\"\n");
  EXPECT_EQ(lint(begin("one", {system(), {"a\tb", 0, 0, 0}})
                     .list(kPartProvides, {{"c d", 0, 0, 0}})
                     .list(kPartConflicts, {{"e\n", 0, 0, 0}})
                     .sign()),
            "error name-with-space one-1.0: requires \"a\tb\"\n"
            "error name-with-space one-1.0: provides \"c d\"\n"
            "error name-with-space one-1.0: conflicts \"e\n\"\n");
}

TEST_F(LintHeaders, EmptyNamesCannotBeReadBack) {
  EXPECT_EQ(lint(begin("one", {system(), {}}).sign()),
            "error empty-name one-1.0: requires a package without name\n");
}

TEST_F(LintHeaders, NamesThatBeginWithADotAreForgotten) {
  EXPECT_EQ(lint(begin(".one").sign()), "error hidden-name .one-1.0: is named \".one\"\n");
}

TEST_F(LintHeaders, TheNameImageIsTaken) {
  EXPECT_EQ(lint(begin("image").sign()), "warning reserved-name image-1.0: is named \"image\"\n");
}

TEST_F(LintHeaders, LongestNamesMayHaveBeenCut) {
  EXPECT_EQ(lint(begin("exactly16bytes--").sign()),
            "note name-fills-field exactly16bytes---1.0: is named \"exactly16bytes--\"\n");
  EXPECT_EQ(lint(begin("only15bytes----").sign()), "");
}

TEST_F(LintHeaders, VersionZeroIsNone) {
  EXPECT_EQ(lint(PackBuilder()
                     .header("system", 0, kBuildTime)
                     .part(kPartArchitecture, "mipsel")
                     .list(kPartRequires, {})
                     .sign())
                .substr(0, 19),
            "warning no-version ");
}

TEST_F(LintHeaders, ReleaseKindsAreFour) {
  EXPECT_EQ(lint(PackBuilder()
                     .header("one", 0x01007A00, kBuildTime)
                     .part(kPartArchitecture, "mipsel")
                     .list(kPartRequires, {system()})
                     .sign()),
            "warning odd-version one-" + std::string(versionString(0x01007A00)) +
                ": its release kind is byte 122\n");
}

TEST_F(LintHeaders, OldSystemsDoNotStart) {
  const auto ofVersion = [](std::uint32_t version) {
    return PackBuilder()
        .header("system", version, kBuildTime)
        .part(kPartArchitecture, "mipsel")
        .sign();
  };
  EXPECT_EQ(lint(ofVersion(packVersion(3, 20, kKindCandidate, 1))),
            "warning old-system system-3.20rc1: is older than 3.20rc2\n");
  EXPECT_EQ(lint(ofVersion(packVersion(3, 20, kKindCandidate, 2))), "");
}

TEST_F(LintHeaders, BuildTimesLieInThePast) {
  options_.now = kBuildTime - 1;
  EXPECT_EQ(lint(begin().sign()),
            "warning built-in-future one-1.0: was built at 1000, now is 999\n");
  options_.now = kBuildTime;
  EXPECT_EQ(lint(begin().sign()), "");
}

TEST_F(LintHeaders, PackagesAreForMipsel) {
  const auto header = [] { return PackBuilder().header("one", kVersion, kBuildTime); };
  EXPECT_EQ(lint(header().part(kPartArchitecture, "arm").list(kPartRequires, {system()}).sign()),
            "error wrong-architecture one-1.0: is made for \"arm\"\n");
  EXPECT_EQ(lint(header().list(kPartRequires, {system()}).sign()),
            "error wrong-architecture one-1.0: names no architecture, which stands for \"i386\"\n");
}

TEST_F(LintHeaders, AnEmptyArchitectureIsTakenEverywhere) {
  EXPECT_EQ(lint(PackBuilder()
                     .header("one", kVersion, kBuildTime)
                     .part(kPartArchitecture, "")
                     .list(kPartRequires, {system()})
                     .sign()),
            "note no-architecture one-1.0: its architecture is an empty text\n");
}

TEST_F(LintHeaders, TheCleanUpTakesWhatNeedsNoNewSystem) {
  const std::string finding =
      "warning system-requirement one-1.0: does not require system 3.22 or newer\n";
  EXPECT_EQ(lint(begin("one", {}).sign()), finding);
  EXPECT_EQ(lint(begin("one", {{"system", kSystemVersion - 1, 0, 0}}).sign()), finding);
  EXPECT_EQ(lint(begin("one", {{"system", 0, kSystemVersion, 0}}).sign()), finding);
  EXPECT_EQ(lint(begin("one", {{"systems", kSystemVersion, 0, 0}}).sign()), finding);
}

TEST_F(LintHeaders, TheCleanUpSparesThreeNamesAndBundles) {
  for (const char* name : {"moth", "disk-drivers"}) EXPECT_EQ(lint(begin(name, {}).sign()), "");
  EXPECT_EQ(lint(PackBuilder()
                     .header("system", kSystemVersion, kBuildTime)
                     .part(kPartArchitecture, "mipsel")
                     .sign()),
            "");
  PackBuilder bundle = beginBundle();
  EXPECT_EQ(lint(add(bundle).sign()), "");
}

TEST_F(LintHeaders, RequiringItselfNeverBegins) {
  EXPECT_EQ(lint(begin("one", {system(), {"one", 0, 0, 0}}).sign()),
            "error requires-itself one-1.0: requires one\n");
}

TEST_F(LintHeaders, OwnProvidesShadowRequirements) {
  const auto wanting = [](std::uint32_t version) {
    return begin("one", {system(), {"web", version, 0, 0}});
  };
  const std::vector<PackageDep> offer = {{"web", 0, kVersion, 0}};
  EXPECT_EQ(lint(wanting(kVersion).list(kPartProvides, offer).sign()),
            "warning shadowed-requirement one-1.0: requires web >= 1.0 and provides it\n");
  EXPECT_EQ(lint(wanting(kVersion + 1).list(kPartProvides, offer).sign()), "");
}

TEST_F(LintHeaders, ConflictsWithItselfStopUpgrades) {
  const std::string finding =
      "error conflicts-with-itself one-1.0: is in conflict with every package like itself\n";
  EXPECT_EQ(lint(begin().list(kPartConflicts, {{"one", 0, 0, 0}}).sign()), finding);
  EXPECT_EQ(lint(begin().list(kPartProvides, {{"one", 0, 0, -1}}).sign()), finding);
  EXPECT_EQ(lint(begin().list(kPartConflicts, {{"one", 0, kVersion - 1, 0}}).sign()), "");
}

TEST_F(LintHeaders, RequirementsAndConflictsExcludeEachOther) {
  const std::uint32_t next = packVersion(2, 0, kKindFinal, 0);
  EXPECT_EQ(lint(begin("one", {system(), {"two", kVersion, next, 0}})
                     .list(kPartConflicts, {{"two", kVersion, 0, 0}})
                     .sign()),
            "error requires-and-conflicts one-1.0: requires two 1.0 .. 2.0, conflicts with "
            "two >= 1.0\n");
  EXPECT_EQ(lint(begin("one", {system(), {"two", kVersion, 0, 0}})
                     .list(kPartConflicts, {{"two", kVersion, next, 0}})
                     .sign()),
            "");
  // Once for each requirement: with the conflict that reaches farthest.
  EXPECT_EQ(lint(begin("one", {system(), {"two", next, next, 0}})
                     .list(kPartConflicts, {{"two", 0, next, 0}, {"two", 0, 0, 0}})
                     .sign()),
            "error requires-and-conflicts one-1.0: requires two = 2.0, conflicts with two\n");
}

// A finding for every pair, or a look at it, would be four thousand million of them.
TEST_F(LintHeaders, FullListsComeToAnEnd) {
  constexpr std::size_t kMost = 65535;
  std::vector<PackageDep> one(kMost, {"two", 0, 0, 0});
  const std::vector<PackageDep> other(kMost, {"two", kVersion, kVersion, 0});
  one.back() = system();
  const std::string path = put("one.tpk", begin("one", one).list(kPartConflicts, one));
  const std::string twice =
      put("two.tpk", begin("one", other).list(kPartProvides, one).list(kPartConflicts, one));
  std::map<std::string, std::size_t> count;
  for (const LintFinding& finding : lintFiles({path, twice}, options_)) ++count[finding.rule->id];
  EXPECT_EQ(count["requires-and-conflicts"], 2 * kMost);
  EXPECT_EQ(count["shadowed-requirement"], kMost);
}

TEST_F(LintHeaders, RangesHoldAVersion) {
  const std::uint32_t next = packVersion(2, 0, kKindFinal, 0);
  EXPECT_EQ(lint(begin("one", {system(), {"two", next, kVersion, 0}})
                     .list(kPartProvides, {{"three", next, next, 0}})
                     .list(kPartConflicts, {{"four", next, kVersion, 0}})
                     .sign()),
            "error empty-range one-1.0: requires two 2.0 .. 1.0\n"
            "error empty-range one-1.0: conflicts four 2.0 .. 1.0\n");
}

TEST_F(LintHeaders, EntriesStandOnce) {
  EXPECT_EQ(lint(begin("one", {system(), {"two", 0, 0, 0}, {"two", 0, 0, 0}}).sign()),
            "note repeated-relation one-1.0: requires two more than once\n");
  EXPECT_EQ(lint(begin("one", {system(), {"two", kVersion, 0, 0}, {"two", 0, 0, 0}}).sign()), "");
}

}  // namespace
