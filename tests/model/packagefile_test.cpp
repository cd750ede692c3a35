#include "model/packagefile.h"

#include "stream/ipackstream.h"
#include "tests/support/packbuilder.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// A folder with one package file in it.
class PackageFileTest : public testing::Test {
 protected:
  PackageFileTest() {
    char pattern[] = "/tmp/packagefile.XXXXXX";
    folder_ = mkdtemp(pattern);
    path_ = folder_ + "/a.tpk";
  }
  ~PackageFileTest() override {
    unlink(path_.c_str());
    rmdir(folder_.c_str());
  }

  void put(const std::string& bytes) {
    unlink(path_.c_str());  // some file systems write a file out at once when it is truncated
    std::ofstream(path_, std::ios::binary) << bytes;
  }
  void put(const PackBuilder& builder) { put(builder.finish()); }
  bool read() { return file_.readFrom(path_); }
  bool reads(const PackBuilder& builder) {
    put(builder);
    return read();
  }
  std::vector<std::string> carried() const {
    std::vector<std::string> names;
    for (const PackageInfo* package : file_.subPackages) names.push_back(package->name);
    return names;
  }

  std::string folder_;
  std::string path_;
  PackageFile file_;
};

PackBuilder single() {
  return PackBuilder()
      .header("routing", kVersion, 77)
      .part(kPartArchitecture, "mipsel")
      .part(kPartDescription, "routes")
      .list(kPartRequires, {dep("system"), dep("ipv6")})
      .list(kPartProvides, {dep("router")})
      .list(kPartConflicts, {dep("routing-test")})
      .image("img")
      .part(kPartOnInstall, "script")
      .part(kPartArchive, "archive")
      .sign();
}

PackBuilder bundle() {
  return PackBuilder()
      .bundleHeader("all", kVersion, 78)
      .part(kPartArchitecture, "mipsel")
      .image("img")
      .list(kPartTurnOff, {dep("hotspot")})
      .header("system", kVersion, 79)
      .part(kPartArchitecture, "mipsel")
      .image("img")
      .part(kPartArchive, "archive")
      .sign()
      .header("routing", kVersion, 80)
      .part(kPartDescription, "routes")
      .list(kPartRequires, {dep("system")})
      .part(kPartArchive, "archive")
      .sign();
}

TEST(HasPostfix, TrueForTheEndOfTheText) {
  EXPECT_TRUE(hasPostfix("a.tpk", kPackageSuffix));
  EXPECT_TRUE(hasPostfix(".tpk", kPackageSuffix));
  EXPECT_TRUE(hasPostfix("a.mpk", kOtherPackageSuffix));
}

TEST(HasPostfix, FalseForAnythingElse) {
  EXPECT_FALSE(hasPostfix("a.tpk.", kPackageSuffix));
  EXPECT_FALSE(hasPostfix("a.tpkx", kPackageSuffix));
  EXPECT_FALSE(hasPostfix("a.mpk", kPackageSuffix));
}

TEST(HasPostfix, CaseCounts) { EXPECT_FALSE(hasPostfix("a.TPK", kPackageSuffix)); }

TEST(HasPostfix, FalseForATextShorterThanThePostfix) {
  EXPECT_FALSE(hasPostfix("tpk", kPackageSuffix));
  EXPECT_FALSE(hasPostfix("", kPackageSuffix));
}

TEST_F(PackageFileTest, ReadsASinglePackage) {
  ASSERT_TRUE(reads(single()));
  EXPECT_EQ(file_.name, "routing");
  EXPECT_EQ(file_.version, kVersion);
  EXPECT_EQ(file_.buildTime, 77u);
  EXPECT_EQ(file_.arch, "mipsel");
  EXPECT_EQ(file_.description, "routes");
  EXPECT_EQ(file_.deps.size(), 2u);
  EXPECT_EQ(file_.provides.size(), 1u);
  EXPECT_EQ(file_.conflicts.size(), 1u);
  EXPECT_TRUE(file_.hasImage);
  EXPECT_FALSE(file_.isBundle);
  EXPECT_TRUE(file_.subPackages.empty());
}

TEST_F(PackageFileTest, SetsBothPathsToWhereTheFileIs) {
  ASSERT_TRUE(reads(single()));
  EXPECT_EQ(file_.path, path_);
  EXPECT_EQ(file_.foundPath, path_);
}

TEST_F(PackageFileTest, SetsBothPathsAlsoWhenReadingFails) {
  EXPECT_FALSE(read());
  EXPECT_EQ(file_.path, path_);
  EXPECT_EQ(file_.foundPath, path_);
}

