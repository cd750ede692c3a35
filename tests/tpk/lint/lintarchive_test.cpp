#include "tests/tpk/lint/lintfixture.h"

namespace {

using LintArchive = LintTest;

ArchiveBuilder archive() { return ArchiveBuilder(); }

// The header of an ELF file for a class, a byte order and a machine.
std::string program(char wordSize, char byteOrder, char machine) {
  std::string bytes = "\177ELF";
  bytes += std::string({wordSize, byteOrder, 1}) + std::string(11, '\0') + machine + '\0';
  return bytes + "the rest";
}

TEST_F(LintArchive, CutArchivesAreBroken) {
  const std::string whole = archive().regular("a", "data").deflated();
  EXPECT_EQ(
      lint(begin().part(kPartArchive, whole.substr(0, whole.size() / 2)).sign()).substr(0, 30),
      "error broken-archive one-1.0: ");
}

TEST_F(LintArchive, DevicesHaveNumbers) {
  EXPECT_EQ(lint(archive().entry("null", ArchiveHeader::kCharDevice | 0600, "123")),
            "error broken-archive one-1.0: archive: the device \"null\" has a number of 3 bytes, "
            "not 4\n");
}

TEST_F(LintArchive, ArchivesAreNotEndless) {
  ArchiveBuilder many;
  for (int i = 0; i <= 100000; ++i) many.directory("");
  EXPECT_EQ(lint(many),
            "error endless-archive one-1.0: only the first 100000 entries were looked at\n");
}

TEST_F(LintArchive, NamesAreCountedTowardsTheLimit) {
  ArchiveBuilder many;
  const std::string name(65535, 'n');
  for (int i = 0; i < 300; ++i) many.skip().directory(name);
  const std::string found = lint(many);
  EXPECT_EQ(found.substr(0, 69),
            "error endless-archive one-1.0: only the first 256 entries were looked")
      << found.substr(0, 100);
}

TEST_F(LintArchive, SkippedEntriesAreTold) {
  EXPECT_EQ(lint(archive().skip().regular("a", "")),
            "note skipped-entry one-1.0 a: has the skip flag\n");
}

TEST_F(LintArchive, ParentComponentsEndTheInstallation) {
  EXPECT_EQ(lint(archive().regular("../a", "")),
            "error parent-component one-1.0 ../a: has \"..\" in its path\n"
            "note missing-directory one-1.0 ../a: the archive has no entry for \"..\"\n");
  EXPECT_EQ(lint(archive().regular("..a", "").regular("b..", "")), "");
}

TEST_F(LintArchive, NamesFitIntoALine) {
  for (const std::string& name : {std::string("a\nb"), std::string("a\0b", 3)})
    EXPECT_EQ(lint(archive().regular(name, "")),
              "error unlistable-name one-1.0 " + name + ": has a line end or a NUL in its name\n");
}

TEST_F(LintArchive, PathsArePlain) {
  EXPECT_EQ(lint(archive().directory("bin").regular("./bin//a", "")),
            "warning odd-path one-1.0 ./bin//a: is another way to write \"bin/a\"\n");
  EXPECT_EQ(lint(archive().directory("./").directory("/bin/").regular("/bin/a", "")), "");
}

TEST_F(LintArchive, TheRootIsADirectory) {
  EXPECT_EQ(lint(archive().regular("/", "")),
            "error root-entry one-1.0 /: would replace the root itself\n");
}

TEST_F(LintArchive, PathsHaveALimit) {
  const std::string longest(255, 'a');
  EXPECT_EQ(lint(archive().regular(longest, "")), "");
  EXPECT_EQ(lint(archive().regular(longest + "a", "")),
            "error long-path one-1.0 " + longest + "a: its name is too long\n");
  std::string deep = "a";
  while (deep.size() < 4095) deep += "/a";
  EXPECT_NE(lint(archive().regular(deep, "")).find("error long-path"), std::string::npos);
}

TEST_F(LintArchive, DirectoriesComeBeforeWhatIsInThem) {
  EXPECT_EQ(lint(archive().regular("bin/a", "").directory("bin")),
            "warning late-directory one-1.0 bin: comes after what is in it\n");
  EXPECT_EQ(lint(archive().directory("bin").regular("bin/a", "").directory("bin")), "");
}

TEST_F(LintArchive, DirectoriesHaveEntries) {
  EXPECT_EQ(lint(archive().directory("usr").regular("usr/bin/a", "").regular("usr/bin/b", "")),
            "note missing-directory one-1.0 usr/bin/a: the archive has no entry for \"usr/bin\"\n");
}

TEST_F(LintArchive, NothingGoesThroughItsOwnLinks) {
  EXPECT_EQ(lint(archive().directory("bin").symlink("tools", "bin").regular("tools/a", "")),
            "warning through-link one-1.0 tools/a: goes through the link \"tools\" to \"bin\"\n");
  EXPECT_EQ(lint(archive().directory("bin").symlink("tools", "bin").regular("toolbox", "")), "");
}

TEST_F(LintArchive, NothingGoesThroughLinksOffTheFlash) {
  const auto found = [](const std::string& target) {
    return "error through-link-off-flash one-1.0 a/b/c: goes through the link \"a/b\" to \"" +
           target + "\"\n";
  };
  for (const char* target : {"/etc", "../..", "../x/../../.."})
    EXPECT_EQ(lint(archive().directory("a").symlink("a/b", target).regular("a/b/c", "")),
              found(target));
  for (const char* target : {"..", "/flash/etc", "x/../.."})
    EXPECT_EQ(
        lint(archive().directory("a").symlink("a/b", target).regular("a/b/c", "")).substr(0, 21),
        "warning through-link ");
}

TEST_F(LintArchive, PathsStandOnce) {
  EXPECT_EQ(lint(archive().regular("a", "").regular("/a", "")),
            "warning repeated-path one-1.0 /a: is there more than once\n");
}

TEST_F(LintArchive, NothingLiesBelowFiles) {
  const std::string found = lint(archive().regular("a", "").regular("a/b", ""));
  EXPECT_NE(found.find("error below-file one-1.0 a/b: lies in \"a\", which is a file\n"),
            std::string::npos)
      << found;
}

TEST_F(LintArchive, DirectoriesAreNotReplaced) {
  EXPECT_EQ(lint(archive().directory("a").regular("a/b", "").symlink("a", "c")),
            "warning repeated-path one-1.0 a: is there more than once\n"
            "error replaces-directory one-1.0 a: is a directory before\n");
}

TEST_F(LintArchive, RecordsOfOthersAreNotTouched) {
  EXPECT_EQ(lint(archive()
                     .directory("var")
                     .directory("var/pdb")
                     .directory("var/pdb/two")
                     .regular("var/pdb/two/version", "")),
            "error foreign-record one-1.0 var/pdb/two: lies in the database, in another package's "
            "record\n"
            "error foreign-record one-1.0 var/pdb/two/version: lies in the database, in another "
            "package's record\n");
  EXPECT_EQ(lint(archive().directory("var").regular("var/pdbs", "")), "");
}

TEST_F(LintArchive, TheOwnRecordIsTheInstallers) {
  EXPECT_EQ(lint(archive().directory("var").directory("var/pdb").directory("var/pdb/one")),
            "warning own-record one-1.0 var/pdb/one: lies in the package's own record\n");
}

TEST_F(LintArchive, DisabledPackagesHaveTheirPlace) {
  EXPECT_EQ(lint(archive().directory("x").directory("xy")),
            "warning disabled-folder one-1.0 x: lies where disabled packages have their files\n");
}

TEST_F(LintArchive, TypesAreKnown) {
  EXPECT_EQ(lint(archive().entry("a", 0xC000 | 0644, "")),
            "error unknown-type one-1.0 a: is of a type that does not exist\n");
}

TEST_F(LintArchive, LinksLeadSomewhere) {
  EXPECT_EQ(lint(archive().symlink("a", "")), "error empty-target one-1.0 a: leads nowhere\n");
}

TEST_F(LintArchive, SetIdProgramsAreTold) {
  EXPECT_EQ(lint(archive().regular("a", "", 04755).regular("b", "", 02755).regular("c", "", 0755)),
            "warning set-id one-1.0 a: mode 4755\n"
            "warning set-id one-1.0 b: mode 2755\n");
}

TEST_F(LintArchive, OthersDoNotWrite) {
  EXPECT_EQ(lint(archive()
                     .regular("a", "", 0666)
                     .directory("b", 0777)
                     .directory("c", 01777)
                     .symlink("d", "a")),
            "warning world-writable one-1.0 a: mode 0666\n"
            "warning world-writable one-1.0 b: mode 0777\n");
}

TEST_F(LintArchive, DevicesAreTold) {
  EXPECT_EQ(lint(archive().charDevice("a", 0x0501).blockDevice("b", 0x0100).fifo("c")),
            "note device-node one-1.0 a: is a device node\n"
            "note device-node one-1.0 b: is a device node\n");
}

TEST_F(LintArchive, TimesLieInThePast) {
  EXPECT_EQ(lint(archive().time(kNow).regular("a", "").time(kNow + 1).regular("b", "")),
            "warning time-in-future one-1.0 b: changed at 2000000001, now is 2000000000\n");
}

TEST_F(LintArchive, ProgramsAreForTheRouter) {
  EXPECT_EQ(lint(archive()
                     .regular("mips", program(1, 1, 8), 0755)
                     .regular("mips64", program(2, 1, 8), 0755)
                     .regular("mipsbe", program(1, 2, 8), 0755)
                     .regular("pc", program(1, 1, 62), 0755)
                     .regular("short", "\177ELF", 0755)),
            "warning foreign-program one-1.0 mips64: is a program for another machine\n"
            "warning foreign-program one-1.0 mipsbe: is a program for another machine\n"
            "warning foreign-program one-1.0 pc: is a program for another machine\n");
}

TEST_F(LintArchive, ScriptsAreExecutable) {
  EXPECT_EQ(lint(archive()
                     .regular("a", "#!/bin/bash\n", 0644)
                     .regular("b", "#!/bin/bash\n", 0755)
                     .regular("c", "# text\n", 0644)
                     .regular("d", "#", 0644)
                     .symlink("e", "#!")),
            "note not-executable one-1.0 a: mode 0644\n");
}

TEST_F(LintArchive, LitterIsTold) {
  EXPECT_EQ(
      lint(archive().regular("a~", "").regular("b.o", "").regular("o", "").regular("c.ok", "")),
      "note litter one-1.0 a~: looks like something that was left lying about\n"
      "note litter one-1.0 b.o: looks like something that was left lying about\n");
}

TEST_F(LintArchive, SkippedEntriesDoNotCount) {
  EXPECT_EQ(lint(archive().skip().regular("x/a", "", 04777)),
            "note skipped-entry one-1.0 x/a: has the skip flag\n");
}

}  // namespace
