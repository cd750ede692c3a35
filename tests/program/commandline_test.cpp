// The command line: what is understood, what wins, and what is said about the rest.
#include "tests/program/world.h"

namespace {

class CommandLine : public World {
 protected:
  // The usage line and nothing else, and nothing was done.
  void expectUsage(const Router::Arguments& arguments, const std::string& before = "") {
    router.schedule("system", "disable");
    const std::string tree = router.tree();
    const ProcessResult result = router.run(arguments);
    EXPECT_TRUE(result.exited(0)) << result;
    EXPECT_EQ(result.out, before + "usage: installer [-q] [--filegc] [-r <root>] [-]\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(router.tree(), tree);
  }
  void expectListing(const Router::Arguments& arguments) {
    const std::string tree = router.tree();
    const ProcessResult result = router.run(arguments);
    EXPECT_TRUE(result.exited(0)) << result;
    EXPECT_EQ(result.out, listing());
    EXPECT_EQ(router.tree(), tree);
  }
  static std::string listing() {
    return "            Name           Version                     Built\n"
           "------------------------------------------------------------\n"
           "          system              3.22      Jan/01/1970 00:01:40\n";
  }
};

TEST_F(CommandLine, UnknownArgumentGetsTheUsageLine) { expectUsage({"x"}); }

TEST_F(CommandLine, EmptyArgumentGetsTheUsageLine) { expectUsage({""}); }

TEST_F(CommandLine, OptionsAreCaseSensitive) { expectUsage({"--SHOW"}); }

TEST_F(CommandLine, OptionsAreComparedWhole) { expectUsage({"--showall"}); }

TEST_F(CommandLine, UnknownArgumentBehindShowGetsTheUsageLine) { expectUsage({"--show", "x"}); }

TEST_F(CommandLine, SecondPackagePathGetsTheUsageLine) { expectUsage({"a.tpk", "b.tpk"}); }

TEST_F(CommandLine, OtherPackageExtensionGetsTheUsageLine) { expectUsage({"a.mpk"}); }

TEST_F(CommandLine, UpperCaseExtensionGetsTheUsageLine) { expectUsage({"a.TPK"}); }

TEST_F(CommandLine, NameShorterThanTheExtensionGetsTheUsageLine) { expectUsage({"tpk"}); }

TEST_F(CommandLine, RootWithoutItsValueGetsTheUsageLine) { expectUsage({"-r"}); }

TEST_F(CommandLine, MonthWithoutItsValueGetsTheUsageLine) { expectUsage({"--month"}); }

TEST_F(CommandLine, ExtraWithoutItsValueGetsTheUsageLine) { expectUsage({"-x"}); }

TEST_F(CommandLine, UsageBehindReinstallComesBehindItsLines) {
  expectUsage({"--reinstall", "x"}, "\nResuming upgrade...\n");
}

TEST_F(CommandLine, QuietModeDoesNotSilenceTheUsageLine) { expectUsage({"-q", "x"}); }

TEST_F(CommandLine, UsageComesBeforeTheDatabaseIsLoaded) {
  removeTree(router.path("/flash/var/pdb"));
  expectUsage({"x"});
}

TEST_F(CommandLine, UsageComesBeforeTheRootIsChanged) {
  const ProcessResult result = router.run({"-r", "/nowhere", "x"});
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_EQ(result.err, "");
}

TEST_F(CommandLine, ShowLists) { expectListing({"--show"}); }

TEST_F(CommandLine, ShowBeatsAPackagePath) {
  router.put("/a.tpk", simplePack("a").file());
  expectListing({"a.tpk", "--show"});
}

TEST_F(CommandLine, ShowBeatsAPackagePathBehindIt) { expectListing({"--show", "a.tpk"}); }

TEST_F(CommandLine, ShowBeatsStandardInput) { expectListing({"--show", "-"}); }

TEST_F(CommandLine, ShowBeatsFileCollection) {
  router.put("/lib/unowned", "");
  expectListing({"--show", "--filegc", "/lib"});
}

TEST_F(CommandLine, ShowBeatsCleanUp) {
  router.installed({"a", k3_22});
  const ProcessResult result = router.run({"--show", "--cleanup"});
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_NE(result.out.find("Built"), std::string::npos);
  EXPECT_TRUE(router.has("/flash/var/pdb/a/version"));
}

TEST_F(CommandLine, IgnoredOptionsAreAccepted) {
  expectListing({"-b", "--force", "--noupgrade", "-i", "--show"});
}

TEST_F(CommandLine, MonthTakesAValue) { expectListing({"--month", "--cleanup", "--show"}); }

TEST_F(CommandLine, ExtraTakesAValue) { expectListing({"-x", "--filegc", "--show"}); }

TEST_F(CommandLine, RootTakesAnyValue) {
  // The router has no folder "-": the root stays.
  const ProcessResult result = router.runInside({"-r", "-", "--show"});
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_EQ(result.out, listing());
}

TEST_F(CommandLine, LaterRootCounts) {
  Router other;
  other.installed({"other", k3_21});
  const ProcessResult result = router.run({"-r", other.root(), "--show"});
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_NE(result.out.find("           other              3.21"), std::string::npos) << result;
  EXPECT_EQ(result.out.find("system"), std::string::npos);
}

TEST_F(CommandLine, RootThatCannotBeEnteredIsNotFatal) {
  const ProcessResult result = router.runInside({"-r", "/nowhere", "--show"});
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_EQ(result.err, "chroot: No such file or directory\n");
  EXPECT_EQ(result.out, listing());
}

TEST_F(CommandLine, WithoutARootTheRootIsTheProcessesOwn) {
  const ProcessResult result = router.runInside({"--show"});
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_EQ(result.out, listing());
}

// The root's own path does not count any more once it was entered.
TEST_F(CommandLine, WorkingDirectoryIsTheRoot) {
  const std::string bytes = simplePack("a").file();
  router.put("/a.tpk", bytes);
  const ProcessResult result = router.run({"a.tpk"});
  EXPECT_TRUE(router.has("/flash/share/a")) << result;
}

TEST_F(CommandLine, FileCollectionTakesAllArgumentsBehindIt) {
  router.put("/one/unowned", "").put("/--show/unowned", "").put("/two/unowned", "");
  Console console;
  EXPECT_RUN(router.run({"--filegc", "/one", "--show", "/two"}), 0, console);
  EXPECT_FALSE(router.has("/one/unowned"));
  EXPECT_FALSE(router.has("/--show/unowned"));
  EXPECT_FALSE(router.has("/two/unowned"));
}

TEST_F(CommandLine, CleanUpIgnoresArgumentsBehindIt) {
  router.installed({"a", k3_22});
  const ProcessResult result = router.run({"--cleanup", "x", "--show"});
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_EQ(result.out, "");
  EXPECT_FALSE(router.has("/flash/var/pdb/a"));
}

TEST_F(CommandLine, StandardInputIgnoresArgumentsBehindIt) {
  const Pack pack = simplePack("a");
  const ProcessResult result = router.run({"-", "x", "--show"}, pack.file());
  EXPECT_TRUE(router.has("/flash/share/a")) << result;
}

TEST_F(CommandLine, StandardInputBeatsAPackagePath) {
  router.put("/a.tpk", simplePack("a").file());
  router.run({"a.tpk", "-"}, simplePack("b").file());
  EXPECT_FALSE(router.has("/flash/share/a"));
  EXPECT_TRUE(router.has("/flash/share/b"));
}

}  // namespace
