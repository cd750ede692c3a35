#include "model/version.h"
#include "package/package.h"
#include "tests/package/tool.h"
#include "tests/support/inroot.h"
#include "tests/support/packbuilder.h"
#include "tests/support/systemcalls.h"

#include <cerrno>
#include <cstdint>

#include <unistd.h>

namespace {

constexpr std::uint32_t kOne = packVersion(1, 0, kKindFinal, 0);
constexpr std::uint32_t kTwo = packVersion(2, 0, kKindFinal, 0);

std::string text(const std::vector<PackageDep>& list) {
  std::string result;
  for (const PackageDep& entry : list) {
    result += entry.name + ' ' + std::to_string(entry.minVersion) + ' ' +
              std::to_string(entry.maxVersion) + ' ' + std::to_string(entry.weight) + '\n';
  }
  return result;
}

std::string text(const std::set<std::string>& paths) {
  std::string result;
  for (const std::string& path : paths) result += path + '\n';
  return result;
}

class Record : public InRoot {
 protected:
  static void put(const std::string& file, const std::string& contents) {
    writeFile(kMeta + file, contents);
  }
  static std::string get(const std::string& file) { return readFile(kMeta + file); }
  static bool has(const std::string& file) { return exists(kMeta + file); }
  static void schedule(const std::string& contents) { writeFile(kSchedule, contents); }

  // What is needed to be read as whole.
  static void putWhole() {
    put("version", "1 2\n");
    put("deps", "");
    put("files", "");
  }

  void read() { package_.readFromRepo("tool"); }

  // Ready to be written.
  void prepare() {
    package_.name = "tool";
    package_.version = kOne;
    makeFolders(kMeta);
  }

