// Unpacking of the file archive: where entries land, what they become, what they may not do.
#include "tests/package/installworld.h"
#include "tests/package/tool.h"
#include "tests/support/systemcalls.h"

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <ctime>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace {

std::string notCreated(const std::string& what, int error) {
  return "ERROR: installation of tool-1.0 failed: could not create " + what + ": " +
         std::strerror(error) + '\n';
}

class Extract : public InstallWorld {
 protected:
  static struct stat status(const std::string& path) {
    struct stat info = {};
    EXPECT_EQ(lstat(path.c_str(), &info), 0) << path;
    return info;
  }
  static void link(const std::string& target, const std::string& path) {
    ASSERT_EQ(symlink(target.c_str(), path.c_str()), 0) << path;
  }
  static std::string targetOf(const std::string& path) {
    std::string target(8192, '\0');
    const ssize_t length = readlink(path.c_str(), &target[0], target.size());
    EXPECT_GE(length, 0) << path;
    return target.substr(0, static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
  }

  ArchiveBuilder archive_;
};

// Where entries land.

TEST_F(Extract, NameGetsASlashInFront) {
  EXPECT_TRUE(extract(archive_.regular("bin/foo", "data")));
  EXPECT_EQ(flash(kTreeSize), "/bin dir\n/bin/foo file size=4\n");
  EXPECT_EQ(listed(), "/bin/foo\n");
}

TEST_F(Extract, NameWithASlashKeepsIt) {
  EXPECT_TRUE(extract(archive_.regular("/bin/foo", "data")));
  EXPECT_EQ(flash(kTreeSize), "/bin dir\n/bin/foo file size=4\n");
  EXPECT_EQ(listed(), "/bin/foo\n");
}

TEST_F(Extract, ParentsAreMadeWithMode0770) {
  umask(0);
  EXPECT_TRUE(extract(archive_.regular("a/b/c", "")));
  EXPECT_EQ(flash(kTreeMode), "/a dir 0770\n/a/b dir 0770\n/a/b/c file 0644\n");
}

TEST_F(Extract, ParentsAreNotListed) {
  EXPECT_TRUE(extract(archive_.regular("a/b/c", "").directory("d")));
  EXPECT_EQ(listed(), "/a/b/c\n");
}

TEST_F(Extract, DisabledPackageHasItsFilesBelowX) {
  package_->disabled = true;
  EXPECT_TRUE(extract(archive_.regular("bin/foo", "data").regular("/bin/bar", "")));
  EXPECT_EQ(listTreeAt("/flash", "/x/tool/bin", 0),
            "/x/tool/bin dir\n/x/tool/bin/bar file\n/x/tool/bin/foo file\n");
  EXPECT_EQ(listed(), "/x/tool/bin/bar\n/x/tool/bin/foo\n");
  EXPECT_FALSE(exists("/flash/bin"));
}

TEST_F(Extract, DisabledPackageHasADatabaseFolderOfItsOwn) {
  package_->disabled = true;
  EXPECT_TRUE(extract(archive_));
  EXPECT_EQ(flash(kTreeMode),
            "/x dir 0750\n/x/tool dir 0750\n/x/tool/var dir 0750\n/x/tool/var/pdb dir 0750\n"
            "/x/tool/var/pdb/tool dir 0750\n");
}

TEST_F(Extract, DisabledFoldersThatCannotBeMadeDoNotCount) {
  package_->disabled = true;
  writeFile("/flash/x", "in the way");
  EXPECT_TRUE(extract(archive_));
  EXPECT_EQ(messages(), "");
}

TEST_F(Extract, RelativePathsStartInTheWorkingFolder) {
  makeFolders("/other");
  ASSERT_EQ(chdir("/other"), 0);
  EXPECT_TRUE(extract(archive_.regular("bin/foo", "").regular("/bar", ""), false, true));
  EXPECT_EQ(listTree("/other", 0), "/bar file\n/bin dir\n/bin/foo file\n");
  EXPECT_EQ(listed(), "./bar\n./bin/foo\n");
  EXPECT_EQ(flash(), "");
}

TEST_F(Extract, RelativePathsOfADisabledPackage) {
  makeFolders("/other");
  ASSERT_EQ(chdir("/other"), 0);
  package_->disabled = true;
  EXPECT_TRUE(extract(archive_.regular("foo", ""), false, true));
  EXPECT_EQ(listTree("/other", 0), "/x dir\n/x/tool dir\n/x/tool/foo file\n");
  EXPECT_EQ(listed(), "./x/tool/foo\n");
  EXPECT_TRUE(exists("/flash/x/tool/var/pdb/tool"));
}

TEST_F(Extract, NamesAreListedAsTheyStand) {
  EXPECT_TRUE(extract(archive_.regular("a//b", "").regular("./c", "").regular("d e", "")));
  EXPECT_EQ(listed(), "/./c\n/a//b\n/d e\n");
  EXPECT_EQ(flash(), "/a dir\n/a/b file\n/c file\n/d e file\n");
}

TEST_F(Extract, EmptyNameIsTheFlashItself) {
  EXPECT_TRUE(extract(archive_.directory("").directory("/").regular("foo", "")));
  EXPECT_EQ(flash(), "/foo file\n");
  EXPECT_EQ(messages(), "");
}

TEST_F(Extract, FileOfAnEmptyNameCannotBeCreated) {
  EXPECT_FALSE(extract(archive_.regular("", "data")));
  EXPECT_EQ(messages(), "WARNING: ghost file /\n" + notCreated("", EISDIR));
}

// Names that are refused.

TEST_F(Extract, TwoDotsAreBroken) {
  for (const char* name : {"..", "../foo", "/../foo", "a/../../foo", "a/..", "new/../foo"}) {
    restart();
    EXPECT_FALSE(extract(ArchiveBuilder().regular(name, "data"))) << name;
    EXPECT_EQ(messages(), kBroken) << name;
    EXPECT_EQ(flash(), "") << name << ": no parent either";
    EXPECT_EQ(listed(), "") << name;
  }
  EXPECT_FALSE(exists("/foo"));
}

TEST_F(Extract, TwoDotsAreBrokenInSkippedEntriesToo) {
  EXPECT_FALSE(extract(archive_.skip().regular("new/../foo", "data")));
  EXPECT_EQ(messages(), kBroken);
  EXPECT_EQ(flash(), "");
}

TEST_F(Extract, DotsInsideNamesAreFine) {
  EXPECT_TRUE(extract(archive_.regular("..a/b..", "").regular("...", "")));
  EXPECT_EQ(listed(), "/...\n/..a/b..\n");
}

TEST_F(Extract, NulAndLineEndInNamesAreBroken) {
  for (const std::string& name : {std::string("fo\0o", 4), std::string("fo\no"), std::string("\n"),
                                  std::string("foo\0", 4)}) {
    restart();
    EXPECT_FALSE(extract(ArchiveBuilder().regular(name, "data")));
    EXPECT_EQ(messages(), kBroken);
    EXPECT_EQ(flash(), "");
  }
}

TEST_F(Extract, ComponentThatIsTooLongCannotBeCreated) {
  const std::string name = "a/" + std::string(256, 'b');
  EXPECT_FALSE(extract(archive_.regular(name, "data")));
  EXPECT_EQ(messages().substr(0, 60), notCreated(name, ENAMETOOLONG).substr(0, 60));
  EXPECT_EQ(flash(), "/a dir\n");
}

TEST_F(Extract, LongestNameIsRefusedQuickly) {
  std::string name;
  while (name.size() < 65534) name += "a/";
  name += 'b';
  // Its own time: where no RAM disk can be mounted the folders are made on one that others use.
  const std::clock_t start = std::clock();
  struct rusage before, after;
  getrusage(RUSAGE_SELF, &before);
  EXPECT_FALSE(extract(archive_.regular(name, "data")));
  getrusage(RUSAGE_SELF, &after);
  EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 8192);
  EXPECT_LT(std::clock() - start, 5 * CLOCKS_PER_SEC);
  EXPECT_EQ(messages().substr(0, 60), notCreated(name, ENAMETOOLONG).substr(0, 60));
  EXPECT_EQ(listed(), "");
  // Too deep to be removed from outside.
  ASSERT_EQ(chdir("/flash"), 0);
  while (chdir("a") == 0) {
  }
  while (chdir("..") == 0 && rmdir("a") == 0) {
  }
}

// The end of the archive.

TEST_F(Extract, EmptyArchiveIsFine) {
  EXPECT_TRUE(extract(archive_));
  EXPECT_EQ(flash(), "");
  EXPECT_EQ(takeConsole(), "");
}

TEST_F(Extract, EmptyPartIsFine) {
  EXPECT_TRUE(extractPart(""));
  EXPECT_EQ(messages(), "");
}

TEST_F(Extract, WhatIsNoCompressedStreamIsAnEmptyArchive) {
  EXPECT_TRUE(extractPart("this is no zlib stream"));
  EXPECT_EQ(flash(), "");
  EXPECT_EQ(messages(), "");
}

TEST_F(Extract, HeaderCutShortIsTheEnd) {
  const std::string whole = ArchiveBuilder(archive_).regular("b", "more").bytes();
  archive_.regular("a", "data");
  for (std::size_t length = 1; length < ArchiveHeader::kSize; ++length) {
    restart();
    removeTree("/flash/a");
    EXPECT_TRUE(extract(ArchiveBuilder(archive_).raw(whole.substr(0, length)))) << length;
    EXPECT_EQ(listed(), "/a\n");
    EXPECT_EQ(messages(), "");
  }
}

TEST_F(Extract, NameCutShortIsBroken) {
  const std::string whole = ArchiveBuilder().regular("name", "").bytes();
  for (std::size_t length = ArchiveHeader::kSize; length < whole.size(); ++length) {
    EXPECT_FALSE(extract(ArchiveBuilder().raw(whole.substr(0, length)))) << length;
    EXPECT_EQ(messages(), kBroken);
    EXPECT_EQ(flash(), "");
  }
}

TEST_F(Extract, FileCutShortIsBroken) {
  const std::string whole = ArchiveBuilder().regular("a", "data").bytes();
  for (std::size_t cut = 1; cut <= 4; ++cut) {
    restart();
    EXPECT_FALSE(extract(ArchiveBuilder().raw(whole.substr(0, whole.size() - cut))));
    EXPECT_EQ(messages(), kBroken);
    EXPECT_EQ(listed(), "/a\n") << "so that it is removed";
    unlink("/flash/a");
  }
}

TEST_F(Extract, LinkTargetCutShortIsBroken) {
  const std::string whole = ArchiveBuilder().symlink("a", "bin").bytes();
  for (std::size_t cut = 1; cut <= 3; ++cut) {
    EXPECT_FALSE(extract(ArchiveBuilder().raw(whole.substr(0, whole.size() - cut))));
    EXPECT_EQ(messages(), kBroken);
    EXPECT_EQ(flash(), "");
    EXPECT_EQ(listed(), "");
  }
}

TEST_F(Extract, DeviceNumberCutShortIsBroken) {
  const std::string whole = ArchiveBuilder().charDevice("a", 0x0103).bytes();
  for (std::size_t cut = 1; cut <= 4; ++cut) {
    EXPECT_FALSE(extract(ArchiveBuilder().raw(whole.substr(0, whole.size() - cut))));
    EXPECT_EQ(messages(), kBroken);
    EXPECT_EQ(flash(), "");
  }
}

// What a directory or a FIFO carries is of no use, so its end may be missing.
TEST_F(Extract, IgnoredDataCutShortAreTheEnd) {
  const std::string directory = ArchiveBuilder().entry("a", 0040755, "data").bytes();
  EXPECT_TRUE(extract(ArchiveBuilder().raw(directory.substr(0, directory.size() - 2))));
  const std::string fifo = ArchiveBuilder().entry("b", 0010600, "data").bytes();
  EXPECT_TRUE(extract(ArchiveBuilder().raw(fifo.substr(0, fifo.size() - 2))));
  const std::string skipped = ArchiveBuilder().skip().regular("c", "data").bytes();
  EXPECT_TRUE(extract(ArchiveBuilder().raw(skipped.substr(0, skipped.size() - 2))));
  EXPECT_EQ(flash(), "/a dir\n/b fifo\n");
  EXPECT_EQ(messages(), "");
}

TEST_F(Extract, BytesBehindTheCompressedStreamAreIgnored) {
  EXPECT_TRUE(extractPart(archive_.regular("a", "data").deflated() + "trailing bytes"));
  EXPECT_EQ(readFile("/flash/a"), "data");
  EXPECT_EQ(flash(), "/a file\n");
}

TEST_F(Extract, SecondCompressedStreamIsIgnored) {
  EXPECT_TRUE(extractPart(ArchiveBuilder().regular("a", "").deflated() +
                          ArchiveBuilder().regular("b", "").deflated()));
  EXPECT_EQ(flash(), "/a file\n");
}

// Entries that are passed over.

TEST_F(Extract, SkippedEntryIsPassedOver) {
  archive_.skip().regular("a", "data").symlink("b", "target").skip(false).regular("c", "more");
  EXPECT_TRUE(extract(archive_));
  EXPECT_EQ(flash(), "/c file\n");
  EXPECT_EQ(listed(), "/c\n");
  EXPECT_EQ(readFile("/flash/c"), "more");
}

TEST_F(Extract, AnySkipFlagCounts) {
  for (const char flag : {'\1', '\2', '\x80', '\xff'}) {
    ArchiveHeader header;
    header.setMode(ArchiveHeader::kRegular | 0644);
    header.setNameLength(1);
    header.bytes[ArchiveHeader::kSkip] = static_cast<unsigned char>(flag);
    EXPECT_TRUE(extract(ArchiveBuilder().entry(header, "a", "")));
    EXPECT_EQ(flash(), "");
  }
}

TEST_F(Extract, ParentsOfASkippedEntryAreMade) {
  EXPECT_TRUE(extract(archive_.skip().regular("a/b/c", "data")));
  EXPECT_EQ(flash(), "/a dir\n/a/b dir\n");
}

TEST_F(Extract, SkippedEntryLeavesWhatIsThere) {
  writeFile("/flash/a", "old");
  EXPECT_TRUE(extract(archive_.skip().regular("a", "new")));
  EXPECT_EQ(readFile("/flash/a"), "old");
  EXPECT_EQ(messages(), "");
}

TEST_F(Extract, SkippedEntryMayBeOfAnyType) {
  EXPECT_TRUE(
      extract(archive_.skip().entry("a", 0xC000, "x").charDevice("b", 1).entry("c", 0, "")));
  EXPECT_EQ(flash(), "");
  EXPECT_EQ(messages(), "");
}

TEST_F(Extract, SkippedFolderDoesNotHideThatItIsMissing) {
  EXPECT_TRUE(extract(archive_.skip().directory("new/").skip(false).regular("new/foo", "data")));
  EXPECT_EQ(flash(), "/new dir\n/new/foo file\n");
}

TEST_F(Extract, SkippedEntryDrawsNothing) {
  EXPECT_TRUE(extract(archive_.skip().regular("a", "data")));
  EXPECT_EQ(takeConsole(), "");
}

// What is there already.

TEST_F(Extract, DirectoryOverADirectoryChangesNothing) {
  makeFolders("/flash/bin");
  chmod("/flash/bin", 0711);
  const struct timespec times[2] = {{77, 0}, {77, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, "/flash/bin", times, 0), 0);
  EXPECT_TRUE(extract(archive_.time(1000).directory("bin", 0755).entry("bin", 0040700, "data")));
  EXPECT_EQ(flash(kTreeMode | kTreeTime), "/bin dir 0711 time=77\n");
  EXPECT_EQ(listed(), "");
  EXPECT_EQ(messages(), "");
  EXPECT_EQ(takeConsole(), "") << "nothing was created";
}

TEST_F(Extract, DirectoryOverALinkToADirectoryChangesNothing) {
  makeFolders("/flash/real");
  link("real", "/flash/bin");
  EXPECT_TRUE(extract(archive_.directory("bin").regular("bin/foo", "")));
  EXPECT_EQ(flash(kTreeTarget), "/bin link -> real\n/real dir\n/real/foo file\n");
  EXPECT_EQ(listed(), "/bin/foo\n");
}

TEST_F(Extract, FileOfAnotherPackageStays) {
  writeFile("/flash/bin/foo", "old");
  addInstalled("other", {"/bin/foo"});
  EXPECT_TRUE(extract(archive_.regular("bin/foo", "new").regular("bin/bar", "next")));
  EXPECT_EQ(readFile("/flash/bin/foo"), "old");
  EXPECT_EQ(readFile("/flash/bin/bar"), "next");
  EXPECT_EQ(listed(), "/bin/bar\n");
  EXPECT_EQ(messages(), "WARNING: file /bin/foo collides with other package\n");
}

TEST_F(Extract, EveryTypeCollides) {
  writeFile("/flash/foo", "old");
  addInstalled("other", {"/foo"});
  archive_.directory("foo").symlink("foo", "bin").fifo("foo").charDevice("foo", 1);
  archive_.entry("foo", 0xC000, "data");
  EXPECT_TRUE(extract(archive_));
  EXPECT_EQ(flash(), "/foo file\n");
  const std::string line = "WARNING: file /foo collides with other package\n";
  EXPECT_EQ(messages(), line + line + line + line + line);
}

TEST_F(Extract, FilesOfDisabledPackagesCollideAsWell) {
  writeFile("/flash/foo", "old");
  addInstalled("other", {"/foo"})->disabled = true;
  EXPECT_TRUE(extract(archive_.regular("foo", "new")));
  EXPECT_EQ(messages(), "WARNING: file /foo collides with other package\n");
}

TEST_F(Extract, DisabledPackageCollidesBelowX) {
  package_->disabled = true;
  writeFile("/flash/x/tool/foo", "old");
  addInstalled("other", {"/foo", "/x/tool/foo"});
  EXPECT_TRUE(extract(archive_.regular("foo", "new")));
  EXPECT_EQ(messages(), "WARNING: file /x/tool/foo collides with other package\n");
  EXPECT_EQ(listed(), "");
}

TEST_F(Extract, DisabledPackageDoesNotCollideWithEnabledFiles) {
  package_->disabled = true;
  writeFile("/flash/foo", "old");
  addInstalled("other", {"/foo"});
  EXPECT_TRUE(extract(archive_.regular("foo", "new")));
  EXPECT_EQ(messages(), "");
  EXPECT_EQ(readFile("/flash/x/tool/foo"), "new");
}

TEST_F(Extract, OtherSpellingsOfAPathCollideAsWell) {
  writeFile("/flash/bin/foo", "old");
  link("bin", "/flash/alias");
  addInstalled("other", {"/bin/foo"});
  archive_.regular("bin//foo", "new").regular("./bin/./foo", "new").regular("alias/foo", "new");
  EXPECT_TRUE(extract(archive_));
  EXPECT_EQ(readFile("/flash/bin/foo"), "old");
  EXPECT_EQ(messages(),
            "WARNING: file /bin//foo collides with other package\n"
            "WARNING: file /./bin/./foo collides with other package\n"
            "WARNING: file /alias/foo collides with other package\n");
}

TEST_F(Extract, OwnerOfThePathAsItStandsComesFirst) {
  writeFile("/flash/bin/foo", "old");
  link("bin", "/flash/alias");
  addInstalled("other", {"/bin/foo"});
  addInstalled("exact", {"/alias/foo"});
  EXPECT_TRUE(extract(archive_.regular("alias/foo", "new")));
  EXPECT_EQ(messages(), "WARNING: file /alias/foo collides with exact package\n");
}

TEST_F(Extract, ListedButMissingFileIsCreated) {
  addInstalled("other", {"/foo"});
  EXPECT_TRUE(extract(archive_.regular("foo", "new")));
  EXPECT_EQ(listed(), "/foo\n");
  EXPECT_EQ(messages(), "");
}

TEST_F(Extract, FileOfNobodyIsAGhost) {
  writeFile("/flash/bin/foo", "a longer old file", 0400);
  EXPECT_TRUE(extract(archive_.regular("bin/foo", "new", 0644)));
  EXPECT_EQ(readFile("/flash/bin/foo"), "new");
  EXPECT_EQ(flash(kTreeMode), "/bin dir 0755\n/bin/foo file 0644\n");
  EXPECT_EQ(listed(), "/bin/foo\n");
  EXPECT_EQ(messages(), "WARNING: ghost file /bin/foo\n");
}

TEST_F(Extract, GhostIsDeletedNotOverwritten) {
  writeFile("/flash/foo", "old");
  ASSERT_EQ(::link("/flash/foo", "/kept"), 0);
  EXPECT_TRUE(extract(archive_.regular("foo", "new")));
  EXPECT_EQ(readFile("/kept"), "old");
}

TEST_F(Extract, LinkInTheWayIsReplacedNotFollowed) {
  writeFile("/flash/target", "old");
  link("target", "/flash/foo");
  EXPECT_TRUE(extract(archive_.regular("foo", "new")));
  EXPECT_EQ(readFile("/flash/target"), "old");
  EXPECT_EQ(flash(), "/foo file\n/target file\n");
  EXPECT_EQ(messages(), "WARNING: ghost file /foo\n");
}

TEST_F(Extract, DanglingLinkIsInTheWayToo) {
  link("/outside", "/flash/foo");
  link("/outside", "/flash/bar");
  EXPECT_TRUE(extract(archive_.regular("foo", "new").symlink("bar", "foo")));
  EXPECT_EQ(flash(kTreeTarget), "/bar link -> foo\n/foo file\n");
  EXPECT_FALSE(exists("/outside"));
  EXPECT_EQ(messages(), "WARNING: ghost file /foo\nWARNING: ghost file /bar\n");
}

TEST_F(Extract, DanglingLinkOfAnotherPackageStays) {
  link("/outside", "/flash/foo");
  addInstalled("other", {"/foo"});
  EXPECT_TRUE(extract(archive_.regular("foo", "new")));
  EXPECT_EQ(flash(kTreeTarget), "/foo link -> /outside\n");
  EXPECT_EQ(messages(), "WARNING: file /foo collides with other package\n");
}

TEST_F(Extract, FileOverADirectoryCannotBeCreated) {
  makeFolders("/flash/foo");
  EXPECT_FALSE(extract(archive_.regular("foo", "data")));
  EXPECT_EQ(messages(), "WARNING: ghost file /foo\n" + notCreated("foo", EISDIR));
  EXPECT_EQ(listed(), "");
  EXPECT_TRUE(exists("/flash/foo"));
}

TEST_F(Extract, LinkOverADirectoryCannotBeCreated) {
  makeFolders("/flash/foo");
  EXPECT_FALSE(extract(archive_.symlink("foo", "bar")));
  EXPECT_EQ(messages(), "WARNING: ghost file /foo\n" + notCreated("foo", EEXIST));
}

TEST_F(Extract, FifoOverADirectoryCannotBeCreated) {
  makeFolders("/flash/foo");
  EXPECT_FALSE(extract(archive_.fifo("foo")));
  EXPECT_EQ(messages(), "WARNING: ghost file /foo\n" + notCreated("foo", EEXIST));
}

TEST_F(Extract, DirectoryOverAGhostReplacesIt) {
  writeFile("/flash/foo", "old");
  EXPECT_TRUE(extract(archive_.directory("foo").regular("foo/bar", "")));
  EXPECT_EQ(flash(), "/foo dir\n/foo/bar file\n");
  EXPECT_EQ(messages(), "WARNING: ghost file /foo\n");
}

TEST_F(Extract, SameNameTwiceLeavesTheLast) {
  EXPECT_TRUE(extract(archive_.regular("foo", "first").regular("foo", "second")));
  EXPECT_EQ(readFile("/flash/foo"), "second");
  EXPECT_EQ(listed(), "/foo\n");
  EXPECT_EQ(messages(), "WARNING: ghost file /foo\n");
}

TEST_F(Extract, ForceReplacesInSilence) {
  writeFile("/flash/foo", "old");
  writeFile("/flash/bar", "old");
  link("/outside", "/flash/baz");
  addInstalled("other", {"/foo"});
  archive_.regular("foo", "new").regular("bar", "new").regular("baz", "new");
  EXPECT_TRUE(extract(archive_, true));
  for (const char* path : {"/flash/foo", "/flash/bar", "/flash/baz"}) {
    EXPECT_EQ(readFile(path), "new") << path;
  }
  EXPECT_EQ(listed(), "/bar\n/baz\n/foo\n");
  EXPECT_EQ(messages(), "");
}

TEST_F(Extract, ForceLeavesDirectoriesToDirectories) {
  makeFolders("/flash/bin");
  chmod("/flash/bin", 0711);
  EXPECT_TRUE(extract(archive_.directory("bin", 0755), true));
  EXPECT_EQ(flash(kTreeMode), "/bin dir 0711\n");
}

TEST_F(Extract, WarningsStandAboveTheProgress) {
  writeFile("/flash/foo", "old");
  repo_->setStatus("working");
  takeConsole();
  EXPECT_TRUE(extract(archive_.regular("foo", "")));
  const std::string warning =
      "\r" + std::string(79, ' ') + "\rWARNING: ghost file /foo\nworking\033[?25l\rinstalling ";
  EXPECT_EQ(takeConsole().substr(0, warning.size()), warning);
}

// Links.

TEST_F(Extract, LinkHasItsTarget) {
  EXPECT_TRUE(extract(archive_.symlink("bin/sh", "../some where/bash")));
  EXPECT_EQ(flash(kTreeTarget), "/bin dir\n/bin/sh link -> ../some where/bash\n");
  EXPECT_EQ(listed(), "/bin/sh\n");
}

TEST_F(Extract, LinkMayLeadAnywhere) {
  EXPECT_TRUE(extract(archive_.symlink("a", "/etc/passwd").symlink("b", "../..")));
  EXPECT_EQ(flash(kTreeTarget), "/a link -> /etc/passwd\n/b link -> ../..\n");
}

TEST_F(Extract, LinkHasItsOwner) {
  NEEDS_CHOWN();
  writeFile("/flash/target", "");
  EXPECT_TRUE(extract(archive_.owner(12, 34).symlink("a", "target")));
  EXPECT_EQ(flash(kTreeOwner), "/a link 12:34\n/target file 0:0\n");
}

TEST_F(Extract, LinkKeepsTheTimeOfItsMaking) {
  EXPECT_TRUE(extract(archive_.time(1000).symlink("a", "b")));
  EXPECT_GT(status("/flash/a").st_mtim.tv_sec, 1000000);
}

TEST_F(Extract, LinkDoesNotTouchItsTarget) {
  writeFile("/flash/target", "data", 0600);
  const struct timespec times[2] = {{77, 0}, {77, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, "/flash/target", times, 0), 0);
  EXPECT_TRUE(extract(archive_.time(1000).symlink("a", "target")));
  EXPECT_EQ(listTreeAt("/flash", "/target", kTreeMode | kTreeTime), "/target file 0600 time=77\n");
}

TEST_F(Extract, LongestLinkTarget) {
  std::string target;
  while (target.size() < PATH_MAX - 1) target += target.size() % 200 == 0 ? '/' : 'a';
  EXPECT_TRUE(extract(archive_.symlink("a", target)));
  EXPECT_EQ(targetOf("/flash/a"), target);
}

TEST_F(Extract, LinkTargetThatIsTooLongCannotBeCreated) {
  EXPECT_FALSE(extract(archive_.symlink("a", std::string(PATH_MAX, 'a'))));
  EXPECT_EQ(messages(), notCreated("a", ENAMETOOLONG));
  EXPECT_EQ(flash(), "");
  EXPECT_EQ(listed(), "");
}

TEST_F(Extract, LinkTargetOfFourGigabytesIsNotHeld) {
  ArchiveHeader header;
  header.setMode(ArchiveHeader::kSymlink | 0777);
  header.setDataSize(0xFFFFFFFF);
  header.setNameLength(1);
  EXPECT_FALSE(extract(archive_.entry(header, "a", "target")));
  EXPECT_EQ(messages(), notCreated("a", ENAMETOOLONG));
}

TEST_F(Extract, LinkWithoutATargetCannotBeCreated) {
  EXPECT_FALSE(extract(archive_.symlink("a", "")));
  EXPECT_EQ(messages(), notCreated("a", ENOENT));
}

// Regular files.

TEST_F(Extract, FileHasItsContents) {
  for (const std::size_t size : {0U, 1U, 4095U, 4096U, 16383U, 16384U, 16385U, 100000U}) {
    restart();
    std::string data;
    for (std::size_t i = 0; i < size; ++i) data += static_cast<char>(i * 7 + i / 251);
    EXPECT_TRUE(extract(ArchiveBuilder().regular("a", data).regular("b", "next")));
    EXPECT_EQ(readFile("/flash/a"), data) << size;
    EXPECT_EQ(readFile("/flash/b"), "next");
    unlink("/flash/a");
    unlink("/flash/b");
  }
}

TEST_F(Extract, FileHasItsModeWhateverTheMask) {
  umask(0777);
  archive_.regular("a", "", 0644).regular("b", "", 0).regular("c", "", 07777);
  EXPECT_TRUE(extract(archive_));
  umask(022);
  EXPECT_EQ(flash(kTreeMode), "/a file 0644\n/b file 0000\n/c file 7777\n");
}

TEST_F(Extract, FileHasItsTimes) {
  EXPECT_TRUE(extract(archive_.time(1000).regular("a", "x").time(0xFFFFFFFF).regular("b", "x")));
  EXPECT_EQ(flash(kTreeTime), "/a file time=1000\n/b file time=4294967295\n");
  EXPECT_EQ(status("/flash/a").st_atim.tv_sec, 1000);
}

TEST_F(Extract, FileHasItsOwner) {
  NEEDS_CHOWN();
  EXPECT_TRUE(extract(archive_.owner(12, 65534).regular("a", "x", 04755)));
  EXPECT_EQ(flash(kTreeOwner | kTreeMode), "/a file 4755 12:65534\n");
}

TEST_F(Extract, FileBelowAFileCannotBeCreated) {
  EXPECT_FALSE(extract(archive_.regular("a", "").regular("a/b", "")));
  EXPECT_EQ(messages(), notCreated("a/b", ENOTDIR));
  EXPECT_EQ(listed(), "/a\n");
}

TEST_F(Extract, NameIsReportedAsTheArchiveHasIt) {
  EXPECT_FALSE(extract(archive_.regular("/a", "").regular("/a/b", "")));
  EXPECT_EQ(messages(), notCreated("/a/b", ENOTDIR));
}

TEST_F(Extract, FailureNamesTheBundle) {
  package_->bundle.name = "system";
  package_->bundle.minVersion = package_->bundle.maxVersion = kTwo;
  EXPECT_FALSE(extract(ArchiveBuilder().regular("a", "").regular("a/b", "")));
  EXPECT_FALSE(extract(ArchiveBuilder().entry("c", 0xC000, "")));
  EXPECT_EQ(messages(),
            "ERROR: installation of system-2.0 failed: could not create a/b: Not a directory\n"
            "ERROR: installation of system-2.0 failed: broken package\n");
}

TEST_F(Extract, FullDiskIsTooSmall) {
  NEEDS_MOUNT();
  mountRamDisk("/flash/small", 16);
  EXPECT_FALSE(extract(archive_.regular("small/a", std::string(100000, 'x'))));
  EXPECT_EQ(messages(), "ERROR: installation of tool-1.0 failed: disk is too small\n");
  EXPECT_EQ(listed(), "/small/a\n") << "so that it is removed";
}

TEST_F(Extract, DiskThatBreaksIsADiskError) {
  failCall(SystemCall::kWrite, EIO);
  EXPECT_FALSE(extract(archive_.regular("a", "data")));
  EXPECT_EQ(messages(), "ERROR: installation of tool-1.0 failed: disk error\n");
  EXPECT_EQ(listed(), "/a\n");
}

TEST_F(Extract, DiskThatBreaksInTheMiddle) {
  failCall(SystemCall::kWrite, EIO, 3);
  EXPECT_FALSE(extract(archive_.regular("a", std::string(100000, 'x'))));
  EXPECT_EQ(messages(), "ERROR: installation of tool-1.0 failed: disk error\n");
  EXPECT_EQ(flash(kTreeSize), "/a file size=49152\n") << "chunks of 16384 bytes";
}

TEST_F(Extract, InterruptedWriteIsRepeated) {
  failCalls(SystemCall::kWrite, EINTR, 3);
  EXPECT_TRUE(extract(archive_.regular("a", "data")));
  EXPECT_EQ(readFile("/flash/a"), "data");
}

TEST_F(Extract, OtherFailuresToWriteAreNamed) {
  struct rlimit before;
  getrlimit(RLIMIT_FSIZE, &before);
  struct rlimit limit = before;
  limit.rlim_cur = 20000;
  signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &limit);
  const bool extracted = extract(archive_.regular("a", std::string(100000, 'x')));
  setrlimit(RLIMIT_FSIZE, &before);
  EXPECT_FALSE(extracted);
  EXPECT_EQ(messages(), notCreated("a", EFBIG));
}

