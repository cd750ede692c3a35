#include "stream/verification.h"

#include "stream/ipackstream.h"
#include "tests/support/packbuilder.h"
#include "tests/support/sign.h"
#include "tests/support/vectors.h"

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

// Notes where the stream stood after every read.
class Positions final : public PackObserver {
 public:
  void onRead(ipackstream& in) override { seen.push_back(in.position()); }

  std::vector<std::uint64_t> seen;
};

bool verifies(const std::string& package, Positions& positions) {
  std::istringstream file(package);
  ipackstream in(file, true);
  return verifyPackages(in, positions);
}

bool verifies(const std::string& package) {
  Positions positions;
  return verifies(package, positions);
}

// One of the known digests gives way to the digest of package.
void makeKnown(ProductData& data, const PackBuilder& package) {
  const std::string digest = package.digest();
  std::copy(digest.begin(), digest.end(), data.knownDigests[ProductData::kKnownDigests - 1]);
}

constexpr std::size_t kFileHeader = FileHeader::kSize;
constexpr std::size_t kSignature = SignatureRecord::kSize;

// As random bytes, which deflating leaves at about their size; verification does not look inside.
std::string contentsOf(std::size_t size) {
  std::string contents;
  for (std::size_t i = 0; i < size; ++i) contents += static_cast<char>(i * i >> 3);
  return contents;
}

class VerificationVectors : public ::testing::TestWithParam<VectorVerdict> {};

TEST_P(VerificationVectors, GetTheirVerdict) {
  const VectorVerdict& expected = GetParam();
  const ProductInUse product(expected.set);
  EXPECT_EQ(verifies(vectorPackage(expected.package)), expected.good);
}

// But for the package without a signature, which is the same in both sets and in both lists.
TEST_P(VerificationVectors, AreRefusedByTheOtherProduct) {
  const ProductInUse product(std::string(GetParam().set == "a" ? "b" : "a"));
  const bool listed = GetParam().package == GetParam().set + "-listed.tpk";
  EXPECT_EQ(verifies(vectorPackage(GetParam().package)), listed);
}

std::string testName(const ::testing::TestParamInfo<VectorVerdict>& vector) {
  std::string name = vector.param.package;
  std::replace_if(
      name.begin(), name.end(), [](char c) { return c == '-' || c == '.'; }, '_');
  return name;
}

INSTANTIATE_TEST_SUITE_P(All, VerificationVectors, ::testing::ValuesIn(vectorVerdicts()), testName);

TEST(Verification, HasAllVectors) { EXPECT_EQ(vectorVerdicts().size(), 24U); }

TEST(Verification, TruncatedPackagesAreRefused) {
  const ProductInUse product(std::string("a"));
  for (const char* name : {"a-single.tpk", "a-listed.tpk"}) {
    const std::string whole = vectorPackage(name);
    ASSERT_TRUE(verifies(whole));
    for (std::size_t size = 0; size < whole.size(); ++size)
      EXPECT_FALSE(verifies(whole.substr(0, size))) << name << " cut to " << size << " bytes";
  }
}

// Where the second package's header opens in a file of two.
std::size_t secondHeader(const std::string& bundle) {
  const std::string header("\1\0\x20\0\0\0", PartHeader::kSize);
  return bundle.find(header, bundle.find(header) + 1);
}

// Cut where a package ends, a bundle is a smaller bundle, whatever of the next part header is left:
// the length in the file header is not this pass's business.
TEST(Verification, TruncatedBundlesAreWhatIsLeftOfThem) {
  const ProductInUse product(std::string("a"));
  for (const char* name : {"a-bundle.tpk", "a-mixed.tpk"}) {
    const std::string whole = vectorPackage(name);
    const std::size_t second = secondHeader(whole);
    ASSERT_LT(second, whole.size());
    for (std::size_t size = 0; size < whole.size(); ++size) {
      const bool wholeMembers = size >= second && size < second + PartHeader::kSize;
      EXPECT_EQ(verifies(whole.substr(0, size)), wholeMembers)
          << name << " cut to " << size << " bytes";
    }
  }
}

TEST(Verification, ExtraBytesOfASignatureMayBeMissing) {
  const ProductInUse product(std::string("a"));
  const std::string whole = vectorPackage("a-long-signature.tpk");
  for (std::size_t size = 0; size < whole.size(); ++size)
    EXPECT_EQ(verifies(whole.substr(0, size)), size + 4 >= whole.size()) << size;
}

