// The annotated dump: it shows every byte, points at what is wrong, and stays within bounds
// whatever the file is.
#include "tools/tpk/show/dump.h"

#include "tests/support/hex.h"
#include "tests/support/packbuilder.h"
#include "tests/support/privilege.h"
#include "tests/support/process.h"
#include "tests/support/router.h"
#include "tests/support/tree.h"
#include "tests/support/vectors.h"
#include "tools/tpk/read/inputfile.h"

#include <algorithm>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

constexpr std::uint32_t kOne = 0x01006600;

class DumpFile : public ::testing::Test {
 protected:
  std::string dump(const std::string& bytes, bool full = false, bool colour = false) {
    const std::string path = temp_.path() + "/p.tpk";
    writeFile(path, bytes);
    std::ostringstream out;
    DumpStyle style;
    style.full = full;
    style.colour = colour;
    const InputFile file(path);
    good_ = dumpFile(file, style, out);
    // The path is as long as the temp folder's name.
    return out.str().substr(path.size());
  }

  static PackBuilder pack() { return PackBuilder().header("one", kOne); }

  TempFolder temp_;
  bool good_ = true;
};

// The bytes of all rows with that mark, each at its offset; a hole, or a byte that is shown twice
// and differs, fails the test.
std::string bytesOfRows(const std::string& dump, char mark) {
  std::istringstream lines(dump);
  std::string bytes;
  for (std::string line; std::getline(lines, line);) {
    const bool isRow =
        line.size() > 9 && line[0] == mark && line.find_first_not_of("0123456789abcdef", 1) == 9;
    if (!isRow) continue;
    EXPECT_EQ(std::stoull(line.substr(1, 8), nullptr, 16), bytes.size()) << line;
    std::string digits = line.substr(11, 23);
    digits.erase(std::remove(digits.begin(), digits.end(), ' '), digits.end());
    bytes += unhex(digits);
  }
  return bytes;
}

std::size_t count(const std::string& text, const std::string& what) {
  std::size_t found = 0;
  for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos; ++at) ++found;
  return found;
}

bool isHarmless(char c) { return c == '\n' || static_cast<unsigned char>(c) >= ' '; }

ArchiveBuilder someFiles() {
  return ArchiveBuilder()
      .directory("bin")
      .regular("bin/tool", std::string(100, 't'))
      .symlink("bin/link", "tool")
      .charDevice("dev/null", 0x103)
      .fifo("pipe")
      .skip()
      .symlink("not/there", "anywhere");
}

TEST_F(DumpFile, FullDumpHasEveryByteOnce) {
  const ProductInUse product("a");
  for (const VectorVerdict& verdict : vectorVerdicts()) {
    const std::string bytes = vectorPackage(verdict.package);
    EXPECT_EQ(bytesOfRows(dump(bytes, true), ' '), bytes) << verdict.package;
  }
}

TEST_F(DumpFile, FullDumpHasEveryInflatedByteOnce) {
  const std::string text = dump(pack().archive(someFiles()).sign().finish(), true);
  EXPECT_EQ(bytesOfRows(text, '+'), someFiles().bytes());
  EXPECT_THAT(text, HasSubstr("target        \"tool\"\n"));
  EXPECT_THAT(text, HasSubstr("device        1:3\n"));
  EXPECT_THAT(text, HasSubstr("skip          yes: the entry is passed over\n"));
}

TEST_F(DumpFile, LongDataAreCutWithTheirCount) {
  const std::string bytes = pack().part(99, std::string(1000, 'x')).sign().finish();
  EXPECT_THAT(dump(bytes), HasSubstr(" |xxxxxxxx|\n           ... 984 bytes more\n"));
  EXPECT_THAT(dump(bytes, true), Not(HasSubstr(" more\n")));
}

TEST_F(DumpFile, LongListsScriptsAndArchivesAreCutWithTheirCount) {
  std::vector<PackageDep> entries(30);
  ArchiveBuilder files;
  for (int i = 0; i < 60; ++i) files.fifo("f" + std::to_string(i));
  std::string script;
  for (int i = 0; i < 100; ++i) script += "true\n";
  const std::string bytes = pack()
                                .list(kPartRequires, entries)
                                .part(kPartOnInstall, script)
                                .archive(files)
                                .sign()
                                .finish();
  const std::string text = dump(bytes);
  EXPECT_THAT(text, HasSubstr("... 10 entries more\n"));
  EXPECT_THAT(text, HasSubstr("... 60 lines more\n"));
  const std::string full = dump(bytes, true);
  EXPECT_EQ(bytesOfRows(full, ' '), bytes);
  EXPECT_EQ(bytesOfRows(full, '+'), files.bytes());
}

TEST_F(DumpFile, ScriptsAreShownByTheLine) {
  const std::string text =
      dump(pack().part(kPartOnInstall, "echo one\n\necho \"two\"").sign().finish());
  EXPECT_THAT(text, HasSubstr("line 1        \"echo one\\n\"\n"));
  EXPECT_THAT(text, HasSubstr("line 2        \"\\n\"\n"));
  EXPECT_THAT(text, HasSubstr("line 3        \"echo \"two\"\"\n"));
}

