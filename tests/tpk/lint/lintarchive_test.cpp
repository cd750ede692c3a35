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
