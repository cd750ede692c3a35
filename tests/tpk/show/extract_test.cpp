#include "tools/tpk/show/extract.h"

#include "tests/support/packbuilder.h"
#include "tests/support/privilege.h"
#include "tests/tpk/program.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

namespace {

using ::testing::HasSubstr;

class ExtractCommand : public TpkProgram {
 protected:
  ExtractCommand() { writeFile(path("outside"), "outside"); }
  ~ExtractCommand() override { EXPECT_EQ(readFile(path("outside")), "outside"); }

  ProcessResult extract(const PackBuilder& package) const {
    return run({"extract", "-", "-C", "out"}, package.finish());
  }
  // Of a package with these entries.
  ProcessResult extract(const ArchiveBuilder& entries) const {
    return extract(PackBuilder().header("one", kVersion).archive(entries));
  }
  std::string tree() const { return listTree(path("out/root"), kTreeTypes | kTreeSize); }
  std::string manifest() const { return readFile(path("out/package.toml")); }
  // Whether the package of package.toml in the folder is the same bytes after extracting it and
  // building it again; what tpk says of it on the way must be nothing.
  void expectSameBytes(const std::string& folder) const {
    EXPECT_TRUE(run({"build", folder, "-o", "first.tpk", "--key", PRODUCT_DATA_DIR}).exited(0));
    const ProcessResult extracted = run({"extract", "first.tpk", "-C", "out"});
    EXPECT_TRUE(extracted.exited(0)) << extracted;
    EXPECT_EQ(extracted.err, "");
    EXPECT_TRUE(run({"build", "out", "-o", "second.tpk", "--key", PRODUCT_DATA_DIR}).exited(0));
    EXPECT_TRUE(readFile(path("first.tpk")) == readFile(path("second.tpk")))
        << run({"diff", "first.tpk", "second.tpk"});
  }
};

TEST_F(ExtractCommand, WritesADescriptionAndItsFiles) {
  PackBuilder package;
  package.header("one", kVersion, 1000)
      .part(kPartArchitecture, "mipsel")
      .part(kPartDescription, "two\nlines")
      .list(kPartRequires, {dep("system")})
      .list(kPartProvides, {dep("api", 0, 0, -3)})
      .part(kPartOnInstall, "in\n")
      .archive(ArchiveBuilder()
                   .time(1000)
                   .directory("bin")
                   .regular("bin/a", "12345", 0755)
                   .symlink("bin/b", "a")
                   .regular("etc", "x", 04711));
  const ProcessResult result = extract(package);
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(manifest(), R"(name = "one"
version = "3.22"
build-time = 1000
architecture = "mipsel"
description = "two\nlines"
requires = ["system"]
provides = [{ name = "api", weight = -3 }]
oninstall = { file = "oninstall" }
files = "root"

[[rule]]
match = "etc"
mode = "4711"
)");
  EXPECT_EQ(listTree(path("out"), kTreeMode | kTreeTypes | kTreeSize | kTreeTime).find("4711"),
            std::string::npos);
  EXPECT_EQ(tree(), "/bin dir\n/bin/a file size=5\n/bin/b link -> a\n/etc file size=1\n");
  EXPECT_EQ(readFile(path("out/oninstall")), "in\n");
}

TEST_F(ExtractCommand, DevicesAndFifosAreOnlyDescribed) {
  const ProcessResult result = extract(ArchiveBuilder()
                                           .owner(1, 2)
                                           .charDevice("console", 0x0501, 0620)
                                           .owner(0, 0)
                                           .blockDevice("disk", 0x0800)
                                           .skip()
                                           .fifo("pipe"));
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_EQ(tree(), "");
  EXPECT_THAT(manifest(), HasSubstr(R"(
[[entry]]
path = "console"
type = "char"
major = 5
minor = 1
owner = 1
group = 2
mode = "0620"

[[entry]]
path = "disk"
type = "block"
major = 8
minor = 0

[[entry]]
path = "pipe"
type = "fifo"
skip = true
)"));
}

TEST_F(ExtractCommand, FifosAreMadeWhenDevicesAreAskedFor) {
  const std::string package =
      PackBuilder().header("one", kVersion).archive(ArchiveBuilder().fifo("pipe")).finish();
  EXPECT_TRUE(run({"extract", "-", "-C", "out", "--devices"}, package).exited(0));
  EXPECT_EQ(tree(), "/pipe fifo\n");
}

TEST_F(ExtractCommand, DevicesAreMadeWhenTheyAreAskedFor) {
  NEEDS_MKNOD();
  const std::string package = PackBuilder()
                                  .header("one", kVersion)
                                  .archive(ArchiveBuilder().charDevice("null", 0x0103))
                                  .finish();
  EXPECT_TRUE(run({"extract", "-", "-C", "out", "--devices"}, package).exited(0));
  EXPECT_EQ(tree(), "/null char device=1:3\n");
}

TEST_F(ExtractCommand, ABundleIsAFolderForEachMember) {
  PackBuilder package(true);
  package.bundleHeader("pair", kVersion)
      .list(kPartTurnOff, {dep("two")})
      .header("one", kVersion)
      .archive(ArchiveBuilder().regular("a", "1"))
      .header("two", kVersion)
      .part(kPartOnUninstall, "x");
  const ProcessResult result = extract(package);
  EXPECT_TRUE(result.exited(0)) << result;
  EXPECT_THAT(manifest(), HasSubstr("dumb = true\n"));
  EXPECT_THAT(manifest(), HasSubstr(R"(
[bundle]
members = ["one", "two"]
turn-off = ["two"]
)"));
  EXPECT_EQ(readFile(path("out/one/root/a")), "1");
  EXPECT_EQ(readFile(path("out/two/onuninstall")), "x");
}

TEST_F(ExtractCommand, MembersWithOneNameOrOddNamesDoNotMix) {
  const ProcessResult result = extract(PackBuilder()
                                           .bundleHeader("pair", kVersion)
                                           .header("one", kVersion)
                                           .archive(ArchiveBuilder().regular("a", "1"))
                                           .header("one", kVersion)
                                           .archive(ArchiveBuilder().regular("a", "2"))
                                           .header("package.toml", kVersion)
                                           .archive(ArchiveBuilder().regular("a", "3"))
                                           .header("line\nend", kVersion)
                                           .archive(ArchiveBuilder().regular("a", "4")));
  EXPECT_TRUE(result.exited(1)) << result;
  EXPECT_THAT(result.err, HasSubstr("cannot be built again"));
  EXPECT_EQ(readFile(path("out/one/root/a")), "1");
  EXPECT_EQ(readFile(path("out/member.1/root/a")), "2");
  EXPECT_EQ(readFile(path("out/member.2/root/a")), "3");
  EXPECT_EQ(readFile(path("out/member.3/root/a")), "4");
}

TEST_F(ExtractCommand, NothingLandsOutside) {
  const ProcessResult result = extract(ArchiveBuilder()
                                           .regular("../outside", "evil")
                                           .regular("a/../../outside", "evil")
                                           .symlink("up", "..")
                                           .symlink("all", "/")
                                           .symlink("file", "../../outside")
                                           .regular("up/outside", "evil")
                                           .regular("up/../outside", "evil")
                                           .directory("all" + path("evil"))
                                           .regular("file", "evil")
                                           .regular("/absolute", "fine")
                                           .regular("line\nend", "evil")
                                           .regular(std::string("nul\0x", 5), "evil")
                                           .regular("..", "evil")
                                           .regular("/", "evil")
                                           .regular("", "evil"));
  EXPECT_TRUE(result.exited(1)) << result;
  EXPECT_EQ(tree(),
            "/absolute file size=4\n/all link -> /\n/file link -> ../../outside\n/up link -> ..\n");
  EXPECT_EQ(listTree(temp_.path(), 0, {"/out/root"}),
            "/out dir\n/out/package.toml file\n/outside file\n");
  const std::string start = "tpk: warning: standard input: ";
  EXPECT_THAT(result.err, HasSubstr(start + "\"../outside\" is left out: the router refuses such a "
                                            "path\n"));
  EXPECT_THAT(result.err, HasSubstr(start + "\"up/outside\" is left out: its path leads through "
                                            "what is no folder\n"));
  EXPECT_THAT(result.err,
              HasSubstr(start + "\"file\" is left out: there is an entry with this path "
                                "already\n"));
  EXPECT_THAT(result.err, HasSubstr("\"line\\nend\" is left out"));
  EXPECT_THAT(result.err, HasSubstr("\"nul\\x00x\" is left out"));
  EXPECT_THAT(result.err, HasSubstr("\"\" is left out: it stands for the router's root\n"));
}

TEST_F(ExtractCommand, WhatNoFileCanBeIsLeftOut) {
  const ProcessResult result = extract(ArchiveBuilder()
                                           .entry("socket", 0140644, "")
                                           .symlink("empty", "")
                                           .symlink("nul", std::string("a\0b", 3))
                                           .skip()
                                           .entry("device", 0020600, "12345")
                                           .skip(false)
                                           .regular(std::string(300, 'x'), "")
                                           .regular("fine", ""));
  EXPECT_TRUE(result.exited(1)) << result;
  EXPECT_EQ(tree(), "/fine file size=0\n");
  EXPECT_THAT(result.err, HasSubstr("\"socket\" is left out: it is of no known type\n"));
  EXPECT_THAT(result.err, HasSubstr("\"empty\" is left out: no link has such a target\n"));
  EXPECT_THAT(result.err, HasSubstr("\"nul\" is left out: no link has such a target\n"));
  EXPECT_THAT(result.err, HasSubstr("\"device\" is left out: its data are none of its type\n"));
  EXPECT_THAT(result.err, HasSubstr("x\" is left out: File name too long\n"));
}

TEST_F(ExtractCommand, NamesThatAreNoUtf8AreUnpackedButNotDescribed) {
  EXPECT_TRUE(extract(ArchiveBuilder().regular("a\xFF", "1")).exited(0));
  EXPECT_EQ(tree(), "/a\xFF file size=1\n");
  removeTree(path("out"));
  const ProcessResult result = extract(ArchiveBuilder().owner(1, 1).regular("a\xFF", "1"));
  EXPECT_TRUE(result.exited(1)) << result;
  EXPECT_THAT(result.err, HasSubstr("\"a\\xff\" cannot be in a description"));
  EXPECT_EQ(tree(), "/a\xFF file size=1\n");
}

TEST_F(ExtractCommand, SaysWhenBuildingAgainMakesOtherBytes) {
  const std::string start =
      "tpk: warning: standard input: tpk build makes other bytes of it: one: ";
  const ProcessResult order =
      extract(PackBuilder()
                  .header("one", kVersion)
                  .part(kPartArchitecture, "mipsel")
                  .archive(ArchiveBuilder().regular("b", "").regular("a", "")));
  EXPECT_TRUE(order.exited(0)) << order;
  EXPECT_EQ(order.err, start + "its archive is not as tpk would write it\n");
  removeTree(path("out"));
  EXPECT_EQ(extract(ArchiveBuilder()).err,
            start + "its archive stands where tpk puts its architecture\n");
  removeTree(path("out"));
  EXPECT_EQ(
      extract(
          PackBuilder().header("one", kVersion).part(kPartArchitecture, "mipsel").part(99, "new"))
          .err,
      start + "its part of unknown type 99 is no part that tpk writes\n");
}

TEST_F(ExtractCommand, SaysWhatCannotBeBuiltAgain) {
  const ProcessResult result = extract(PackBuilder().header("white space", kVersion));
  EXPECT_TRUE(result.exited(1)) << result;
  EXPECT_THAT(result.err, HasSubstr("cannot be built again: out/package.toml:1: "));
  EXPECT_TRUE(exists(path("out/package.toml")));
}

TEST_F(ExtractCommand, ABrokenArchiveLeavesNothing) {
  ArchiveHeader header;
  header.setMode(0100644);
  header.setNameLength(1);
  header.setDataSize(100);
  const ProcessResult result =
      extract(ArchiveBuilder().regular("folder/a", "1").entry(header, "b", "short"));
  EXPECT_TRUE(result.exited(1)) << result;
  EXPECT_THAT(result.err, HasSubstr("archive: it ends in the middle of \"b\"\n"));
  EXPECT_FALSE(exists(path("out")));
}

TEST_F(ExtractCommand, TheFolderMustBeNewOrEmpty) {
  makeFolders(path("out"));
  EXPECT_TRUE(extract(ArchiveBuilder().regular("a", "1")).exited(0));
  const std::string before = listTree(temp_.path(), kTreeSize);
  const ProcessResult again = extract(ArchiveBuilder().regular("b", "1"));
  EXPECT_TRUE(again.exited(3)) << again;
  EXPECT_EQ(again.err, "tpk: out: is not empty; name a folder that is new or empty\n");
  EXPECT_EQ(listTree(temp_.path(), kTreeSize), before);
}

TEST_F(ExtractCommand, NeedsAFileAndAFolder) {
  EXPECT_TRUE(run({"extract", "-"}).exited(2));
  EXPECT_TRUE(run({"extract", "-C", "out"}).exited(2));
  EXPECT_TRUE(run({"extract", "missing", "-C", "out"}).exited(3));
  EXPECT_FALSE(exists(path("out")));
}

TEST_F(ExtractCommand, BuildingAgainGivesTheSameBytes) {
  writeFile(path("in/root/bin/program"), "#!/bin/sh\n", 0755);
  writeFile(path("in/root/etc/odd *?[name]\\"), "odd", 0644);
  writeFile(path("in/root/etc/data"), std::string(100000, 'd') + "end", 0600);
  makeFolders(path("in/root/var/empty"));
  ASSERT_EQ(symlink("/etc/data", path("in/root/etc/link").c_str()), 0);
  writeFile(path("in/remove.sh"), std::string("x\0\xFF", 3));
  writeFile(path("in/package.toml"), R"(name = "hello"
version = "3.22.1"
build-time = 1700000000
architecture = "i386"
description = "tab\tand \"quotes\"\nand a line"
image = true
requires = ["system", { name = "shell", min = "1.0beta2", max = "2.0" }]
provides = [{ name = "greeter", weight = -10 }]
conflicts = ["goodbye"]
oninstall = "echo hello\n"
onuninstall = { file = "remove.sh" }
files = "root"

[[rule]]
match = "bin/*"
owner = 3
group = 65535
mode = "4755"

[[rule]]
match = "etc/**"
time = 5
skip = true

[[entry]]
path = "dev/console"
type = "char"
major = 5
minor = 1
mode = "0622"

[[entry]]
path = "dev/disk"
type = "block"
major = 259
minor = 70000

[[entry]]
path = "run/pipe"
type = "fifo"
owner = 9
)");
  expectSameBytes("in");
}

TEST_F(ExtractCommand, BundlesGiveTheSameBytesToo) {
  writePackage("one");
  writePackage("two");
  writeFile(path("two/package.toml"), "name = \"two\"\nversion = \"1.0\"\n");
  writeFile(
      path("pair/package.toml"),
      "name = \"pair\"\nversion = \"1.0\"\ndumb = true\nimage = true\ndescription = \"both\"\n"
      "requires = [\"system\"]\n[bundle]\nmembers = [\"../one\", \"../two\"]\n"
      "turn-off = [\"two\"]\n");
  expectSameBytes("pair");
}

TEST_F(ExtractCommand, EveryCompressionIsFoundAgain) {
  std::string text;
  for (unsigned i = 0; i < 3000; ++i) text += std::to_string(i * i * 7919 % 10007) + " ";
  writeFile(path("in/root/a"), text);
  for (int level = 0; level <= 9; ++level) {
    writeFile(path("in/package.toml"),
              "name = \"a\"\nversion = \"1.0\"\nfiles = \"root\"\n"
              "compression = " +
                  std::to_string(level) + "\n");
    expectSameBytes("in");
    removeTree(path("out"));
  }
}

TEST_F(ExtractCommand, AnEmptyArchiveStays) {
  writeFile(path("in/package.toml"), "name = \"a\"\nversion = \"1.0\"\nfiles = \"root\"\n");
  makeFolders(path("in/root"));
  expectSameBytes("in");
}

}  // namespace