TEST_F(Extract, FailureToCloseCounts) {
  failCall(SystemCall::kClose, EDQUOT);
  EXPECT_FALSE(extract(archive_.regular("a", "data")));
  EXPECT_EQ(messages(), notCreated("a", EDQUOT));
  EXPECT_EQ(listed(), "/a\n");
}

TEST_F(Extract, FailureToCloseOfAFullDisk) {
  failCall(SystemCall::kClose, ENOSPC);
  EXPECT_FALSE(extract(archive_.regular("a", "data")));
  EXPECT_EQ(messages(), "ERROR: installation of tool-1.0 failed: disk is too small\n");
}

TEST_F(Extract, AttributesThatCannotBeSetDoNotCount) {
  failCall(SystemCall::kChmod, EPERM);
  EXPECT_TRUE(extract(archive_.regular("a", "data", 0600)));
  EXPECT_EQ(flash(kTreeMode), "/a file 0644\n");
  EXPECT_EQ(messages(), "");
}

// Directories.

TEST_F(Extract, DirectoryHasItsModeWhateverTheMask) {
  umask(077);
  EXPECT_TRUE(extract(archive_.directory("a", 0755).directory("b", 01777)));
  umask(022);
  EXPECT_EQ(flash(kTreeMode), "/a dir 0755\n/b dir 1777\n");
  EXPECT_EQ(listed(), "");
}

