// The run over the drop directories: what is scanned, moved, kept and enabled again.
#include "tests/plan/planworld.h"

#include <csignal>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using testing::UnorderedElementsAre;

constexpr char kDrop[] = "/flash/rw/pckg/";
constexpr char kOtherDrop[] = "/flash/var/pckg/";

class InstallRun : public PlanWorld {
 protected:
  void SetUp() override {
    PlanWorld::SetUp();
    if (!IsSkipped()) add("system");
  }

  void drop(const std::string& name, const PackContents& pack) {
    writeFile(kDrop + name, packageFile(pack));
  }
  bool run(unsigned flags = kAllowUpgrade) { return repo_->installAllPackages(flags); }
  static void setMemory(std::uint64_t kilobytes) {
    writeFile("/proc/meminfo", "MemTotal: 262144 kB\nMemFree: " + std::to_string(kilobytes) +
                                   " kB\nBuffers: 0 kB\nCached: 0 kB\n");
  }
  static ino_t inode(const std::string& path) {
    struct stat info = {};
    EXPECT_EQ(stat(path.c_str(), &info), 0) << path;
    return info.st_ino;
  }
  static std::size_t sizeOf(const PackContents& pack) { return packageFile(pack).size(); }
  // Needs what is not there: refused, and the file is left.
  static PackContents refused(const std::string& name) { return {name, k1_0, {dep("missing")}}; }
  // A file that is moved to RAM and back is another one afterwards: it does not have this age.
  static void makeOld(const std::string& path) {
    const timespec times[2] = {{1000, 0}, {1000, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  }
  static bool isOld(const std::string& path) {
    struct stat info = {};
    EXPECT_EQ(stat(path.c_str(), &info), 0) << path;
    return info.st_mtime == 1000;
  }
  bool moves(const std::string& path, unsigned flags = kAllowUpgrade) {
    makeOld(path);
    run(flags);
    return !isOld(path);
  }
};

// Which files.

TEST_F(InstallRun, WithoutDropDirectoriesNothingHappens) {
  removeTree("/flash/rw");
  EXPECT_FALSE(run());
  EXPECT_EQ(takeConsole(), "");
  EXPECT_THAT(installed(), ElementsAre("system-1.0"));
}

TEST_F(InstallRun, InstallsWhatWasDroppedAndRemovesIt) {
  drop("app.tpk", {"app"});
  drop("tool.mpk", {"tool"});
  EXPECT_TRUE(run());
  EXPECT_THAT(installed(), UnorderedElementsAre("system-1.0", "app-1.0", "tool-1.0"));
  EXPECT_EQ(listTree(kDrop, 0), "");
}

TEST_F(InstallRun, OtherNamesAreLeftAlone) {
  for (const char* name : {".app.tpk", "app.tpk.part", "app.TPK", "apptpk", "app.npk", ".tpk"}) {
    drop(name, {"app"});
  }
  const std::string before = listTree(kDrop, 0);
  EXPECT_FALSE(run());
  EXPECT_EQ(listTree(kDrop, 0), before);
  EXPECT_EQ(takeConsole(), "");
}

TEST_F(InstallRun, TheOtherDirectoryIsNotScannedWhenTheFirstHasAPackage) {
  drop("app.tpk", {"app"});
  writeFile(std::string(kOtherDrop) + "tool.tpk", packageFile({"tool"}));
  EXPECT_TRUE(run());
  EXPECT_THAT(installed(), ElementsAre("system-1.0", "app-1.0"));
  EXPECT_TRUE(exists(std::string(kOtherDrop) + "tool.tpk"));
}

TEST_F(InstallRun, TheOtherDirectoryIsScannedWhenTheFirstHasNoUsablePackage) {
  writeFile(std::string(kDrop) + "app.tpk", "broken");
  writeFile(std::string(kOtherDrop) + "tool.tpk", packageFile({"tool"}));
  EXPECT_TRUE(run());
  EXPECT_THAT(installed(), ElementsAre("system-1.0", "tool-1.0"));
}

TEST_F(InstallRun, RamIsNotScanned) {
  writeFile("/ram/app.tpk", packageFile({"app"}));
  EXPECT_FALSE(run());
  EXPECT_TRUE(exists("/ram/app.tpk"));
}

TEST_F(InstallRun, RamIsScannedFirstWhenReinstalling) {
  writeFile("/ram/app.tpk", packageFile({"app"}));
  writeFile(std::string(kOtherDrop) + "tool.tpk", packageFile({"tool"}));
  EXPECT_TRUE(run(kAllowUpgrade | kReinstall));
  EXPECT_THAT(installed(), ElementsAre("system-1.0", "app-1.0"));
  EXPECT_FALSE(exists("/ram/app.tpk"));
}

TEST_F(InstallRun, FilesOfRamAndOfTheDropDirectoryGoTogetherWhenReinstalling) {
  writeFile("/ram/app.tpk", packageFile({"app"}));
  drop("tool.tpk", {"tool"});
  EXPECT_TRUE(run(kAllowUpgrade | kReinstall));
  // Unrelated candidates come out in reverse.
  EXPECT_THAT(installed(), ElementsAre("system-1.0", "tool-1.0", "app-1.0"));
}

TEST_F(InstallRun, ABrokenFileIsToldAndLeft) {
  writeFile(std::string(kDrop) + "app.tpk", packageFile({"app"}) + "x");
  EXPECT_FALSE(run());
  EXPECT_THAT(messages(), testing::Contains("ERROR: broken package app.tpk"));
  EXPECT_TRUE(exists(std::string(kDrop) + "app.tpk"));
}

// Genuine, but its list of requirements is shorter than it says.
TEST_F(InstallRun, AFileWithABrokenHeaderIsToldAndLeft) {
  DepCount two;
  two.setCount(2);
  PackBuilder file;
  file.header("app", k1_0).part(kPartArchitecture, "mipsel");
  file.part(kPartRequires, std::string(two.bytes, two.bytes + DepCount::kSize)).sign();
  writeFile(std::string(kDrop) + "app.tpk", file.finish());
  EXPECT_FALSE(run());
  EXPECT_THAT(messages(), ElementsAre("verified app.tpk", "ERROR: broken package app.tpk"));
  EXPECT_TRUE(exists(std::string(kDrop) + "app.tpk"));
}

TEST_F(InstallRun, LineEndsStandAroundTheFilesOfADirectory) {
  drop("app.tpk", refused("app"));
  drop("tool.tpk", refused("tool"));
  run();
  const std::string console = takeConsole();
  EXPECT_THAT(console, StartsWith("\n\033[?25l\rverifying "));
  const std::size_t last = console.rfind("verified ");
  EXPECT_EQ(console.substr(console.find('\n', last), 2), "\n\n");
  EXPECT_EQ(console.find("\n\n"), console.find('\n', last));
}

TEST_F(InstallRun, LineEndsAreWrittenInQuietModeToo) {
  RepoAccess::fresh();
  repo_->init(true);
  drop("app.tpk", {"app"});
  EXPECT_TRUE(run());
  EXPECT_EQ(takeConsole(), "\n\n");
}

// Downgrades.

TEST_F(InstallRun, TheMarkerAllowsADowngradeOnce) {
  add("app", k2_0);
  writeFile("/rw/DOWNGRADE", "");
  drop("app.tpk", {"app"});
  EXPECT_TRUE(run());
  EXPECT_THAT(installed(), ElementsAre("system-1.0", "app-1.0"));
  EXPECT_FALSE(exists("/rw/DOWNGRADE"));
}

TEST_F(InstallRun, TheMarkerGoesWhenThereIsNothingToInstall) {
  writeFile("/rw/DOWNGRADE", "");
  EXPECT_FALSE(run());
  EXPECT_FALSE(exists("/rw/DOWNGRADE"));
}

TEST_F(InstallRun, TheMarkerPrefersOlderFiles) {
  writeFile("/rw/DOWNGRADE", "");
  drop("old.tpk", {"app"});
  drop("new.tpk", {"app", k2_0});
  EXPECT_TRUE(run());
  EXPECT_THAT(installed(), ElementsAre("system-1.0", "app-1.0"));
  EXPECT_THAT(messages(), testing::Contains("WARNING: omitting package app-2.0: older package is "
                                            "already provided"));
}

TEST_F(InstallRun, WithoutTheMarkerAnOlderPackageIsLeft) {
  add("app", k2_0);
  drop("app.tpk", {"app"});
  EXPECT_TRUE(run());
  EXPECT_THAT(installed(), ElementsAre("system-1.0", "app-2.0"));
  EXPECT_TRUE(exists(std::string(kDrop) + "app.tpk"));
}

// Moving to RAM.

TEST_F(InstallRun, WithoutAMemoryReportNothingIsMoved) {
  drop("app.tpk", refused("app"));
  EXPECT_FALSE(moves("/flash/rw/pckg/app.tpk"));
}

TEST_F(InstallRun, AFileIsMovedToRamAndBackWhenItIsNotInstalled) {
  setMemory(20000);
  drop("app.tpk", refused("app"));
  const std::string contents = readFile("/flash/rw/pckg/app.tpk");
  EXPECT_TRUE(moves("/flash/rw/pckg/app.tpk"));
  EXPECT_EQ(readFile("/flash/rw/pckg/app.tpk"), contents);
  EXPECT_FALSE(exists("/ram/app.tpk"));
}

TEST_F(InstallRun, AMovedFileThatIsInstalledIsGone) {
  setMemory(20000);
  drop("app.tpk", {"app"});
  EXPECT_TRUE(run());
  EXPECT_FALSE(exists("/ram/app.tpk"));
  EXPECT_FALSE(exists("/flash/rw/pckg/app.tpk"));
}

TEST_F(InstallRun, AFileOfTheOtherDirectoryGoesBackThere) {
  setMemory(20000);
  writeFile(std::string(kOtherDrop) + "app.tpk", packageFile(refused("app")));
  EXPECT_TRUE(moves(std::string(kOtherDrop) + "app.tpk"));
}

TEST_F(InstallRun, AFileIsMovedOnlyWhenItIsSmallerThanTheBudget) {
  // 1 KiB to spare.
  setMemory(8192 + 1);
  PackContents pack = refused("app");
  // Each entry of a list takes up as much.
  while (sizeOf(pack) + DepRecord::kSize <= 1024) pack.deps.push_back(dep("missing"));
  PackBuilder exact;
  appendPackage(exact, pack);
  const std::size_t gap = 1024 - exact.finish().size();
  ASSERT_GE(gap, PartHeader::kSize);
  exact.part(99, std::string(gap - PartHeader::kSize, 'x'));
  ASSERT_EQ(exact.finish().size(), 1024u);
  writeFile("/flash/rw/pckg/app.tpk", exact.finish());
  EXPECT_FALSE(moves("/flash/rw/pckg/app.tpk"));
  drop("app.tpk", pack);
  EXPECT_TRUE(moves("/flash/rw/pckg/app.tpk"));
}

TEST_F(InstallRun, WhatIsMovedIsTakenOffTheBudget) {
  setMemory(8192 + 1);
  const std::vector<std::string> names = {"a", "b", "c", "d", "e", "f", "g", "h"};
  for (const std::string& name : names) {
    drop(name + ".tpk", refused(name));
    makeOld(kDrop + name + ".tpk");
  }
  const std::size_t size = sizeOf(refused("a"));
  std::size_t fitting = 0;
  for (std::size_t left = 1024; size < left; left -= size) ++fitting;
  ASSERT_THAT(fitting, testing::AllOf(testing::Gt(1u), testing::Lt(names.size())));
  run();
  std::size_t moved = 0;
  for (const std::string& name : names) {
    if (!isOld(kDrop + name + ".tpk")) ++moved;
  }
  EXPECT_EQ(moved, fitting);
}

TEST_F(InstallRun, APackageWithAnImageIsNotMoved) {
  setMemory(20000);
  PackContents pack = refused("app");
  pack.image = true;
  drop("app.tpk", pack);
  EXPECT_FALSE(moves("/flash/rw/pckg/app.tpk"));
}

TEST_F(InstallRun, NothingIsMovedWhenReinstalling) {
  setMemory(20000);
  drop("app.tpk", refused("app"));
  EXPECT_FALSE(moves("/flash/rw/pckg/app.tpk", kAllowUpgrade | kReinstall));
}

TEST_F(InstallRun, AFileThatCannotBeMovedIsInstalledFromWhereItIs) {
  setMemory(20000);
  makeFolders("/ram/app.tpk");
  drop("app.tpk", {"app"});
  EXPECT_TRUE(run());
  EXPECT_THAT(installed(), ElementsAre("system-1.0", "app-1.0"));
  EXPECT_EQ(listTree(kDrop, 0), "");
}

// Images.

TEST_F(InstallRun, TheFileIsKeptAsTheImage) {
  PackContents pack = {"app"};
  pack.image = true;
  drop("any-name.tpk", pack);
  const ino_t file = inode("/flash/rw/pckg/any-name.tpk");
  EXPECT_TRUE(run());
  EXPECT_EQ(inode("/flash/var/pdb/app/image"), file);
  EXPECT_FALSE(exists("/flash/rw/pckg/any-name.tpk"));
  EXPECT_FALSE(exists("/rw/pckg/.images"));
}

TEST_F(InstallRun, WithoutTheMarkerThereIsNoImage) {
  drop("app.tpk", {"app"});
  EXPECT_TRUE(run());
  EXPECT_FALSE(exists("/flash/var/pdb/app/image"));
}

// A dumb package has no record to put an image into.
PackContents withImage(const std::string& name) { return {name, k1_0, {}, {}, {}, true}; }

TEST_F(InstallRun, AnImageWithoutARecordGoesToTheStore) {
  umask(0);
  removeTree("/rw/pckg");
  makeFolders("/rw/pckg");
  writeFile(std::string(kDrop) + "file.tpk", packageFile(withImage("app"), true));
  const ino_t file = inode("/flash/rw/pckg/file.tpk");
  EXPECT_TRUE(run());
  EXPECT_EQ(inode("/rw/pckg/.images/app"), file);
  EXPECT_EQ(listTree("/rw/pckg", kTreeMode), "/.images dir 0755\n/.images/app file 0644\n");
  EXPECT_FALSE(exists("/flash/rw/pckg/file.tpk"));
}

TEST_F(InstallRun, AnImageThatCanBeKeptNowhereIsToldAndThePackageCounts) {
  writeFile("/rw/pckg/.images/app", "in the way");
  writeFile(std::string(kDrop) + "file.tpk", packageFile(withImage("app"), true));
  EXPECT_TRUE(run());
  EXPECT_THAT(messages(), testing::Contains("WARNING: package app image could not be installed"));
  EXPECT_THAT(installed(), ElementsAre("system-1.0", "app-1.0"));
  EXPECT_FALSE(exists("/flash/rw/pckg/file.tpk"));
  EXPECT_EQ(readFile("/rw/pckg/.images/app"), "in the way");
}

TEST_F(InstallRun, AnOldImageIsReplaced) {
  writeFile("/flash/var/pdb/app/image", "old");
  writeFile(std::string(kDrop) + "file.tpk", packageFile(withImage("app"), true));
  const ino_t file = inode("/flash/rw/pckg/file.tpk");
  EXPECT_TRUE(run());
  EXPECT_EQ(inode("/flash/var/pdb/app/image"), file);
}

TEST_F(InstallRun, ABundlesFileIsItsImage) {
  writeFile(std::string(kDrop) + "kit.tpk", bundleFile(withImage("kit"), {{"app"}}));
  EXPECT_TRUE(run());
  EXPECT_TRUE(exists("/flash/var/pdb/kit/image"));
}

// What was chosen, and what was enabled.

TEST_F(InstallRun, TheUsersChoiceToDisableIsKept) {
  Package* const app = add("app");
  app->disabled = true;
  app->userForced = true;
  drop("app.tpk", {"app", k2_0});
  EXPECT_TRUE(run());
  EXPECT_THAT(installed(), ElementsAre("system-1.0", "app-2.0(disabled)"));
  EXPECT_EQ(readFile("/flash/var/pdb/app/disabled"), "user\n");
}

TEST_F(InstallRun, TheUsersChoiceToEnableIsKept) {
  add("app")->userForced = true;
  drop("app.tpk", {"app", k2_0});
  EXPECT_TRUE(run());
  EXPECT_EQ(readFile("/flash/var/pdb/app/enabled"), "user\n");
}

TEST_F(InstallRun, AStateThatTheUserDidNotChooseIsNotKept) {
  add("app")->disabled = true;
  drop("app.tpk", {"app", k2_0});
  EXPECT_TRUE(run());
  EXPECT_THAT(installed(), ElementsAre("system-1.0", "app-2.0"));
}

TEST_F(InstallRun, WhatABundleLeavesDisabledIsEnabledAgain) {
  add("app");
  writeFile(std::string(kDrop) + "kit.tpk",
            bundleFile({"kit", k1_0}, {{"tool"}, {"app", k2_0}}, {dep("app")}));
  EXPECT_TRUE(run());
  const std::string console = takeConsole();
  EXPECT_THAT(console, EndsWith("\renabling app-2.0...\r\033[?25h\033[?25l\r                   "
                                "\r\033[?25henabled app-2.0\n"));
  EXPECT_THAT(installed(), ElementsAre("system-1.0", "kit-1.0", "-0.0", "tool-1.0", "app-2.0"));
}

TEST_F(InstallRun, WhatWasDisabledBeforeStaysDisabled) {
  add("app")->disabled = true;
  add("other")->disabled = true;
  drop("tool.tpk", {"tool"});
  EXPECT_TRUE(run());
  EXPECT_THAT(installed(),
              ElementsAre("system-1.0", "app-1.0(disabled)", "other-1.0(disabled)", "tool-1.0"));
}

// The bundle disables "tls", which provided "lib"; "ssl", disabled, provides it too and is the last
// that does. Both names lead to a disabled package, "lib" and "tls" in this order.
TEST_F(InstallRun, EnabledNamesCountThroughTheLastThatProvidesThem) {
  add("tls")->provides.push_back(dep("lib"));
  Package* const ssl = add("ssl");
  ssl->provides.push_back(dep("lib"));
  ssl->disabled = true;
  writeFile(std::string(kDrop) + "kit.tpk", bundleFile({"kit"}, {{"tool"}}, {dep("tls")}));
  EXPECT_TRUE(run());
  Lines said = messages();
  ASSERT_GE(said.size(), 2u);
  EXPECT_THAT(Lines(said.end() - 2, said.end()), ElementsAre("enabled ssl-1.0", "enabled tls-1.0"));
}

TEST_F(InstallRun, APackageWithTwoEnabledNamesIsEnabledOnce) {
  add("tls")->provides = {dep("a"), dep("z")};
  writeFile(std::string(kDrop) + "kit.tpk", bundleFile({"kit"}, {{"tool"}}, {dep("tls")}));
  EXPECT_TRUE(run());
  const Lines said = messages();
  EXPECT_EQ(std::count(said.begin(), said.end(), "enabled tls-1.0"), 1);
}

// The result.

TEST_F(InstallRun, CandidatesThatAreRefusedCountAsAChange) {
  drop("app.tpk", refused("app"));
  EXPECT_TRUE(run());
}

TEST_F(InstallRun, CandidatesThatDropEachOtherDoNotCount) {
  drop("a.tpk", {"app"});
  drop("b.tpk", {"app"});
  EXPECT_FALSE(run());
  EXPECT_THAT(installed(), ElementsAre("system-1.0"));
  EXPECT_FALSE(RepoAccess::postlogLoaded());
}

// The log.

TEST_F(InstallRun, TheLogIsTakenOverWhenThereAreCandidates) {
  writeFile("/flash/postlog", "old line\n");
  drop("app.tpk", refused("app"));
  run();
  EXPECT_TRUE(RepoAccess::postlogLoaded());
  EXPECT_THAT(RepoAccess::logLines(),
              ElementsAre("verified app.tpk", "old line", HasSubstr("can not install app-1.0")));
}

TEST_F(InstallRun, TheLogIsLeftAloneWithoutCandidates) {
  writeFile("/flash/postlog", "old line\n");
  run();
  EXPECT_FALSE(RepoAccess::postlogLoaded());
  EXPECT_EQ(readFile("/flash/postlog"), "old line\n");
}

// The end of everything.

TEST_F(InstallRun, WithoutAPackageItDoesNotReturn) {
  RepoAccess::fresh();
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    dup2(ends[1], STDOUT_FILENO);
    run();
    _exit(0);
  }
  close(ends[1]);
  const std::string expected = "\nERROR: router installation failed!!!\nPlease, reinstall.\n";
  std::string said;
  char chunk[256];
  for (ssize_t got = 0; said.size() < expected.size();
       said.append(chunk, static_cast<size_t>(got))) {
    got = read(ends[0], chunk, sizeof chunk);
    if (got <= 0) break;
  }
  EXPECT_EQ(said, expected);
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, WNOHANG), 0);
  kill(child, SIGKILL);
  EXPECT_EQ(waitpid(child, &status, 0), child);
  close(ends[0]);
}

}  // namespace
