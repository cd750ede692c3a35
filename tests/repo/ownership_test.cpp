// Who owns a file, and the collection of files that nobody owns.
#include "repo/repo.h"
#include "tests/support/inroot.h"

#include <algorithm>

#include <fcntl.h>
#include <linux/capability.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

// Without root's right to pass over the modes of files, as long as the object lives.
class OrdinaryRights {
 public:
  OrdinaryRights() {
    syscall(SYS_capget, &header_, all_);
    __user_cap_data_struct fewer[2] = {all_[0], all_[1]};
    fewer[0].effective &= ~(1U << CAP_DAC_OVERRIDE | 1U << CAP_DAC_READ_SEARCH);
    EXPECT_EQ(syscall(SYS_capset, &header_, fewer), 0);
  }
  ~OrdinaryRights() { syscall(SYS_capset, &header_, all_); }
  OrdinaryRights(const OrdinaryRights&) = delete;
  OrdinaryRights& operator=(const OrdinaryRights&) = delete;

 private:
  __user_cap_header_struct header_ = {_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct all_[2] = {};
};

class Ownership : public InRoot {
 protected:
  Package* add(const std::string& name, const std::set<std::string>& files) {
    auto* const package = new Package;
    package->name = name;
    package->files = files;
    repo_->addPackage(package);
    return package;
  }
  static void collect(std::string directory) { gcFilesIn(&directory[0]); }
  // Below the directory that is collected.
  static std::string left() { return listTree("/d", kTreeTarget); }
};

TEST_F(Ownership, OwnerIsTheFirstPackageThatListsThePath) {
  add("a", {"/bin/a"});
  add("b", {"/bin/b", "/bin/c"});
  add("c", {"/bin/c"});
  EXPECT_EQ(repo_->getFileOwner("/bin/a"), "a");
  EXPECT_EQ(repo_->getFileOwner("/bin/c"), "b");
  EXPECT_EQ(repo_->getFileOwner("/bin/d"), "");
}

TEST_F(Ownership, PathsAreComparedAsTheyStand) {
  add("a", {"/bin/a"});
  for (const char* path : {"bin/a", "//bin/a", "/bin//a", "/bin/./a", "/bin/a/", "/flash/bin/a",
                           "/bin/A", "/bin", ""}) {
    EXPECT_EQ(repo_->getFileOwner(path), "") << path;
  }
}

TEST_F(Ownership, DisabledPackagesOwnTheirFiles) {
  add("a", {"/bin/a"})->disabled = true;
  EXPECT_EQ(repo_->getFileOwner("/bin/a"), "a");
}

TEST_F(Ownership, NoFileIsUsed) {
  add("a", {"/bin/a"});
  EXPECT_FALSE(repo_->isFileUsed("/bin/a"));
  EXPECT_FALSE(repo_->isFileUsed("/flash//bin/a"));
}

TEST_F(Ownership, UsedFilesAreComparedAsTheyStand) {
  RepoAccess::usedFiles() = {"/flash//bin/a"};
  EXPECT_TRUE(repo_->isFileUsed("/flash//bin/a"));
  EXPECT_FALSE(repo_->isFileUsed("/flash/bin/a"));
  EXPECT_FALSE(repo_->isFileUsed("/bin/a"));
}

// Collection.

TEST_F(Ownership, MissingDirectoryChangesNothing) {
  writeFile("/e/file", "");
  collect("/d");
  collect("");
  EXPECT_TRUE(exists("/e/file"));
  EXPECT_EQ(takeConsole(), "");
}

TEST_F(Ownership, FileInPlaceOfTheDirectoryStays) {
  writeFile("/d", "");
  collect("/d");
  EXPECT_TRUE(exists("/d"));
}

TEST_F(Ownership, UnownedFilesGo) {
  writeFile("/d/owned", "");
  writeFile("/d/unowned", "");
  add("a", {"/d/owned"});
  collect("/d");
  EXPECT_EQ(left(), "/owned file\n");
  EXPECT_EQ(takeConsole(), "");
}

TEST_F(Ownership, CollectionGoesDown) {
  writeFile("/d/e/f/owned", "");
  writeFile("/d/e/f/unowned", "");
  writeFile("/d/e/unowned", "");
  add("a", {"/d/e/f/owned"});
  collect("/d");
  EXPECT_EQ(left(), "/e dir\n/e/f dir\n/e/f/owned file\n");
}

TEST_F(Ownership, DirectoriesStayThoughEmpty) {
  makeFolders("/d/empty");
  writeFile("/d/e/f/unowned", "");
  collect("/d");
  EXPECT_EQ(left(), "/e dir\n/e/f dir\n/empty dir\n");
}

TEST_F(Ownership, FilesOfDisabledPackagesStay) {
  writeFile("/d/file", "");
  add("a", {"/d/file"})->disabled = true;
  collect("/d");
  EXPECT_EQ(left(), "/file file\n");
}

TEST_F(Ownership, NamesWithADotInFrontAreFilesLikeAnyOther) {
  for (const char* name : {"/d/.a", "/d/..b", "/d/...", "/d/.c/d"}) writeFile(name, "");
  writeFile("/d/.owned", "");
  add("a", {"/d/.owned"});
  collect("/d");
  EXPECT_EQ(left(), "/.c dir\n/.owned file\n");
}

TEST_F(Ownership, EverythingButADirectoryIsAFile) {
  ASSERT_EQ(mkdir("/d", 0755), 0);
  ASSERT_EQ(mkfifo("/d/fifo", 0600), 0);
  ASSERT_EQ(symlink("/nowhere", "/d/dangling"), 0);
  collect("/d");
  EXPECT_EQ(left(), "");
}

TEST_F(Ownership, ListedLinkStaysWhateverItsTarget) {
  writeFile("/e/target", "");
  makeFolders("/d");
  ASSERT_EQ(symlink("/e/target", "/d/link"), 0);
  ASSERT_EQ(symlink("/nowhere", "/d/dangling"), 0);
  add("a", {"/d/link", "/d/dangling"});
  collect("/d");
  EXPECT_EQ(left(), "/dangling link -> /nowhere\n/link link -> /e/target\n");
}

TEST_F(Ownership, UnlistedLinkGoesThoughItsTargetIsListed) {
  writeFile("/d/target", "");
  ASSERT_EQ(symlink("target", "/d/link"), 0);
  add("a", {"/d/target"});
  collect("/d");
  EXPECT_EQ(left(), "/target file\n");
}

TEST_F(Ownership, LinkToADirectoryIsNotEntered) {
  writeFile("/e/file", "");
  makeFolders("/d");
  ASSERT_EQ(symlink("/e", "/d/link"), 0);
  collect("/d");
  EXPECT_EQ(left(), "");
  EXPECT_TRUE(exists("/e/file"));
}

TEST_F(Ownership, ArgumentMayBeALinkToADirectory) {
  writeFile("/e/file", "");
  writeFile("/e/owned", "");
  ASSERT_EQ(symlink("/e", "/d"), 0);
  add("a", {"/d/owned"});
  collect("/d");
  EXPECT_EQ(listTree("/e", 0), "/owned file\n");
}

TEST_F(Ownership, TrailingSlashMatchesNoOwner) {
  writeFile("/d/owned", "");
  writeFile("/d/e/owned", "");
  add("a", {"/d/owned", "/d/e/owned"});
  collect("/d/");
  EXPECT_EQ(left(), "/e dir\n");
}

TEST_F(Ownership, RootMatchesNoOwner) {
  writeFile("/d/owned", "");
  add("a", {"/d/owned"});
  collect("/");
  EXPECT_FALSE(exists("/d/owned"));
}

TEST_F(Ownership, RelativeArgumentMatchesNoOwner) {
  writeFile("/d/owned", "");
  add("a", {"/d/owned"});
  collect("d");
  EXPECT_EQ(left(), "");
}

TEST_F(Ownership, FlashIsNotPutInFront) {
  writeFile("/flash/bin/foo", "");
  writeFile("/bin/foo", "");
  add("a", {"/bin/foo"});
  collect("/bin");
  EXPECT_TRUE(exists("/bin/foo"));
  collect("/flash/bin");
  EXPECT_FALSE(exists("/flash/bin/foo"));
}

TEST_F(Ownership, ManyFiles) {
  std::set<std::string> files;
  for (int i = 0; i < 1000; ++i) {
    const std::string path = "/d/e" + std::to_string(i % 7) + "/f" + std::to_string(i);
    writeFile(path, "");
    if (i % 3 == 0) files.insert(path);
  }
  add("a", files);
  collect("/d");
  std::size_t count = 0;
  for (int i = 0; i < 1000; ++i) {
    if (exists("/d/e" + std::to_string(i % 7) + "/f" + std::to_string(i))) ++count;
  }
  EXPECT_EQ(count, files.size());
}

TEST_F(Ownership, NothingStaysOpen) {
  writeFile("/d/e/file", "");
  const int before = nextDescriptor();
  collect("/d");
  EXPECT_EQ(nextDescriptor(), before);
}

TEST_F(Ownership, WhatCannotBeReadOrRemovedIsPassedOver) {
  writeFile("/d/a-unreadable/file", "");
  writeFile("/d/b-unsearchable/file", "");
  writeFile("/d/c-unwritable/file", "");
  writeFile("/d/d-unowned", "");
  chmod("/d/a-unreadable", 0);
  chmod("/d/b-unsearchable", 0600);
  chmod("/d/c-unwritable", 0500);
  {
    const OrdinaryRights rights;
    ASSERT_LT(open("/d/a-unreadable", O_RDONLY), 0);
    collect("/d");
  }
  EXPECT_EQ(left(),
            "/a-unreadable dir\n/a-unreadable/file file\n"
            "/b-unsearchable dir\n/b-unsearchable/file file\n"
            "/c-unwritable dir\n/c-unwritable/file file\n");
  EXPECT_EQ(takeConsole(), "");
}

// A path of 512 bytes would be cut, to the path of the directory or of another file.
TEST_F(Ownership, PathThatWouldBeCutIsPassedOver) {
  std::string directory = "/d";
  while (directory.size() < 508) {
    directory += "/" + std::string(std::min<std::size_t>(100, 508 - directory.size()), 'x');
  }
  directory.resize(509);
  ASSERT_EQ(directory.size(), 509U);
  writeFile(directory + "/a", "511 characters");
  writeFile(directory + "/bc", "512 characters");
  writeFile(directory + "/abc", "513 characters, cut to the first");
  makeFolders(directory + "/folder");
  collect("/d");
  EXPECT_FALSE(exists(directory + "/a"));
  EXPECT_TRUE(exists(directory + "/bc"));
  EXPECT_TRUE(exists(directory + "/abc"));
  EXPECT_TRUE(exists(directory + "/folder"));
}

TEST_F(Ownership, DeepFoldersBehindTheCutArePassedOver) {
  std::string directory = "/d";
  for (int i = 0; i < 10; ++i) directory += "/" + std::string(100, 'x');
  writeFile(directory + "/file", "");
  collect("/d");
  EXPECT_TRUE(exists(directory + "/file"));
}

TEST_F(Ownership, CutDirectoryArgumentDeletesNothing) {
  std::string directory = "/d";
  for (int i = 0; i < 5; ++i) directory += "/" + std::string(150, 'x');
  writeFile(directory + "/file", "");
  collect(directory);
  EXPECT_TRUE(exists(directory + "/file"));
}

}  // namespace