  Package package_;
};

// Names and paths.

TEST_F(Record, NewPackageIsBlank) {
  EXPECT_EQ(package_.name, "");
  EXPECT_EQ(package_.files.size(), 0U);
  EXPECT_EQ(package_.bundle.name, "");
  EXPECT_FALSE(package_.disabled);
  EXPECT_FALSE(package_.userForced);
  EXPECT_EQ(package_.scheduledAction, kActionNone);
  EXPECT_FALSE(package_.isBundle);
}

TEST_F(Record, MetaDirIsTheNameBelowTheDatabase) {
  package_.name = "tool";
  EXPECT_EQ(package_.getMetaDir(false), "/flash/var/pdb/tool/");
}

TEST_F(Record, RelativeMetaDirHasADotInFront) {
  package_.name = "tool";
  EXPECT_EQ(package_.getMetaDir(true), "./flash/var/pdb/tool/");
}

TEST_F(Record, ContainerOfALonePackageIsThePackage) {
  package_.name = "tool";
  package_.version = packVersion(3, 20, kKindCandidate, 2);
  EXPECT_EQ(package_.getContainerName(), "tool-3.20rc2");
}

TEST_F(Record, ContainerOfAMemberIsItsBundle) {
  package_.name = "tool";
  package_.version = kOne;
  package_.bundle = dep("system", kTwo, kTwo);
  EXPECT_EQ(package_.getContainerName(), "system-2.0");
}

TEST_F(Record, BundleWithoutAVersionIsItsNameAlone) {
  package_.name = "tool";
  package_.bundle.name = "system";
  EXPECT_EQ(package_.getContainerName(), "system");
}

TEST_F(Record, ActionsHaveVerbs) {
  EXPECT_STREQ(actionVerb(kActionNone), "");
  EXPECT_STREQ(actionVerb(kActionUninstall), "uninstall");
  EXPECT_STREQ(actionVerb(kActionEnable), "enable");
  EXPECT_STREQ(actionVerb(kActionDisable), "disable");
  EXPECT_STREQ(actionVerb(4), "");
}

// Reading.

TEST_F(Record, NameIsTheArgument) {
  read();
  EXPECT_EQ(package_.name, "tool");
}

TEST_F(Record, VersionFileHoldsVersionAndBuildTime) {
  putWhole();
  put("version", "51799552 1234567890\n");
  read();
  EXPECT_EQ(package_.version, 51799552U);
  EXPECT_EQ(package_.buildTime, 1234567890U);
  EXPECT_EQ(package_.scheduledAction, kActionNone);
}

struct Numbers {
  const char* text;
  bool good;
  std::uint32_t version;
  std::uint32_t buildTime;
};

std::ostream& operator<<(std::ostream& out, const Numbers& numbers) {
  return out << '"' << numbers.text << '"';
}

class RecordNumbers : public Record, public testing::WithParamInterface<Numbers> {};

TEST_P(RecordNumbers, AreReadAsInputStreamsDo) {
  putWhole();
  put("version", GetParam().text);
  read();
  EXPECT_EQ(package_.scheduledAction, GetParam().good ? kActionNone : kActionUninstall);
  EXPECT_EQ(package_.version, GetParam().version);
  EXPECT_EQ(package_.buildTime, GetParam().buildTime);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, RecordNumbers,
    testing::Values(
        Numbers{"1 2\n", true, 1, 2}, Numbers{"1 2", true, 1, 2},
        Numbers{" \t\n 1 \r\n\v\f 2", true, 1, 2}, Numbers{"+5 +7", true, 5, 7},
        Numbers{"-1 2", true, 4294967295U, 2}, Numbers{"-4294967295 2", true, 1, 2},
        Numbers{"-0 2", true, 0, 2}, Numbers{"4294967295 2", true, 4294967295U, 2},
        Numbers{"4294967296 2", false, 4294967295U, 0},
        Numbers{"1 99999999999999999999999", false, 1, 4294967295U},
        Numbers{"-4294967296 2", false, 4294967295U, 0}, Numbers{"007 010", true, 7, 10},
        Numbers{"1 2x", true, 1, 2}, Numbers{"1 2 x", true, 1, 2}, Numbers{"1 2 3", true, 1, 2},
        Numbers{"1,2", false, 1, 0}, Numbers{"1x 2", false, 1, 0}, Numbers{"0x10 2", false, 0, 0},
        Numbers{"x 2", false, 0, 0}, Numbers{"+ 5 2", false, 0, 0}, Numbers{"--1 2", false, 0, 0},
        Numbers{"1", false, 1, 0}, Numbers{"1 ", false, 1, 0}, Numbers{"1.5 2", false, 1, 0},
        Numbers{"1e3 2", false, 1, 0}, Numbers{"", false, 0, 0}, Numbers{"\n", false, 0, 0}));

TEST_F(Record, NulEndsANumber) {
  putWhole();
  put("version", std::string("1 2\0", 4) + "3");
  read();
  EXPECT_EQ(package_.buildTime, 2U);
  EXPECT_EQ(package_.scheduledAction, kActionNone);
}

TEST_F(Record, MissingVersionAsksToUninstall) {
  putWhole();
  unlink("/flash/var/pdb/tool/version");
  read();
  EXPECT_EQ(package_.scheduledAction, kActionUninstall);
}

TEST_F(Record, MissingDirectoryAsksToUninstall) {
  read();
  EXPECT_EQ(package_.scheduledAction, kActionUninstall);
  EXPECT_TRUE(package_.isBundle);
}

TEST_F(Record, FileInPlaceOfTheDirectoryAsksToUninstall) {
  writeFile("/flash/var/pdb/tool", "1 2\n");
  read();
  EXPECT_EQ(package_.scheduledAction, kActionUninstall);
}

TEST_F(Record, ListsAreRead) {
  putWhole();
  put("deps", "system 1 2\nppp 0 0\n");
  put("provides", "shell 3 4 -5\nsh 0 0 6\n");
  put("conflicts", "old 7 8\n");
  read();
  EXPECT_EQ(text(package_.deps), "system 1 2 0\nppp 0 0 0\n");
  EXPECT_EQ(text(package_.provides), "shell 3 4 -5\nsh 0 0 6\n");
  EXPECT_EQ(text(package_.conflicts), "old 7 8 0\n");
  EXPECT_EQ(package_.scheduledAction, kActionNone);
}

TEST_F(Record, MissingListsAreEmpty) {
  putWhole();
  unlink("/flash/var/pdb/tool/deps");
  read();
  EXPECT_EQ(text(package_.deps) + text(package_.provides) + text(package_.conflicts), "");
  EXPECT_EQ(package_.scheduledAction, kActionNone);
}

TEST_F(Record, BrokenDepsAskToUninstallAndKeepTheEntriesBefore) {
  putWhole();
  put("deps", "system 1 2\nppp 3\n");
  read();
  EXPECT_EQ(text(package_.deps), "system 1 2 0\n");
  EXPECT_EQ(package_.scheduledAction, kActionUninstall);
}

TEST_F(Record, ProvidesWithoutWeightAskToUninstall) {
  putWhole();
  put("provides", "shell 1 2 3\nsh 4 5\n");
  read();
  EXPECT_EQ(text(package_.provides), "shell 1 2 3\n");
  EXPECT_EQ(package_.scheduledAction, kActionUninstall);
}

TEST_F(Record, BrokenConflictsAskToUninstall) {
  putWhole();
  put("conflicts", "old");
  read();
  EXPECT_EQ(text(package_.conflicts), "");
  EXPECT_EQ(package_.scheduledAction, kActionUninstall);
}

TEST_F(Record, ListsBehindABrokenOneAreReadAllTheSame) {
  putWhole();
  put("deps", "ppp");
  put("provides", "shell 1 2 3\n");
  put("conflicts", "old 1 2\n");
  read();
  EXPECT_EQ(text(package_.provides), "shell 1 2 3\n");
  EXPECT_EQ(text(package_.conflicts), "old 1 2 0\n");
}

// A meta directory of only "version" and an empty "deps".
TEST_F(Record, WithoutFilesItIsABundle) {
  put("version", "1 2\n");
  put("deps", "");
  read();
  EXPECT_TRUE(package_.isBundle);
  EXPECT_FALSE(package_.disabled);
  EXPECT_FALSE(package_.userForced);
  EXPECT_EQ(package_.scheduledAction, kActionNone);
}

TEST_F(Record, WithAnEmptyFileListItIsNoBundle) {
  putWhole();
  read();
  EXPECT_FALSE(package_.isBundle);
  EXPECT_TRUE(package_.files.empty());
}

TEST_F(Record, FilesGetASlashInFront) {
  putWhole();
  put("files", "bin/sh\netc/rc\n");
  read();
  EXPECT_EQ(text(package_.files), "/bin/sh\n/etc/rc\n");
}

TEST_F(Record, FilesWithASlashKeepIt) {
  putWhole();
  put("files", "bin/sh\n/bin/sh\n//bin/sh\n");
  read();
  EXPECT_EQ(text(package_.files), "//bin/sh\n/bin/sh\n");
}

TEST_F(Record, EmptyFileLinesAreSkipped) {
  putWhole();
  put("files", "\n\nb\n\na\n\n");
  read();
  EXPECT_EQ(text(package_.files), "/a\n/b\n");
}

TEST_F(Record, LastFileLineNeedsNoEnd) {
  putWhole();
  put("files", "a\nb");
  read();
  EXPECT_EQ(text(package_.files), "/a\n/b\n");
}

TEST_F(Record, FileLinesAreTakenAsTheyStand) {
  putWhole();
  put("files", " a b \nc\r\nd\te\n");
  read();
  EXPECT_EQ(text(package_.files), "/ a b \n/c\r\n/d\te\n");
}

TEST_F(Record, LongFileListIsReadWhole) {
  putWhole();
  std::string lines, expected;
  for (int i = 1000; i < 3000; ++i) {
    lines += "some/folder/file" + std::to_string(i) + '\n';
    expected += "/some/folder/file" + std::to_string(i) + '\n';
  }
  put("files", lines);
  read();
  EXPECT_EQ(text(package_.files), expected);
}

TEST_F(Record, DanglingFileListIsNone) {
  putWhole();
  unlink("/flash/var/pdb/tool/files");
  ASSERT_EQ(symlink("/nowhere", "/flash/var/pdb/tool/files"), 0);
  read();
  EXPECT_TRUE(package_.isBundle);
}

TEST_F(Record, BundleIsOneWord) {
  putWhole();
  put("bundle", " \n system more\n");
  read();
  EXPECT_EQ(package_.bundle.name, "system");
}

TEST_F(Record, BundleReadBackHasNoVersions) {
  putWhole();
  put("bundle", "system\n");
  package_.bundle.minVersion = package_.bundle.maxVersion = 7;
  read();
  EXPECT_EQ(package_.bundle.minVersion, 0U);
  EXPECT_EQ(package_.bundle.maxVersion, 0U);
}

TEST_F(Record, EmptyBundleFileNamesNone) {
  putWhole();
  put("bundle", "\n");
  read();
  EXPECT_EQ(package_.bundle.name, "");
}

struct StateFile {
  const char* text;
  bool userForced;
};

std::ostream& operator<<(std::ostream& out, const StateFile& state) {
  return out << '"' << state.text << '"';
}

class RecordState : public Record, public testing::WithParamInterface<StateFile> {};

TEST_P(RecordState, IsAutomaticOnlyWhenTheFirstLineSaysSo) {
  putWhole();
  put("disabled", GetParam().text);
  read();
  EXPECT_TRUE(package_.disabled);
  EXPECT_EQ(package_.userForced, GetParam().userForced);
}

INSTANTIATE_TEST_SUITE_P(Texts, RecordState,
                         testing::Values(StateFile{"auto\n", false}, StateFile{"auto", false},
                                         StateFile{"auto\nuser\n", false},
                                         StateFile{"user\n", true}, StateFile{"", true},
                                         StateFile{"\n", true}, StateFile{"\nauto\n", true},
                                         StateFile{"auto \n", true}, StateFile{" auto\n", true},
                                         StateFile{"auto\r\n", true}, StateFile{"Auto\n", true}));

TEST_F(Record, EnabledMarkerMeansTheUserAsked) {
  for (const char* contents : {"user\n", "auto\n", ""}) {
    putWhole();
    put("enabled", contents);
    read();
    EXPECT_FALSE(package_.disabled);
    EXPECT_TRUE(package_.userForced) << contents;
  }
}

TEST_F(Record, DisabledMarkerHidesTheEnabledOne) {
  putWhole();
  put("disabled", "auto\n");
  put("enabled", "user\n");
  read();
  EXPECT_TRUE(package_.disabled);
  EXPECT_FALSE(package_.userForced);
}

TEST_F(Record, ReadingForgetsTheStateBefore) {
  putWhole();
  package_.disabled = package_.userForced = package_.isBundle = true;
  read();
  EXPECT_FALSE(package_.disabled);
  EXPECT_FALSE(package_.userForced);
  EXPECT_FALSE(package_.isBundle);
}

TEST_F(Record, ScheduleOfUninstall) {
  putWhole();
  schedule("uninstall");
  read();
  EXPECT_EQ(package_.scheduledAction, kActionUninstall);
  EXPECT_FALSE(package_.userForced);
  EXPECT_FALSE(exists(kSchedule));
}

TEST_F(Record, ScheduleOfEnableIsTheUsersWish) {
  putWhole();
  put("disabled", "auto\n");
  schedule("enable\n");
  read();
  EXPECT_EQ(package_.scheduledAction, kActionEnable);
  EXPECT_TRUE(package_.userForced);
  EXPECT_TRUE(package_.disabled) << "the wish is not carried out here";
  EXPECT_FALSE(exists(kSchedule));
}

TEST_F(Record, ScheduleOfDisableIsTheUsersWish) {
  putWhole();
  schedule("  disable now\n");
  read();
  EXPECT_EQ(package_.scheduledAction, kActionDisable);
  EXPECT_TRUE(package_.userForced);
  EXPECT_FALSE(exists(kSchedule));
}

TEST_F(Record, SecondReadFindsNoSchedule) {
  putWhole();
  schedule("enable\n");
  read();
  Package again;
  again.readFromRepo("tool");
  EXPECT_EQ(again.scheduledAction, kActionNone);
  EXPECT_FALSE(again.userForced);
}

TEST_F(Record, OtherWordsChangeNothingAndGo) {
  for (const char* contents : {"", "\n", "Enable", "enabled", "uninstall!", "none"}) {
    putWhole();
    schedule(contents);
    Package package;
    package.readFromRepo("tool");
    EXPECT_EQ(package.scheduledAction, kActionNone) << contents;
    EXPECT_FALSE(package.userForced) << contents;
    EXPECT_FALSE(exists(kSchedule)) << contents;
  }
}

TEST_F(Record, ScheduleOutranksDamage) {
  schedule("enable\n");
  read();
  EXPECT_EQ(package_.scheduledAction, kActionEnable);
}

TEST_F(Record, OtherWordsLeaveTheRequestOfADamagedRecord) {
  schedule("nothing\n");
  read();
  EXPECT_EQ(package_.scheduledAction, kActionUninstall);
}

TEST_F(Record, ReadingReportsNothing) {
  put("deps", "x");
  put("provides", "y 1 2");
  schedule("nonsense");
  read();
  EXPECT_EQ(takeConsole(), "");
  EXPECT_TRUE(RepoAccess::logLines().empty());
}

// Opening a directory works, reading it fails.
TEST_F(Record, DirectoriesInPlaceOfFilesReadAsEmpty) {
  for (const char* file :
       {"version", "deps", "provides", "conflicts", "bundle", "files", "disabled", "enabled"}) {
    makeFolders(std::string(kMeta) + file);
  }
  makeFolders(kSchedule);
  read();
  EXPECT_EQ(package_.scheduledAction, kActionUninstall) << "there is no version";
  EXPECT_EQ(package_.version, 0U);
  EXPECT_EQ(text(package_.deps) + text(package_.provides) + text(package_.conflicts), "");
  EXPECT_FALSE(package_.isBundle);
  EXPECT_TRUE(package_.files.empty());
  EXPECT_EQ(package_.bundle.name, "");
  EXPECT_TRUE(package_.disabled);
  EXPECT_TRUE(package_.userForced);
}

// Writing.

TEST_F(Record, SmallestRecord) {
  prepare();
  package_.version = 16803328;
  package_.buildTime = 4294967295U;
  EXPECT_TRUE(package_.writeMeta(false));
  EXPECT_EQ(get("version"), "16803328 4294967295\n");
  EXPECT_EQ(get("deps"), "");
  EXPECT_EQ(get("files"), "");
  EXPECT_EQ(listTree(kMeta, kTreeMode), "/deps file 0644\n/files file 0644\n/version file 0644\n");
}

TEST_F(Record, FullRecord) {
  prepare();
  package_.deps = {dep("system", 1, 4294967295U, 9), dep("ppp", 0, 0)};
  package_.provides = {dep("shell", 2, 3, -2147483647 - 1), dep("sh", 0, 0, 5)};
  package_.conflicts = {dep("old", 4, 5, 6)};
  package_.bundle = dep("bundle", 7, 8, 9);
  package_.files = {"/bin/sh", "/etc/rc"};
  package_.disabled = true;
  EXPECT_TRUE(package_.writeMeta(false));
  EXPECT_EQ(get("deps"), "system 1 4294967295\nppp 0 0\n");
  EXPECT_EQ(get("provides"), "shell 2 3 -2147483648\nsh 0 0 5\n");
  EXPECT_EQ(get("conflicts"), "old 4 5\n");
  EXPECT_EQ(get("bundle"), "bundle\n");
  EXPECT_EQ(get("files"), "bin/sh\netc/rc\n");
  EXPECT_EQ(get("disabled"), "auto\n");
  EXPECT_FALSE(has("enabled"));
}

TEST_F(Record, WritingIsSilent) {
  prepare();
  EXPECT_TRUE(package_.writeMeta(false));
  EXPECT_EQ(takeConsole(), "");
}

TEST_F(Record, LongerFilesOfBeforeAreCut) {
  prepare();
  put("version", "111111111111111111111111 222222222222222222222\n");
  put("deps", "system 1 2\n");
  put("files", "bin/old\n");
  EXPECT_TRUE(package_.writeMeta(false));
  EXPECT_EQ(get("version"), std::to_string(kOne) + " 0\n");
  EXPECT_EQ(get("deps"), "");
  EXPECT_EQ(get("files"), "");
}

TEST_F(Record, EmptyProvidesAndConflictsLeaveTheFilesThere) {
  prepare();
  put("provides", "shell 1 2 3\n");
  put("conflicts", "old 1 2\n");
  EXPECT_TRUE(package_.writeMeta(false));
  EXPECT_EQ(get("provides"), "shell 1 2 3\n");
  EXPECT_EQ(get("conflicts"), "old 1 2\n");
}

TEST_F(Record, NoBundleDeletesTheFile) {
  prepare();
  put("bundle", "system\n");
  EXPECT_TRUE(package_.writeMeta(false));
  EXPECT_FALSE(has("bundle"));
}

TEST_F(Record, DisabledByTheUser) {
  prepare();
  put("enabled", "user\n");
  package_.disabled = package_.userForced = true;
  EXPECT_TRUE(package_.writeMeta(false));
  EXPECT_EQ(get("disabled"), "user\n");
  EXPECT_FALSE(has("enabled"));
}

TEST_F(Record, EnabledByTheUser) {
  prepare();
  put("disabled", "auto\n");
  package_.userForced = true;
  EXPECT_TRUE(package_.writeMeta(false));
  EXPECT_EQ(get("enabled"), "user\n");
  EXPECT_FALSE(has("disabled"));
}

TEST_F(Record, EnabledByItselfLeavesNoMarker) {
  prepare();
  put("disabled", "auto\n");
  put("enabled", "user\n");
  EXPECT_TRUE(package_.writeMeta(false));
  EXPECT_FALSE(has("disabled"));
  EXPECT_FALSE(has("enabled"));
}

TEST_F(Record, FileListDropsOneLeadingSlash) {
  prepare();
  package_.files = {"//two", "/one", "none", "", "./relative"};
  EXPECT_TRUE(package_.writeMeta(false));
  EXPECT_EQ(get("files"), "./relative\n/two\none\nnone\n");
}

TEST_F(Record, FileListIsInByteOrder) {
  prepare();
  package_.files = {"/b", "/a b", "/B", "/a", "/a/b", "/\xff"};
  EXPECT_TRUE(package_.writeMeta(false));
  EXPECT_EQ(get("files"), "B\na\na b\na/b\nb\n\xff\n");
}

TEST_F(Record, LongFileListIsWrittenWhole) {
  prepare();
  std::string expected;
  for (int i = 1000; i < 3000; ++i) {
    package_.files.insert("/some/folder/file" + std::to_string(i));
    expected += "some/folder/file" + std::to_string(i) + '\n';
  }
  EXPECT_TRUE(package_.writeMeta(false));
  EXPECT_EQ(get("files"), expected);
}

TEST_F(Record, BundleHasNoFileList) {
  prepare();
  put("files", "of/somebody\n");
  package_.isBundle = true;
  package_.files = {"/bin/sh"};
  EXPECT_TRUE(package_.writeMeta(false));
  EXPECT_EQ(get("files"), "of/somebody\n");
}

TEST_F(Record, ImageTakesTheInstallScriptsPlace) {
  prepare();
  put("oninstall", "x");
  put("onuninstall", "x");
  package_.hasImage = true;
  EXPECT_TRUE(package_.writeMeta(false));
  EXPECT_FALSE(has("oninstall"));
  EXPECT_TRUE(has("onuninstall"));
}

TEST_F(Record, WithoutImageTheInstallScriptStays) {
  prepare();
  put("oninstall", "x");
  EXPECT_TRUE(package_.writeMeta(false));
  EXPECT_TRUE(has("oninstall"));
}

// All but the state: that is the router's, wherever the record is.
TEST_F(Record, RelativeRecordHasItsStateInTheAbsoluteDirectory) {
  prepare();
  makeFolders("/other/flash/var/pdb/tool");
  ASSERT_EQ(chdir("/other"), 0);
  package_.deps = {dep("a", 1, 2)};
  package_.provides = {dep("b", 1, 2, 3)};
  package_.conflicts = {dep("c", 1, 2)};
  package_.bundle.name = "system";
  package_.files = {"/d"};
  package_.disabled = true;
  EXPECT_TRUE(package_.writeMeta(true));
  EXPECT_EQ(listTree("/other/flash/var/pdb/tool", 0),
            "/bundle file\n/conflicts file\n/deps file\n/files file\n/provides file\n"
            "/version file\n");
  EXPECT_EQ(listTree(kMeta, 0), "/disabled file\n");
  package_.disabled = false;
  package_.userForced = true;
  EXPECT_TRUE(package_.writeMeta(true));
  EXPECT_EQ(listTree(kMeta, 0), "/enabled file\n");
  EXPECT_FALSE(exists("/other/flash/var/pdb/tool/enabled"));
}

TEST_F(Record, WhatIsWrittenReadsBack) {
  prepare();
  package_.buildTime = 77;
  package_.deps = {dep("system", 1, 2), dep("ppp", 0, 0)};
  package_.provides = {dep("shell", 2, 3, -4)};
  package_.conflicts = {dep("old", 4, 5)};
  package_.bundle.name = "bundle";
  package_.files = {"/bin/sh", "/etc/rc", "/with space"};
  package_.disabled = package_.userForced = true;
  EXPECT_TRUE(package_.writeMeta(false));
  Package again;
  again.readFromRepo("tool");
  EXPECT_EQ(again.version, package_.version);
  EXPECT_EQ(again.buildTime, package_.buildTime);
  EXPECT_EQ(text(again.deps), text(package_.deps));
  EXPECT_EQ(text(again.provides), text(package_.provides));
  EXPECT_EQ(text(again.conflicts), text(package_.conflicts));
  EXPECT_EQ(again.bundle.name, "bundle");
  EXPECT_EQ(again.files, package_.files);
  EXPECT_TRUE(again.disabled);
  EXPECT_TRUE(again.userForced);
  EXPECT_FALSE(again.isBundle);
  EXPECT_EQ(again.scheduledAction, kActionNone);
}

// Every file of the record, with a directory in its place.
class RecordFile : public Record, public testing::WithParamInterface<const char*> {
 protected:
  void SetUp() override {
    Record::SetUp();
    if (IsSkipped()) return;
    prepare();
    package_.deps = {dep("a", 1, 2)};
    package_.provides = {dep("b", 1, 2, 3)};
    package_.conflicts = {dep("c", 1, 2)};
    package_.bundle = dep("system", kTwo, kTwo);
    package_.files = {"/d"};
  }