TEST_F(DumpFile, PointsAtTheFieldThatIsWrong) {
  const std::string good = pack().part(kPartArchitecture, "mipsel").sign().finish();
  EXPECT_THAT(dump(good), Not(HasSubstr("^")));
  EXPECT_TRUE(good_);

  const std::string longer = dump(good + "x");
  EXPECT_FALSE(good_);
  EXPECT_THAT(longer, HasSubstr("bytes behind this header\n           ^ here: the length field is "
                                "off by 1"));
  EXPECT_THAT(longer, HasSubstr("\nverdict: broken: the length field is off by 1"));

  std::string changed = good;
  changed[53] = 'M';
  EXPECT_THAT(dump(changed), HasSubstr("\n           ^ here: the digest differs"));
}

TEST_F(DumpFile, PointsAtTheEndOfAFileThatIsCutShort) {
  const std::string good = pack().part(99, "0123456789").sign().finish();
  EXPECT_THAT(dump(good.substr(0, 57)),
              HasSubstr(" 00000034  30 31 32 33 34           data          |01234|\n"
                        "           ^ here: cut short at byte 57, in part 99 (of an unknown type): "
                        "5 of its 10 bytes are there\n"));
}

TEST_F(DumpFile, GoesOnBehindWhatIsWrong) {
  const std::string text = dump(pack()
                                    .part(kPartRequires, std::string("\2\0abc", 5))
                                    .part(kPartArchitecture, "mipsel")
                                    .sign()
                                    .finish());
  EXPECT_THAT(text, HasSubstr("^ here: part 3 (requires list) ends early"));
  EXPECT_THAT(text, HasSubstr("61 62 63                 name          3 of its 16 bytes\n"));
  EXPECT_THAT(text, HasSubstr("text          \"mipsel\"\n"));
}

TEST_F(DumpFile, EveryBadPackageOfABundleIsPointedAt) {
  const std::string text = dump(
      PackBuilder().bundleHeader("all", kOne).header("one", kOne).header("two", kOne).finish());
  EXPECT_EQ(count(text, "^ here: one-1.0: neither signed"), 1U);
  EXPECT_EQ(count(text, "^ here: two-1.0: neither signed"), 1U);
}

TEST_F(DumpFile, DamagedArchiveOfASignedPackageIsBad) {
  const std::string text = dump(pack().part(kPartArchive, "no archive").sign().finish());
  EXPECT_FALSE(good_);
  EXPECT_THAT(text, HasSubstr("zlib header   not zlib's\n"));
  EXPECT_THAT(text, HasSubstr("^ here: archive: its compressed data are damaged or cut short"));
  EXPECT_THAT(text, HasSubstr("verdict: good\nbut an archive is damaged"));
}

TEST_F(DumpFile, BrokenEntryIsShownAsFarAsItGoes) {
  ArchiveHeader header;
  header.setMode(ArchiveHeader::kRegular | 0644);
  header.setNameLength(4);
  header.setDataSize(50);
  const std::string text = dump(
      pack().archive(ArchiveBuilder().fifo("pipe").entry(header, "name", "only")).sign().finish());
  EXPECT_EQ(count(text, "name          \"name\"\n"), 1U);
  EXPECT_THAT(text, HasSubstr("^ here: archive: it ends in the middle of \"name\"\n"));
  const std::string cut =
      dump(pack().archive(ArchiveBuilder().fifo("pipe").entry(header, "na", "")).sign().finish());
  EXPECT_EQ(count(cut, "data size     50 bytes\n"), 1U);
  EXPECT_THAT(cut, HasSubstr("^ here: archive: it ends in the middle of the name of an entry\n"));
}

TEST_F(DumpFile, PartsOutOfTurnAreNoted) {
  EXPECT_THAT(
      dump(pack().part(kPartArchive, deflated("")).part(kPartOnInstall, "x").sign().finish()),
      HasSubstr("^ note: out of turn: an installation stops here"));
  EXPECT_THAT(dump(pack().sign().part(kPartOnInstall, "x").finish()),
              HasSubstr("^ note: behind the signature, which does not cover it"));
  EXPECT_THAT(dump(pack().part(99, "x").sign().finish()),
              HasSubstr("part 99: of a type that readers pass over\n"));
}

TEST_F(DumpFile, InstallationStopsAtAPartOutOfTurn) {
  NEEDS_CHROOT();
  const std::string bytes = pack()
                                .part(kPartArchitecture, "mipsel")
                                .part(kPartOnUninstall, "x")
                                .part(kPartOnInstall, "x")
                                .sign()
                                .finish();
  EXPECT_THAT(dump(bytes), HasSubstr("^ note: out of turn: an installation stops here"));
  EXPECT_TRUE(good_);
  Router router;
  router.installed({"system", 0x03166600, 1}).drop("one.tpk", bytes);
  const ProcessResult result = router.run();
  EXPECT_THAT(result.out, HasSubstr("verified one.tpk")) << result;
  EXPECT_THAT(result.out, HasSubstr("installation of one-1.0 failed: broken package")) << result;
}

