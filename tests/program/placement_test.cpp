// The files of a package: where they land, what they look like there, and what stands in the way.
#include "tests/program/world.h"

namespace {

class Placement : public World {
 protected:
  ProcessResult install(const std::string& bytes) {
    router.put("/in.tpk", bytes);
    return router.run({"/in.tpk"});
  }
  static Pack packOf(const ArchiveBuilder& files) {
    Pack pack;
    pack.name = "ppp";
    pack.files = files;
    return pack;
  }
  // Installed without a word but the usual ones.
  void expectInstalled(const ArchiveBuilder& files) {
    const std::string bytes = packOf(files).file();
    EXPECT_RUN(install(bytes), 0, Console().installed("ppp-3.22", bytes));
  }
  // What is said between the first bar and the last.
  void expectInstalledWithWarnings(const Pack& pack, const std::vector<std::string>& warnings,
                                   bool somethingPlaced = true) {
    const std::string bytes = pack.file();
    const PartAt archive = partOf(bytes, kPartArchive);
    Console console;
    console.bar("installing ppp-3.22", archive.offset, bytes.size());
    for (const std::string& warning : warnings) console.warning(warning);
    if (somethingPlaced) {
      console.bar("installing ppp-3.22", archive.offset + archive.size, bytes.size());
    }
    console.log("installed ppp-3.22");
    EXPECT_RUN(install(bytes), 0, console);
    EXPECT_EQ(router.log(), console.messages());
  }
  // Refused with one error, and taken back.
  void expectFailed(const Pack& pack, const std::string& error, unsigned placed = 0) {
    const std::string bytes = pack.file();
    const PartAt archive = partOf(bytes, kPartArchive);
    Console console;
    console.bar("installing ppp-3.22", archive.offset, bytes.size());
    if (placed > 0) console.bar("installing ppp-3.22", archive.offset + archive.size, bytes.size());
    console.error("installation of ppp-3.22 failed: " + error);
    EXPECT_RUN(install(bytes), 1, console);
    EXPECT_EQ(router.log(), console.messages());
    EXPECT_EQ(router.database(), systemLines());
    EXPECT_FALSE(router.has("/flash/var/pdb/ppp"));
  }
  std::string listed() const { return router.record("ppp", "files"); }
  std::string tree(unsigned fields) const { return router.treeOf("/flash/t", fields); }

