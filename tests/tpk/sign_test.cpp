#include "tools/tpk/sign.h"

#include "stream/packformat.h"
#include "tests/support/packbuilder.h"
#include "tests/support/tree.h"
#include "tests/tpk/failuretext.h"
#include "tools/tpk/productfolder.h"
#include "tools/tpk/signer.h"
#include "tools/tpk/verify.h"

#include <memory>
#include <string>

#include <gtest/gtest.h>

namespace {

constexpr std::uint32_t kVersion = 0x03166600;

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
  addPackage(second, "one").header("two", kVersion);
  EXPECT_EQ(failure(second.finish()), expected);
}

TEST_F(SignPackages, NeedsPackages) {
  EXPECT_EQ(failure(PackBuilder().finish()), file() + ": holds no packages");
  EXPECT_EQ(failure("something else"), file() + ": holds no packages");
}

TEST_F(SignPackages, MissingFileIsNamed) {
  EXPECT_EQ(failureOf([this] { signPackages(file(), *signer_); }),
            file() + ": cannot be opened: No such file or directory");
}

}  // namespace
