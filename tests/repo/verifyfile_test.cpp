// Verification of one package file, and what it says.
#include "repo/repo.h"
#include "tests/repo/statusline.h"
#include "tests/support/inroot.h"
#include "tests/support/packbuilder.h"
#include "tests/support/sign.h"

namespace {

class VerifyFile : public InRoot {
 protected:
  void SetUp() override {
    // The signer reads its key with the first signature, which must not happen in the root.
    const unsigned char digest[SignatureRecord::kDigestSize] = {};
    static const std::string signature = signatureFor(digest);
    InRoot::SetUp();
  }

  bool verify(const std::string& bytes) {
    writeFile("/tool.tpk", bytes);
    return repo_->verifyFile("/tool.tpk", "tool");
  }
  static std::string messages() {
    std::string text;
    for (const std::string& line : RepoAccess::logLines()) text += line + '\n';
    return text;
  }
  static PackBuilder pack() { return PackBuilder().header("tool", 1); }
};

TEST_F(VerifyFile, GenuinePackage) {
  EXPECT_TRUE(verify(pack().part(kPartArchive, "data").sign().finish()));
  EXPECT_EQ(messages(), "verified tool\n");
}

TEST_F(VerifyFile, BrokenPackage) {
  EXPECT_FALSE(verify(pack().part(kPartArchive, "data").finish()));
  EXPECT_EQ(messages(), "ERROR: broken package tool\n");
}

TEST_F(VerifyFile, GenuineBundle) {
  PackBuilder file = PackBuilder().bundleHeader("all", 1).image().header("a", 1);
  EXPECT_TRUE(verify(file.part(kPartArchive, "x").sign().header("b", 1).sign().finish()));
  EXPECT_EQ(messages(), "verified tool\n");
}

TEST_F(VerifyFile, BundleWithOneForgedMember) {
  PackBuilder file = PackBuilder().bundleHeader("all", 1).header("a", 1).sign();
  EXPECT_FALSE(verify(file.header("b", 1).part(kPartArchive, "x").finish()));
  EXPECT_EQ(messages(), "ERROR: broken package tool\n");
}

TEST_F(VerifyFile, MissingFileIsBroken) {
  EXPECT_FALSE(repo_->verifyFile("/missing.tpk", "missing"));
  EXPECT_EQ(messages(), "ERROR: broken package missing\n");
}

TEST_F(VerifyFile, DirectoryIsBroken) {
  makeFolders("/folder.tpk");
  EXPECT_FALSE(repo_->verifyFile("/folder.tpk", "folder"));
  EXPECT_EQ(messages(), "ERROR: broken package folder\n");
}

TEST_F(VerifyFile, EmptyFileIsBroken) {
  EXPECT_FALSE(verify(""));
  EXPECT_EQ(messages(), "ERROR: broken package tool\n");
}

TEST_F(VerifyFile, EveryCutIsBroken) {
  const std::string whole = pack().part(kPartArchive, "data").sign().finish();
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_FALSE(verify(whole.substr(0, length))) << length;
  }
}

TEST_F(VerifyFile, EveryFlippedBitIsBroken) {
  const std::string whole = pack().part(kPartArchive, "data").sign().finish();
  for (std::size_t i = FileHeader::kSize; i < whole.size(); ++i) {
    std::string damaged = whole;
    damaged[i] = static_cast<char>(static_cast<unsigned char>(damaged[i]) ^ (1U << i % 8));
    EXPECT_FALSE(verify(damaged)) << i;
  }
}

TEST_F(VerifyFile, LengthOfTheFileIsNotSigned) {
  std::string bytes = pack().sign().finish();
  bytes[FileHeader::kLength] = '\x7f';
  EXPECT_TRUE(verify(bytes));
}

TEST_F(VerifyFile, StatusWithoutContentsToShow) {
  EXPECT_TRUE(verify(pack().sign().finish()));
  EXPECT_EQ(takeConsole(), drawn("verifying tool") + drawn(spaces(14)) + "verified tool\n");
}

TEST_F(VerifyFile, ProgressFollowsEachReadOfContents) {
  EXPECT_FALSE(verify(pack().part(kPartArchive, std::string(2 * 4096, 'x')).finish()));
  // Up to the part's contents there are 52 bytes.
  const std::size_t width = 60, total = 52 + 2 * 4096;
  const std::size_t half = width * (52 + 4096) / total;
  EXPECT_EQ(takeConsole(),
            drawn("verifying tool") +
                drawn("verifying tool [" + std::string(half, '#') + spaces(width - half) + "]") +
                drawn("verifying tool [" + std::string(width, '#') + "]") + drawn(spaces(77)) +
                "ERROR: broken package tool\n");
}

TEST_F(VerifyFile, ProgressFollowsTheImageToo) {
  EXPECT_FALSE(verify(pack().image("i").finish()));
  EXPECT_NE(takeConsole().find("verifying tool ["), std::string::npos);
}

TEST_F(VerifyFile, StatusComesBackBeforeTheMessage) {
  repo_->setStatus("scanning");
  takeConsole();
  EXPECT_TRUE(verify(pack().sign().finish()));
  EXPECT_EQ(takeConsole(), drawn("verifying tool") + drawn("scanning" + spaces(6)) +
                               drawn(spaces(8)) + "verified tool\n");
  EXPECT_EQ(RepoAccess::status(), "");
}

TEST_F(VerifyFile, QuietSaysNothing) {
  repo_->init(true);
  EXPECT_TRUE(verify(pack().sign().finish()));
  EXPECT_FALSE(verify(""));
  EXPECT_EQ(takeConsole(), "");
}

}  // namespace