  static constexpr unsigned kModeAndTime = kTreeTypes | kTreeMode | kTreeTime;
};

TEST_F(Placement, RegularFileHasItsModeTimeAndContents) {
  expectInstalled(ArchiveBuilder().time(123456789).regular("t/tool", "#!/bin/sh\n", 04755));
  EXPECT_EQ(router.treeOf("/flash/t/tool", kTreeMode | kTreeSize | kTreeTime | kTreeOwner),
            "/flash/t/tool file 4755 0:0 size=10 time=123456789\n");
  EXPECT_EQ(router.read("/flash/t/tool"), "#!/bin/sh\n");
  EXPECT_EQ(listed(), "t/tool\n");
}

TEST_F(Placement, LeadingSlashMakesNoDifference) {
  expectInstalled(ArchiveBuilder().regular("/t/a", "").regular("t/b", ""));
  EXPECT_EQ(tree(kTreeTypes), "/flash/t dir\n/flash/t/a file\n/flash/t/b file\n");
  EXPECT_EQ(listed(), "t/a\nt/b\n");
}

TEST_F(Placement, EveryTypeIsPlacedAndDirectoriesAreNotListed) {
  expectInstalled(ArchiveBuilder()
                      .time(1000)
                      .directory("t", 0711)
                      .regular("t/file", "x", 0600)
                      .symlink("t/link", "../bin/nothing here")
                      .fifo("t/fifo", 0620)
                      .directory("t/deep", 01777)
                      .regular("t/deep/file", ""));
  EXPECT_EQ(tree(kModeAndTime),
            "/flash/t dir 0711 time=1000\n"
            "/flash/t/deep dir 1777 time=1000\n"
            "/flash/t/deep/file file 0644 time=1000\n"
            "/flash/t/fifo fifo 0620 time=1000\n"
            "/flash/t/file file 0600 time=1000\n"
            "/flash/t/link link -> ../bin/nothing here\n");
  EXPECT_EQ(listed(), "t/deep/file\nt/fifo\nt/file\nt/link\n");
}

TEST_F(Placement, DeviceHasItsNumber) {
  NEEDS_MKNOD();
  expectInstalled(ArchiveBuilder()
                      .time(1000)
                      .charDevice("t/tty", 0x0503, 0622)
                      .blockDevice("t/mtd", 0x1F02, 0640));
  EXPECT_EQ(router.treeOf("/flash/t/tty", kModeAndTime),
            "/flash/t/tty char 0622 time=1000 device=5:3\n");
  EXPECT_EQ(router.treeOf("/flash/t/mtd", kModeAndTime),
            "/flash/t/mtd block 0640 time=1000 device=31:2\n");
  EXPECT_EQ(listed(), "t/mtd\nt/tty\n");
}

TEST_F(Placement, OwnersAreTakenFromTheArchive) {
  NEEDS_CHOWN();
  expectInstalled(ArchiveBuilder()
                      .owner(12, 34)
                      .directory("t")
                      .regular("t/file", "", 04711)
                      .symlink("t/link", "file")
                      .owner(65534, 65535)
                      .fifo("t/fifo"));
  // Changing the owner takes special bits away: the mode is set behind it.
  EXPECT_EQ(tree(kTreeTypes | kTreeMode | kTreeOwner),
            "/flash/t dir 0755 12:34\n"
            "/flash/t/fifo fifo 0600 65534:65535\n"
            "/flash/t/file file 4711 12:34\n"
            "/flash/t/link link 12:34 -> file\n");
}

TEST_F(Placement, OwnersThatCannotBeSetAreNoFailure) {
  expectInstalled(ArchiveBuilder().owner(12, 34).regular("t/file", ""));
  EXPECT_EQ(listed(), "t/file\n");
}

TEST_F(Placement, DirectoriesHaveTheirOwnTimeInTheEnd) {
  ArchiveBuilder files;
  files.time(1000).directory("t").time(2000).directory("t/a").time(3000).directory("t/a/b");
  files.time(4000).regular("t/a/b/file", "x").regular("t/a/file", "x").regular("t/file", "x");
  expectInstalled(files);
  EXPECT_EQ(tree(kTreeTime),
            "/flash/t dir time=1000\n"
            "/flash/t/a dir time=2000\n"
            "/flash/t/a/b dir time=3000\n"
            "/flash/t/a/b/file file time=4000\n"
            "/flash/t/a/file file time=4000\n"
            "/flash/t/file file time=4000\n");
}

TEST_F(Placement, TimeIsUnsigned) {
  expectInstalled(ArchiveBuilder().time(0xFFFFFFFE).regular("t/file", ""));
  EXPECT_EQ(router.treeOf("/flash/t/file", kTreeTime), "/flash/t/file file time=4294967294\n");
}

TEST_F(Placement, MissingParentsAreMadeAndNotListed) {
  expectInstalled(ArchiveBuilder().regular("t/deep/er/file", ""));
  EXPECT_EQ(tree(kTreeMode),
            "/flash/t dir 0770\n/flash/t/deep dir 0770\n/flash/t/deep/er dir 0770\n"
            "/flash/t/deep/er/file file 0644\n");
}

TEST_F(Placement, ProcessesMaskCountsForMissingParentsOnly) {
  router.umask(022);
  expectInstalled(ArchiveBuilder().regular("t/file", "", 0666).directory("t/dir", 0777));
  EXPECT_EQ(tree(kTreeMode), "/flash/t dir 0750\n/flash/t/dir dir 0777\n/flash/t/file file 0666\n");
}

TEST_F(Placement, ExistingDirectoryIsLeftAlone) {
  router.folder("/flash/t");
  chmod(router.path("/flash/t").c_str(), 0700);
  struct timespec times[2] = {};
  times[0].tv_sec = times[1].tv_sec = 77;
  utimensat(AT_FDCWD, router.path("/flash/t").c_str(), times, 0);
  const Pack pack = packOf(ArchiveBuilder().time(1000).directory("t", 0777));
  expectInstalledWithWarnings(pack, {}, false);
  EXPECT_EQ(tree(kModeAndTime), "/flash/t dir 0700 time=77\n");
  EXPECT_EQ(listed(), "");
}

TEST_F(Placement, DirectoryMayComeByWayOfALink) {
  router.folder("/flash/real");
  ASSERT_EQ(symlink("real", router.path("/flash/t").c_str()), 0);
  expectInstalled(ArchiveBuilder().directory("t").regular("t/file", "x"));
  EXPECT_EQ(router.treeOf("/flash/t", kTreeTypes), "/flash/t link -> real\n");
  EXPECT_TRUE(router.has("/flash/real/file"));
  EXPECT_EQ(listed(), "t/file\n");
}

TEST_F(Placement, SkippedEntryLeavesItsParentsOnly) {
  ArchiveBuilder files;
  files.skip().regular("t/skipped", "data that is passed over").skip(false).regular("t2/file", "x");
  expectInstalled(files);
  EXPECT_EQ(tree(kTreeTypes), "/flash/t dir\n");
  EXPECT_EQ(router.read("/flash/t2/file"), "x");
  EXPECT_EQ(listed(), "t2/file\n");
}

TEST_F(Placement, FileThatNobodyOwnsIsReplacedWithAWarning) {
  router.put("/flash/t/file", "old and longer", 0600);
  expectInstalledWithWarnings(packOf(ArchiveBuilder().regular("t/file", "new")),
                              {"ghost file /t/file"});
  EXPECT_EQ(router.read("/flash/t/file"), "new");
  EXPECT_EQ(listed(), "t/file\n");
}

// The whole of it as bytes: the bar is blanked, the warning written, the bar drawn again.
TEST_F(Placement, ConsoleBytesOfAWarning) {
  router.put("/flash/t/file", "");
  const std::string bytes = packOf(ArchiveBuilder().regular("t/file", "")).file();
  const PartAt archive = partOf(bytes, kPartArchive);
  const std::size_t width = 76 - std::string("installing ppp-3.22 [").size();
  const std::size_t filled = archive.offset * width / bytes.size();
  const std::string bar =
      "installing ppp-3.22 [" + std::string(filled, '#') + std::string(width - filled, ' ') + "]";
  const std::string start = "\x1b[?25l\r" + bar + "\r\x1b[?25h" + "\r" + std::string(79, ' ') +
                            "\rWARNING: ghost file /t/file\n" + bar;
  const ProcessResult result = install(bytes);
  EXPECT_EQ(visible(result.out.substr(0, start.size())), visible(start));
}

TEST_F(Placement, FileOfAnotherPackageStaysWithAWarning) {
  Record slip = {"slip", k3_22};
  slip.files = {"/t/file"};
  router.installed(slip);
  expectInstalledWithWarnings(
      packOf(ArchiveBuilder().regular("t/file", "new").regular("t/more", "x")),
      {"file /t/file collides with slip package"});
  EXPECT_EQ(router.read("/flash/t/file"), "/t/file");
  EXPECT_EQ(listed(), "t/more\n");
}

TEST_F(Placement, FileOfADisabledPackageIsOwnedAllTheSame) {
  Record slip = {"slip", k3_22};
  slip.files = {"/t/file"};
  slip.disabled = "auto";
  router.installed(slip);
  expectInstalledWithWarnings(packOf(ArchiveBuilder().regular("t/file", "new")),
                              {"file /t/file collides with slip package"}, false);
}

TEST_F(Placement, CollisionsOfEveryTypeLeaveWhatIsThere) {
  Record slip = {"slip", k3_22};
  slip.files = {"/t/a", "/t/b", "/t/c"};
  router.installed(slip);
  expectInstalledWithWarnings(
      packOf(ArchiveBuilder().symlink("t/a", "x").fifo("t/b").directory("t/c")),
      {"file /t/a collides with slip package", "file /t/b collides with slip package",
       "file /t/c collides with slip package"},
      false);
  EXPECT_EQ(tree(kTreeTypes), "/flash/t dir\n/flash/t/a file\n/flash/t/b file\n/flash/t/c file\n");
}

TEST_F(Placement, FileInTheWayOfADirectoryIsReplaced) {
  router.put("/flash/t", "a file");
  expectInstalledWithWarnings(packOf(ArchiveBuilder().directory("t", 0700)), {"ghost file /t"});
  EXPECT_EQ(tree(kTreeMode), "/flash/t dir 0700\n");
}

TEST_F(Placement, DirectoryInTheWayOfAFileStays) {
  router.folder("/flash/t/file");
  const std::string bytes = packOf(ArchiveBuilder().regular("t/file", "x")).file();
  Console console;
  console.bar("installing ppp-3.22", partOf(bytes, kPartArchive).offset, bytes.size());
  console.warning("ghost file /t/file");
  console.error("installation of ppp-3.22 failed: could not create t/file: Is a directory");
  EXPECT_RUN(install(bytes), 1, console);
  EXPECT_EQ(tree(kTreeTypes), "/flash/t dir\n/flash/t/file dir\n");
}

TEST_F(Placement, DirectoryInTheWayOfALinkStays) {
  router.folder("/flash/t/link");
  const std::string bytes = packOf(ArchiveBuilder().symlink("t/link", "x")).file();
  Console console;
  console.bar("installing ppp-3.22", partOf(bytes, kPartArchive).offset, bytes.size());
  console.warning("ghost file /t/link");
  console.error("installation of ppp-3.22 failed: could not create t/link: File exists");
  EXPECT_RUN(install(bytes), 1, console);
}

TEST_F(Placement, LinkTargetLongerThanAPathIsNotMade) {
  expectFailed(packOf(ArchiveBuilder().symlink("t/link", std::string(4096, 'x'))),
               "could not create t/link: File name too long");
}

TEST_F(Placement, UnknownTypeIsABrokenPackage) {
  expectFailed(packOf(ArchiveBuilder().regular("t/a", "").entry("t/socket", 0xC000 | 0600, "")),
               "broken package", 1);
  EXPECT_EQ(tree(kTreeTypes), "/flash/t dir\n");
}

TEST_F(Placement, DeviceOfTheWrongSizeIsABrokenPackage) {
  expectFailed(packOf(ArchiveBuilder().entry("t/tty", 0x2000 | 0600, "12345")), "broken package");
  EXPECT_EQ(tree(kTreeTypes), "/flash/t dir\n");
}

TEST_F(Placement, NameThatLeadsUpIsABrokenPackage) {
  expectFailed(packOf(ArchiveBuilder().regular("t/../../escaped/file", "x")), "broken package");
  EXPECT_FALSE(router.has("/escaped"));
  EXPECT_FALSE(router.has("/flash/t"));
}

TEST_F(Placement, LinkThatLeadsOffTheFlashIsNotFollowed) {
  router.folder("/outside");
  expectFailed(packOf(ArchiveBuilder().symlink("t", "/outside").regular("t/file", "x")),
               "broken package", 1);
  EXPECT_EQ(router.names("/outside"), std::vector<std::string>());
  EXPECT_FALSE(router.has("/flash/t"));
}

TEST_F(Placement, ArchiveMayEndBehindAnyEntry) {
  expectInstalled(ArchiveBuilder().regular("t/a", "1").raw(std::string(29, 'x')));
  EXPECT_EQ(listed(), "t/a\n");
}

TEST_F(Placement, EntryCutShortInItsNameIsABrokenPackage) {
  const std::string entry = ArchiveBuilder().regular("t/b", "").bytes();
  expectFailed(packOf(ArchiveBuilder().regular("t/a", "1").raw(entry.substr(0, 31))),
               "broken package", 1);
}

TEST_F(Placement, EntryCutShortInItsDataIsABrokenPackage) {
  const std::string entry = ArchiveBuilder().regular("t/b", "12345").bytes();
  expectFailed(packOf(ArchiveBuilder().regular("t/a", "1").raw(entry.substr(0, entry.size() - 1))),
               "broken package", 1);
  EXPECT_EQ(tree(kTreeTypes), "/flash/t dir\n");
}

TEST_F(Placement, EntryCutShortInItsTargetIsABrokenPackage) {
  const std::string entry = ArchiveBuilder().symlink("t/b", "12345").bytes();
  expectFailed(packOf(ArchiveBuilder().regular("t/a", "1").raw(entry.substr(0, entry.size() - 1))),
               "broken package", 1);
}

TEST_F(Placement, FailureOnTheThirdOfFiveTakesTheOthersBack) {
  ArchiveBuilder files;
  files.directory("t/dir").regular("t/dir/1", "1").regular("t/dir/2", "2");
  const std::string third = ArchiveBuilder().regular("t/dir/3", std::string(40000, 'x')).bytes();
  files.raw(third.substr(0, 30000));
  const std::string bytes = packOf(files).file();
  const ProcessResult result = install(bytes);
  EXPECT_TRUE(result.exited(1)) << result;
  EXPECT_EQ(router.log(), "ERROR: installation of ppp-3.22 failed: broken package\n");
  EXPECT_EQ(tree(kTreeTypes), "/flash/t dir\n/flash/t/dir dir\n");
  EXPECT_FALSE(router.has("/flash/var/pdb/ppp"));
}

TEST_F(Placement, DamagedCompressionIsABrokenPackage) {
  std::string archive =
      ArchiveBuilder().regular("t/a", "1").regular("t/b", noise(20000)).deflated();
  archive.resize(archive.size() / 2);
  PackBuilder builder;
  builder.header("ppp", k3_22).part(kPartArchitecture, "mipsel").part(kPartArchive, archive).sign();
  const ProcessResult result = install(builder.finish());
  EXPECT_TRUE(result.exited(1)) << result;
  EXPECT_EQ(router.log(), "ERROR: installation of ppp-3.22 failed: broken package\n");
  EXPECT_EQ(tree(kTreeTypes), "/flash/t dir\n");
}

// Nothing tells an archive that cannot be inflated at all from an empty one: its signature has to.
TEST_F(Placement, ArchiveThatIsNoneHasNoFiles) {
  PackBuilder builder;
  builder.header("ppp", k3_22).part(kPartArchitecture, "mipsel");
  builder.part(kPartArchive, "not compressed").sign();
  EXPECT_TRUE(install(builder.finish()).exited(0));
  EXPECT_EQ(listed(), "");
}

// A dumb package replaces what it finds and leaves no record.
TEST_F(Placement, DumbPackageReplacesInSilence) {
  Record slip = {"slip", k3_22};
  slip.files = {"/t/owned"};
  router.installed(slip).put("/flash/t/ghost", "old");
  const std::string before = router.database();
  Pack pack = packOf(ArchiveBuilder().regular("t/owned", "new").regular("t/ghost", "new"));
  pack.dumb = true;
  const std::string bytes = pack.file();
  EXPECT_RUN(install(bytes), 0, Console().installed("ppp-3.22", bytes));
  EXPECT_EQ(router.read("/flash/t/owned"), "new");
  EXPECT_EQ(router.read("/flash/t/ghost"), "new");
  EXPECT_EQ(router.database(), before);
  EXPECT_FALSE(router.has("/flash/var/pdb/ppp"));
}

TEST_F(Placement, BrokenDumbPackageLosesItsFilesOnly) {
  Record old = {"ppp", k3_21};
  old.files = {"/t/old"};
  router.installed(old);
  const std::string before = router.database();
  Pack pack = packOf(ArchiveBuilder().regular("t/new", "x").entry("t/bad", 0xF000, ""));
  pack.dumb = true;
  EXPECT_TRUE(install(pack.file()).exited(1));
  EXPECT_FALSE(router.has("/flash/t/new"));
  EXPECT_EQ(router.database(), before);
  EXPECT_TRUE(router.has("/flash/t/old"));
}

// Bars follow the compressed bytes: never back, and at the archive's end with its last file.
TEST_F(Placement, BarFollowsTheArchive) {
  const std::string bytes = packOf(ArchiveBuilder().regular("t/noise", noise(100000))).file();
  const PartAt archive = partOf(bytes, kPartArchive);
  const ProcessResult result = install(bytes);
  const std::size_t width = 76 - std::string("installing ppp-3.22 [").size();
  std::vector<std::size_t> bars;
  for (std::size_t at = 0; (at = result.out.find("ppp-3.22 [", at)) != std::string::npos; ++at) {
    const std::size_t start = at + 10;
    bars.push_back(result.out.find_first_not_of('#', start) - start);
  }
  ASSERT_GE(bars.size(), 5U) << result;
  EXPECT_TRUE(std::is_sorted(bars.begin(), bars.end()));
  EXPECT_EQ(bars.front(), archive.offset * width / bytes.size());
  EXPECT_EQ(bars.back(), (archive.offset + archive.size) * width / bytes.size());
}

}  // namespace
