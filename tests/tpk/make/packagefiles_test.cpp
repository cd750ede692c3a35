// Declared entries, rules, and what the router would refuse.
#include "tests/tpk/make/filesworld.h"

#include <chrono>

#include <sys/stat.h>

namespace {

using DeclaredFiles = FilesWorld;
using FileRules = FilesWorld;
using RefusedFiles = FilesWorld;

std::string entry(const std::string& lines) { return "[[entry]]\n" + lines + "\n"; }

TEST_F(DeclaredFiles, EveryTypeHasItsDefaults) {
  put("tool", "tool", 0700);
  put("text", "text", 0600);
  EXPECT_EQ(files(entry("path = \"dev/console\"\ntype = \"char\"\nmajor = 5\nminor = 1") +
                  entry("path = \"dev/disk\"\ntype = \"block\"\nmajor = 4095\nminor = 1048575") +
                  entry("path = \"run/fifo\"\ntype = \"fifo\"") +
                  entry("path = \"bin/sh\"\ntype = \"link\"\ntarget = \"busybox\"") +
                  entry("path = \"etc/conf.d\"\ntype = \"directory\"") +
                  entry("path = \"etc/motd\"\ntype = \"file\"\ntext = \"hello\"") +
                  entry("path = \"bin/tool\"\ntype = \"file\"\nfrom = \"tool\"") +
                  entry("path = \"bin/text\"\ntype = \"file\"\nfrom = \"text\"")),
            "bin dir 0755 0:0 time=build\n"
            "bin/sh link -> busybox\n"
            "bin/text file 0644 0:0 time=build size=4\n"
            "bin/tool file 0755 0:0 time=build size=4\n"
            "dev dir 0755 0:0 time=build\n"
            "dev/console char 0600 0:0 time=build device=5:1\n"
            "dev/disk block 0600 0:0 time=build device=4095:1048575\n"
            "etc dir 0755 0:0 time=build\n"
            "etc/conf.d dir 0755 0:0 time=build\n"
            "etc/motd file 0644 0:0 time=build size=5\n"
            "run dir 0755 0:0 time=build\n"
            "run/fifo fifo 0600 0:0 time=build\n");
  EXPECT_EQ(contents("etc/motd"), "hello");
  EXPECT_EQ(contents("bin/tool"), "tool");
}

TEST_F(DeclaredFiles, HaveTheAttributesThatTheyName) {
  EXPECT_EQ(files(entry("path = \"a\"\ntype = \"file\"\ntext = \"\"\nowner = 65535\ngroup = 3\n"
                        "mode = \"4755\"\ntime = 4294967295\nskip = true") +
                  entry("path = \"b\"\ntype = \"link\"\ntarget = \"x\"\nowner = 1\ngroup = 2\n"
                        "time = 0")),
            "a file 4755 65535:3 time=4294967295 size=0 skip\nb link -> x 1:2 time=0\n");
}

TEST_F(DeclaredFiles, TakeThePlaceOfWhatSourcesBring) {
  put("root/etc/motd", "from the folder", 0755);
  EXPECT_EQ(files("files = \"root\"\n" +
                  entry("path = \"/etc//motd\"\ntype = \"file\"\ntext = \"declared\"")),
            "etc dir 0755 0:0 time=build\netc/motd file 0644 0:0 time=build size=8\n");
  EXPECT_EQ(contents("etc/motd"), "declared");
}

TEST_F(DeclaredFiles, FileToPackMustBeOne) {
  EXPECT_EQ(failure(entry("path = \"a\"\ntype = \"file\"\nfrom = \"missing\"")),
            "missing: cannot be read: No such file or directory");
  makeFolders(path("folder"));
  EXPECT_EQ(failure(entry("path = \"a\"\ntype = \"file\"\nfrom = \"folder\"")),
            "package.toml:4: folder is no regular file");
}

TEST_F(FileRules, ChangeWhatMatches) {
  put("root/bin/a", "");
  put("root/bin/sub/b", "");
  put("root/etc/c", "");
  EXPECT_EQ(files("files = \"root\"\n[[rule]]\nmatch = \"bin/*\"\nowner = 1\ngroup = 2\n"
                  "mode = \"0700\"\ntime = 5\nskip = true\n"),
            "bin dir 0755 0:0 time=build\n"
            "bin/a file 0700 1:2 time=5 size=0 skip\n"
            "bin/sub dir 0700 1:2 time=5 skip\n"
            "bin/sub/b file 0644 0:0 time=build size=0\n"
            "etc dir 0755 0:0 time=build\n"
            "etc/c file 0644 0:0 time=build size=0\n");
}

TEST_F(FileRules, LaterOnesWinWhicheverKindTheyAre) {
  put("root/a", "");
  const std::string exact = "[[rule]]\nmatch = \"/a\"\nowner = 1\ngroup = 1\n";
  const std::string pattern = "[[rule]]\nmatch = \"*\"\nowner = 2\n";
  EXPECT_EQ(files("files = \"root\"\n" + exact + pattern), "a file 0644 2:1 time=build size=0\n");
  EXPECT_EQ(files("files = \"root\"\n" + pattern + exact), "a file 0644 1:1 time=build size=0\n");
}

TEST_F(FileRules, ApplyToEntriesAndAddedFoldersToo) {
  EXPECT_EQ(files(entry("path = \"dev/tty\"\ntype = \"char\"\nmajor = 5\nminor = 0\nowner = 7") +
                  "[[rule]]\nmatch = \"**\"\nowner = 1\ngroup = 5\nmode = \"0620\"\n"),
            "dev dir 0620 1:5 time=build\ndev/tty char 0620 7:5 time=build device=5:0\n");
}

TEST_F(FileRules, LinksHaveNoMode) {
  EXPECT_EQ(files(entry("path = \"a\"\ntype = \"link\"\ntarget = \"x\"") +
                  "[[rule]]\nmatch = \"a\"\nmode = \"0600\"\n"),
            "a link -> x\n");
}

TEST_F(FileRules, BackslashMakesAPatternOneName) {
  put("root/[x]", "");
  put("root/x", "");
  EXPECT_EQ(files("files = \"root\"\n[[rule]]\nmatch = '\\[x]'\nowner = 1\n"),
            "[x] file 0644 1:0 time=build size=0\nx file 0644 0:0 time=build size=0\n");
}

TEST_F(FileRules, ThatMatchNothingAreErrors) {
  put("root/bin/a", "");
  EXPECT_EQ(failure("files = \"root\"\n[[rule]]\nmatch = \"bin/*\"\nowner = 1\n\n"
                    "[[rule]]\nmatch = \"bni/*\"\nowner = 1\n"),
            "package.toml:9: the rule matches nothing in the package; mend its match or remove it");
  EXPECT_EQ(failure("[[rule]]\nmatch = \"bin/a\"\nowner = 1\n"),
            "package.toml:4: the rule matches nothing in the package; mend its match or remove it");
}

// What a description has that was made from a package: a rule for each of its files.
TEST_F(FileRules, ThousandsAreQuick) {
  std::string text = "files = \"root\"\n";
  for (int i = 0; i < 3000; ++i) {
    put("root/" + std::to_string(i), "");
    text += "[[rule]]\nmatch = \"" + std::to_string(i) + "\"\nowner = " + std::to_string(i) + "\n";
  }
  const auto before = std::chrono::steady_clock::now();
  const std::string all = files(text);
  EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(5));
  EXPECT_NE(all.find("\n2999 file 0644 2999:0 "), std::string::npos);
}

