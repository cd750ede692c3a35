// The keys of a description that say which files a package has.
#include "stream/packformat.h"
#include "tests/tpk/make/filesworld.h"

namespace {

class FileKeys : public FilesWorld {
 protected:
  FileKeys() { makeFolders(path("root")); }

  std::string entryFailure(const std::string& lines) { return failure("[[entry]]\n" + lines); }
  std::string ruleFailure(const std::string& lines) { return failure("[[rule]]\n" + lines); }
};

TEST_F(FileKeys, FilesNamesSomething) {
  EXPECT_EQ(failure("files = \"\""), "package.toml:4: files is empty; name a path or leave it out");
  EXPECT_EQ(failure("files = [\"root\",\n\"\"]"),
            "package.toml:5: files is empty; name a path or leave it out");
  EXPECT_EQ(failure("files = [{ folder = \"\" }]"),
            "package.toml:4: folder is empty; name a path or leave it out");
  EXPECT_EQ(failure("files = \"a\\u0000b\""),
            "package.toml:4: files has a NUL in it, which no path has");
  EXPECT_EQ(files("files = []"), "");
}

TEST_F(FileKeys, SourceIsOneOfTwo) {
  const std::string expected = "package.toml:4: needs either folder = \"...\" or tar = \"...\"";
  EXPECT_EQ(failure("files = [{ into = \"x\" }]"), expected);
  EXPECT_EQ(failure("files = [{ folder = \"a\", tar = \"b\" }]"), expected);
  EXPECT_EQ(failure("files = [{ foldr = \"a\" }]"),
            "package.toml:4: unknown key \"foldr\"; did you mean \"folder\"?");
  EXPECT_EQ(failure("files = [{ folder = \"a\", keep-modes = 1 }]"),
            "package.toml:4: keep-modes must be true or false");
}

TEST_F(FileKeys, ExcludeIsAListOfPatterns) {
  EXPECT_EQ(failure("exclude = \"*.o\""), "package.toml:4: exclude must be a list: [...]");
  EXPECT_EQ(failure("exclude = [1]"), "package.toml:4: exclude must be a text in quotation marks");
  EXPECT_EQ(failure("exclude = [\"/\"]"), "package.toml:4: an empty pattern matches nothing");
  EXPECT_EQ(failure("exclude = [\n\"[a\"]"),
            "package.toml:5: the pattern \"**/[a\" has a \"[\" without a \"]\"; write \"\\[\" for "
            "it");
}

TEST_F(FileKeys, CompressionIsALevel) {
  EXPECT_EQ(failure("compression = 10"), "package.toml:4: compression must be from 0 to 9");
  EXPECT_EQ(failure("compression = -1"), "package.toml:4: compression must be from 0 to 9");
}

TEST_F(FileKeys, RuleMatchesAndChanges) {
  EXPECT_EQ(ruleFailure("owner = 1"), "package.toml:4: match is missing; add match = \"bin/*\"");
  EXPECT_EQ(ruleFailure("match = \"a\""),
            "package.toml:4: the rule changes nothing; add owner, group, mode, time or skip");
  EXPECT_EQ(ruleFailure("match = \"\"\nowner = 1"),
            "package.toml:5: an empty pattern matches nothing");
  EXPECT_EQ(ruleFailure("match = \"a\"\nonwer = 1"),
            "package.toml:6: unknown key \"onwer\"; did you mean \"owner\"?");
  EXPECT_EQ(failure("rule = [1]"), "package.toml:4: expected [[rule]]");
  EXPECT_EQ(failure("rule = 1"), "package.toml:4: rule must be a list: [...]");
}

TEST_F(FileKeys, NumbersFitTheirFields) {
  EXPECT_EQ(ruleFailure("match = \"a\"\nowner = 65536"),
            "package.toml:6: owner must be from 0 to 65535");
  EXPECT_EQ(ruleFailure("match = \"a\"\ngroup = -1"),
            "package.toml:6: group must be from 0 to 65535");
  EXPECT_EQ(ruleFailure("match = \"a\"\ntime = 4294967296"),
            "package.toml:6: time must be from 0 to 4294967295");
  const std::string device = "path = \"a\"\ntype = \"char\"\n";
  EXPECT_EQ(entryFailure(device + "major = 4096\nminor = 0"),
            "package.toml:7: major must be from 0 to 4095");
  EXPECT_EQ(entryFailure(device + "major = 1\nminor = 1048576"),
            "package.toml:8: minor must be from 0 to 1048575");
}

// 755 without quotation marks is 01363.
TEST_F(FileKeys, ModeIsOctalText) {
  EXPECT_EQ(ruleFailure("match = \"a\"\nmode = 755"),
            "package.toml:6: mode must be octal digits in quotation marks, such as \"0755\"");
  for (const char* mode : {"", "8", "0o755", "rwx", "10000", "000755", "-1", " 755"})
    EXPECT_EQ(ruleFailure("match = \"a\"\nmode = \"" + std::string(mode) + "\""),
              "package.toml:6: \"" + std::string(mode) +
                  "\" is no mode; write octal digits up to 7777, such as \"0755\"");
  EXPECT_EQ(files("[[entry]]\npath = \"a\"\ntype = \"fifo\"\nmode = \"7777\"\n"
                  "[[entry]]\npath = \"b\"\ntype = \"fifo\"\nmode = \"0\"\n"),
            "a fifo 7777 0:0 time=build\nb fifo 0000 0:0 time=build\n");
}

TEST_F(FileKeys, EntryHasAPathAndAType) {
  EXPECT_EQ(entryFailure("type = \"fifo\""),
            "package.toml:4: path is missing; add path = \"etc/hello.conf\"");
  EXPECT_EQ(entryFailure("path = \"a\""), "package.toml:4: type is missing; add type = \"file\"");
  EXPECT_EQ(entryFailure("path = \"/\"\ntype = \"directory\""),
            "package.toml:5: the router's root is there already; name a path in it");
  EXPECT_EQ(entryFailure("path = \"a\"\ntype = \"socket\""),
            "package.toml:6: \"socket\" is no type; there are char, block, fifo, link, directory, "
            "file");
}

TEST_F(FileKeys, EveryTypeHasItsOwnKeys) {
  const std::string link = "path = \"a\"\ntype = \"link\"\n";
  EXPECT_EQ(entryFailure(link), "package.toml:4: target is missing; add target = \"busybox\"");
  EXPECT_EQ(entryFailure(link + "target = \"\""),
            "package.toml:7: no link has an empty target, or one with a NUL");
  EXPECT_EQ(entryFailure(link + "target = \"x\"\nmode = \"0777\""),
            "package.toml:8: only what is no link has mode; leave it out");
  EXPECT_EQ(entryFailure(link + "target = \"x\"\nmajor = 1"),
            "package.toml:8: only a device has major; leave it out");
  const std::string file = "path = \"a\"\ntype = \"file\"\n";
  const std::string expected =
      "package.toml:4: a file needs either text = \"...\" or from = \"...\"";
  EXPECT_EQ(entryFailure(file), expected);
  EXPECT_EQ(entryFailure(file + "text = \"\"\nfrom = \"x\""), expected);
  EXPECT_EQ(entryFailure(file + "text = \"\"\ntarget = \"x\""),
            "package.toml:8: only a link has target; leave it out");
  EXPECT_EQ(entryFailure("path = \"a\"\ntype = \"fifo\"\ntext = \"\""),
            "package.toml:7: only a file has text; leave it out");
  EXPECT_EQ(entryFailure("path = \"a\"\ntype = \"char\"\nmajor = 1"),
            "package.toml:4: minor is missing; add minor = 3");
}

TEST_F(FileKeys, PathIsDeclaredOnce) {
  EXPECT_EQ(failure("[[entry]]\npath = \"a/b\"\ntype = \"fifo\"\n"
                    "[[entry]]\npath = \"/a//b\"\ntype = \"fifo\"\n"),
            "package.toml:7: a second entry for \"a/b\"; the first is at line 4");
}

}  // namespace
