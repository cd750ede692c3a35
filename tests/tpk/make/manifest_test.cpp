#include "tools/tpk/make/manifest.h"

#include "tests/support/tree.h"
#include "tests/tpk/failuretext.h"

#include <cstdlib>
#include <ctime>
#include <string>

#include <gtest/gtest.h>

namespace {

class ManifestFile : public ::testing::Test {
 protected:
  std::string file(const std::string& name = "package.toml") const {
    return temp_.path() + "/" + name;
  }

  Manifest read(const std::string& text) {
    writeFile(file(), text);
    return readManifest(file());
  }

  // Only the required keys, and more.
  Manifest readWith(const std::string& more) {
    return read("name = \"one\"\nversion = \"3.22\"\n" + more);
  }

  // The failure's text behind the file's name.
  std::string failure(const std::string& text) {
    const std::string message = failureOf([&] { read(text); });
    return message.rfind(file(), 0) == 0 ? message.substr(file().size()) : message;
  }

  std::string failureWith(const std::string& more) {
    return failure("name = \"one\"\nversion = \"3.22\"\n" + more);
  }

  TempFolder temp_;
};

TEST_F(ManifestFile, NeedsOnlyNameAndVersion) {
  const Manifest manifest = readWith("");
  EXPECT_EQ(manifest.name, "one");
  EXPECT_EQ(manifest.version, 0x03166600U);
  EXPECT_FALSE(manifest.buildTime);
  EXPECT_FALSE(manifest.dumb);
  EXPECT_EQ(manifest.compression, -1);
  EXPECT_EQ(manifest.architecture, "mipsel");
  EXPECT_EQ(manifest.description, "");
  EXPECT_FALSE(manifest.image);
  EXPECT_FALSE(manifest.isBundle);
  EXPECT_FALSE(manifest.onInstall);
  EXPECT_FALSE(manifest.onUninstall);
  EXPECT_TRUE(manifest.deps.empty() && manifest.provides.empty() && manifest.conflicts.empty());
  EXPECT_FALSE(manifest.hasFiles);
  EXPECT_TRUE(manifest.warnings.empty());
}

TEST_F(ManifestFile, SaysWhatAPackageIs) {
  const Manifest manifest = readWith(
      "build-time = 4294967295\narchitecture = \"i386\"\ndescription = \"free text\"\n"
      "image = true\ndumb = true\ncompression = 9\nfiles = \"root\"\n");
  EXPECT_EQ(manifest.buildTime, 4294967295U);
  EXPECT_EQ(manifest.architecture, "i386");
  EXPECT_EQ(manifest.description, "free text");
  EXPECT_TRUE(manifest.image);
  EXPECT_TRUE(manifest.dumb);
  EXPECT_EQ(manifest.compression, 9);
  EXPECT_TRUE(manifest.hasFiles);
  EXPECT_EQ(manifest.sources.at(0).path, temp_.path() + "/root");
}

TEST_F(ManifestFile, TakesAbsolutePaths) {
  EXPECT_EQ(readWith("files = \"/somewhere\"").sources.at(0).path, "/somewhere");
}

TEST_F(ManifestFile, FolderStandsForItsDescription) {
  readWith("");
  EXPECT_EQ(readManifest(temp_.path()).name, "one");
  EXPECT_EQ(readManifest(temp_.path() + "//").inputs, std::vector<std::string>{file()});
}

TEST_F(ManifestFile, ListsHaveNamesAndRanges) {
  const Manifest manifest = readWith(
      "requires = [\"system\", { name = \"base\", min = \"3.20\", max = \"3.22\" }]\n"
      "provides = [{ name = \"web\", min = \"1.0\", weight = -7 }]\n"
      "conflicts = [{ name = \"old\", max = \"2.9rc8\" }]\n");
  ASSERT_EQ(manifest.deps.size(), 2U);
  EXPECT_EQ(manifest.deps[0].name, "system");
  EXPECT_EQ(manifest.deps[0].minVersion, 0U);
  EXPECT_EQ(manifest.deps[0].maxVersion, 0U);
  EXPECT_EQ(manifest.deps[1].name, "base");
  EXPECT_EQ(manifest.deps[1].minVersion, 0x03146600U);
  EXPECT_EQ(manifest.deps[1].maxVersion, 0x03166600U);
  ASSERT_EQ(manifest.provides.size(), 1U);
  EXPECT_EQ(manifest.provides[0].minVersion, 0x01006600U);
  EXPECT_EQ(manifest.provides[0].maxVersion, 0U);
  EXPECT_EQ(manifest.provides[0].weight, -7);
  ASSERT_EQ(manifest.conflicts.size(), 1U);
  EXPECT_EQ(manifest.conflicts[0].minVersion, 0U);
  EXPECT_EQ(manifest.conflicts[0].maxVersion, 0x02096308U);
}

TEST_F(ManifestFile, ScriptsAreTextsOrFiles) {
  writeFile(file("bye.sh"), "echo bye\n");
  const Manifest manifest =
      readWith("oninstall = \"echo hello\\n\"\nonuninstall = { file = \"bye.sh\" }\n");
  EXPECT_EQ(manifest.onInstall, "echo hello\n");
  EXPECT_EQ(manifest.onUninstall, "echo bye\n");
}

TEST_F(ManifestFile, BundleHasMembersInOrder) {
  writeFile(file("b/package.toml"), "name = \"b\"\nversion = \"1.0\"\nbuild-time = 5\n");
  writeFile(file("a/other.toml"), "name = \"a\"\nversion = \"2.0\"\nfiles = \"root\"\n");
  const Manifest manifest =
      readWith("image = true\n[bundle]\nmembers = [\"b\", \"a/other.toml\"]\nturn-off = [\"a\"]\n");
  EXPECT_TRUE(manifest.isBundle);
  EXPECT_TRUE(manifest.image);
  ASSERT_EQ(manifest.members.size(), 2U);
  EXPECT_EQ(manifest.members[0].name, "b");
  EXPECT_EQ(manifest.members[0].buildTime, 5U);
  EXPECT_EQ(manifest.members[1].name, "a");
  EXPECT_FALSE(manifest.members[1].buildTime);
  EXPECT_EQ(manifest.members[1].sources.at(0).path, temp_.path() + "/a/root");
  ASSERT_EQ(manifest.turnOff.size(), 1U);
  EXPECT_EQ(manifest.turnOff[0].name, "a");
}

TEST_F(ManifestFile, NameAndVersionMustBeThere) {
  EXPECT_EQ(failure("version = \"3.22\"\n"), ":1: name is missing; add name = \"hello\"");
  EXPECT_EQ(failure("name = \"one\"\n"), ":1: version is missing; add version = \"1.0\"");
}

TEST_F(ManifestFile, NameFitsTheHeader) {
  EXPECT_EQ(read("name = \"sixteen-letters-\"\nversion = \"1.0\"").name, "sixteen-letters-");
  EXPECT_EQ(failure("name = \"seventeen-letters\"\nversion = \"1.0\""),
            ":1: the name \"seventeen-letters\" has 17 bytes, 16 are the most");
  EXPECT_EQ(failureWith("requires = [\n\"seventeen-letters\"]"),
            ":4: the name \"seventeen-letters\" has 17 bytes, 16 are the most");
}

TEST_F(ManifestFile, NameIsOneDirectoryAndOneWord) {
  for (const char* name : {"", ".", ".."})
    EXPECT_EQ(failure("name = \"" + std::string(name) + "\"\nversion = \"1.0\""),
              ":1: \"" + std::string(name) + "\" is no name");
  for (const char* name : {"a b", "a/b", "/a", " a", "a "})
    EXPECT_EQ(failure("name = \"" + std::string(name) + "\"\nversion = \"1.0\""),
              ":1: the name \"" + std::string(name) + "\" has white space or a \"/\" in it");
  for (const char* name : {"a\\tb", "a\\nb", "a\\u0000b", "a\\u007fb"})
    EXPECT_NE(failure("name = \"" + std::string(name) + "\"\nversion = \"1.0\""), "no failure")
        << name;
}

TEST_F(ManifestFile, VersionIsAVersion) {
  EXPECT_EQ(failure("name = \"one\"\nversion = \"3\""),
            ":2: \"3\" is no version such as 3.22, 3.22.1 or 3.20rc2");
  EXPECT_EQ(failure("name = \"one\"\nversion = 3.22"),
            ":2: version must be a text in quotation marks");
  EXPECT_EQ(failureWith("requires = [{ name = \"x\", min = \"new\" }]"),
            ":3: \"new\" is no version such as 3.22, 3.22.1 or 3.20rc2");
}

TEST_F(ManifestFile, UnknownKeysAreErrors) {
  EXPECT_EQ(failureWith("require = []"), ":3: unknown key \"require\"; did you mean \"requires\"?");
  EXPECT_EQ(failureWith("requires = [{ name = \"x\", minimum = \"1.0\" }]"),
            ":3: unknown key \"minimum\"; known here are name, min, max, weight");
  EXPECT_EQ(failureWith("oninstall = { path = \"x\" }"),
            ":3: unknown key \"path\"; known here are file");
  EXPECT_EQ(failureWith("[bundle]\nmembers = [\"x\"]\nimage = true"),
            ":5: unknown key \"image\"; known here are members, turn-off");
}

TEST_F(ManifestFile, ValuesHaveTheirTypes) {
  EXPECT_EQ(failureWith("image = \"yes\""), ":3: image must be true or false");
  EXPECT_EQ(failureWith("build-time = \"now\""), ":3: build-time must be a whole number");
  EXPECT_EQ(failureWith("requires = \"system\""), ":3: requires must be a list: [...]");
  EXPECT_EQ(failureWith("requires = [3]"),
            ":3: expected a name or { name = \"system\", min = \"3.20\", max = \"3.22\" }");
  EXPECT_EQ(failureWith("oninstall = 3"), ":3: oninstall must be a text in quotation marks");
  EXPECT_EQ(failureWith("files = 3"),
            ":3: expected a path, { folder = \"...\" } or { tar = \"...\" }");
  EXPECT_EQ(failureWith("bundle = 3"), ":3: bundle must be a table: [bundle]");
}

TEST_F(ManifestFile, NumbersFitTheirFields) {
  EXPECT_EQ(failureWith("build-time = -1"), ":3: build-time must be from 0 to 4294967295");
  EXPECT_EQ(failureWith("build-time = 4294967296"), ":3: build-time must be from 0 to 4294967295");
  EXPECT_EQ(failureWith("provides = [{ name = \"x\", weight = 2147483648 }]"),
            ":3: weight must be from -2147483648 to 2147483647");
}

TEST_F(ManifestFile, RangesAreNotEmpty) {
  EXPECT_EQ(failureWith("requires = [{ name = \"x\", min = \"2.0\", max = \"1.0\" }]"),
            ":3: max is below min: no version is in this range");
  EXPECT_EQ(readWith("requires = [{ name = \"x\", min = \"2.0\", max = \"2.0\" }]").deps.size(),
            1U);
}

TEST_F(ManifestFile, OnlyProvidesHaveWeights) {
  for (const char* list : {"requires", "conflicts"})
    EXPECT_EQ(failureWith(std::string(list) + " = [{ name = \"x\", weight = 1 }]"),
              ":3: only what a package provides has a weight; leave it out");
}

TEST_F(ManifestFile, BundleOnlyCarriesOthers) {
  writeFile(file("a/package.toml"), "name = \"a\"\nversion = \"1.0\"\n");
  for (const char* key :
       {"files", "exclude", "rule", "entry", "compression", "oninstall", "onuninstall"})
    EXPECT_EQ(failureWith(std::string(key) + " = \"x\"\n[bundle]\nmembers = [\"a\"]\n"),
              ":3: a bundle has no " + std::string(key) + "; give it to one of the members");
}

TEST_F(ManifestFile, BundleNeedsMembers) {
  const std::string expected = ":3: a bundle needs members; add members = [\"folder\"]";
  EXPECT_EQ(failureWith("[bundle]\n"), expected);
  EXPECT_EQ(failureWith("[bundle]\nmembers = []\n"), expected);
  EXPECT_EQ(failureWith("[bundle]\nmembers = [\"\"]\n"),
            ":4: a member's path is empty; name its folder");
}

TEST_F(ManifestFile, MembersAreSinglePackagesOfDifferentNames) {
  writeFile(file("a/package.toml"), "name = \"a\"\nversion = \"1.0\"\n");
  writeFile(file("again/package.toml"), "name = \"a\"\nversion = \"1.1\"\n");
  writeFile(file("nested/package.toml"),
            "name = \"n\"\nversion = \"1.0\"\n[bundle]\nmembers = [\"../a\"]\n");
  EXPECT_EQ(failureWith("[bundle]\nmembers = [\"a\", \"again\"]\n"),
            ":4: a second package of the name \"a\"");
  EXPECT_EQ(failureWith("[bundle]\nmembers = [\"nested\"]\n"),
            ":4: \"" + file("nested/package.toml") +
                "\" is a bundle, which cannot be in another one; list its members");
  EXPECT_EQ(failureOf([&] { readWith("[bundle]\nmembers = [\"missing\"]\n"); }),
            temp_.path() + "/missing: cannot be opened: No such file or directory");
}

// Each part of a key is a table in a table: enough of them would be too many for the stack.
TEST_F(ManifestFile, EndlessKeysAreRefused) {
  std::string key = "a";
  for (int part = 0; part < 100000; ++part) key += ".a";
  EXPECT_EQ(failureWith(key + " = 1\n"), ":3: a key of more than 1000 parts");
}

TEST_F(ManifestFile, BundlesInACircleAreRefused) {
  const std::string rest = "version = \"1.0\"\n[bundle]\nmembers = [";
  const std::string expected = "\" is a bundle, which cannot be in another one; list its members";
  EXPECT_EQ(failure("name = \"one\"\n" + rest + "\".\"]"),
            ":4: \"" + file("./package.toml") + expected);
  writeFile(file("two/package.toml"), "name = \"two\"\n" + rest + "\"..\"]");
  EXPECT_EQ(failure("name = \"one\"\n" + rest + "\"two\"]"),
            ":4: \"" + file("two/package.toml") + expected);
}

TEST_F(ManifestFile, MembersHaveOtherNamesThanTheBundle) {
  writeFile(file("a/package.toml"), "name = \"one\"\nversion = \"1.0\"\n");
  EXPECT_EQ(failureWith("[bundle]\nmembers = [\"a\"]\n"),
            ":4: the member \"a\" has the bundle's own name \"one\"; rename one of them");
}

TEST_F(ManifestFile, DumbIsAWholeFile) {
  writeFile(file("a/package.toml"), "name = \"a\"\nversion = \"1.0\"\ndumb = true\n");
  EXPECT_TRUE(readManifest(file("a")).dumb);
  EXPECT_EQ(failureWith("[bundle]\nmembers = [\"a\"]\n"),
            ":4: \"" + file("a/package.toml") +
                "\" has dumb = true, which is for whole files; give it to the bundle");
}

TEST_F(ManifestFile, TurnOffOfNoMemberIsWarnedOf) {
  writeFile(file("a/package.toml"), "name = \"a\"\nversion = \"1.0\"\n");
  const Manifest manifest = readWith("[bundle]\nmembers = [\"a\"]\nturn-off = [\"a\", \"b\"]\n");
  EXPECT_EQ(manifest.warnings,
            std::vector<std::string>{file() + ":5: turn-off names \"b\", which is no member"});
}

TEST_F(ManifestFile, ScriptsThatCannotRunAreWarnedOf) {
  EXPECT_EQ(readWith("image = true\noninstall = \"x\"\nonuninstall = \"x\"\n").warnings,
            std::vector<std::string>{file() + ":4: oninstall never runs: the router passes it over "
                                              "with image = true"});
  EXPECT_EQ(readWith("dumb = true\nonuninstall = \"x\"\n").warnings,
            std::vector<std::string>{
                file() + ":4: onuninstall makes the installation fail, as dumb = true leaves no "
                         "record that keeps it, unless a package of this name is installed"});
}

TEST_F(ManifestFile, ListsWhatWasReadForIt) {
  writeFile(file("bye.sh"), "echo bye\n");
  EXPECT_EQ(readWith("onuninstall = { file = \"bye.sh\" }\n").inputs,
            (std::vector<std::string>{file(), file("bye.sh")}));
}

TEST_F(ManifestFile, SyntaxErrorsNameTheLine) {
  EXPECT_EQ(failure("name = \"one\"\nversion = \n").substr(0, 4), ":2: ");
}

TEST_F(ManifestFile, MissingFilesAreNamed) {
  EXPECT_EQ(failureOf([&] { readManifest(file("none.toml")); }),
            file("none.toml") + ": cannot be opened: No such file or directory");
  EXPECT_EQ(failureOf([&] { readWith("oninstall = { file = \"none.sh\" }"); }),
            temp_.path() + "/none.sh: cannot be opened: No such file or directory");
}

TEST_F(ManifestFile, CutAnywhereIsReadOrRefused) {
  const std::string whole =
      "name = \"one\"\nversion = \"3.22\"\nrequires = [{ name = \"x\", min = \"1.0\" }]\n";
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const std::string message = failure(whole.substr(0, size));
    EXPECT_TRUE(message == "no failure" || message[0] == ':') << size << message;
  }
}