TEST_F(PackageFileTest, SizeIsThatOfTheWholeFile) {
  ASSERT_TRUE(reads(single()));
  EXPECT_EQ(file_.size, single().finish().size());
}

TEST_F(PackageFileTest, TellsDumbPackages) {
  ASSERT_TRUE(reads(PackBuilder(true).header("a", kVersion)));
  EXPECT_TRUE(file_.isDumb);
}

TEST_F(PackageFileTest, TellsPackagesThatAreNotDumb) {
  ASSERT_TRUE(reads(PackBuilder().header("a", kVersion)));
  EXPECT_FALSE(file_.isDumb);
}

TEST_F(PackageFileTest, ReadsNoFurtherThanOnePackageOfAFileWithoutBundleHeader) {
  ASSERT_TRUE(reads(PackBuilder().header("a", kVersion).header("", kVersion)));
  EXPECT_EQ(file_.name, "a");
  EXPECT_TRUE(file_.subPackages.empty());
}

TEST_F(PackageFileTest, RefusesAMissingFile) { EXPECT_FALSE(read()); }

TEST_F(PackageFileTest, RefusesAFolder) { EXPECT_FALSE(file_.readFrom(folder_)); }

TEST_F(PackageFileTest, RefusesAnEmptyFile) {
  put("");
  EXPECT_FALSE(read());
}

TEST_F(PackageFileTest, RefusesAFileOfAnotherKind) {
  std::string bytes = single().finish();
  bytes[0] = static_cast<char>(bytes[0] ^ 1);
  put(bytes);
  EXPECT_FALSE(read());
}

TEST_F(PackageFileTest, RefusesAFileWithoutParts) { EXPECT_FALSE(reads(PackBuilder())); }

TEST_F(PackageFileTest, RefusesAFileThatDoesNotBeginWithAHeader) {
  EXPECT_FALSE(reads(PackBuilder().part(kPartArchitecture, "mipsel").header("a", kVersion)));
}

TEST_F(PackageFileTest, PassesOverPartsOfOtherTypesBeforeTheHeader) {
  EXPECT_TRUE(reads(PackBuilder().part(99, "x").header("a", kVersion)));
}

TEST_F(PackageFileTest, RefusesAPaddedFileBeforeAnyPartIsRead) {
  put(single().finish() + '\0');
  EXPECT_FALSE(read());
  EXPECT_EQ(file_.name, "");
  EXPECT_EQ(file_.size, single().finish().size());
}

TEST_F(PackageFileTest, RefusesATruncatedFileBeforeAnyPartIsRead) {
  const std::string bytes = single().finish();
  put(bytes.substr(0, bytes.size() - 1));
  EXPECT_FALSE(read());
  EXPECT_EQ(file_.name, "");
}

TEST_F(PackageFileTest, SizeThatNeedsMoreThan32BitsStaysAtTheLargest) {
  std::string bytes = PackBuilder().header("a", kVersion).finish();
  bytes.replace(FileHeader::kLength, 4, 4, '\xFF');
  put(bytes);
  EXPECT_FALSE(read());
  EXPECT_EQ(file_.size, 0xFFFFFFFFu);
}

