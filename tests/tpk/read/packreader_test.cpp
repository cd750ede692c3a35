#include "tools/tpk/read/packreader.h"

#include "tests/support/hex.h"
#include "tests/support/packbuilder.h"
#include "tests/support/tree.h"
#include "tests/support/vectors.h"
#include "tests/tpk/failuretext.h"
#include "tools/tpk/read/inputfile.h"

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

class PackReader : public ::testing::Test {
 protected:
  PackedFile read(const std::string& package) {
    writeFile(path_, package);
    const InputFile file(path_);
    return readPackedFile(file);
  }
  // Without the file's name.
  std::string failure(const std::string& package) {
    const std::string text = failureOf([&] { read(package); });
    const std::string name = path_ + ": ";
    EXPECT_EQ(text.compare(0, name.size(), name), 0) << text;
    return text.substr(std::min(name.size(), text.size()));
  }

  TempFolder temp_;
  std::string path_ = temp_.path() + "/package.tpk";
};

std::vector<std::uint32_t> typesOf(const PackedPackage& package) {
  std::vector<std::uint32_t> types;
  for (const PartSpan& part : package.parts) types.push_back(part.type);
  return types;
}

TEST_F(PackReader, TakesAPackageApart) {
  PackBuilder builder;
  builder.header("one", kVersion, 1000)
      .part(kPartArchitecture, "mipsel")
      .part(kPartDescription, "the first")
      .list(kPartRequires, {dep("system")})
      .part(kPartOnInstall, "in")
      .part(kPartOnUninstall, "out")
      .part(99, "new")
      .part(kPartArchive, "files")
      .sign();
  const std::string bytes = builder.finish();
  const PackedFile file = read(bytes);

  EXPECT_EQ(file.name, path_);
  EXPECT_FALSE(file.dumb);
  EXPECT_EQ(file.size, bytes.size());
  EXPECT_EQ(file.length, bytes.size() - 8);
  EXPECT_EQ(file.bundle, nullptr);
  ASSERT_EQ(file.packages.size(), 1U);
  const PackedPackage& package = *file.packages[0];
  EXPECT_EQ(package.info.getFullName(), "one-3.22");
  EXPECT_EQ(package.info.arch, "mipsel");
  ASSERT_EQ(package.info.deps.size(), 1U);
  EXPECT_EQ(package.onInstall, "in");
  EXPECT_EQ(package.onUninstall, "out");
  EXPECT_EQ(typesOf(package), (std::vector<std::uint32_t>{1, 16, 2, 3, 7, 8, 99, 4, 9}));
  const PartSpan* const archive = package.find(kPartArchive);
  ASSERT_NE(archive, nullptr);
  EXPECT_EQ(bytes.substr(archive->offset, archive->size), "files");
  EXPECT_EQ(package.find(kPartImage), nullptr);
  EXPECT_EQ(package.signature, SignatureState::kGood);
  EXPECT_TRUE(package.isGenuine());
}

TEST_F(PackReader, TakesABundleApart) {
  PackBuilder builder;
  builder.bundleHeader("pair", kVersion)
      .image()
      .list(kPartTurnOff, {dep("two")})
      .header("one", kVersion)
      .sign()
      .header("two", kVersion)
      .image()
      .part(kPartOnUninstall, "out")
      .sign();
  const PackedFile file = read(builder.finish());

  ASSERT_NE(file.bundle, nullptr);
  EXPECT_TRUE(file.bundle->info.isBundle);
  EXPECT_TRUE(file.bundle->info.hasImage);
  ASSERT_EQ(file.bundle->turnOff.size(), 1U);
  EXPECT_EQ(file.bundle->turnOff[0].name, "two");
  EXPECT_EQ(typesOf(*file.bundle), (std::vector<std::uint32_t>{18, 21, 20}));
  ASSERT_EQ(file.packages.size(), 2U);
  EXPECT_EQ(file.packages[0]->info.name, "one");
  EXPECT_FALSE(file.packages[0]->onUninstall);
  EXPECT_EQ(file.packages[1]->info.name, "two");
  EXPECT_EQ(file.packages[1]->onUninstall, "out");
  EXPECT_TRUE(file.packages[1]->info.hasImage);
  EXPECT_TRUE(file.packages[0]->isGenuine());
  EXPECT_TRUE(file.packages[1]->isGenuine());
}

TEST_F(PackReader, KnowsDumbPackages) {
  EXPECT_TRUE(read(PackBuilder(true).header("one", kVersion).finish()).dumb);
}

TEST_F(PackReader, SaysHowAPackageIsSigned) {
  PackBuilder plain;
  const PackedFile unsignedFile = read(plain.header("one", kVersion).finish());
  EXPECT_EQ(unsignedFile.packages[0]->signature, SignatureState::kNone);
  EXPECT_EQ(digestText(unsignedFile.packages[0]->digest), hex(plain.digest()));
  EXPECT_FALSE(unsignedFile.packages[0]->isGenuine());

  const auto state = [this](const std::string& bytes) {
    return read(bytes).packages[0]->signature;
  };
  EXPECT_EQ(state(PackBuilder().header("one", kVersion).part(9, "short").finish()),
            SignatureState::kTooShort);
  std::string changed = PackBuilder().header("one", kVersion, 1).sign().finish();
  changed[8 + 6 + PackageHeader::kBuildTime] = 2;
  EXPECT_EQ(state(changed), SignatureState::kOtherDigest);
  std::string forged = PackBuilder().header("one", kVersion).sign().finish();
  forged[forged.size() - 1] = static_cast<char>(forged[forged.size() - 1] ^ 1);
  EXPECT_EQ(state(forged), SignatureState::kOtherKey);
}

