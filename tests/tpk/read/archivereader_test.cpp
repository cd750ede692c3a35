#include "tools/tpk/read/archivereader.h"

#include "tests/support/packbuilder.h"
#include "tests/support/tree.h"
#include "tests/tpk/failuretext.h"
#include "tools/tpk/read/inputfile.h"

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

// The only part of its file.
constexpr std::uint64_t kOffset = 8 + 6;

class ArchiveReaderTest : public ::testing::Test {
 protected:
  ArchiveReader& open(const std::string& compressed) {
    writeFile(path_, PackBuilder().part(kPartArchive, compressed).finish());
    reader_.reset();
    file_ = std::make_unique<InputFile>(path_);
    reader_ = std::make_unique<ArchiveReader>(*file_, kOffset);
    return *reader_;
  }
  ArchiveReader& open(const ArchiveBuilder& archive) { return open(archive.deflated()); }
  // Of reading everything; without the file's name.
  std::string failure(const std::string& compressed) {
    const std::string text = failureOf([&] { readAll(open(compressed)); });
    const std::string start = path_ + ": archive: ";
    return text.compare(0, start.size(), start) == 0 ? text.substr(start.size()) : text;
  }
  std::string failure(const ArchiveBuilder& archive) { return failure(archive.deflated()); }

  static std::string readData(ArchiveReader& reader) {
    std::string data;
    char chunk[7];
    while (const std::size_t got = reader.read(chunk, sizeof chunk)) data.append(chunk, got);
    return data;
  }
  static std::vector<std::string> readAll(ArchiveReader& reader) {
    std::vector<std::string> seen;
    ArchiveEntry entry;
    while (reader.next(entry))
      seen.push_back(entry.name + "|" + entry.target + "|" + readData(reader));
    return seen;
  }

  TempFolder temp_;
  std::string path_ = temp_.path() + "/package.tpk";
  std::unique_ptr<InputFile> file_;
  std::unique_ptr<ArchiveReader> reader_;
};

TEST_F(ArchiveReaderTest, ReadsEveryTypeOfEntry) {
  ArchiveReader& reader = open(ArchiveBuilder()
                                   .owner(7, 8)
                                   .time(1000)
                                   .directory("bin")
                                   .regular("bin/a", "contents of a")
                                   .symlink("bin/b", "a")
                                   .charDevice("dev", 0x0501)
                                   .fifo("pipe"));
  EXPECT_EQ(reader.zlibHeader(), 0x789C);
  ArchiveEntry entry;
  ASSERT_TRUE(reader.next(entry));
  EXPECT_EQ(entry.header.mode(), 040755);
  EXPECT_EQ(entry.header.user(), 7);
  EXPECT_EQ(entry.header.time(), 1000U);
  ASSERT_TRUE(reader.next(entry));
  EXPECT_EQ(entry.name, "bin/a");
  EXPECT_EQ(reader.remaining(), 13U);
  EXPECT_EQ(readData(reader), "contents of a");
  ASSERT_TRUE(reader.next(entry));
  EXPECT_EQ(entry.target, "a");
  EXPECT_EQ(reader.remaining(), 0U);
  ASSERT_TRUE(reader.next(entry));
  EXPECT_EQ(entry.device, 0x0501U);
  ASSERT_TRUE(reader.next(entry));
  EXPECT_EQ(entry.header.type(), ArchiveHeader::kFifo);
  EXPECT_FALSE(reader.next(entry));
  EXPECT_FALSE(reader.next(entry));
}

TEST_F(ArchiveReaderTest, PassesOverDataThatNobodyRead) {
  ArchiveReader& reader =
      open(ArchiveBuilder().regular("a", std::string(100000, 'x')).regular("b", "y"));
  ArchiveEntry entry;
  ASSERT_TRUE(reader.next(entry));
  char some[10];
  EXPECT_EQ(reader.read(some, sizeof some), sizeof some);
  ASSERT_TRUE(reader.next(entry));
  EXPECT_EQ(entry.name, "b");
  EXPECT_EQ(readData(reader), "y");
  EXPECT_FALSE(reader.next(entry));
  EXPECT_EQ(reader.position(), 2 * (30 + 1) + 100000U + 1);
}

