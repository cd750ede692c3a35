// What the batch run does with the package files themselves: moving them to RAM, keeping images;
// with the run log; and when no package is left.
#include "tests/program/world.h"

namespace {

using Names = std::vector<std::string>;

class BatchFiles : public World {
 protected:
  ino_t inode(const std::string& file) const {
    struct stat info = {};
    EXPECT_EQ(lstat(router.path(file).c_str(), &info), 0) << file;
    return info.st_ino;
  }
  // Genuine, but with a broken archive: its file stays, and a file that went to RAM and back is
  // another one than before.
  static std::string failing(const std::string& name, std::size_t size = 0) {
    Pack pack;
    pack.name = name;
    pack.files.entry("share/bad", 0xF000, "");
    return sized(pack, size);
  }
  // The file of the package, made so large by a part that nobody reads.
  static std::string sized(const Pack& pack, std::size_t size) {
    const auto build = [&pack](std::size_t padding) {
      PackBuilder builder;
      builder.header(pack.name, pack.version, pack.buildTime).part(kPartArchitecture, "mipsel");
      if (pack.image) builder.image(*pack.image);
      builder.archive(pack.files).part(99, std::string(padding, 'p')).sign();
      return builder.finish();
    };
    const std::string least = build(0);
    return size <= least.size() ? least : build(size - least.size());
  }
  // Whether the file of a package that fails was moved to RAM meanwhile.
  bool goesToRam(const std::string& bytes, const Router::Arguments& arguments = {}) {
    router.drop("ppp.tpk", bytes);
    const ino_t before = inode("/flash/rw/pckg/ppp.tpk");
    // Keeps the number from being used again.
    EXPECT_EQ(link(router.path("/flash/rw/pckg/ppp.tpk").c_str(), router.path("/hold").c_str()), 0);
    const ProcessResult result = router.run(arguments);
    EXPECT_TRUE(result.exited(0)) << result;
    EXPECT_EQ(router.read("/flash/rw/pckg/ppp.tpk"), bytes);
    EXPECT_FALSE(router.has("/ram/ppp.tpk"));
    unlink(router.path("/hold").c_str());
    return inode("/flash/rw/pckg/ppp.tpk") != before;
  }
};

TEST_F(BatchFiles, WithoutMemoryNothingIsMoved) {
  router.memory(4000, 1000, 3000);
  EXPECT_FALSE(goesToRam(failing("ppp")));
}

TEST_F(BatchFiles, WithMemoryTheFileIsMovedAndMovedBackWhenItFails) {
  router.memory(4000, 1000, 3193);
  EXPECT_TRUE(goesToRam(failing("ppp")));
}

TEST_F(BatchFiles, FileAsLargeAsTheMemoryIsNotMoved) {
  router.memory(8193, 0, 0);
  EXPECT_FALSE(goesToRam(failing("ppp", 1024)));
}

TEST_F(BatchFiles, FileJustBelowTheMemoryIsMoved) {
  router.memory(8193, 0, 0);
  EXPECT_TRUE(goesToRam(failing("ppp", 1023)));
}

TEST_F(BatchFiles, WithoutAMemoryReportNothingIsMoved) {
  unlink(router.path("/proc/meminfo").c_str());
  EXPECT_FALSE(goesToRam(failing("ppp")));
}

// As newer kernels have it.
TEST_F(BatchFiles, WithAMemoryReportOfAnotherLayoutNothingIsMoved) {
  router.put("/proc/meminfo",
             "MemTotal: 200000 kB\nMemFree: 200000 kB\nMemAvailable: 200000 kB\n"
             "Buffers: 200000 kB\nCached: 200000 kB\n");
  EXPECT_FALSE(goesToRam(failing("ppp")));
}

TEST_F(BatchFiles, FileWithTheImageMarkerIsNotMoved) {
  router.memory(200000, 0, 0);
  Pack pack;
  pack.name = "ppp";
  pack.image = "";
  pack.files.entry("share/bad", 0xF000, "");
  EXPECT_FALSE(goesToRam(sized(pack, 0)));
}

TEST_F(BatchFiles, NothingIsMovedInReinstallMode) {
  router.memory(200000, 0, 0);
  EXPECT_FALSE(goesToRam(failing("ppp"), {"--reinstall"}));
}

TEST_F(BatchFiles, FileThatFailsInReinstallModeStaysInRam) {
  const std::string bytes = failing("ppp");
  router.put("/ram/ppp.tpk", bytes);
  EXPECT_TRUE(router.run({"--reinstall"}).exited(0));
  EXPECT_EQ(router.read("/ram/ppp.tpk"), bytes);
  EXPECT_EQ(router.names("/flash/rw/pckg"), Names());
}

TEST_F(BatchFiles, MovedFileTakesItsSizeFromTheMemory) {
  router.memory(8193, 0, 0);
  router.drop("a.tpk", failing("a", 600)).drop("b.tpk", failing("b", 600));
  const ino_t a = inode("/flash/rw/pckg/a.tpk");
  const ino_t b = inode("/flash/rw/pckg/b.tpk");
  for (const char* name : {"a.tpk", "b.tpk"}) {
    ASSERT_EQ(link(router.path(std::string("/flash/rw/pckg/") + name).c_str(),
                   router.path(std::string("/hold-") + name).c_str()),
              0);
  }
  // The last one found is the first in order.
  const bool aIsFirst = router.scanOrder("/flash/rw/pckg").back() == "a.tpk";
  EXPECT_TRUE(router.run().exited(0));
  EXPECT_EQ(inode("/flash/rw/pckg/a.tpk") != a, aIsFirst);
  EXPECT_EQ(inode("/flash/rw/pckg/b.tpk") != b, !aIsFirst);
}

TEST_F(BatchFiles, MovedFileIsInRamWhileItIsInstalled) {
  if (!exists("/bin/bash-static")) GTEST_SKIP() << "there is no /bin/bash-static";
  router.withShell().memory(200000, 0, 0);
  Pack pack = simplePack("ppp");
  pack.onInstall = "[ -e /rw/pckg/ppp.tpk ] || echo > /gone\n";
  router.drop("ppp.tpk", pack.file());
  EXPECT_TRUE(router.run().exited(0));
  EXPECT_TRUE(router.has("/flash/gone"));
  EXPECT_EQ(router.names("/ram"), (Names{"pdb"}));
  EXPECT_EQ(router.names("/flash/rw/pckg"), Names());
}

TEST_F(BatchFiles, FileThatIsGoneWhenItsTurnComesIsPassedOver) {
  if (!exists("/bin/bash-static") || !exists("/bin/busybox"))
    GTEST_SKIP() << "there is no /bin/bash-static or no /bin/busybox";
  router.withShell().put("/flash/busybox", readFile("/bin/busybox"), 0755);
  Pack first = simplePack("aaa");
  first.onInstall = "/busybox rm /rw/pckg/bbb.tpk\n";
  Pack second = simplePack("bbb");
  second.deps = {dep("aaa")};
  router.drop("aaa.tpk", first.file()).drop("bbb.tpk", second.file());
  const ProcessResult result = router.run();
  EXPECT_TRUE(result.exited(0)) << result;
  const std::string log = router.log();
  EXPECT_NE(log.find("verified bbb.tpk\n"), std::string::npos) << log;
  EXPECT_EQ(log.substr(log.find("installed")), "installed aaa-3.22\n");
  EXPECT_FALSE(router.has("/flash/var/pdb/bbb"));
}

TEST_F(BatchFiles, FileThatCannotBeMovedIsInstalledFromWhereItIs) {
  router.memory(200000, 0, 0).folder("/ram/ppp.tpk");
  router.drop("ppp.tpk", simplePack("ppp").file());
  EXPECT_TRUE(router.run().exited(0));
  EXPECT_TRUE(router.has("/flash/share/ppp"));
  EXPECT_EQ(router.names("/flash/rw/pckg"), Names());
}

class BatchImage : public BatchFiles {
 protected:
  void drop() {
    Pack pack = simplePack("ppp");
    pack.image = "";
    bytes = pack.file();
    router.drop("ppp.tpk", bytes);
    file = inode("/flash/rw/pckg/ppp.tpk");
  }
  // A folder that cannot be removed in the place of the image.
  void blockRecord() { router.put("/flash/var/pdb/ppp/image/.keep", ""); }

