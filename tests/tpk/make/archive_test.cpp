#include "tools/tpk/make/archive.h"

#include "stream/packformat.h"
#include "tests/support/packbuilder.h"
#include "tests/support/tree.h"
#include "tests/tpk/failuretext.h"

#include <sstream>
#include <string>

#include <gtest/gtest.h>
#include <sys/sysmacros.h>

namespace {

class Archive : public ::testing::Test {
 protected:
  static FileNode node(std::uint16_t mode, std::int64_t time = 1234567890) {
    FileNode made;
    made.mode = mode;
    made.time = time;
    return made;
  }

  FileNode file(const std::string& contents, std::uint16_t permissions) {
    FileNode made = node(static_cast<std::uint16_t>(ArchiveHeader::kRegular | permissions));
    made.data.offset = spool_.size();
    made.data.size = contents.size();
    spool_.append(contents.data(), contents.size());
    return made;
  }

  FileNode hostFile(const std::string& contents, std::uint64_t size) {
    writeFile(temp_.path() + "/host", contents);
    FileNode made = node(ArchiveHeader::kRegular | 0644);
    made.data.path = temp_.path() + "/host";
    made.data.size = size;
    return made;
  }

  std::string bytes() {
    std::ostringstream out;
    written_ = 0;
    writeArchive(out, tree_, spool_, [this](std::size_t count) { written_ += count; });
    return out.str();
  }

  std::string failure() {
    return failureOf([this] { bytes(); });
  }

  TempFolder temp_;
  Spool spool_;
  FileTree tree_;
  std::size_t written_ = 0;
};

TEST_F(Archive, OfNothingIsEmpty) { EXPECT_EQ(bytes(), ""); }

TEST_F(Archive, EveryTypeIsWrittenAsItsReadersTakeIt) {
  tree_.put("bin", node(ArchiveHeader::kDirectory | 0755));
  tree_.put("bin/sh", node(ArchiveHeader::kSymlink | 0777));
  tree_.find("bin/sh")->target = "busybox";
  tree_.put("bin/tool", file("contents", 0751));
  tree_.put("dev", node(ArchiveHeader::kDirectory | 01777));
  tree_.put("dev/console", node(ArchiveHeader::kCharDevice | 0600));
  tree_.find("dev/console")->device = static_cast<std::uint32_t>(makedev(5, 1));
  tree_.put("dev/disk", node(ArchiveHeader::kBlockDevice | 0640));
  tree_.find("dev/disk")->device = static_cast<std::uint32_t>(makedev(8, 300));
  tree_.put("fifo", node(ArchiveHeader::kFifo | 0622));
  ArchiveBuilder expected;
  expected.time(1234567890).directory("bin", 0755).symlink("bin/sh", "busybox");
  expected.regular("bin/tool", "contents", 0751).directory("dev", 01777);
  expected.charDevice("dev/console", 0x501, 0600).blockDevice("dev/disk", 0x10082c, 0640);
  expected.fifo("fifo", 0622);
  EXPECT_EQ(bytes(), expected.bytes());
}

TEST_F(Archive, OwnersTimesAndSkipFlagsAreEachEntrysOwn) {
  tree_.put("a", file("x", 0644));
  tree_.find("a")->user = 65535;
  tree_.find("a")->group = 3;
  tree_.find("a")->time = 4294967295;
  tree_.put("b", file("y", 0644));
  tree_.find("b")->skip = true;
  ArchiveBuilder expected;
  expected.owner(65535, 3).time(4294967295).regular("a", "x");
  expected.owner(0, 0).time(1234567890).skip().regular("b", "y");
  EXPECT_EQ(bytes(), expected.bytes());
}

TEST_F(Archive, LargeFilesComeWholeFromBothPlaces) {
  std::string contents;
  for (int i = 0; i < 50000; ++i) contents += std::to_string(i);
  tree_.put("host", hostFile(contents, contents.size()));
  tree_.put("spooled", file(contents, 0644));
  ArchiveBuilder expected;
  expected.time(1234567890).regular("host", contents).regular("spooled", contents);
  EXPECT_EQ(bytes(), expected.bytes());
  EXPECT_EQ(written_, 2 * contents.size());
}

// The size stands before the contents: what follows must not shift.
TEST_F(Archive, FilesThatChangedInBetweenAreRefused) {
  const std::string name = temp_.path() + "/host";
  tree_.put("host", hostFile("contents", 9));
  EXPECT_EQ(failure(), name + ": became shorter while it was read, or cannot be read");
  tree_.put("host", hostFile("contents", 7));
  EXPECT_EQ(failure(), name + ": became longer while it was read");
  removeTree(name);
  EXPECT_EQ(failure(), name + ": cannot be opened: No such file or directory");
}

}  // namespace