TEST_F(Extract, DirectoryHasItsOwner) {
  NEEDS_CHOWN();
  EXPECT_TRUE(extract(archive_.owner(12, 34).directory("a")));
  EXPECT_EQ(flash(kTreeOwner), "/a dir 12:34\n");
}

TEST_F(Extract, DirectoryMayEndInASlash) {
  EXPECT_TRUE(extract(archive_.directory("a/").regular("a/b", "").directory("a/c/")));
  EXPECT_EQ(flash(), "/a dir\n/a/b file\n/a/c dir\n");
}

TEST_F(Extract, DataOfADirectoryAreSkipped) {
  EXPECT_TRUE(extract(archive_.entry("a", 0040755, std::string(10000, 'x')).regular("b", "data")));
  EXPECT_EQ(readFile("/flash/b"), "data");
}

TEST_F(Extract, DirectoriesKeepTheirTimesThoughFilesCameLater) {
  archive_.time(1000).directory("a").time(2000).directory("a/b").time(3000).regular("a/b/c", "x");
  archive_.regular("a/d", "x").symlink("a/b/e", "x").fifo("a/f");
  EXPECT_TRUE(extract(archive_));
  EXPECT_EQ(status("/flash/a").st_atim.tv_sec, 1000);
  EXPECT_EQ(status("/flash/a").st_mtim.tv_sec, 1000);
  EXPECT_EQ(status("/flash/a/b").st_atim.tv_sec, 2000);
  EXPECT_EQ(status("/flash/a/b").st_mtim.tv_sec, 2000);
}

