#include "tests/tpk/lint/lintfixture.h"

namespace {

using LintPaths = LintTest;

TEST_F(LintPaths, ParentComponentsEndTheInstallation) {
  EXPECT_EQ(lint(ArchiveBuilder().regular("../a", "")),
            "error parent-component one-1.0 ../a: has \"..\" in its path\n"
            "note missing-directory one-1.0 ../a: the archive has no entry for \"..\"\n");
  EXPECT_EQ(lint(ArchiveBuilder().regular("..a", "").regular("b..", "")), "");
}

TEST_F(LintPaths, NamesFitIntoALine) {
  for (const std::string& name : {std::string("a\nb"), std::string("a\0b", 3)})
    EXPECT_EQ(lint(ArchiveBuilder().regular(name, "")),
              "error unlistable-name one-1.0 " + name + ": has a line end or a NUL in its name\n");
}

TEST_F(LintPaths, PathsArePlain) {
  EXPECT_EQ(lint(ArchiveBuilder().directory("bin").regular("./bin//a", "")),
            "warning odd-path one-1.0 ./bin//a: is another way to write \"bin/a\"\n");
  EXPECT_EQ(lint(ArchiveBuilder().directory("./").directory("/bin/").regular("/bin/a", "")), "");
}

TEST_F(LintPaths, TheRootIsADirectory) {
  EXPECT_EQ(lint(ArchiveBuilder().regular("/", "")),
            "error root-entry one-1.0 /: would replace the root itself\n");
}

TEST_F(LintPaths, PathsHaveALimit) {
  const std::string longest(255, 'a');
  EXPECT_EQ(lint(ArchiveBuilder().regular(longest, "")), "");
  EXPECT_EQ(lint(ArchiveBuilder().regular(longest + "a", "")),
            "error long-path one-1.0 " + longest + "a: its name is too long\n");
  std::string deep = "a";
  while (deep.size() < 4095) deep += "/a";
  EXPECT_NE(lint(ArchiveBuilder().regular(deep, "")).find("error long-path"), std::string::npos);
}

TEST_F(LintPaths, DirectoriesComeBeforeWhatIsInThem) {
  EXPECT_EQ(lint(ArchiveBuilder().regular("bin/a", "").directory("bin")),
            "warning late-directory one-1.0 bin: comes after what is in it\n");
  EXPECT_EQ(lint(ArchiveBuilder().directory("bin").regular("bin/a", "").directory("bin")), "");
}

TEST_F(LintPaths, DirectoriesHaveEntries) {
  EXPECT_EQ(
      lint(ArchiveBuilder().directory("usr").regular("usr/bin/a", "").regular("usr/bin/b", "")),
      "note missing-directory one-1.0 usr/bin/a: the archive has no entry for \"usr/bin\"\n");
}

TEST_F(LintPaths, NothingGoesThroughItsOwnLinks) {
  EXPECT_EQ(lint(ArchiveBuilder().directory("bin").symlink("tools", "bin").regular("tools/a", "")),
            "warning through-link one-1.0 tools/a: goes through the link \"tools\" to \"bin\"\n");
  EXPECT_EQ(lint(ArchiveBuilder().directory("bin").symlink("tools", "bin").regular("toolbox", "")),
            "");
}

TEST_F(LintPaths, NothingGoesThroughLinksOffTheFlash) {
  const auto found = [](const std::string& target) {
    return "error through-link-off-flash one-1.0 a/b/c: goes through the link \"a/b\" to \"" +
           target + "\"\n";
  };
  for (const char* target : {"/etc", "../..", "../x/../../.."})
    EXPECT_EQ(lint(ArchiveBuilder().directory("a").symlink("a/b", target).regular("a/b/c", "")),
              found(target));
  for (const char* target : {"..", "/flash/etc", "x/../.."})
    EXPECT_EQ(lint(ArchiveBuilder().directory("a").symlink("a/b", target).regular("a/b/c", ""))
                  .substr(0, 21),
              "warning through-link ");
}

TEST_F(LintPaths, PathsStandOnce) {
  EXPECT_EQ(lint(ArchiveBuilder().regular("a", "").regular("/a", "")),
            "warning repeated-path one-1.0 /a: is there more than once\n");
}

TEST_F(LintPaths, NothingLiesBelowFiles) {
  const std::string found = lint(ArchiveBuilder().regular("a", "").regular("a/b", ""));
  EXPECT_NE(found.find("error below-file one-1.0 a/b: lies in \"a\", which is a file\n"),
            std::string::npos)
      << found;
}

TEST_F(LintPaths, DirectoriesAreNotReplaced) {
  EXPECT_EQ(lint(ArchiveBuilder().directory("a").regular("a/b", "").symlink("a", "c")),
            "warning repeated-path one-1.0 a: is there more than once\n"
            "error replaces-directory one-1.0 a: is a directory before\n");
}

TEST_F(LintPaths, RecordsOfOthersAreNotTouched) {
  EXPECT_EQ(lint(ArchiveBuilder()
                     .directory("var")
                     .directory("var/pdb")
                     .directory("var/pdb/two")
                     .regular("var/pdb/two/version", "")),
            "error foreign-record one-1.0 var/pdb/two: lies in the database, in another package's "
            "record\n"
            "error foreign-record one-1.0 var/pdb/two/version: lies in the database, in another "
            "package's record\n");
  EXPECT_EQ(lint(ArchiveBuilder().directory("var").regular("var/pdbs", "")), "");
}

TEST_F(LintPaths, TheOwnRecordIsTheInstallers) {
  EXPECT_EQ(lint(ArchiveBuilder().directory("var").directory("var/pdb").directory("var/pdb/one")),
            "warning own-record one-1.0 var/pdb/one: lies in the package's own record\n");
}

TEST_F(LintPaths, DisabledPackagesHaveTheirPlace) {
  EXPECT_EQ(lint(ArchiveBuilder().directory("x").directory("xy")),
            "warning disabled-folder one-1.0 x: lies where disabled packages have their files\n");
}

}  // namespace