// The file header is under no digest: its length may be anything, its magic one of two.
TEST(Verification, PackageWithAnyByteChangedIsRefused) {
  const ProductInUse product(std::string("a"));
  const std::string original = vectorPackage("a-single.tpk");
  for (std::size_t i = 0; i < original.size(); ++i)
    for (unsigned bit = 0; bit < 8; ++bit) {
      std::string changed = original;
      changed[i] = static_cast<char>(changed[i] ^ 1 << bit);
      const bool lengthField = i >= FileHeader::kLength && i < kFileHeader;
      EXPECT_EQ(verifies(changed), lengthField) << "bit " << bit << " of byte " << i;
    }
}

TEST(Verification, ListedPackageWithAnyByteChangedIsRefused) {
  const ProductInUse product(std::string("a"));
  const std::string original = vectorPackage("a-listed.tpk");
  for (std::size_t i = kFileHeader; i < original.size(); ++i) {
    std::string changed = original;
    changed[i] = static_cast<char>(changed[i] ^ 1);
    EXPECT_FALSE(verifies(changed)) << "byte " << i;
  }
}

TEST(Verification, ExtraBytesOfASignatureAreIgnored) {
  const ProductInUse product(std::string("a"));
  const std::string original = vectorPackage("a-long-signature.tpk");
  for (std::size_t i = original.size() - 4; i < original.size(); ++i) {
    std::string changed = original;
    changed[i] = static_cast<char>(changed[i] ^ 0xff);
    EXPECT_TRUE(verifies(changed)) << "byte " << i;
  }
}

TEST(Verification, DumbPackagesAreVerifiedAlike) {
  const auto build = [] {
    return PackBuilder(true).header("dumb", kVersion).part(kPartArchive, "files");
  };
  EXPECT_TRUE(verifies(build().sign().finish()));
  EXPECT_FALSE(verifies(build().finish()));
}

TEST(Verification, PackageWithoutContentsMayBeSigned) {
  EXPECT_TRUE(verifies(PackBuilder().header("empty", kVersion).sign().finish()));
}

TEST(Verification, UnknownPackageWithoutSignatureIsRefused) {
  EXPECT_FALSE(verifies(PackBuilder().header("one", kVersion).finish()));
}

TEST(Verification, KnownPackageNeedsNoSignature) {
  PackBuilder package;
  package.header("one", kVersion).part(kPartDescription, "text").part(kPartArchive, "files");
  ProductInUse product(productData());
  makeKnown(product.data(), package);
  EXPECT_TRUE(verifies(package.finish()));
}

TEST(Verification, KnownPackageIsRefusedWithABadSignature) {
  PackBuilder package;
  package.header("one", kVersion);
  ProductInUse product(productData());
  makeKnown(product.data(), package);
  ASSERT_TRUE(verifies(package.finish()));
  package.part(kPartSignature, std::string(kSignature, 's'));
  EXPECT_FALSE(verifies(package.finish()));
}

TEST(Verification, ShortSignatureIsRefusedThoughItsDigestIsRight) {
  for (const std::size_t size : {std::size_t{0}, std::size_t{20}, kSignature - 1, kSignature}) {
    PackBuilder package;
    package.header("one", kVersion).partHeader(kPartSignature, static_cast<std::uint32_t>(size));
    const std::string digest = package.digest();
    package.raw(
        signatureFor(reinterpret_cast<const unsigned char*>(digest.data())).substr(0, size));
    EXPECT_EQ(verifies(package.finish()), size == kSignature) << size;
  }
}

TEST(Verification, OrderOfPartsCounts) {
  const PackBuilder signedPackage = PackBuilder()
                                        .header("one", kVersion)
                                        .part(kPartOnInstall, "first")
                                        .part(kPartOnUninstall, "second")
                                        .sign();
  std::string file = signedPackage.finish();
  ASSERT_TRUE(verifies(file));
  const std::string first =
      PackBuilder().part(kPartOnInstall, "first").finish().substr(kFileHeader);
  const std::string second =
      PackBuilder().part(kPartOnUninstall, "second").finish().substr(kFileHeader);
  const std::size_t place = file.find(first + second);
  ASSERT_NE(place, std::string::npos);
  file.replace(place, first.size() + second.size(), second + first);
  EXPECT_FALSE(verifies(file));
}