TEST_F(Extract, DirectoriesThatWereThereGetNoTimes) {
  makeFolders("/flash/a");
  EXPECT_TRUE(extract(archive_.time(1000).directory("a").regular("a/b", "")));
  EXPECT_GT(status("/flash/a").st_mtim.tv_sec, 1000000);
}

TEST_F(Extract, ParentsMadeOnTheWayGetNoTimes) {
  EXPECT_TRUE(extract(archive_.time(1000).regular("a/b", "")));
  EXPECT_GT(status("/flash/a").st_mtim.tv_sec, 1000000);
}

TEST_F(Extract, FailureDropsTheTimesOfDirectories) {
  EXPECT_FALSE(extract(archive_.time(1000).directory("a").regular("a/b", "").entry("c", 0, "")));
  EXPECT_GT(status("/flash/a").st_mtim.tv_sec, 1000000);
}

TEST_F(Extract, DirectoryBelowAFileCannotBeCreated) {
  EXPECT_FALSE(extract(archive_.regular("a", "").directory("a/b")));
  EXPECT_EQ(messages(), notCreated("a/b", ENOTDIR));
}

// Devices and FIFOs.

TEST_F(Extract, CharDevice) {
  NEEDS_MKNOD();
  EXPECT_TRUE(extract(archive_.time(1000).charDevice("dev/null", 0x0103, 0666)));
  EXPECT_EQ(listTreeAt("/flash", "/dev/null", kTreeMode | kTreeDevice | kTreeTime),
            "/dev/null char 0666 time=1000 device=1:3\n");
  EXPECT_EQ(listed(), "/dev/null\n");
}

