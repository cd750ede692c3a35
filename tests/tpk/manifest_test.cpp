#include "tools/tpk/manifest.h"

#include "tests/support/tree.h"
#include "tests/tpk/failuretext.h"

#include <cstdlib>
#include <ctime>
#include <string>

#include <gtest/gtest.h>

namespace {

enum : std::uint32_t { kNow = 1700000000 };

class ManifestFile : public ::testing::Test {
 protected:
  std::string file(const std::string& name = "package.toml") const {
    return temp_.path() + "/" + name;
  }

  Manifest read(const std::string& text) {
    writeFile(file(), text);
    return readManifest(file(), kNow);
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
  EXPECT_EQ(manifest.buildTime, std::uint32_t{kNow});
  EXPECT_EQ(manifest.architecture, "mipsel");
  EXPECT_EQ(manifest.description, "");
  EXPECT_FALSE(manifest.image);
  EXPECT_FALSE(manifest.isBundle);
  EXPECT_FALSE(manifest.onInstall);
  EXPECT_FALSE(manifest.onUninstall);
  EXPECT_TRUE(manifest.deps.empty() && manifest.provides.empty() && manifest.conflicts.empty());
  EXPECT_EQ(manifest.files, "");
}

TEST_F(ManifestFile, SaysWhatAPackageIs) {
  const Manifest manifest = readWith(
      "build-time = 4294967295\narchitecture = \"i386\"\ndescription = \"free text\"\n"
      "image = true\nfiles = \"root\"\n");
  EXPECT_EQ(manifest.buildTime, 4294967295U);
  EXPECT_EQ(manifest.architecture, "i386");
  EXPECT_EQ(manifest.description, "free text");
  EXPECT_TRUE(manifest.image);
  EXPECT_EQ(manifest.files, temp_.path() + "/root");
}

TEST_F(ManifestFile, TakesAbsolutePaths) {
  EXPECT_EQ(readWith("files = \"/somewhere\"").files, "/somewhere");
}

TEST_F(ManifestFile, FolderStandsForItsDescription) {
  readWith("");
  EXPECT_EQ(readManifest(temp_.path(), kNow).name, "one");
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
  EXPECT_EQ(manifest.members[1].buildTime, std::uint32_t{kNow});
  EXPECT_EQ(manifest.members[1].files, temp_.path() + "/a/root");
  ASSERT_EQ(manifest.turnOff.size(), 1U);
  EXPECT_EQ(manifest.turnOff[0].name, "a");
}

TEST_F(ManifestFile, NameAndVersionMustBeThere) {
  EXPECT_EQ(failure("version = \"3.22\"\n"), ":1: name is missing");
  EXPECT_EQ(failure("name = \"one\"\n"), ":1: version is missing");
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
  EXPECT_EQ(failure("name = \"one\"\nversion = 3.22"), ":2: version must be a text");
  EXPECT_EQ(failureWith("requires = [{ name = \"x\", min = \"new\" }]"),
            ":3: \"new\" is no version such as 3.22, 3.22.1 or 3.20rc2");
}

TEST_F(ManifestFile, UnknownKeysAreErrors) {
  EXPECT_EQ(failureWith("require = []"), ":3: unknown key \"require\"");
  EXPECT_EQ(failureWith("requires = [{ name = \"x\", minimum = \"1.0\" }]"),
            ":3: unknown key \"minimum\"");
  EXPECT_EQ(failureWith("oninstall = { path = \"x\" }"), ":3: unknown key \"path\"");
  EXPECT_EQ(failureWith("[bundle]\nmembers = [\"x\"]\nimage = true"), ":5: unknown key \"image\"");
}

TEST_F(ManifestFile, ValuesHaveTheirTypes) {
  EXPECT_EQ(failureWith("image = \"yes\""), ":3: image must be true or false");
  EXPECT_EQ(failureWith("build-time = \"now\""), ":3: build-time must be a whole number");
  EXPECT_EQ(failureWith("requires = \"system\""), ":3: requires must be a list");
  EXPECT_EQ(failureWith("requires = [3]"),
            ":3: expected a name or { name = ..., min = ..., max = ... }");
  EXPECT_EQ(failureWith("oninstall = 3"), ":3: oninstall must be a text");
  EXPECT_EQ(failureWith("files = 3"), ":3: files must be a text");
  EXPECT_EQ(failureWith("bundle = 3"), ":3: bundle must be a table");
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
              ":3: only what a package provides has a weight");
}

TEST_F(ManifestFile, BundleOnlyCarriesOthers) {
  writeFile(file("a/package.toml"), "name = \"a\"\nversion = \"1.0\"\n");
  for (const char* key : {"files", "oninstall", "onuninstall"})
    EXPECT_EQ(failureWith(std::string(key) + " = \"x\"\n[bundle]\nmembers = [\"a\"]\n"),
              ":3: a bundle has no " + std::string(key));
}

TEST_F(ManifestFile, BundleNeedsMembers) {
  EXPECT_EQ(failureWith("[bundle]\n"), ":3: a bundle needs members");
  EXPECT_EQ(failureWith("[bundle]\nmembers = []\n"), ":3: a bundle needs members");
}

TEST_F(ManifestFile, MembersAreSinglePackagesOfDifferentNames) {
  writeFile(file("a/package.toml"), "name = \"a\"\nversion = \"1.0\"\n");
  writeFile(file("again/package.toml"), "name = \"a\"\nversion = \"1.1\"\n");
  writeFile(file("nested/package.toml"),
            "name = \"n\"\nversion = \"1.0\"\n[bundle]\nmembers = [\"../a\"]\n");
  EXPECT_EQ(failureWith("[bundle]\nmembers = [\"a\", \"again\"]\n"),
            ":4: a second package of the name \"a\"");
  EXPECT_EQ(failureWith("[bundle]\nmembers = [\"nested\"]\n"),
            ":4: \"nested\" is a bundle: it cannot be in another one");
  EXPECT_EQ(failureOf([&] { readWith("[bundle]\nmembers = [\"missing\"]\n"); }),
            temp_.path() + "/missing: cannot be opened: No such file or directory");
}

TEST_F(ManifestFile, SyntaxErrorsNameTheLine) {
  EXPECT_EQ(failure("name = \"one\"\nversion = \n").substr(0, 4), ":2: ");
}

TEST_F(ManifestFile, MissingFilesAreNamed) {
  EXPECT_EQ(failureOf([&] { readManifest(file("none.toml"), kNow); }),
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

class DefaultBuildTime : public ::testing::Test {
 protected:
  ~DefaultBuildTime() override { unsetenv("SOURCE_DATE_EPOCH"); }
};

TEST_F(DefaultBuildTime, IsTheTimeOfDay) {
  unsetenv("SOURCE_DATE_EPOCH");
  const auto before = static_cast<std::uint32_t>(std::time(nullptr));
  const std::uint32_t now = defaultBuildTime();
  EXPECT_GE(now, before);
  EXPECT_LE(now, before + 60);
}

TEST_F(DefaultBuildTime, IsSourceDateEpochWhenThatIsSet) {
  setenv("SOURCE_DATE_EPOCH", "1234567890", 1);
  EXPECT_EQ(defaultBuildTime(), 1234567890U);
}

TEST_F(DefaultBuildTime, RefusesWhatIsNoTime) {
  for (const char* text : {"", "today", "-1", "12x", " 1", "4294967296", "99999999999999999999"}) {
    setenv("SOURCE_DATE_EPOCH", text, 1);
    EXPECT_EQ(failureOf([] { defaultBuildTime(); }), "SOURCE_DATE_EPOCH: \"" + std::string(text) +
                                                         "\" is no number of seconds since 1970");
  }
}

}  // namespace
