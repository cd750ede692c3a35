#include "model/packageinfo.h"
#include "stream/ipackstream.h"
#include "tests/model/allocations.h"
#include "tests/support/packbuilder.h"

#include <iterator>
#include <sstream>

#include <gtest/gtest.h>

namespace {

constexpr std::uint32_t kBuilt = 0x5A5B5C5D;

// In the order that they have in a file.
constexpr std::uint16_t kTexts[] = {kPartArchitecture, kPartDescription};
constexpr std::uint16_t kLists[] = {kPartRequires, kPartProvides, kPartConflicts};
constexpr std::uint16_t kInTurn[] = {kPartArchitecture, kPartDescription, kPartRequires,
                                     kPartProvides, kPartConflicts};
constexpr std::uint16_t kNoHeaders[] = {kPartArchitecture, kPartDescription, kPartRequires,
                                        kPartImage};

// What a reader holds beside the data: far more than a chunk, far less than a length that lies.
constexpr std::size_t kSmall = 64 * 1024;

PackBuilder package(const std::string& name = "routing") {
  return PackBuilder().header(name, kVersion, kBuilt);
}

// A package stream over a file in memory, standing on its first part.
class PackReading {
 public:
  explicit PackReading(const std::string& file) : source_(file), in_(source_, true) {
    for (const std::uint32_t type : {kPartBundle, kPartPackage, kPartArchitecture, kPartDescription,
                                     kPartRequires, kPartProvides, kPartConflicts, kPartImage}) {
      in_.accept(type);
    }
    in_.next();
  }
  explicit PackReading(const PackBuilder& builder) : PackReading(builder.finish()) {}

  ipackstream& stream() { return in_; }
  std::uint32_t type() const { return in_.type(); }
  std::string rest() {
    return std::string(std::istreambuf_iterator<char>(in_), std::istreambuf_iterator<char>());
  }