TEST_F(Extract, BlockDevice) {
  NEEDS_MKNOD();
  EXPECT_TRUE(extract(archive_.blockDevice("mtd", 0x1F02, 0640)));
  EXPECT_EQ(flash(kTreeMode | kTreeDevice), "/mtd block 0640 device=31:2\n");
  EXPECT_EQ(listed(), "/mtd\n");
}

TEST_F(Extract, DeviceHasItsOwner) {
  NEEDS_MKNOD();
  NEEDS_CHOWN();
  EXPECT_TRUE(extract(archive_.owner(12, 34).charDevice("a", 0x0103)));
  EXPECT_EQ(flash(kTreeOwner), "/a char 12:34\n");
}

TEST_F(Extract, DeviceNumberOfOtherThanFourBytesIsBroken) {
  for (const ArchiveHeader::Type mode : {ArchiveHeader::kCharDevice, ArchiveHeader::kBlockDevice}) {
    for (const std::size_t size : {0U, 1U, 3U, 5U, 8U}) {
      EXPECT_FALSE(extract(ArchiveBuilder().entry("a", mode, std::string(size, '\1')))) << size;
      EXPECT_EQ(messages(), kBroken);
      EXPECT_EQ(flash(), "");
      EXPECT_EQ(listed(), "");
    }
  }
}