TEST(Verification, PartsOfOtherTypesAreUnderTheDigest) {
  PackBuilder package;
  package.header("one", kVersion).part(99, "unknown part").part(kPartArchive, "files").sign();
  std::string file = package.finish();
  ASSERT_TRUE(verifies(file));
  file[file.find("unknown part")] = 'U';
  EXPECT_FALSE(verifies(file));
}

TEST(Verification, FileMustBeginWithAPackage) {
  EXPECT_FALSE(verifies(""));
  EXPECT_FALSE(verifies(PackBuilder().finish()));
  EXPECT_FALSE(verifies(PackBuilder().part(kPartArchive, "files").sign().finish()));
  EXPECT_FALSE(verifies(PackBuilder().image().header("one", kVersion).sign().finish()));
  EXPECT_FALSE(verifies("no package at all"));
}

TEST(Verification, PartsThatNobodyAcceptsMayStandBeforeThePackage) {
  EXPECT_TRUE(verifies(
      PackBuilder().part(kPartDescription, "text").header("one", kVersion).sign().finish()));
}

// What follows a single package is not read; the installation does not read it either.
TEST(Verification, SinglePackageEndsAfterItsSignature) {
  EXPECT_TRUE(verifies(PackBuilder()
                           .header("one", kVersion)
                           .sign()
                           .header("two", kVersion)
                           .part(kPartArchive, "unsigned")
                           .finish()));
}

TEST(Verification, BundleNeedsAPackage) {
  EXPECT_FALSE(verifies(PackBuilder().bundleHeader("pair", kVersion).finish()));
  EXPECT_FALSE(verifies(PackBuilder().bundleHeader("pair", kVersion).image().finish()));
}

TEST(Verification, EveryPackageOfABundleNeedsItsSignature) {
  const auto bundle = [](bool signOne, bool signTwo) {
    PackBuilder file;
    file.bundleHeader("pair", kVersion).part(kPartArchitecture, "mipsel");
    file.header("one", kVersion).part(kPartArchive, "files of one");
    if (signOne) file.sign();
    file.header("two", kVersion).part(kPartArchive, "files of two");
    if (signTwo) file.sign();
    return file.finish();
  };
  EXPECT_TRUE(verifies(bundle(true, true)));
  EXPECT_FALSE(verifies(bundle(true, false)));
  EXPECT_FALSE(verifies(bundle(false, true)));
  EXPECT_FALSE(verifies(bundle(false, false)));
}

TEST(Verification, BundleMixesSignedAndKnownPackages) {
  PackBuilder known;
  known.header("two", kVersion).part(kPartArchive, "files of two");
  ProductInUse product(productData());
  makeKnown(product.data(), known);

  PackBuilder knownLast;
  knownLast.bundleHeader("pair", kVersion).header("one", kVersion).sign();
  knownLast.header("two", kVersion).part(kPartArchive, "files of two");
  EXPECT_TRUE(verifies(knownLast.finish()));

  PackBuilder knownFirst;
  knownFirst.bundleHeader("pair", kVersion);
  knownFirst.header("two", kVersion).part(kPartArchive, "files of two");
  knownFirst.header("one", kVersion).sign();
  EXPECT_TRUE(verifies(knownFirst.finish()));
}

TEST(Verification, KnownPackageDoesNotVouchForTheNextOne) {
  PackBuilder known;
  known.header("one", kVersion);
  ProductInUse product(productData());
  makeKnown(product.data(), known);

  PackBuilder file;
  file.bundleHeader("pair", kVersion).header("one", kVersion);
  ASSERT_TRUE(verifies(file.finish()));
  file.header("two", kVersion).part(kPartArchive, "forged");
  EXPECT_FALSE(verifies(file.finish()));
}

TEST(Verification, BundleHeaderIsUnderNoDigest) {
  const auto bundle = [](const char* name) {
    return PackBuilder().bundleHeader(name, kVersion).header("one", kVersion).sign().finish();
  };
  std::string renamed = bundle("first");
  ASSERT_TRUE(verifies(renamed));
  renamed.replace(renamed.find("first"), 5, "other");
  EXPECT_TRUE(verifies(renamed));
}

TEST(Verification, BundleMayCarryOneImageMarker) {
  EXPECT_TRUE(verifies(PackBuilder()
                           .bundleHeader("pair", kVersion)
                           .image()
                           .header("one", kVersion)
                           .sign()
                           .finish()));
  EXPECT_FALSE(verifies(PackBuilder()
                            .bundleHeader("pair", kVersion)
                            .image()
                            .image()
                            .header("one", kVersion)
                            .sign()
                            .finish()));
}