TEST_F(ManifestFile, FlippedBytesAreReadOrRefused) {
  const std::string whole =
      "name = \"one\"\nversion = \"3.22\"\nrequires = [{ name = \"x\", min = \"1.0\" }]\n"
      "files = [\"root\", { tar = \"t\", into = \"u\" }]\nexclude = [\"*.o\"]\n"
      "[[entry]]\npath = \"a\"\ntype = \"char\"\nmajor = 1\nminor = 3\n"
      "[[rule]]\nmatch = \"b[a-c]*\"\nmode = \"0755\"\n";
  ASSERT_EQ(failure(whole), "no failure");
  for (std::size_t at = 0; at < whole.size(); ++at) {
    for (const std::size_t bit : {at % 8, (at + 3) % 8}) {
      std::string changed = whole;
      changed[at] = static_cast<char>(changed[at] ^ (1 << bit));
      const std::string message = failure(changed);
      EXPECT_TRUE(message == "no failure" || message[0] == ':') << at << " " << bit << message;
    }
  }
}

class SourceDateEpoch : public ::testing::Test {
 protected:
  ~SourceDateEpoch() override { unsetenv("SOURCE_DATE_EPOCH"); }
};

TEST_F(SourceDateEpoch, IsNothingWhenNotSet) {
  unsetenv("SOURCE_DATE_EPOCH");
  EXPECT_FALSE(sourceDateEpoch());
}

TEST_F(SourceDateEpoch, IsTheBuildTimeOfWhatHasNoOther) {
  setenv("SOURCE_DATE_EPOCH", "1234567890", 1);
  EXPECT_EQ(sourceDateEpoch(), 1234567890U);
  const TempFolder temp;
  writeFile(temp.path() + "/package.toml", "name = \"one\"\nversion = \"1.0\"\n");
  EXPECT_EQ(readManifest(temp.path()).buildTime, 1234567890U);
  writeFile(temp.path() + "/package.toml", "name = \"one\"\nversion = \"1.0\"\nbuild-time = 7\n");
  EXPECT_EQ(readManifest(temp.path()).buildTime, 7U);
}

TEST_F(SourceDateEpoch, RefusesWhatIsNoTime) {
  for (const char* text : {"", "today", "-1", "12x", " 1", "4294967296", "99999999999999999999"}) {
    setenv("SOURCE_DATE_EPOCH", text, 1);
    EXPECT_EQ(failureOf([] { sourceDateEpoch(); }), "SOURCE_DATE_EPOCH: \"" + std::string(text) +
                                                        "\" is no number of seconds since 1970");
  }
}

}  // namespace