TEST_F(ArchiveReaderTest, ReadsTheArchiveThatIsMeant) {
  PackBuilder builder;
  builder.part(kPartArchive, ArchiveBuilder().regular("first", "").deflated());
  const std::size_t offset = builder.finish().size() + 6;
  writeFile(path_, builder.part(kPartArchive, ArchiveBuilder().regular("second", "").deflated())
                       .part(kPartArchive, "rubbish")
                       .finish());
  const InputFile file(path_);
  ArchiveReader reader(file, offset);
  EXPECT_EQ(readAll(reader), std::vector<std::string>{"second||"});
}

TEST_F(ArchiveReaderTest, AnEmptyArchiveHasNoEntries) {
  EXPECT_EQ(readAll(open(ArchiveBuilder())), std::vector<std::string>());
}

TEST_F(ArchiveReaderTest, TheDataOfSkippedEntriesAreNotLookedInto) {
  ArchiveReader& reader =
      open(ArchiveBuilder().skip().entry("dev", 020600, "?").skip(false).fifo("b"));
  ArchiveEntry entry;
  ASSERT_TRUE(reader.next(entry));
  EXPECT_EQ(readData(reader), "?");
  ASSERT_TRUE(reader.next(entry));
  EXPECT_EQ(entry.name, "b");
}

TEST_F(ArchiveReaderTest, SaysWhereAnArchiveEnds) {
  EXPECT_EQ(failure(ArchiveBuilder().raw("short")),
            "it ends in the middle of the header of an entry");
  ArchiveHeader header;
  header.setMode(0100644);
  header.setNameLength(9);
  EXPECT_EQ(failure(ArchiveBuilder().entry(header, "short", "")),
            "it ends in the middle of the name of an entry");
  header.setNameLength(5);
  header.setDataSize(0xFFFFFFFF);
  EXPECT_EQ(failure(ArchiveBuilder().entry(header, "sho\nt", "12")),
            "it ends in the middle of \"sho\\nt\"");
  header.setMode(0120777);
  header.setDataSize(4);
  EXPECT_EQ(failure(ArchiveBuilder().entry(header, "short", "12")),
            "it ends in the middle of the target of a link");
}

TEST_F(ArchiveReaderTest, SaysWhenCompressedDataAreBroken) {
  const std::string good = ArchiveBuilder().regular("a", "contents").deflated();
  const std::string damaged = "its compressed data are damaged or cut short in or before ";
  EXPECT_EQ(failure(""), damaged + "the header of an entry");
  EXPECT_EQ(failure("rubbish"), damaged + "the header of an entry");
  EXPECT_EQ(failure(good.substr(0, good.size() - 1)), damaged + "the header of an entry");
  std::string wrongSum = good;
  wrongSum[wrongSum.size() - 1] = static_cast<char>(wrongSum[wrongSum.size() - 1] ^ 1);
  EXPECT_NE(failure(wrongSum), "no failure");
}

TEST_F(ArchiveReaderTest, RefusesLinksAndDevicesThatCannotBe) {
  EXPECT_EQ(failure(ArchiveBuilder().symlink("l", std::string(4096, 'x'))),
            "the link \"l\" has a target of 4096 bytes");
  EXPECT_EQ(failure(ArchiveBuilder().symlink("l", std::string(4095, 'x'))), "no failure");
  EXPECT_EQ(failure(ArchiveBuilder().entry("d", 060600, "12345")),
            "the device \"d\" has a number of 5 bytes, not 4");
}

TEST_F(ArchiveReaderTest, MeetsEveryTruncationAndEveryFlippedByte) {
  const std::string good =
      ArchiveBuilder().directory("d").regular("d/f", "contents").symlink("l", "d").deflated();
  for (std::size_t length = 0; length < good.size(); ++length)
    EXPECT_NE(failure(good.substr(0, length)), "no failure") << length;
  for (std::size_t i = 0; i < good.size(); ++i) {
    std::string bad = good;
    bad[i] = static_cast<char>(bad[i] ^ 0x10);
    EXPECT_NE(failure(bad), "no failure") << i;
  }
}

}  // namespace