 private:
  std::istringstream source_;
  ipackstream in_;
};

bool readsName(const std::string& name) {
  PackReading pack(package(name));
  PackageInfo info;
  return info.readFrom(pack.stream()) && info.name == name;
}

TEST(ReadHeader, TakesNameVersionAndBuildTime) {
  PackReading pack(package());
  PackageInfo info;
  ASSERT_TRUE(info.readFrom(pack.stream()));
  EXPECT_EQ(info.name, "routing");
  EXPECT_EQ(info.version, kVersion);
  EXPECT_EQ(info.buildTime, kBuilt);
  EXPECT_FALSE(info.isBundle);
  EXPECT_FALSE(info.hasImage);
}

TEST(ReadHeader, NumbersAreLittleEndian) {
  std::string record = packageHeader("a", 0, 0);
  record.replace(PackageHeader::kVersion, 8, "\x01\x02\x03\x04\x05\x06\x07\x08");
  PackReading pack(PackBuilder().part(kPartPackage, record));
  PackageInfo info;
  ASSERT_TRUE(info.readFrom(pack.stream()));
  EXPECT_EQ(info.version, 0x04030201u);
  EXPECT_EQ(info.buildTime, 0x08070605u);
}

TEST(ReadHeader, OfABundleMarksTheBundle) {
  PackReading pack(PackBuilder().bundleHeader("all", kVersion));
  PackageInfo info;
  ASSERT_TRUE(info.readFrom(pack.stream()));
  EXPECT_TRUE(info.isBundle);
  EXPECT_EQ(info.name, "all");
}

TEST(ReadHeader, IgnoresTheLastEightBytesOfTheRecord) {
  std::string record = packageHeader("a", kVersion, kBuilt);
  record.replace(PackageHeader::kUnused, 8, 8, '\xFF');
  PackReading pack(PackBuilder().part(kPartPackage, record));
  PackageInfo info;
  ASSERT_TRUE(info.readFrom(pack.stream()));
  EXPECT_EQ(info.name, "a");
  EXPECT_EQ(info.version, kVersion);
  EXPECT_EQ(info.buildTime, kBuilt);
}

TEST(ReadHeader, IgnoresBytesBehindTheRecord) {
  PackReading pack(PackBuilder()
                       .part(kPartPackage, packageHeader("a", kVersion, kBuilt) + "behind")
                       .part(kPartArchitecture, "mipsel"));
  PackageInfo info;
  ASSERT_TRUE(info.readFrom(pack.stream()));
  EXPECT_EQ(info.arch, "mipsel");
}

TEST(ReadHeader, FailsOnARecordThatIsTooShort) {
  for (std::size_t size = 0; size < PackageHeader::kSize; ++size) {
    PackReading pack(PackBuilder()
                         .part(kPartPackage, packageHeader("a", kVersion, kBuilt).substr(0, size))
                         .part(kPartDescription, std::string(40, 'x')));
    PackageInfo info;
    EXPECT_FALSE(info.readFrom(pack.stream())) << size;
  }
}

TEST(ReadHeader, FailsOnAnyOtherPart) {
  for (const std::uint16_t type : kNoHeaders) {
    PackReading pack(PackBuilder().part(type, packageHeader("a", kVersion, kBuilt)));
    ASSERT_EQ(pack.type(), type);
    PackageInfo info;
    EXPECT_FALSE(info.readFrom(pack.stream())) << type;
  }
}

TEST(ReadHeader, FailsAtTheEndOfTheFile) {
  PackReading pack{PackBuilder()};
  PackageInfo info;
  EXPECT_FALSE(info.readFrom(pack.stream()));
}

TEST(ReadHeader, FailsBeforeTheFirstPart) {
  std::istringstream source(package().finish());
  ipackstream in(source, true);
  in.accept(kPartPackage);
  PackageInfo info;
  EXPECT_FALSE(info.readFrom(in));
}

TEST(ReadHeader, NameOfFullWidthNeedsNoTerminator) { EXPECT_TRUE(readsName("sixteen-bytes-16")); }

TEST(ReadHeader, NameEndsAtTheFirstNul) {
  std::string record = packageHeader("abc", kVersion, kBuilt);
  record.replace(4, 4, "tail");
  PackReading pack(PackBuilder().part(kPartPackage, record));
  PackageInfo info;
  ASSERT_TRUE(info.readFrom(pack.stream()));
  EXPECT_EQ(info.name, "abc");
}

TEST(ReadHeader, NameMustBeAnEntryOfADirectory) {
  for (const char* name : {"", ".", "..", "/", "/a", "a/", "a/b", "../a", "./a", "//"}) {
    EXPECT_FALSE(readsName(name)) << name;
  }
}

TEST(ReadHeader, NameWithDotsMayBeAnEntryOfADirectory) {
  for (const char* name : {"...", ".a", "..a", "a..", "a.b", "\\", " "}) {
    EXPECT_TRUE(readsName(name)) << name;
  }
}

TEST(ReadHeader, NameOfABundleMustBeAnEntryOfADirectoryToo) {
  PackReading pack(PackBuilder().bundleHeader("", kVersion));
  PackageInfo info;
  EXPECT_FALSE(info.readFrom(pack.stream()));
}

TEST(ReadHeader, ArchitectureIsTheWholePart) {
  PackReading pack(package().part(kPartArchitecture, "mipsel"));
  PackageInfo info;
  ASSERT_TRUE(info.readFrom(pack.stream()));
  EXPECT_EQ(info.arch, "mipsel");
}

TEST(ReadHeader, ArchitectureIsTheDefaultWithoutItsPart) {
  PackReading pack(package());
  PackageInfo info;
  ASSERT_TRUE(info.readFrom(pack.stream()));
  EXPECT_EQ(info.arch, "i386");
}

TEST(ReadHeader, ArchitectureIsEmptyWithAnEmptyPart) {
  PackReading pack(package().part(kPartArchitecture, ""));
  PackageInfo info;
  ASSERT_TRUE(info.readFrom(pack.stream()));
  EXPECT_EQ(info.arch, "");
}

TEST(ReadHeader, TextsKeepEveryByte) {
  const std::string text("a\0b\n\xFF\0", 6);
  PackReading pack(package().part(kPartArchitecture, text).part(kPartDescription, text + text));
  PackageInfo info;
  ASSERT_TRUE(info.readFrom(pack.stream()));
  EXPECT_EQ(info.arch, text);
  EXPECT_EQ(info.description, text + text);
}

TEST(ReadHeader, TextsMayBeLong) {
  for (const std::size_t size : {4095u, 4096u, 4097u, 100000u}) {
    std::string text(size, 'x');
    text.back() = 'y';
    PackReading pack(package().part(kPartDescription, text));
    PackageInfo info;
    ASSERT_TRUE(info.readFrom(pack.stream()));
    EXPECT_EQ(info.description, text) << size;
  }
}

TEST(ReadHeader, DescriptionIsEmptyWithoutItsPart) {
  PackReading pack(package().list(kPartRequires, {dep("a")}));
  PackageInfo info;
  ASSERT_TRUE(info.readFrom(pack.stream()));
  EXPECT_EQ(info.description, "");
}

TEST(ReadHeader, TakesEachListIntoItsPlace) {
  PackReading pack(package()
                       .list(kPartRequires, {dep("a", 1, 2), dep("b")})
                       .list(kPartProvides, {dep("c", 3, 4, -5)})
                       .list(kPartConflicts, {dep("d", 6, 7), dep("e"), dep("f")}));
  PackageInfo info;
  ASSERT_TRUE(info.readFrom(pack.stream()));
  ASSERT_EQ(info.deps.size(), 2u);
  EXPECT_EQ(info.deps[0].name, "a");
  EXPECT_EQ(info.deps[0].minVersion, 1u);
  EXPECT_EQ(info.deps[0].maxVersion, 2u);
  EXPECT_EQ(info.deps[1].name, "b");
  ASSERT_EQ(info.provides.size(), 1u);
  EXPECT_EQ(info.provides[0].name, "c");
  EXPECT_EQ(info.provides[0].weight, -5);
  ASSERT_EQ(info.conflicts.size(), 3u);
  EXPECT_EQ(info.conflicts[0].name, "d");
  EXPECT_EQ(info.conflicts[2].name, "f");
}

TEST(ReadHeader, EveryOptionalPartMayBeMissing) {
  const std::vector<PackageDep> list = {dep("x")};
  // Bit i of the mask: the i-th optional part is there.
  for (unsigned mask = 0; mask < 64; ++mask) {
    PackBuilder builder = package();
    if (mask & 1) builder.part(kPartArchitecture, "mipsel");
    if (mask & 2) builder.part(kPartDescription, "text");
    if (mask & 4) builder.list(kPartRequires, list);
    if (mask & 8) builder.list(kPartProvides, list);
    if (mask & 16) builder.list(kPartConflicts, list);
    if (mask & 32) builder.image();
    PackReading pack(builder);
    PackageInfo info;
    ASSERT_TRUE(info.readFrom(pack.stream())) << mask;
    EXPECT_EQ(info.arch, mask & 1 ? "mipsel" : "i386") << mask;
    EXPECT_EQ(info.description, mask & 2 ? "text" : "") << mask;
    EXPECT_EQ(info.deps.size(), mask & 4 ? 1u : 0u) << mask;
    EXPECT_EQ(info.provides.size(), mask & 8 ? 1u : 0u) << mask;
    EXPECT_EQ(info.conflicts.size(), mask & 16 ? 1u : 0u) << mask;
    EXPECT_EQ(info.hasImage, (mask & 32) != 0) << mask;
    EXPECT_EQ(pack.type(), mask & 32 ? std::uint32_t{kPartImage} : std::uint32_t{kNoPart}) << mask;
  }
}

TEST(ReadHeader, PartBehindItsTurnIsNotRead) {
  const std::string list = dependencyList({dep("x")});
  for (std::size_t late = 0; late < std::size(kInTurn); ++late) {
    for (std::size_t before = late + 1; before < std::size(kInTurn); ++before) {
      PackReading pack(package().part(kInTurn[before], list).part(kInTurn[late], list));
      PackageInfo info;
      ASSERT_TRUE(info.readFrom(pack.stream())) << late << ' ' << before;
      EXPECT_EQ(pack.type(), kInTurn[late]) << late << ' ' << before;
      EXPECT_EQ(pack.stream().remaining(), list.size()) << late << ' ' << before;
      EXPECT_EQ(info.arch, "i386");
      EXPECT_TRUE(late != 1 || info.description.empty());
      EXPECT_TRUE(late != 2 || info.deps.empty());
      EXPECT_TRUE(late != 3 || info.provides.empty());
    }
  }
}

TEST(ReadHeader, SecondPartOfAKindIsNotRead) {
  const std::string list = dependencyList({dep("x")});
  for (const std::uint16_t type : kInTurn) {
    PackReading pack(package().part(type, list).part(type, list));
    PackageInfo info;
    ASSERT_TRUE(info.readFrom(pack.stream())) << type;
    EXPECT_EQ(pack.type(), type);
    EXPECT_EQ(pack.stream().remaining(), list.size()) << type;
    EXPECT_LE(info.deps.size() + info.provides.size() + info.conflicts.size(), 1u) << type;
  }
}

TEST(ReadHeader, ImageMarkerIsSeenAndLeftAlone) {
  PackReading pack(
      package().list(kPartConflicts, {}).image("contents").part(kPartDescription, "behind"));
  PackageInfo info;
  ASSERT_TRUE(info.readFrom(pack.stream()));
  EXPECT_TRUE(info.hasImage);
  EXPECT_EQ(pack.type(), kPartImage);
  EXPECT_EQ(pack.rest(), "contents");
}

TEST(ReadHeader, ImageMarkerBehindItsTurnIsNotSeen) {
  PackReading pack(package().header("next", kVersion).image());
  PackageInfo info;
  ASSERT_TRUE(info.readFrom(pack.stream()));
  EXPECT_FALSE(info.hasImage);
  EXPECT_EQ(pack.type(), kPartPackage);
}

TEST(ReadHeader, LeavesTheStreamGoodOnThePartBehind) {
  PackReading pack(package()
                       .part(kPartArchitecture, "mipsel")
                       .part(kPartDescription, "text")
                       .list(kPartRequires, {dep("x")})
                       .header("next", kVersion));
  PackageInfo info;
  ASSERT_TRUE(info.readFrom(pack.stream()));
  EXPECT_TRUE(pack.stream().good());
  EXPECT_EQ(pack.rest(), packageHeader("next", kVersion, 0));
}

TEST(ReadHeader, PartsThatTheStreamDoesNotAcceptAreInvisible) {
  PackReading pack(package()
                       .part(kPartOnInstall, "script")
                       .part(kPartArchitecture, "mipsel")
                       .part(99, "unknown")
                       .part(kPartDescription, "text"));
  PackageInfo info;
  ASSERT_TRUE(info.readFrom(pack.stream()));
  EXPECT_EQ(info.arch, "mipsel");
  EXPECT_EQ(info.description, "text");
}

TEST(ReadHeader, DescriptionStaysEmptyWhenTheStreamDoesNotAcceptIt) {
  const std::string file =
      package().part(kPartDescription, "text").list(kPartRequires, {dep("x")}).finish();
  std::istringstream source(file);
  ipackstream in(source, true);
  in.accept(kPartPackage);
  in.accept(kPartRequires);
  in.next();
  PackageInfo info;
  ASSERT_TRUE(info.readFrom(in));
  EXPECT_EQ(info.description, "");
  EXPECT_EQ(info.deps.size(), 1u);
}

TEST(ReadHeader, FailsOnATextThatIsCutShort) {
  for (const std::uint16_t type : kTexts) {
    for (const std::uint32_t length : {1u, 5u, 0xFFFFFFFFu}) {
      PackReading pack(package().partHeader(type, length).raw(length == 1 ? "" : "text"));
      PackageInfo info;
      EXPECT_FALSE(info.readFrom(pack.stream())) << type << ' ' << length;
    }
  }
}

TEST(ReadHeader, FailsOnAListThatIsCutShort) {
  const std::string list = dependencyList({dep("x")});
  for (const std::uint16_t type : kLists) {
    for (std::size_t size = 0; size < list.size(); ++size) {
      PackReading pack(package().part(type, list.substr(0, size)).part(kPartImage, list));
      PackageInfo info;
      EXPECT_FALSE(info.readFrom(pack.stream())) << type << ' ' << size;
    }
  }
}

// Otherwise the tests below would show nothing.
TEST(LargestBlock, IsSeen) {
  forgetLargestBlock();
  std::istringstream source(std::string(kSmall, 'x'));
  EXPECT_GE(largestBlock(), kSmall);
}

TEST(ReadHeader, TextLengthThatLiesTakesNoMemory) {
  for (const std::uint16_t type : kTexts) {
    PackReading pack(package().partHeader(type, 0xFFFFFFFF).raw("few bytes"));
    PackageInfo info;
    forgetLargestBlock();
    EXPECT_FALSE(info.readFrom(pack.stream()));
    EXPECT_LT(largestBlock(), kSmall) << type;
  }
}

TEST(ReadHeader, HeaderLengthThatLiesTakesNoMemory) {
  PackReading pack(
      PackBuilder().partHeader(kPartPackage, 0xFFFFFFFF).raw(packageHeader("a", kVersion, kBuilt)));
  PackageInfo info;
  forgetLargestBlock();
  EXPECT_TRUE(info.readFrom(pack.stream()));
  EXPECT_EQ(info.name, "a");
  EXPECT_EQ(pack.type(), kNoPart);
  EXPECT_LT(largestBlock(), kSmall);
}

TEST(ReadHeader, ListLengthThatLiesTakesNoMemory) {
  const std::string list = dependencyList({dep("x"), dep("y")});
  for (const std::uint16_t type : kLists) {
    PackReading pack(package().partHeader(type, 0xFFFFFFFF).raw("\xFF\xFF" + list.substr(2)));
    PackageInfo info;
    forgetLargestBlock();
    EXPECT_FALSE(info.readFrom(pack.stream()));
    EXPECT_LT(largestBlock(), kSmall) << type;
    EXPECT_EQ(info.deps.size() + info.provides.size() + info.conflicts.size(), 2u);
  }
}

// readDeps on a part with these contents.
struct ListRead {
  bool ok;
  std::vector<PackageDep> list;
};

ListRead readList(const std::string& contents, const std::vector<PackageDep>& before = {}) {
  PackReading pack(PackBuilder().part(kPartRequires, contents));
  ListRead result{false, before};
  result.ok = readDeps(pack.stream(), result.list);
  return result;
}

TEST(ReadDeps, TakesEveryFieldOfARecord) {
  const ListRead read = readList(dependencyList({dep("virtual", 0x01020304, 0x05060708, -9)}));
  ASSERT_TRUE(read.ok);
  ASSERT_EQ(read.list.size(), 1u);
  EXPECT_EQ(read.list[0].name, "virtual");
  EXPECT_EQ(read.list[0].minVersion, 0x01020304u);
  EXPECT_EQ(read.list[0].maxVersion, 0x05060708u);
  EXPECT_EQ(read.list[0].weight, -9);
}

TEST(ReadDeps, FindsTheFieldsAtTheirPlaces) {
  std::string bytes("\x01\x00", 2);
  bytes += std::string("abc\0zzzzzzzzzzzz", 16) + "\x01\x02\x03\x04" + "unus" +
           std::string("\x05\x06\x07\x08", 4) + "\xFE\xFF\xFF\xFF";
  const ListRead read = readList(bytes);
  ASSERT_TRUE(read.ok);
  ASSERT_EQ(read.list.size(), 1u);
  EXPECT_EQ(read.list[0].name, "abc");
  EXPECT_EQ(read.list[0].minVersion, 0x04030201u);
  EXPECT_EQ(read.list[0].maxVersion, 0x08070605u);
  EXPECT_EQ(read.list[0].weight, -2);
}

TEST(ReadDeps, NameOfFullWidthNeedsNoTerminator) {
  const ListRead read = readList(dependencyList({dep("sixteen-bytes-16"), dep("b")}));
  ASSERT_TRUE(read.ok);
  ASSERT_EQ(read.list.size(), 2u);
  EXPECT_EQ(read.list[0].name, "sixteen-bytes-16");
}

TEST(ReadDeps, AnyNameIsTaken) {
  const ListRead read = readList(dependencyList({dep(""), dep("a/b")}));
  ASSERT_TRUE(read.ok);
  ASSERT_EQ(read.list.size(), 2u);
  EXPECT_EQ(read.list[0].name, "");
  EXPECT_EQ(read.list[1].name, "a/b");
}

TEST(ReadDeps, CountZeroIsAnEmptyList) {
  const ListRead read = readList(dependencyList({}));
  EXPECT_TRUE(read.ok);
  EXPECT_TRUE(read.list.empty());
}

TEST(ReadDeps, KeepsTheOrderAndAppends) {
  const ListRead read = readList(dependencyList({dep("b"), dep("a"), dep("b")}), {dep("first")});
  ASSERT_TRUE(read.ok);
  ASSERT_EQ(read.list.size(), 4u);
  EXPECT_EQ(read.list[0].name, "first");
  EXPECT_EQ(read.list[1].name, "b");
  EXPECT_EQ(read.list[2].name, "a");
  EXPECT_EQ(read.list[3].name, "b");
}

TEST(ReadDeps, IgnoresBytesBehindTheList) {
  const ListRead read = readList(dependencyList({dep("a")}) + std::string(40, 'x'));
  ASSERT_TRUE(read.ok);
  EXPECT_EQ(read.list.size(), 1u);
}

TEST(ReadDeps, FailsWithoutACount) {
  EXPECT_FALSE(readList("").ok);
  EXPECT_FALSE(readList("\x01").ok);
}

TEST(ReadDeps, CountLargerThanTheListFailsAndKeepsTheEntries) {
  std::string bytes = dependencyList({dep("a"), dep("b")});
  bytes[0] = 3;
  const ListRead read = readList(bytes);
  EXPECT_FALSE(read.ok);
  ASSERT_EQ(read.list.size(), 2u);
  EXPECT_EQ(read.list[1].name, "b");
}

TEST(ReadDeps, RecordCutShortFailsAndKeepsTheEntriesBefore) {
  const std::string bytes = dependencyList({dep("a"), dep("b")});
  const ListRead read = readList(bytes.substr(0, bytes.size() - 1));
  EXPECT_FALSE(read.ok);
  ASSERT_EQ(read.list.size(), 1u);
  EXPECT_EQ(read.list[0].name, "a");
}

TEST(ReadDeps, TakesTheLargestCount) {
  const ListRead read = readList(dependencyList(std::vector<PackageDep>(0xFFFF, dep("a", 1))));
  EXPECT_TRUE(read.ok);
  EXPECT_EQ(read.list.size(), 0xFFFFu);
}

}  // namespace