  std::string bytes;
  ino_t file = 0;
};

TEST_F(BatchImage, IsALinkToThePackageFile) {
  drop();
  Console console;
  console.line().verified("ppp.tpk", bytes).line().installed("ppp-3.22", bytes);
  EXPECT_RUN(router.run(), 0, console);
  EXPECT_EQ(inode("/flash/var/pdb/ppp/image"), file);
  EXPECT_EQ(router.read("/flash/var/pdb/ppp/image"), bytes);
  EXPECT_EQ(router.names("/flash/rw/pckg"), Names());
  EXPECT_FALSE(router.has("/rw/pckg/.images"));
}

TEST_F(BatchImage, OfTheOldVersionIsReplaced) {
  router.installed({"ppp", k3_21}).put("/flash/var/pdb/ppp/image", "old");
  drop();
  EXPECT_TRUE(router.run().exited(0));
  EXPECT_EQ(inode("/flash/var/pdb/ppp/image"), file);
}

TEST_F(BatchImage, OfAnEqualPackageIsReplacedInReinstallMode) {
  router.installed({"ppp", k3_22, 1000}).put("/flash/var/pdb/ppp/image", "old");
  drop();
  EXPECT_TRUE(router.run({"--reinstall"}).exited(0));
  EXPECT_EQ(inode("/flash/var/pdb/ppp/image"), file);
}

TEST_F(BatchImage, GoesToTheStoreWhenTheRecordDoesNotTakeIt) {
  blockRecord();
  drop();
  EXPECT_TRUE(router.run().exited(0));
  EXPECT_EQ(inode("/rw/pckg/.images/ppp"), file);
  EXPECT_EQ(router.treeOf("/rw/pckg/.images", kTreeMode),
            "/rw/pckg/.images dir 0755\n/rw/pckg/.images/ppp file 0644\n");
  EXPECT_EQ(router.names("/flash/rw/pckg"), Names());
  EXPECT_EQ(router.log(), "verified ppp.tpk\ninstalled ppp-3.22\n");
}

TEST_F(BatchImage, ThatFindsNoPlaceIsAWarning) {
  blockRecord();
  router.put("/rw/pckg/.images/ppp", "older");
  drop();
  Console console;
  console.line().verified("ppp.tpk", bytes).line().installed("ppp-3.22", bytes);
  console.warning("package ppp image could not be installed");
  EXPECT_RUN(router.run(), 0, console);
  EXPECT_EQ(router.read("/rw/pckg/.images/ppp"), "older");
  // The install counts all the same.
  EXPECT_EQ(router.names("/flash/rw/pckg"), Names());
  EXPECT_TRUE(router.has("/flash/share/ppp"));
}

TEST_F(BatchImage, OfABundleIsKeptUnderItsName) {
  BundlePack bundle = {"combo", k3_22, {simplePack("a")}};
  bundle.image = "";
  bytes = bundle.file();
  router.drop("combo.tpk", bytes);
  EXPECT_TRUE(router.run().exited(0));
  EXPECT_EQ(router.read("/flash/var/pdb/combo/image"), bytes);
}

// The run log over several runs.
class RunLog : public BatchFiles {};

TEST_F(RunLog, OldLinesStandBehindTheMessagesOfTheScan) {
  router.put("/flash/postlog", "one\n\ntwo\nno end");
  router.drop("ppp.tpk", simplePack("ppp").file());
  EXPECT_TRUE(router.run().exited(0));
  EXPECT_EQ(router.log(), "verified ppp.tpk\none\n\ntwo\ninstalled ppp-3.22\n");
}

TEST_F(RunLog, IsTakenOverWhenThereIsSomethingToInstallOnly) {
  router.put("/flash/postlog", "one\nno end").drop("x.tpk", "no package");
  EXPECT_TRUE(router.run().exited(0));
  EXPECT_EQ(router.log(), "one\nno endERROR: broken package x.tpk\n");
}

TEST_F(RunLog, RoomIsReservedWhilePackagesAreInstalled) {
  if (!exists("/bin/bash-static")) GTEST_SKIP() << "there is no /bin/bash-static";
  Pack pack = simplePack("ppp");
  pack.onInstall =
      "nuls=0; while IFS= read -r -d '' x; do [ -z \"$x\" ] && nuls=$((nuls + 1)); done < "
      "/postlog\n"
      "echo $nuls > /nuls\n";
  router.withShell().put("/flash/postlog", "one\n").drop("ppp.tpk", pack.file());
  EXPECT_TRUE(router.run().exited(0));
  EXPECT_EQ(router.read("/flash/nuls"), "4096\n");
  EXPECT_EQ(router.log(), "verified ppp.tpk\none\ninstalled ppp-3.22\n");
}

TEST_F(RunLog, ReservedRoomOfARunThatDiedIsNoLine) {
  router.put("/flash/postlog", std::string(4096, '\0')).drop("ppp.tpk", simplePack("ppp").file());
  EXPECT_TRUE(router.run().exited(0));
  EXPECT_EQ(router.log(), "verified ppp.tpk\ninstalled ppp-3.22\n");
}

TEST_F(RunLog, QuietRunKeepsTheOldLinesOnly) {
  router.put("/flash/postlog", "one\n").drop("ppp.tpk", simplePack("ppp").file());
  EXPECT_TRUE(router.run({"-q"}).exited(0));
  EXPECT_EQ(router.log(), "one\n");
}

TEST_F(RunLog, RunWithoutMessagesLeavesItAlone) {
  router.put("/flash/postlog", "one\nno end");
  struct timespec times[2] = {};
  times[0].tv_sec = times[1].tv_sec = 77;
  utimensat(AT_FDCWD, router.path("/flash/postlog").c_str(), times, 0);
  EXPECT_TRUE(router.run().exited(0));
  EXPECT_EQ(router.log(), "one\nno end");
  EXPECT_EQ(router.treeOf("/flash/postlog", kTreeTime), "/flash/postlog file time=77\n");
}

TEST_F(RunLog, LongMessageIsCutBehindItsPrefix) {
  const std::string name = std::string(251, 'n') + ".tpk";
  router.drop(name, "no package");
  const ProcessResult result = router.run();
  const std::string cut = "ERROR: " + ("broken package " + name).substr(0, 255) + "\n";
  EXPECT_EQ(router.log(), cut);
  EXPECT_NE(result.out.find(cut), std::string::npos) << result;
}

// A router without packages must not go on starting up.
class NoPackageLeft : public testing::Test {
 protected:
  void SetUp() override { NEEDS_CHROOT(); }