TEST_F(PackReader, AListedPackageIsGenuineOnlyWithoutSignature) {
  PackBuilder plain;
  const std::string package = plain.header("one", kVersion).finish();
  ProductInUse product(productData());
  const std::string digest = plain.digest();
  std::copy(digest.begin(), digest.end(),
            reinterpret_cast<char*>(product.data().knownDigests[500]));
  EXPECT_TRUE(read(package).packages[0]->listed);
  EXPECT_TRUE(read(package).packages[0]->isGenuine());

  PackBuilder other;
  const PackedFile file = read(other.header("one", kVersion).part(kPartSignature, "bad").finish());
  EXPECT_FALSE(file.packages[0]->isGenuine());
}

TEST_F(PackReader, AgreesWithTheVectors) {
  for (const VectorVerdict& vector : vectorVerdicts()) {
    const ProductInUse product(vector.set);
    const PackedFile file = read(vectorPackage(vector.package));
    const bool good = std::all_of(file.packages.begin(), file.packages.end(),
                                  [](const auto& package) { return package->isGenuine(); });
    EXPECT_EQ(good, vector.good) << vector.package;
  }
}

TEST_F(PackReader, UnknownPartsAndLooseBytesAreReported) {
  const PackedFile file =
      read(PackBuilder().part(99, "new").header("one", kVersion).raw("12345").finish());
  ASSERT_EQ(file.strays.size(), 1U);
  EXPECT_EQ(file.strays[0].type, 99U);
  EXPECT_EQ(file.trailing, 5U);
  EXPECT_EQ(typesOf(*file.packages[0]), (std::vector<std::uint32_t>{1}));
}

TEST_F(PackReader, NamesTheFirstThingThatIsWrong) {
  EXPECT_EQ(failure("abc"), "is no package: it has 3 bytes");
  EXPECT_EQ(failure("something else"), "is no package: its first four bytes are not a package's");
  const std::string good = PackBuilder().header("one", kVersion).finish();
  EXPECT_EQ(failure(good + "x"), "has 47 bytes, but its header says 46");
  EXPECT_EQ(failure(PackBuilder().finish()), "has no package header");
  EXPECT_EQ(failure(PackBuilder().part(kPartDescription, "x").finish()),
            "begins with its description, not with a package header");
  EXPECT_EQ(failure(PackBuilder().bundleHeader("pair", kVersion).finish()),
            "is a bundle without packages");
  EXPECT_EQ(failure(PackBuilder().header("one", kVersion).header("two", kVersion).finish()),
            "has a second package at byte 46, but is no bundle");
}

TEST_F(PackReader, NamesTheBrokenPart) {
  EXPECT_EQ(failure(PackBuilder().part(kPartPackage, "short").finish()),
            "its package header at byte 8 has 5 bytes instead of 32");
  EXPECT_EQ(failure(PackBuilder().header("a/b", kVersion).finish()),
            "its package header has a name that cannot be a folder's: \"a/b\"");
  EXPECT_EQ(failure(PackBuilder().header("one", kVersion).part(kPartRequires, "\1").finish()),
            "its requires list at byte 46 ends before its last entry");
  EXPECT_EQ(failure(PackBuilder()
                        .bundleHeader("pair", kVersion)
                        .part(kPartTurnOff, "xx")
                        .header("one", kVersion)
                        .finish()),
            "its turn-off list at byte 46 ends before its last entry");
  EXPECT_EQ(failure(PackBuilder().header("one", kVersion).partHeader(4, 100).raw("xy").finish()),
            "its archive at byte 46 says it has 100 bytes, but 2 are there");
}

TEST_F(PackReader, MeetsEveryTruncationAndEveryFlippedByte) {
  PackBuilder builder;
  builder.bundleHeader("pair", kVersion)
      .list(kPartTurnOff, {dep("one")})
      .header("one", kVersion)
      .part(kPartDescription, "text")
      .list(kPartRequires, {dep("system")})
      .part(kPartOnInstall, "in")
      .sign();
  const std::string good = builder.finish();
  for (std::size_t length = 0; length < good.size(); ++length)
    EXPECT_NE(failure(good.substr(0, length)), "") << length;
  for (std::size_t i = 0; i < good.size(); ++i) {
    std::string bad = good;
    bad[i] = static_cast<char>(bad[i] ^ 0x81);
    try {
      EXPECT_FALSE(read(bad).packages.empty()) << i;
    } catch (const Failure& problem) {
      EXPECT_NE(std::string(problem.what()).find(path_), std::string::npos) << i;
    }
  }
}

}  // namespace