TEST_F(Extract, DeviceThatCannotBeCreated) {
  EXPECT_FALSE(extract(archive_.regular("a", "").charDevice("a/b", 0x0103)));
  EXPECT_EQ(messages(), notCreated("a/b", ENOTDIR));
}

TEST_F(Extract, Fifo) {
  EXPECT_TRUE(extract(archive_.time(1000).fifo("a", 0622).regular("b", "next")));
  EXPECT_EQ(listTreeAt("/flash", "/a", kTreeMode | kTreeTime), "/a fifo 0622 time=1000\n");
  EXPECT_EQ(listed(), "/a\n/b\n");
}

TEST_F(Extract, DataOfAFifoAreSkipped) {
  EXPECT_TRUE(extract(archive_.entry("a", 0010600, std::string(10000, 'x')).regular("b", "data")));
  EXPECT_EQ(readFile("/flash/b"), "data");
}

TEST_F(Extract, FifoHasItsOwner) {
  NEEDS_CHOWN();
  EXPECT_TRUE(extract(archive_.owner(12, 34).fifo("a")));
  EXPECT_EQ(flash(kTreeOwner), "/a fifo 12:34\n");
}

TEST_F(Extract, FifoThatCannotBeCreated) {
  EXPECT_FALSE(extract(archive_.regular("a", "").fifo("a/b")));
  EXPECT_EQ(messages(), notCreated("a/b", ENOTDIR));
}