  static constexpr char kLastWords[] =
      "\nERROR: router installation failed!!!\nPlease, reinstall.\n";
  static constexpr Process::Milliseconds kLong{20000};

  Router router;
};

constexpr char NoPackageLeft::kLastWords[];
constexpr Process::Milliseconds NoPackageLeft::kLong;

TEST_F(NoPackageLeft, ProgramSaysSoAndWaitsForEver) {
  const std::unique_ptr<Process> process = router.start();
  ASSERT_TRUE(process->waitForOutput(kLastWords, kLong));
  const ProcessResult result = process->wait(Process::Milliseconds(400));
  EXPECT_TRUE(result.timedOut) << result;
  EXPECT_EQ(result.out, kLastWords);
  EXPECT_EQ(result.err, "");
}

TEST_F(NoPackageLeft, WaitingCostsNoProcessorTime) {
  const std::unique_ptr<Process> process = router.start();
  ASSERT_TRUE(process->waitForOutput(kLastWords, kLong));
  const auto before = process->processorTime();
  ASSERT_GT(before.count(), 0);
  usleep(500000);
  const auto after = process->processorTime();
  ASSERT_GE(after, before);
  EXPECT_LE(after - before, std::chrono::milliseconds(10));
}

TEST_F(NoPackageLeft, QuietModeDoesNotSilenceIt) {
  const std::unique_ptr<Process> process = router.start({"-q"});
  EXPECT_TRUE(process->waitForOutput(kLastWords, kLong));
}

TEST_F(NoPackageLeft, ScheduledActionsOfTheLastOneAreRefusedBefore) {
  router.installed({"ppp", k3_22}).schedule("ppp", "uninstall");
  EXPECT_TRUE(router.run().exited(0));
}

TEST_F(NoPackageLeft, AfterAnUpgradeThatFailed) {
  router.installed({"ppp", k3_21}).put("/flash/postlog", "old\n");
  Pack pack = simplePack("ppp");
  pack.files.entry("share/bad", 0xF000, "");
  router.drop("ppp.tpk", pack.file());
  {
    const std::unique_ptr<Process> process = router.start();
    ASSERT_TRUE(process->waitForOutput(
        std::string("ERROR: installation of ppp-3.22 failed: broken package\n") + kLastWords,
        kLong));
  }
  EXPECT_FALSE(router.has("/flash/PCKGS_CHANGED"));
  // The room that was reserved for the log.
  EXPECT_EQ(router.log(), std::string(4096, '\0'));
  EXPECT_EQ(router.names("/flash/rw/pckg"), (Names{"ppp.tpk"}));
}

}  // namespace
