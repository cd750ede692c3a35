// What differs between a 64-bit developer's machine and the 32-bit board, or could: widths of
// types, numbers of device requests, files over 2 GiB, the sign of char, alignment, dates after
// 2038.
#include "stream/ifilestream.h"
#include "stream/packformat.h"
#include "stream/sha1.h"
#include "tests/support/tree.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <iterator>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <mtd/mtd-user.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr bool kBoard =
#ifdef __mips__
    true;
#else
    false;
#endif

constexpr std::uint64_t kGiB = 1024 * 1024 * 1024;

#ifdef __mips__
TEST(Board, IsWhatTheProgramIsBuiltFor) {
  EXPECT_EQ(sizeof(void*), 4U);
  EXPECT_EQ(sizeof(long), 4U);
  const std::uint32_t number = 0x01020304;
  unsigned char first = 0;
  std::memcpy(&first, &number, 1);
  EXPECT_EQ(first, 4);
}
#endif

TEST(Difference, FileOffsetsAndTimesAreWide) {
  EXPECT_EQ(sizeof(off_t), 8U);
  EXPECT_EQ(sizeof(std::streamoff), 8U);
  EXPECT_EQ(sizeof(std::streamsize), sizeof(std::ptrdiff_t));
  EXPECT_EQ(sizeof(time_t), 8U);
}

// The bits of a request that say which way its data go stand elsewhere on the board, so that a
// number that was copied from one machine is another request on the other.
TEST(Difference, FlashRequestHasTheNumberOfItsMachine) {
  EXPECT_EQ(static_cast<std::uint32_t>(MEMGETINFO), kBoard ? 0x40204D01U : 0x80204D01U);
  EXPECT_EQ(sizeof(mtd_info_t), 32U);
}

class LargeFile : public testing::Test {
 protected:
  // One character in a file that is a hole otherwise.
  void write(std::uint64_t offset, char c) {
    writeFile(path, "");
    ASSERT_EQ(truncate(path.c_str(), static_cast<off_t>(offset)), 0);
    std::FILE* const file = std::fopen(path.c_str(), "a");
    ASSERT_NE(file, nullptr);
    std::fputc(c, file);
    ASSERT_EQ(std::fclose(file), 0);
  }

  const TempFolder folder;
  const std::string path = folder.path() + "/large";
};

TEST_F(LargeFile, IsReadAtItsEnd) {
  for (const std::uint64_t offset : {2 * kGiB - 1, 2 * kGiB, 3 * kGiB, 4 * kGiB, 5 * kGiB}) {
    SCOPED_TRACE(offset);
    write(offset, 'x');
    ifilestream file(path);
    ASSERT_TRUE(file.isOpen());
    file.seekg(static_cast<std::streamoff>(offset));
    EXPECT_EQ(file.get(), 'x');
    EXPECT_EQ(file.tellg(), static_cast<std::streamoff>(offset + 1));
    EXPECT_EQ(file.get(), std::char_traits<char>::eof());
  }
}

TEST_F(LargeFile, PositionsCountFromItsEnd) {
  write(3 * kGiB, 'x');
  ifilestream file(path);
  file.seekg(0, std::ios::end);
  EXPECT_EQ(file.tellg(), static_cast<std::streamoff>(3 * kGiB + 1));
  file.seekg(-1, std::ios::cur);
  EXPECT_EQ(file.get(), 'x');
}

// A length is a number without a sign, of which half are negative in a long of the board.
TEST(Difference, LengthsReachFourGigabytes) {
  for (const std::uint32_t length : {0x7FFFFFFFU, 0x80000000U, 0x80000001U, 0xFFFFFFFFU}) {
    SCOPED_TRACE(length);
    FileHeader file;
    file.setLength(length);
    EXPECT_EQ(file.length(), length);
    PartHeader part;
    part.setLength(length);
    EXPECT_EQ(part.length(), length);
    ArchiveHeader entry;
    entry.setDataSize(length);
    EXPECT_EQ(entry.dataSize(), length);
    EXPECT_GT(static_cast<std::uint64_t>(part.length()), 0x7FFFFFFEU);
  }
}

TEST(Difference, TimesPast2038AreKept) {
  const TempFolder folder;
  const std::string path = folder.path() + "/file";
  writeFile(path, "");
  const std::uint32_t late = 0xF0000000U;
  const timespec times[] = {{static_cast<time_t>(late), 0}, {static_cast<time_t>(late), 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  struct stat info;
  ASSERT_EQ(stat(path.c_str(), &info), 0);
  EXPECT_EQ(info.st_mtime, static_cast<time_t>(late));
  EXPECT_GT(info.st_mtime, 0);
}

// Whatever the sign of char, a byte of a file is a number from 0 to 255.
TEST(Difference, HighBytesAreNotNegative) {
  for (unsigned value = 0; value < 256; ++value) {
    PartHeader part;
    std::memset(part.bytes, static_cast<int>(value), sizeof part.bytes);
    EXPECT_EQ(part.type(), value * 0x0101U);
    EXPECT_EQ(part.length(), value * 0x01010101U);
  }
}

TEST(Difference, HighBytesOfNamesAreKept) {
  DepRecord record;
  const std::string name = "\x80\xFFz";
  record.setName(name);
  EXPECT_EQ(record.name(), name);
}

// The board's processor cannot load a word from an odd address.
TEST(Difference, NumbersAreReadAtEveryAddress) {
  std::vector<unsigned char> bytes(16);
  for (std::size_t at = 0; at < 8; ++at) {
    put32(bytes.data() + at, 0x89ABCDEFU);
    EXPECT_EQ(get32(bytes.data() + at), 0x89ABCDEFU);
    EXPECT_EQ(bytes[at], 0xEF);
    put16(bytes.data() + at, 0x89AB);
    EXPECT_EQ(get16(bytes.data() + at), 0x89AB);
  }
}

// The records are arrays of bytes without gaps, wherever they stand.
TEST(Difference, RecordsHaveNoAlignment) {
  EXPECT_EQ(alignof(PartHeader), 1U);
  EXPECT_EQ(sizeof(PartHeader), 6U);
  EXPECT_EQ(sizeof(FileHeader), 8U);
  EXPECT_EQ(sizeof(DepRecord), 32U);
  EXPECT_EQ(sizeof(SignatureRecord), 68U);
  EXPECT_EQ(sizeof(ArchiveHeader), static_cast<std::size_t>(ArchiveHeader::kSize));
}

std::string digestOf(const char* data, std::size_t size) {
  SHA1 hash;
  hash.update(data, static_cast<unsigned>(size));
  hash.finish(false);
  unsigned char digest[SHA1::kDigestSize];
  hash.digest(digest);
  return std::string(std::begin(digest), std::end(digest));
}

// Digests are the same wherever what is hashed begins.
TEST(Difference, HashingNeedsNoAlignment) {
  std::string data;
  for (unsigned i = 0; i < 300; ++i) data += static_cast<char>(i * 37 % 256);
  const std::string expected = digestOf(data.data(), data.size());
  for (std::size_t at = 1; at < 8; ++at) {
    const std::string moved = std::string(at, 'x') + data;
    EXPECT_EQ(digestOf(moved.data() + at, data.size()), expected) << at;
  }
}

}  // namespace