// The file is gone from its folder before its size is asked for: the header has arrived through a
// pipe whose name the writer removed first.
TEST_F(PackageFileTest, GoesOnWhenTheSizeOnDiskIsUnknown) {
  ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
  std::thread writer([this] {
    const int pipe = open(path_.c_str(), O_WRONLY);
    unlink(path_.c_str());
    const std::string bytes = PackBuilder().header("a", kVersion).finish();
    EXPECT_EQ(write(pipe, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    close(pipe);
  });
  EXPECT_TRUE(read());
  writer.join();
  EXPECT_EQ(file_.name, "a");
}

TEST_F(PackageFileTest, ReadsABundleInFileOrder) {
  ASSERT_TRUE(reads(bundle()));
  EXPECT_TRUE(file_.isBundle);
  EXPECT_EQ(file_.name, "all");
  EXPECT_EQ(file_.buildTime, 78u);
  EXPECT_EQ(file_.arch, "mipsel");
  EXPECT_EQ(carried(), (std::vector<std::string>{"system", "routing"}));
}

TEST_F(PackageFileTest, DescribesEveryPackageOfABundle) {
  ASSERT_TRUE(reads(bundle()));
  ASSERT_EQ(file_.subPackages.size(), 2u);
  const PackageInfo& system = *file_.subPackages.front();
  const PackageInfo& routing = *file_.subPackages.back();
  EXPECT_EQ(system.buildTime, 79u);
  EXPECT_EQ(system.arch, "mipsel");
  EXPECT_TRUE(system.hasImage);
  EXPECT_FALSE(system.isBundle);
  EXPECT_EQ(routing.buildTime, 80u);
  EXPECT_EQ(routing.arch, "i386");
  EXPECT_EQ(routing.description, "routes");
  EXPECT_EQ(routing.deps.size(), 1u);
  EXPECT_FALSE(routing.hasImage);
}

TEST_F(PackageFileTest, StepsOverTheImageMarkerOfABundle) {
  ASSERT_TRUE(reads(PackBuilder().bundleHeader("all", kVersion).image().header("a", kVersion)));
  EXPECT_TRUE(file_.hasImage);
  EXPECT_EQ(carried(), std::vector<std::string>{"a"});
}

TEST_F(PackageFileTest, BundleWithoutImageMarkerHasNone) {
  ASSERT_TRUE(reads(PackBuilder().bundleHeader("all", kVersion).header("a", kVersion)));
  EXPECT_FALSE(file_.hasImage);
}

TEST_F(PackageFileTest, StepsOverOneImageMarkerOnly) {
  EXPECT_FALSE(
      reads(PackBuilder().bundleHeader("all", kVersion).image().image().header("a", kVersion)));
}

TEST_F(PackageFileTest, RefusesABundleWithoutPackages) {
  EXPECT_FALSE(reads(PackBuilder().bundleHeader("all", kVersion)));
}

TEST_F(PackageFileTest, RefusesABundleWithoutPackagesBehindItsImageMarker) {
  EXPECT_FALSE(reads(PackBuilder().bundleHeader("all", kVersion).image()));
}

TEST_F(PackageFileTest, RefusesABundleWithAnotherPartBeforeItsPackages) {
  EXPECT_FALSE(reads(PackBuilder()
                         .bundleHeader("all", kVersion)
                         .list(kPartConflicts, {})
                         .part(kPartDescription, "late")
                         .header("a", kVersion)));
}

TEST_F(PackageFileTest, BundleEndsAtAPartOutOfTurn) {
  ASSERT_TRUE(reads(PackBuilder()
                        .bundleHeader("all", kVersion)
                        .header("a", kVersion)
                        .list(kPartConflicts, {})
                        .part(kPartDescription, "late")
                        .header("b", kVersion)));
  EXPECT_EQ(carried(), std::vector<std::string>{"a"});
}

TEST_F(PackageFileTest, BundleEndsAtAnotherBundleHeader) {
  ASSERT_TRUE(reads(PackBuilder()
                        .bundleHeader("all", kVersion)
                        .header("a", kVersion)
                        .bundleHeader("more", kVersion)
                        .header("b", kVersion)));
  EXPECT_EQ(carried(), std::vector<std::string>{"a"});
}

TEST_F(PackageFileTest, BrokenPackageInABundleBreaksTheBundle) {
  EXPECT_FALSE(reads(PackBuilder()
                         .bundleHeader("all", kVersion)
                         .header("a", kVersion)
                         .part(kPartPackage, "too short")));
  EXPECT_EQ(carried(), std::vector<std::string>{"a"});
}

TEST_F(PackageFileTest, PackageWithoutUsableNameBreaksTheBundle) {
  EXPECT_FALSE(reads(
      PackBuilder().bundleHeader("all", kVersion).header("a", kVersion).header("..", kVersion)));
}

// Where the contents of a part begin and end in the file.
struct PartSpan {
  std::uint16_t type;
  std::size_t begin;
  std::size_t end;
};

std::vector<PartSpan> partsOf(const std::string& file) {
  std::vector<PartSpan> parts;
  std::size_t position = FileHeader::kSize;
  while (position < file.size()) {
    PartHeader header;
    file.copy(reinterpret_cast<char*>(header.bytes), PartHeader::kSize, position);
    position += PartHeader::kSize;
    parts.push_back({header.type(), position, position + header.length()});
    position += header.length();
  }
  return parts;
}

void setLengthField(std::string& file) {
  unsigned char length[4];
  put32(length, static_cast<std::uint32_t>(file.size() - FileHeader::kSize));
  file.replace(FileHeader::kLength, 4, reinterpret_cast<const char*>(length), 4);
}

bool belongsToADescription(std::uint16_t type) {
  return type == kPartPackage || type == kPartBundle || type == kPartArchitecture ||
         type == kPartDescription || type == kPartRequires || type == kPartProvides ||
         type == kPartConflicts;
}

// Whether a file cut to size bytes still holds a description: the first package's header is whole,
// and the cut is not inside something that the description needs.
bool isReadableUpTo(const std::string& file, std::size_t size) {
  for (const PartSpan& part : partsOf(file)) {
    if (part.begin <= size && size < part.end && belongsToADescription(part.type)) return false;
    if (part.type == kPartPackage && size < part.end) return false;
    if (part.type == kPartPackage) break;
  }
  for (const PartSpan& part : partsOf(file)) {
    if (part.begin <= size && size < part.end) return !belongsToADescription(part.type);
  }
  return true;
}

// Reads like PackageFile::readFrom, without the file and its size.
bool readsFromMemory(const std::string& bytes, PackageInfo& info) {
  std::istringstream source(bytes);
  ipackstream in(source, true);
  for (const std::uint32_t type : {kPartBundle, kPartPackage, kPartArchitecture, kPartDescription,
                                   kPartRequires, kPartProvides, kPartConflicts, kPartImage}) {
    in.accept(type);
  }
  in.next();
  return info.readFrom(in);
}

bool canBeEntry(const std::string& name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
}

TEST_F(PackageFileTest, RefusesEveryTruncation) {
  for (const std::string& bytes : {single().finish(), bundle().finish()}) {
    for (std::size_t size = 0; size < bytes.size(); ++size) {
      put(bytes.substr(0, size));
      PackageFile file;
      EXPECT_FALSE(file.readFrom(path_)) << size;
    }
  }
}

TEST_F(PackageFileTest, TruncationWithFittingLengthFailsInsideADescriptionOnly) {
  for (const std::string& bytes : {single().finish(), bundle().finish()}) {
    ASSERT_TRUE(isReadableUpTo(bytes, bytes.size()));
    for (std::size_t size = FileHeader::kSize; size <= bytes.size(); ++size) {
      std::string cut = bytes.substr(0, size);
      setLengthField(cut);
      put(cut);
      PackageFile file;
      EXPECT_EQ(file.readFrom(path_), isReadableUpTo(bytes, size)) << size;
    }
  }
}

TEST_F(PackageFileTest, TruncationInMemoryFailsInsideTheDescriptionOnly) {
  const std::string bytes = single().finish();
  for (std::size_t size = 0; size <= bytes.size(); ++size) {
    PackageInfo info;
    EXPECT_EQ(readsFromMemory(bytes.substr(0, size), info),
              size >= FileHeader::kSize && isReadableUpTo(bytes, size))
        << size;
  }
}

TEST_F(PackageFileTest, EveryFlippedByteIsRefusedOrDescribesAPackage) {
  for (const std::string& bytes : {single().finish(), bundle().finish()}) {
    for (std::size_t at = 0; at < bytes.size(); ++at) {
      for (const int mask : {0x01, 0x10, 0x80, 0xFF}) {
        std::string flipped = bytes;
        flipped[at] = static_cast<char>(flipped[at] ^ mask);
        put(flipped);
        PackageFile file;
        const bool ok = file.readFrom(path_);
        if (at < FileHeader::kSize) {
          EXPECT_FALSE(ok) << at << ' ' << mask;
        }
        if (ok) {
          EXPECT_TRUE(canBeEntry(file.name)) << at << ' ' << mask;
          EXPECT_EQ(file.subPackages.empty(), !file.isBundle) << at << ' ' << mask;
          EXPECT_EQ(file.size, bytes.size());
        }
      }
    }
  }
}

TEST_F(PackageFileTest, EveryFlippedByteInMemoryIsRefusedOrDescribesAPackage) {
  const std::string bytes = single().finish();
  for (std::size_t at = 0; at < bytes.size(); ++at) {
    for (const int mask : {0x01, 0x10, 0x80, 0xFF}) {
      std::string flipped = bytes;
      flipped[at] = static_cast<char>(flipped[at] ^ mask);
      PackageInfo info;
      const bool ok = readsFromMemory(flipped, info);
      if (at < FileHeader::kLength) {
        EXPECT_FALSE(ok) << at << ' ' << mask;
      }
      if (ok) {
        EXPECT_TRUE(canBeEntry(info.name)) << at << ' ' << mask;
      }
    }
  }
}

}  // namespace