TEST(Verification, SecondBundleHeaderIsRefused) {
  EXPECT_FALSE(verifies(PackBuilder()
                            .bundleHeader("pair", kVersion)
                            .bundleHeader("again", kVersion)
                            .header("one", kVersion)
                            .sign()
                            .finish()));
  EXPECT_FALSE(verifies(PackBuilder()
                            .bundleHeader("pair", kVersion)
                            .header("one", kVersion)
                            .bundleHeader("again", kVersion)
                            .sign()
                            .finish()));
}

TEST(Verification, SecondSignatureIsRefused) {
  PackBuilder file;
  file.bundleHeader("pair", kVersion).header("one", kVersion).sign().sign();
  EXPECT_FALSE(verifies(file.finish()));
}

TEST(Verification, ContentsAreReadInPiecesOfAtMost4096Bytes) {
  PackBuilder package;
  package.header("one", kVersion).part(kPartArchive, contentsOf(10000)).sign();
  Positions positions;
  ASSERT_TRUE(verifies(package.finish(), positions));
  const std::uint64_t start =
      FileHeader::kSize + PartHeader::kSize + PackageHeader::kSize + PartHeader::kSize;
  EXPECT_EQ(positions.seen,
            (std::vector<std::uint64_t>{start + 4096, start + 8192, start + 10000}));
}

TEST(Verification, ImageAndArchiveAreBothReported) {
  PackBuilder package;
  package.header("one", kVersion).image(contentsOf(4096)).part(kPartArchive, contentsOf(1)).sign();
  Positions positions;
  ASSERT_TRUE(verifies(package.finish(), positions));
  EXPECT_EQ(positions.seen.size(), 2U);
}

TEST(Verification, EmptyContentsAreNotReported) {
  PackBuilder package;
  package.header("one", kVersion).image().part(kPartArchive, "").sign();
  Positions positions;
  ASSERT_TRUE(verifies(package.finish(), positions));
  EXPECT_TRUE(positions.seen.empty());
}

TEST(Verification, BytesBeforeAShortReadAreReported) {
  PackBuilder package;
  package.header("one", kVersion).partHeader(kPartArchive, 5000).raw(contentsOf(4500));
  Positions positions;
  EXPECT_FALSE(verifies(package.finish(), positions));
  EXPECT_EQ(positions.seen.size(), 2U);
}

// Lengths are taken on trust until the bytes are missing; nothing of that size is ever held.
TEST(Verification, HugeLengthFieldsEndTheFile) {
  for (const std::uint16_t type : std::vector<std::uint16_t>{1, 4, 9, 21, 99}) {
    PackBuilder package;
    package.header("one", kVersion).partHeader(type, 0xffffffff).raw("few bytes");
    EXPECT_FALSE(verifies(package.finish())) << type;
  }
}

TEST(PackageIsGenuine, StepsOverTheSignature) {
  std::istringstream file(
      PackBuilder().header("one", kVersion).sign().header("two", kVersion).finish());
  ipackstream in(file, true);
  in.accept(kPartPackage);
  in.accept(kPartSignature);
  in.next();
  ASSERT_EQ(in.next(), std::uint32_t{kPartSignature});
  EXPECT_TRUE(packageIsGenuine(in));
  EXPECT_EQ(in.type(), std::uint32_t{kPartPackage});
}

TEST(PackageIsGenuine, TakesTheDigestOnlyOnce) {
  PackBuilder package;
  package.header("one", kVersion);
  ProductInUse product(productData());
  makeKnown(product.data(), package);
  std::istringstream file(package.finish());
  ipackstream in(file, true);
  in.accept(kPartPackage);
  in.next();
  EXPECT_FALSE(packageIsGenuine(in));  // the package has not ended yet
  in.next();
  EXPECT_TRUE(packageIsGenuine(in));
  EXPECT_FALSE(packageIsGenuine(in));
}

TEST(PackageIsGenuine, NeedsAStreamThatHashes) {
  std::istringstream file(PackBuilder().header("one", kVersion).sign().finish());
  ipackstream in(file, false);
  in.accept(kPartPackage);
  in.accept(kPartSignature);
  in.next();
  ASSERT_EQ(in.next(), std::uint32_t{kPartSignature});
  EXPECT_FALSE(packageIsGenuine(in));
}

}  // namespace
