#include "tools/tpk/product/sign.h"

#include "stream/packformat.h"
#include "tests/support/packbuilder.h"
#include "tests/support/tree.h"
#include "tests/support/vectors.h"
#include "tests/tpk/failuretext.h"
#include "tools/tpk/product/productfolder.h"
#include "tools/tpk/product/signer.h"
#include "tools/tpk/read/inputfile.h"
#include "tools/tpk/read/verify.h"

#include <memory>
#include <string>

#include <gtest/gtest.h>

namespace {

class SignPackages : public ::testing::Test {
 protected:
  SignPackages() : data_(readProductData(PRODUCT_DATA_DIR)) {
    SigningKey key;
    readSigningKey(PRODUCT_DATA_DIR, key);
    signer_ = std::make_unique<Signer>(*data_, key);
  }

  std::string file() const { return temp_.path() + "/package.tpk"; }
  void sign(const std::string& package) {
    writeFile(file(), package);
    signPackages(file(), *signer_);
  }
  std::string failure(const std::string& package) {
    return failureOf([&] { sign(package); });
  }

  static PackBuilder& addPackage(PackBuilder& file, const std::string& name,
                                 std::size_t room = SignatureRecord::kSize) {
    return file.header(name, kVersion)
        .part(kPartArchive, "files of " + name)
        .part(kPartSignature, std::string(room, '\0'));
  }

  TempFolder temp_;
  std::unique_ptr<ProductData> data_;
  std::unique_ptr<Signer> signer_;
};

TEST_F(SignPackages, FillsTheSignature) {
  PackBuilder package;
  sign(addPackage(package, "one").finish());
  EXPECT_EQ(verifyFile(file()), Verdict::kGood);
}

TEST_F(SignPackages, ChangesNothingElse) {
  PackBuilder package;
  const std::string before = addPackage(package, "one").finish();
  sign(before);
  const std::string after = readFile(file());
  const std::size_t unsignedSize = before.size() - SignatureRecord::kSize;
  EXPECT_EQ(after.size(), before.size());
  EXPECT_EQ(after.substr(0, unsignedSize), before.substr(0, unsignedSize));
}

TEST_F(SignPackages, ReplacesASignature) {
  PackBuilder package;
  package.header("one", kVersion).part(kPartSignature, std::string(SignatureRecord::kSize, 'x'));
  sign(package.finish());
  EXPECT_EQ(verifyFile(file()), Verdict::kGood);
}

TEST_F(SignPackages, SignsEveryPackageOfABundle) {
  PackBuilder bundle;
  bundle.bundleHeader("pair", kVersion);
  addPackage(bundle, "one");
  addPackage(bundle, "two");
  sign(bundle.finish());
  EXPECT_EQ(verifyFile(file()), Verdict::kGood);
}

TEST_F(SignPackages, LeavesBytesBehindTheRecordAlone) {
  PackBuilder package;
  const std::string before = addPackage(package, "one", SignatureRecord::kSize + 4).finish();
  sign(before);
  EXPECT_EQ(verifyFile(file()), Verdict::kGood);
  EXPECT_EQ(readFile(file()).substr(before.size() - 4), std::string(4, '\0'));
}

TEST_F(SignPackages, NeedsRoomInEveryPackage) {
  const std::string expected = file() + ": a package without room for a signature";
  PackBuilder none;
  EXPECT_EQ(failure(none.header("one", kVersion).finish()), expected);
  PackBuilder little;
  EXPECT_EQ(failure(addPackage(little, "one", SignatureRecord::kSize - 1).finish()), expected);
  PackBuilder second;
  addPackage(second.bundleHeader("pair", kVersion), "one").header("two", kVersion);
  EXPECT_EQ(failure(second.finish()), expected);
}

TEST_F(SignPackages, NeedsPackages) {
  EXPECT_EQ(failure(PackBuilder().finish()), file() + ": has no package header");
}

TEST_F(SignPackages, MissingFileIsNamed) {
  EXPECT_EQ(failureOf([this] { signPackages(file(), *signer_); }),
            file() + ": cannot be opened: No such file or directory");
}

// Files are written with their signatures, and without.
class RewriteSignatures : public SignPackages {
 protected:
  std::string rewritten(const std::string& package, bool sign) {
    writeFile(file(), package);
    const std::string out = temp_.path() + "/out.tpk";
    rewriteSignatures(InputFile(file()), sign ? signer_.get() : nullptr, out);
    return readFile(out);
  }
  std::string withSignatures(const std::string& package) { return rewritten(package, true); }
  std::string withoutSignatures(const std::string& package) { return rewritten(package, false); }