TEST_F(Extract, OtherTypesAreBroken) {
  for (const unsigned type :
       {0U, 0x3000U, 0x5000U, 0x7000U, 0x9000U, 0xB000U, 0xC000U, 0xD000U, 0xE000U, 0xF000U}) {
    const auto mode = static_cast<std::uint16_t>(type | 0644);
    EXPECT_FALSE(extract(ArchiveBuilder().entry("a", mode, "data"))) << type;
    EXPECT_EQ(messages(), kBroken);
    EXPECT_EQ(flash(), "");
  }
}

TEST_F(Extract, EntriesBehindABrokenOneAreNotPlaced) {
  EXPECT_FALSE(extract(archive_.regular("a", "").entry("b", 0, "").regular("c", "")));
  EXPECT_EQ(flash(), "/a file\n");
}

// Progress.

TEST_F(Extract, EveryEntryShowsProgress) {
  EXPECT_TRUE(extract(archive_.directory("a")));
  const std::string console = takeConsole();
  EXPECT_EQ(console.substr(0, 32), "\033[?25l\rinstalling tool-1.0 [####");
  EXPECT_EQ(console.size(), 6U + 1 + 77 + 1 + 6);
}

TEST_F(Extract, ProgressOfADisabledPackageHasTwoSpaces) {
  package_->disabled = true;
  EXPECT_TRUE(extract(archive_.directory("a")));
  EXPECT_EQ(takeConsole().substr(0, 44), "\033[?25l\rinstalling  (disabled) tool-1.0 [####");
}

TEST_F(Extract, ProgressOfAMemberNamesItsBundle) {
  package_->disabled = true;
  package_->bundle.name = "system";
  EXPECT_TRUE(extract(archive_.directory("a")));
  EXPECT_EQ(takeConsole().substr(0, 30), "\033[?25l\rinstalling system [####");
}

TEST_F(Extract, ProgressMovesWhileAFileIsCopied) {
  // Does not shrink, so that the compressed bytes come in many reads.
  std::string data;
  std::uint32_t state = 1;
  for (int i = 0; i < 200000; ++i) {
    state = state * 1664525 + 1013904223;
    data += static_cast<char>(state >> 24);
  }
  EXPECT_TRUE(extract(archive_.regular("a", data)));
  const std::string console = takeConsole();
  std::size_t bars = 0;
  for (std::size_t at = 0; (at = console.find("\033[?25l", at)) != std::string::npos; ++at) ++bars;
  EXPECT_GE(bars, 10U) << "one for each 16384 bytes";
  EXPECT_LE(bars, 14U);
}

// Nothing leaves the flash.

TEST_F(Extract, EntryThroughALinkThatLeavesIsBroken) {
  makeFolders("/outside");
  link("/outside", "/flash/out");
  for (const char* name : {"out/foo", "out/new/foo", "/out//foo", "out/"}) {
    restart();
    EXPECT_FALSE(extract(ArchiveBuilder().regular(name, "data"))) << name;
    EXPECT_EQ(messages(), kBroken) << name;
    EXPECT_EQ(listed(), "") << name;
  }
  EXPECT_EQ(listTree("/outside", 0), "");
}

TEST_F(Extract, LinkOfTheArchiveItselfIsNoWayOut) {
  makeFolders("/outside");
  writeFile("/outside/passwd", "root");
  EXPECT_FALSE(extract(archive_.symlink("a/out", "../../outside").regular("a/out/passwd", "mine")));
  EXPECT_EQ(messages(), kBroken);
  EXPECT_EQ(readFile("/outside/passwd"), "root");
}

TEST_F(Extract, DirectoryThroughALinkThatLeavesIsBroken) {
  makeFolders("/outside");
  link("/outside", "/flash/out");
  EXPECT_FALSE(extract(archive_.directory("out/new")));
  EXPECT_EQ(listTree("/outside", 0), "");
}

TEST_F(Extract, SkippedEntryDoesNotLeaveEither) {
  makeFolders("/outside");
  link("/outside", "/flash/out");
  EXPECT_FALSE(extract(archive_.skip().regular("out/new/foo", "")));
  EXPECT_EQ(listTree("/outside", 0), "");
}

TEST_F(Extract, ForceDoesNotLeaveEither) {
  makeFolders("/outside");
  link("/outside", "/flash/out");
  EXPECT_FALSE(extract(archive_.regular("out/foo", ""), true));
  EXPECT_EQ(messages(), kBroken);
}

TEST_F(Extract, LinkItselfMayBeReplaced) {
  makeFolders("/outside");
  link("/outside", "/flash/out");
  EXPECT_TRUE(extract(archive_.symlink("out", "bin")));
  EXPECT_EQ(flash(kTreeTarget), "/out link -> bin\n");
}

TEST_F(Extract, ReplacedLinkIsFollowedAnew) {
  makeFolders("/outside");
  makeFolders("/flash/bin");
  link("bin", "/flash/way");
  archive_.regular("way/a", "").symlink("way", "/outside").regular("way/b", "");
  EXPECT_FALSE(extract(archive_));
  EXPECT_EQ(messages(), std::string("WARNING: ghost file /way\n") + kBroken);
  EXPECT_EQ(listTree("/outside", 0), "");
}

