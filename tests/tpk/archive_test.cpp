#include "tools/tpk/archive.h"

#include "stream/packformat.h"
#include "tests/support/privilege.h"
#include "tests/support/tree.h"
#include "tests/tpk/failuretext.h"

#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

struct Entry {
  ArchiveHeader header;
  std::string name;
  std::string data;
};

class Archive : public ::testing::Test {
 protected:
  std::string path(const std::string& name) const { return temp_.path() + "/" + name; }

  std::string bytes() const {
    std::ostringstream out;
    writeArchive(out, temp_.path());
    return out.str();
  }

  std::vector<Entry> entries() const {
    std::vector<Entry> list;
    std::istringstream in(bytes());
    Entry entry;
    while (in.read(reinterpret_cast<char*>(entry.header.bytes), ArchiveHeader::kSize)) {
      entry.name.resize(entry.header.nameLength());
      in.read(&entry.name[0], entry.header.nameLength());
      entry.data.resize(entry.header.dataSize());
      in.read(&entry.data[0], static_cast<std::streamsize>(entry.data.size()));
      EXPECT_TRUE(in) << entry.name;
      list.push_back(entry);
    }
    EXPECT_EQ(in.gcount(), 0);
    return list;
  }

  std::string names() const {
    std::string all;
    for (const Entry& entry : entries()) all += entry.name + " ";
    return all;
  }

  std::string failure() const {
    return failureOf([this] { bytes(); });
  }

  void setTime(const std::string& name, time_t seconds) const {
    const timespec times[] = {{seconds, 0}, {seconds, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, path(name).c_str(), times, AT_SYMLINK_NOFOLLOW), 0);
  }

  TempFolder temp_;
};

TEST_F(Archive, EmptyFolderHasNoEntries) { EXPECT_EQ(bytes(), ""); }

TEST_F(Archive, EntriesAreSortedWithFoldersBeforeTheirContents) {
  writeFile(path("b"), "");
  writeFile(path("a/z"), "");
  writeFile(path("a/b/c"), "");
  writeFile(path("a-b"), "");
  writeFile(path("B"), "");
  writeFile(path(".hidden"), "");
  EXPECT_EQ(names(), ".hidden B a a/b a/b/c a/z a-b b ");
}

TEST_F(Archive, FilesKeepModeTimeAndContents) {
  writeFile(path("tool"), "contents", 0751);
  setTime("tool", 1234567890);
  const auto list = entries();
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list[0].header.mode(), 0100751);
  EXPECT_EQ(list[0].header.time(), 1234567890U);
  EXPECT_EQ(list[0].data, "contents");
}

TEST_F(Archive, FilesKeepSpecialPermissionBits) {
  writeFile(path("tool"), "");
  ASSERT_EQ(chmod(path("tool").c_str(), 06755), 0);
  EXPECT_EQ(entries().at(0).header.mode(), 0106755);
}

TEST_F(Archive, EverythingBelongsToRoot) {
  writeFile(path("a/tool"), "");
  if (canChown()) {
    ASSERT_EQ(chown(path("a/tool").c_str(), 1000, 1000), 0);
  }
  for (const Entry& entry : entries()) {
    EXPECT_EQ(entry.header.user(), 0);
    EXPECT_EQ(entry.header.group(), 0);
  }
}

TEST_F(Archive, UnusedFieldsAreZeroAndNothingIsSkipped) {
  writeFile(path("tool"), "");
  const ArchiveHeader header = entries().at(0).header;
  for (std::size_t i = ArchiveHeader::kUnused1; i < ArchiveHeader::kTime; ++i)
    EXPECT_EQ(header.bytes[i], 0);
  for (std::size_t i = ArchiveHeader::kUnused2; i < ArchiveHeader::kDataSize; ++i)
    EXPECT_EQ(header.bytes[i], 0);
}

TEST_F(Archive, FoldersKeepModeAndTime) {
  makeFolders(path("folder"));
  ASSERT_EQ(chmod(path("folder").c_str(), 01777), 0);
  setTime("folder", 1000);
  const Entry entry = entries().at(0);
  EXPECT_EQ(entry.header.mode(), 041777);
  EXPECT_EQ(entry.header.time(), 1000U);
  EXPECT_EQ(entry.data, "");
}

TEST_F(Archive, LinksKeepTheirTarget) {
  ASSERT_EQ(symlink("/no/such/target", path("link").c_str()), 0);
  const Entry entry = entries().at(0);
  EXPECT_EQ(entry.header.type(), ArchiveHeader::kSymlink);
  EXPECT_EQ(entry.data, "/no/such/target");
}

TEST_F(Archive, LinksToFoldersAreNotFollowed) {
  writeFile(path("folder/file"), "");
  ASSERT_EQ(symlink("folder", path("link").c_str()), 0);
  EXPECT_EQ(names(), "folder folder/file link ");
}

TEST_F(Archive, FifosHaveNoData) {
  ASSERT_EQ(mkfifo(path("fifo").c_str(), 0600), 0);
  const Entry entry = entries().at(0);
  EXPECT_EQ(entry.header.mode(), 010600);
  EXPECT_EQ(entry.data, "");
}

TEST_F(Archive, DevicesHaveTheirNumber) {
  NEEDS_MKNOD();
  ASSERT_EQ(mknod(path("null").c_str(), S_IFCHR | 0666, makedev(1, 3)), 0);
  ASSERT_EQ(mknod(path("ram").c_str(), S_IFBLK | 0600, makedev(1, 2)), 0);
  const auto list = entries();
  ASSERT_EQ(list.size(), 2U);
  EXPECT_EQ(list[0].header.type(), ArchiveHeader::kCharDevice);
  EXPECT_EQ(list[0].data, std::string("\3\1\0\0", 4));
  EXPECT_EQ(list[1].header.type(), ArchiveHeader::kBlockDevice);
  EXPECT_EQ(list[1].data, std::string("\2\1\0\0", 4));
}

TEST_F(Archive, LargeFilesComeWhole) {
  std::string contents;
  for (int i = 0; i < 50000; ++i) contents += std::to_string(i);
  writeFile(path("large"), contents);
  EXPECT_EQ(entries().at(0).data, contents);
}

TEST_F(Archive, FilesOverFourGigabytesAreRefused) {
  writeFile(path("huge"), "");
  if (truncate(path("huge").c_str(), off_t{1} << 32) != 0)
    GTEST_SKIP() << "the file system holds no such file";
  EXPECT_EQ(failure(), path("huge") + ": is larger than 4 GiB");
}

TEST_F(Archive, TimesOutsideTheFieldAreRefused) {
  writeFile(path("old"), "");
  setTime("old", -1);
  EXPECT_EQ(failure(), path("old") + ": its time is before 1970 or after 2106");
  setTime("old", time_t{1} << 32);
  EXPECT_EQ(failure(), path("old") + ": its time is before 1970 or after 2106");
}

TEST_F(Archive, SocketsAreRefused) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  const std::string name = path("socket");
  ASSERT_LT(name.size(), sizeof address.sun_path);
  std::memcpy(address.sun_path, name.c_str(), name.size());
  const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_EQ(bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  close(socket);
  EXPECT_EQ(failure(), name + ": is a socket, which a package cannot hold");
}

TEST_F(Archive, MissingFolderIsNamed) {
  std::ostringstream out;
  EXPECT_EQ(failureOf([&] { writeArchive(out, path("missing")); }),
            path("missing") + ": cannot be opened: No such file or directory");
}

}  // namespace