TEST_F(RefusedFiles, OtherPackagesRecords) {
  const auto file = [](const std::string& name) {
    return entry("path = \"" + name + "\"\ntype = \"file\"\ntext = \"\"");
  };
  EXPECT_EQ(paths(file("var/pdb/one/extra")), "var var/pdb var/pdb/one var/pdb/one/extra ");
  const auto refused = [](const std::string& name) {
    return "package.toml:4: \"" + name +
           "\" is in the router's database, which takes nothing from a package but var/pdb/one; "
           "leave it out";
  };
  for (const char* name : {"var/pdb/other", "var/pdb/one2", "var/pdb"})
    EXPECT_EQ(failure(file(name)), refused(name));
  EXPECT_EQ(failure(file("var/pdb/other/version")), refused("var/pdb/other"));
}

TEST_F(RefusedFiles, PathsAreRefusedWithTheLine) {
  EXPECT_EQ(failure(entry("path = \"a/../b\"\ntype = \"fifo\"")),
            "package.toml:5: \"a/../b\" has \"..\" in it, which the router refuses; write the path "
            "without it");
  EXPECT_EQ(failure(entry("path = \"a\\nb\"\ntype = \"fifo\"")),
            "package.toml:5: \"a\\nb\" has a line end in it, which the router refuses; rename it");
  EXPECT_EQ(failure(entry("path = \"a\\u0000b\"\ntype = \"fifo\"")),
            "package.toml:5: \"a\\x00b\" has a NUL in it, which the router refuses; rename it");
  EXPECT_EQ(failure("files = [{ folder = \"x\", into = \"..\" }]"),
            "package.toml:4: \"..\" has \"..\" in it, which the router refuses; write the path "
            "without it");
}

}  // namespace