TEST_F(Extract, TimesAreNotSetOutside) {
  makeFolders("/outside/a");
  makeFolders("/flash/bin");
  link("bin", "/flash/way");
  archive_.time(1000).directory("way/a").symlink("way", "/outside");
  EXPECT_TRUE(extract(archive_));
  EXPECT_GT(status("/outside/a").st_mtim.tv_sec, 1000000);
}

// Links shorten the path, so that the system takes it, until its folder is too deep to be followed.
TEST_F(Extract, FolderTooDeepToFollowIsNoWayOut) {
  NEEDS_MOUNT();  // what is left here can only be removed with the disk
  makeFolders("/outside");
  std::string deep;
  while (deep.size() < PATH_MAX - 220) deep += "/" + std::string(200, 'd');
  const std::string folder = "short/" + std::string(250, 'e');
  archive_.regular(deep + "/a", "").symlink("short", "." + deep);
  archive_.directory(folder).symlink(folder + "/out", "/outside").regular(folder + "/out/foo", "");
  EXPECT_FALSE(extract(archive_));
  EXPECT_EQ(messages(), kBroken);
  EXPECT_EQ(listTree("/outside", 0), "");
}

// The database.

TEST_F(Extract, RecordOfAnotherPackageIsOutOfBounds) {
  writeFile("/flash/var/pdb/other/version", "1 2\n");
  for (const char* name : {"var/pdb/other/version", "var/pdb/other/new", "var/pdb/other",
                           "/var//pdb/./other/version", "var/pdb/new", "var/pdb/new/version",
                           "var/pdb/toolbox", "var/pdb/too", "var/pdb/.hidden"}) {
    restart();
    EXPECT_FALSE(extract(ArchiveBuilder().regular(name, "data"))) << name;
    EXPECT_EQ(messages(), kBroken) << name;
    EXPECT_EQ(listed(), "");
  }
  EXPECT_EQ(listTree("/flash/var/pdb", kTreeSize), "/other dir\n/other/version file size=4\n");
}

TEST_F(Extract, RecordOfAnotherPackageIsOutOfBoundsForEveryType) {
  makeFolders("/flash/var/pdb/other");
  EXPECT_FALSE(extract(ArchiveBuilder().directory("var/pdb/other")));
  EXPECT_FALSE(extract(ArchiveBuilder().directory("var/pdb/other/a")));
  EXPECT_FALSE(extract(ArchiveBuilder().symlink("var/pdb/other/a", "b")));
  EXPECT_FALSE(extract(ArchiveBuilder().fifo("var/pdb/other/a")));
  EXPECT_FALSE(extract(ArchiveBuilder().skip().regular("var/pdb/other/a", "")));
  EXPECT_FALSE(extract(ArchiveBuilder().regular("var/pdb/other/a", ""), true));
  EXPECT_EQ(listTree("/flash/var/pdb", 0), "/other dir\n");
}

TEST_F(Extract, RecordOfAnotherPackageIsOutOfBoundsByWayOfALink) {
  makeFolders("/flash/var/pdb/other");
  link("var/pdb", "/flash/way");
  EXPECT_FALSE(extract(archive_.regular("way/other/version", "")));
  EXPECT_EQ(messages(), kBroken);
  EXPECT_EQ(listTree("/flash/var/pdb", 0), "/other dir\n");
}

TEST_F(Extract, DatabaseMayLieElsewhereOnTheFlash) {
  removeTree("/flash/var");
  makeFolders("/flash/rw/pdb/other");
  makeFolders("/flash/var");
  link("../rw/pdb", "/flash/var/pdb");
  EXPECT_FALSE(extract(ArchiveBuilder().regular("rw/pdb/other/version", "")));
  EXPECT_FALSE(extract(ArchiveBuilder().regular("var/pdb/other/version", "")));
  EXPECT_EQ(listTree("/flash/rw/pdb/other", 0), "");
  EXPECT_TRUE(extract(ArchiveBuilder().regular("var/pdb/tool/note", "")));
}

TEST_F(Extract, DatabaseOffTheFlashDoesNotStandInTheWay) {
  removeTree("/flash/var");
  makeFolders("/rw/var/pdb");
  link("/rw/var", "/flash/var");
  EXPECT_TRUE(extract(archive_.regular("bin/foo", "data")));
  EXPECT_EQ(readFile("/flash/bin/foo"), "data");
}

TEST_F(Extract, OwnRecordMayHoldFiles) {
  makeFolders("/flash/var/pdb/tool");
  EXPECT_TRUE(extract(archive_.directory("var/pdb")
                          .directory("var/pdb/tool")
                          .regular("var/pdb/tool/note", "data")));
  EXPECT_EQ(readFile("/flash/var/pdb/tool/note"), "data");
  EXPECT_EQ(listed(), "/var/pdb/tool/note\n");
}

TEST_F(Extract, DatabaseFolderItselfMayBeNamed) {
  EXPECT_TRUE(extract(archive_.directory("var").directory("var/pdb").directory("var/pdb/")));
  EXPECT_EQ(messages(), "");
}

TEST_F(Extract, NamesLikeTheDatabaseAreFine) {
  EXPECT_TRUE(extract(archive_.regular("var/pdb2/other", "").regular("etc/var/pdb/other", "")));
  EXPECT_EQ(listed(), "/etc/var/pdb/other\n/var/pdb2/other\n");
}

// Only the unused fields of the header.
TEST_F(Extract, UnusedFieldsAreNotRead) {
  ArchiveHeader header;
  std::memset(header.bytes, 0xff, sizeof header.bytes);
  header.setMode(ArchiveHeader::kRegular | 0644);
  header.setUser(0);
  header.setGroup(0);
  header.setTime(1000);
  header.bytes[ArchiveHeader::kSkip] = 0;
  header.setDataSize(4);
  header.setNameLength(1);
  EXPECT_TRUE(extract(archive_.entry(header, "a", "data")));
  EXPECT_EQ(flash(kTreeMode | kTreeSize | kTreeTime), "/a file 0644 size=4 time=1000\n");
}

// A file of four gigabytes that are not there.
TEST_F(Extract, DataSizeIsNotBelieved) {
  ArchiveHeader header;
  header.setMode(ArchiveHeader::kRegular | 0644);
  header.setDataSize(0xFFFFFFFF);
  header.setNameLength(1);
  EXPECT_FALSE(extract(archive_.entry(header, "a", std::string(20000, 'x'))));
  EXPECT_EQ(messages(), kBroken);
  EXPECT_EQ(flash(kTreeSize), "/a file size=16384\n");
}

}  // namespace