TEST_F(DumpFile, UnusedBytesThatAreNotZeroAreNamed) {
  std::string header = packageHeader("one", kOne, 0);
  header.back() = '\1';
  EXPECT_THAT(dump(PackBuilder().part(kPartPackage, header).sign().finish()),
              HasSubstr("unused        should be zero; not read\n"));
}

TEST_F(DumpFile, ColoursOnlyWhenAskedFor) {
  const std::string bytes = pack().finish();
  EXPECT_THAT(dump(bytes, false, true), HasSubstr("\033["));
  EXPECT_THAT(dump(bytes), Not(HasSubstr("\033")));
}

// A kilobyte of file is no more than so many of dump.
TEST_F(DumpFile, EveryCutAndEveryFlippedByteStaysWithinBounds) {
  const ProductInUse product("a");
  const auto check = [this](const std::string& bytes, std::size_t at) {
    for (const bool full : {false, true}) {
      if (full && at % 16 != 0) continue;  // ten times as long
      const std::string text = dump(bytes, full);
      EXPECT_LT(text.size(), full ? 300000U : 40000U) << at;
      EXPECT_TRUE(std::all_of(text.begin(), text.end(), isHarmless)) << at;
      EXPECT_THAT(text, HasSubstr(good_ ? "\nverdict: good\n" : "^ here: ")) << at;
      if (full) {
        EXPECT_EQ(bytesOfRows(text, ' '), bytes) << at;
      }
    }
  };
  const std::string wholes[] = {vectorPackage("a-mixed.tpk"),
                                pack()
                                    .list(kPartRequires, {PackageDep()})
                                    .part(kPartOnInstall, "true\n")
                                    .archive(someFiles())
                                    .finish()};
  for (const std::string& whole : wholes) {
    for (std::size_t i = 0; i < whole.size(); ++i) {
      check(whole.substr(0, i), i);
      std::string flipped = whole;
      flipped[i] = static_cast<char>(~static_cast<unsigned char>(flipped[i]));
      check(flipped, i);
    }
  }
}

// Compressed a thousandfold: an archive of that many entries is counted, not shown.
TEST_F(DumpFile, ManyEntriesAreNotManyLines) {
  ArchiveBuilder files;
  for (int i = 0; i < 100000; ++i) files.fifo("f");
  const std::string text = dump(pack().archive(files).sign().finish());
  EXPECT_LT(text.size(), 40000U);
  EXPECT_THAT(text, HasSubstr("... 99950 entries more\n"));
}

// Compressed a thousandfold, and read in no more memory than any other archive.
TEST_F(DumpFile, InflatedDataTakeNoMemory) {
#ifdef INSTALLER_SANITIZED
  GTEST_SKIP() << "the sanitizer's own memory is more than the limit";
#endif
  constexpr std::size_t kMegabyte = 1 << 20;
  ArchiveHeader header;
  header.setMode(ArchiveHeader::kRegular | 0644);
  header.setDataSize(0xFFFFFFFF);
  const std::string bomb =
      pack()
          .archive(ArchiveBuilder().entry(header, "", std::string(40 * kMegabyte, '\0')))
          .sign()
          .finish();
  EXPECT_LT(bomb.size(), kMegabyte);
  writeFile(temp_.path() + "/bomb.tpk", bomb);
  Command command;
  command.words = {TPK_PROGRAM, "dump", temp_.path() + "/bomb.tpk"};
  command.prepare = [] {
    const struct rlimit limit = {16 * kMegabyte, 16 * kMegabyte};
    return setrlimit(RLIMIT_DATA, &limit) == 0;
  };
  const ProcessResult result = Process(command).wait(std::chrono::seconds(20));
  EXPECT_TRUE(result.exited(1)) << result;
  EXPECT_THAT(result.out, HasSubstr("^ here: archive: it ends in the middle of \"\"\n"));
  EXPECT_LT(result.out.size(), 10000U);
}

// A part, a name or a list is only as long as the bytes that came.
TEST_F(DumpFile, LengthsAreNotBelieved) {
#ifdef INSTALLER_SANITIZED
  GTEST_SKIP() << "the sanitizer's own memory is more than the limit";
#endif
  constexpr std::size_t kMegabyte = 1 << 20;
  for (const int type : {2, 3, 4, 7, 9, 16, 21, 99}) {
    const std::string path = temp_.path() + "/long.tpk";
    writeFile(path,
              pack().partHeader(static_cast<std::uint16_t>(type), 0xFFFFFFF0).raw("x\1").finish());
    for (const char* word : {"dump", "verify"}) {
      Command command;
      command.words = {TPK_PROGRAM, word, path};
      command.prepare = [] {
        const struct rlimit limit = {16 * kMegabyte, 16 * kMegabyte};
        return setrlimit(RLIMIT_DATA, &limit) == 0;
      };
      const ProcessResult result = Process(command).wait(std::chrono::seconds(20));
      EXPECT_TRUE(result.exited(1)) << type << ": " << result;
      EXPECT_THAT(result.out, HasSubstr("past the end of the file")) << type;
    }
  }
}

}  // namespace