  Verdict verdict(const std::string& package) {
    writeFile(file(), package);
    return verifyFile(file());
  }
};

// One package between others of a bundle, with parts that no reader knows before, in and behind it.
PackBuilder strangeBundle(bool isSigned) {
  PackBuilder bundle;
  bundle.part(300, "before everything").bundleHeader("pair", kVersion).part(301, "of the bundle");
  bundle.header("one", kVersion).part(302, "within").archive(ArchiveBuilder().regular("a", "b"));
  if (isSigned) bundle.sign();
  bundle.header("two", kVersion).part(kPartArchitecture, "mips").part(303, "").part(302, "again");
  if (isSigned) bundle.sign();
  return bundle;
}

TEST_F(RewriteSignatures, AddsOneBehindEverythingElse) {
  PackBuilder package;
  package.header("one", kVersion).part(kPartArchive, "files").part(999, "unknown");
  const std::string before = package.finish();
  EXPECT_EQ(withSignatures(before), package.sign().finish());
}

TEST_F(RewriteSignatures, EveryPackageOfABundleHasItsOwn) {
  const std::string file = withSignatures(strangeBundle(false).finish());
  EXPECT_EQ(file, strangeBundle(true).finish());
  EXPECT_EQ(verdict(file), Verdict::kGood);
}

TEST_F(RewriteSignatures, WithoutThemIsWhatWasThereBefore) {
  const std::string before = strangeBundle(false).finish();
  EXPECT_EQ(withoutSignatures(withSignatures(before)), before);
}

TEST_F(RewriteSignatures, OfAPackageWithoutAnyIsACopy) {
  const std::string before = strangeBundle(false).finish();
  EXPECT_EQ(withoutSignatures(before), before);
}

TEST_F(RewriteSignatures, SignedAgainIsTheSame) {
  const std::string before = strangeBundle(true).finish();
  EXPECT_EQ(withSignatures(before), before);
}

TEST_F(RewriteSignatures, ReplacesThoseThatAreBroken) {
  const std::string wanted = PackBuilder().header("one", kVersion).sign().finish();
  for (const std::size_t size : {0U, 67U, 68U, 69U, 5000U}) {
    PackBuilder package;
    package.header("one", kVersion).part(kPartSignature, std::string(size, 'x'));
    EXPECT_EQ(withSignatures(package.finish()), wanted) << size;
  }
}

// A signature speaks for what is before it: what was behind it comes under the new one.
TEST_F(RewriteSignatures, MovesOneThatIsNotTheLast) {
  PackBuilder package;
  package.header("one", kVersion).sign().part(kPartArchive, "files").sign();
  PackBuilder wanted;
  wanted.header("one", kVersion).part(kPartArchive, "files").sign();
  EXPECT_EQ(withSignatures(package.finish()), wanted.finish());
}

TEST_F(RewriteSignatures, KeepsWhatIsTooLittleForAPart) {
  PackBuilder package;
  package.header("one", kVersion);
  PackBuilder before = package;
  EXPECT_EQ(withSignatures(before.raw("rest!").finish()), package.sign().raw("rest!").finish());
  EXPECT_EQ(withoutSignatures(package.finish()), before.finish());
}

TEST_F(RewriteSignatures, DumbPackagesStayDumb) {
  PackBuilder package(true);
  const std::string before = package.header("one", kVersion).finish();
  EXPECT_EQ(withSignatures(before), package.sign().finish());
  EXPECT_EQ(withoutSignatures(package.finish()), before);
}

// More than one piece at a time.
TEST_F(RewriteSignatures, LargePartsAreWhole) {
  std::string large(1000003, '\0');
  for (std::size_t i = 0; i < large.size(); ++i) large[i] = static_cast<char>(i * 7 + i / 251);
  PackBuilder package;
  const std::string before = package.header("one", kVersion).part(kPartArchive, large).finish();
  const std::string after = withSignatures(before);
  EXPECT_TRUE(after == package.sign().finish());
  EXPECT_TRUE(withoutSignatures(after) == before);
}

TEST_F(RewriteSignatures, OfTheVectorsAreGenuine) {
  for (const char* name : {"a-single", "a-bundle", "a-mixed", "b-listed", "b-changed-archive",
                           "a-other-key", "b-short-signature", "a-long-signature"})
    EXPECT_EQ(verdict(withSignatures(vectorPackage(std::string(name) + ".tpk"))), Verdict::kGood)
        << name;
}

TEST_F(RewriteSignatures, CutAnywhereIsRefused) {
  const std::string whole = strangeBundle(true).finish();
  for (std::size_t size = 0; size < whole.size(); ++size)
    EXPECT_NE(failureOf([&] { withSignatures(whole.substr(0, size)); }), "no failure") << size;
}

TEST_F(RewriteSignatures, FullDiskIsReported) {
  writeFile(file(), PackBuilder().header("one", kVersion).finish());
  EXPECT_EQ(failureOf([this] { rewriteSignatures(InputFile(file()), nullptr, "/dev/full"); }),
            "/dev/full: cannot be written: No space left on device");
}

}  // namespace
