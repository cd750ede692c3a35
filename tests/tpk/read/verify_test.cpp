#include "tools/tpk/read/verify.h"

#include "tests/support/packbuilder.h"
#include "tests/support/tree.h"
#include "tests/support/vectors.h"
#include "tests/tpk/failuretext.h"

#include <string>

#include <gtest/gtest.h>

namespace {

class VerifyFile : public ::testing::Test {
 protected:
  std::string file() const { return temp_.path() + "/package.tpk"; }
  Verdict verdict(const std::string& package) {
    writeFile(file(), package);
    return verifyFile(file());
  }

  TempFolder temp_;
};

TEST_F(VerifyFile, AgreesWithTheVectors) {
  for (const VectorVerdict& vector : vectorVerdicts()) {
    const ProductInUse product(vector.set);
    EXPECT_EQ(verdict(vectorPackage(vector.package)),
              vector.good ? Verdict::kGood : Verdict::kNotGenuine)
        << vector.package;
  }
}

TEST_F(VerifyFile, LengthOfTheFileCounts) {
  const std::string package = PackBuilder().header("one", 0x03166600).sign().finish();
  EXPECT_EQ(verdict(package), Verdict::kGood);
  EXPECT_EQ(verdict(package + "x"), Verdict::kUnreadable);
}

TEST_F(VerifyFile, HeadersCount) {
  EXPECT_EQ(verdict(PackBuilder().header("a/b", 0x03166600).sign().finish()), Verdict::kUnreadable);
}

TEST_F(VerifyFile, OtherFilesAreNotGenuine) {
  EXPECT_EQ(verdict(""), Verdict::kNotGenuine);
  EXPECT_EQ(verdict("something else"), Verdict::kNotGenuine);
}

TEST_F(VerifyFile, MissingFileIsNamed) {
  EXPECT_EQ(failureOf([this] { verifyFile(file()); }),
            file() + ": cannot be opened: No such file or directory");
}

}  // namespace