  // Each is written at once.
  static unsigned filesBefore() {
    unsigned count = 0;
    for (const char* file : {"version", "deps", "provides", "conflicts", "bundle"}) {
      if (std::string(file) == GetParam()) break;
      ++count;
    }
    return count;
  }
};

TEST_P(RecordFile, ThatCannotBeCreatedIsNamed) {
  makeFolders(std::string(kMeta) + GetParam());
  EXPECT_FALSE(package_.writeMeta(false));
  EXPECT_EQ(takeConsole(),
            std::string("ERROR: installation of system-2.0 failed: could not create meta/") +
                GetParam() + ": Is a directory\n");
}

TEST_P(RecordFile, ThatCannotBeWrittenEndsTheWriting) {
  makeFolders(std::string(kMeta) + GetParam());
  EXPECT_FALSE(package_.writeMeta(false));
  bool before = true;
  for (const char* file : {"version", "deps", "provides", "conflicts", "bundle", "files"}) {
    if (std::string(file) == GetParam()) {
      before = false;
    } else {
      EXPECT_EQ(has(file), before) << file;
    }
  }
}

// Behind the link may be anything.
TEST_P(RecordFile, ThatIsALinkIsNotWrittenThrough) {
  writeFile("/outside", "data");
  const std::string path = std::string(kMeta) + GetParam();
  ASSERT_EQ(symlink("/outside", path.c_str()), 0);
  // The link may be replaced; otherwise it is reported.
  if (package_.writeMeta(false)) {
    EXPECT_EQ(takeConsole(), "");
    EXPECT_EQ(listTreeAt(kMeta, std::string("/") + GetParam(), 0),
              std::string("/") + GetParam() + " file\n");
  } else {
    EXPECT_EQ(takeConsole(),
              std::string("ERROR: installation of system-2.0 failed: could not create meta/") +
                  GetParam() + ": Too many levels of symbolic links\n");
  }
  EXPECT_EQ(readFile("/outside"), "data");
}

TEST_P(RecordFile, ThatHasNoRoomLeftIsReported) {
  failCall(SystemCall::kWrite, ENOSPC, filesBefore());
  EXPECT_FALSE(package_.writeMeta(false));
  EXPECT_EQ(takeConsole(), "ERROR: installation of system-2.0 failed: disk is too small\n");
  EXPECT_TRUE(healCalls());
}

TEST_P(RecordFile, ThatTheDiskLosesIsReported) {
  failCall(SystemCall::kClose, EIO, filesBefore());
  EXPECT_FALSE(package_.writeMeta(false));
  EXPECT_EQ(takeConsole(), "ERROR: installation of system-2.0 failed: disk error\n");
  EXPECT_TRUE(healCalls());
}

INSTANTIATE_TEST_SUITE_P(Files, RecordFile,
                         testing::Values("version", "deps", "provides", "conflicts", "bundle",
                                         "files"));

TEST_F(Record, FailureNamesThePackageWhenItCameAlone) {
  prepare();
  makeFolders("/flash/var/pdb/tool/version");
  EXPECT_FALSE(package_.writeMeta(false));
  EXPECT_EQ(takeConsole(),
            "ERROR: installation of tool-1.0 failed: could not create meta/version: Is a "
            "directory\n");
}

TEST_F(Record, MarkersThatCannotBeWrittenDoNotCount) {
  prepare();
  makeFolders("/flash/var/pdb/tool/disabled");
  makeFolders("/flash/var/pdb/tool/enabled");
  package_.disabled = true;
  EXPECT_TRUE(package_.writeMeta(false));
  package_.disabled = false;
  package_.userForced = true;
  EXPECT_TRUE(package_.writeMeta(false));
  EXPECT_EQ(takeConsole(), "");
}

TEST_F(Record, MarkersThatAreLinksAreNotWrittenThrough) {
  prepare();
  writeFile("/outside", "data");
  ASSERT_EQ(symlink("/outside", "/flash/var/pdb/tool/disabled"), 0);
  package_.disabled = true;
  EXPECT_TRUE(package_.writeMeta(false));
  EXPECT_EQ(readFile("/outside"), "data");
}

// The meta directory.

TEST_F(Record, MetaDirIsMadeWithItsParents) {
  package_.name = "tool";
  removeTree("/flash");
  EXPECT_TRUE(package_.makeMetaDir(false));
  EXPECT_EQ(listTreeAt("/", "/flash", kTreeMode),
            "/flash dir 0750\n/flash/var dir 0750\n/flash/var/pdb dir 0750\n"
            "/flash/var/pdb/tool dir 0750\n");
}

TEST_F(Record, ExistingMetaDirIsFine) {
  prepare();
  EXPECT_TRUE(package_.makeMetaDir(false));
}

TEST_F(Record, RelativeMetaDirIsMadeBelowTheWorkingFolder) {
  package_.name = "tool";
  makeFolders("/other");
  ASSERT_EQ(chdir("/other"), 0);
  EXPECT_TRUE(package_.makeMetaDir(true));
  EXPECT_TRUE(exists("/other/flash/var/pdb/tool"));
  EXPECT_FALSE(exists("/flash/var/pdb/tool"));
}

TEST_F(Record, MetaDirThatCannotBeMade) {
  package_.name = "tool";
  removeTree("/flash/var");
  writeFile("/flash/var", "x");
  EXPECT_FALSE(package_.makeMetaDir(false));
}

// The dump.

TEST_F(Record, DumpOfABlankPackage) {
  package_.dump();
  EXPECT_EQ(takeConsole(), "package <> version=0.0\n  deps=\n  files=\n");
}

TEST_F(Record, DumpShowsEverything) {
  package_.name = "tool";
  package_.version = packVersion(3, 22, kKindFinal, 1);
  package_.disabled = package_.userForced = true;
  package_.deps = {dep("system", kOne, kTwo), dep("ppp", 0, 0)};
  package_.files = {"/etc/rc", "/bin/sh"};
  package_.dump();
  EXPECT_EQ(takeConsole(),
            "package <tool> version=3.22.1\n"
            "   disabled\n"
            "   user-forced\n"
            "  deps=\n"
            "    <system> min=1.0 max=2.0\n"
            "    <ppp> min=0.0 max=0.0\n"
            "  files=\n"
            "    /bin/sh\n"
            "    /etc/rc\n");
}

}  // namespace
