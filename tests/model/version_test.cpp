#include "model/version.h"

#include <cstring>
#include <string>

#include <gtest/gtest.h>

namespace {

TEST(Version, PacksItsFieldsIntoOneWord) {
  EXPECT_EQ(packVersion(3, 22, kKindFinal, 0), 0x03166600u);
  EXPECT_EQ(packVersion(3, 20, kKindCandidate, 2), 0x03146302u);
  EXPECT_EQ(packVersion(5, 0, kKindAlpha, 1), 0x05006101u);
  EXPECT_EQ(packVersion(255, 255, kKindBeta, 255), 0xFFFF62FFu);
}

TEST(Version, UnsignedOrderIsReleaseOrder) {
  const std::uint32_t inOrder[] = {
      packVersion(2, 9, kKindCandidate, 7),  packVersion(2, 9, kKindCandidate, 8),
      packVersion(3, 20, kKindAlpha, 255),   packVersion(3, 20, kKindBeta, 0),
      packVersion(3, 20, kKindCandidate, 2), packVersion(3, 22, kKindFinal, 0),
      packVersion(3, 22, kKindFinal, 1),     packVersion(4, 0, kKindAlpha, 0),
      packVersion(128, 0, kKindAlpha, 0),
  };
  for (std::size_t i = 1; i < sizeof inOrder / sizeof *inOrder; ++i) {
    EXPECT_LT(inOrder[i - 1], inOrder[i]) << i;
  }
}

TEST(VersionString, FinalReleaseWithoutBuildPrintsTwoNumbers) {
  EXPECT_STREQ(versionString(0x03166600), "3.22");
}

TEST(VersionString, FinalReleaseWithBuildPrintsThreeNumbers) {
  EXPECT_STREQ(versionString(0x03166601), "3.22.1");
}

TEST(VersionString, ReleaseCandidatePrintsItsNumber) {
  EXPECT_STREQ(versionString(0x03146302), "3.20rc2");
  EXPECT_STREQ(versionString(0x02096308), "2.9rc8");
}

TEST(VersionString, AlphaAndBetaPrintTheirNumber) {
  EXPECT_STREQ(versionString(0x05006107), "5.0alpha7");
  EXPECT_STREQ(versionString(0x05006207), "5.0beta7");
}

TEST(VersionString, PreReleaseWithoutBuildPrintsNoNumber) {
  EXPECT_STREQ(versionString(0x05006100), "5.0alpha");
  EXPECT_STREQ(versionString(0x05006200), "5.0beta");
  EXPECT_STREQ(versionString(0x05006300), "5.0rc");
}

TEST(VersionString, UnknownKindRunsMinorAndBuildTogether) {
  EXPECT_STREQ(versionString(0x01020003), "1.23");
  EXPECT_STREQ(versionString(0x01026503), "1.23");
  EXPECT_STREQ(versionString(0x03160004), "3.224");
}

TEST(VersionString, UnknownKindWithoutBuildPrintsTwoNumbers) {
  EXPECT_STREQ(versionString(0x01026500), "1.2");
}

TEST(VersionString, EveryKindButFourIsUnknown) {
  for (unsigned kind = 0; kind < 256; ++kind) {
    if (std::strchr("abcf", static_cast<int>(kind)) && kind != 0) continue;
    EXPECT_STREQ(versionString(0x07080009 | kind << 8), "7.89") << kind;
  }
}

TEST(VersionString, NoVersionPrintsZeros) { EXPECT_STREQ(versionString(0), "0.0"); }

TEST(VersionString, FieldsReachTheirLargestValue) {
  EXPECT_STREQ(versionString(0xFFFF61FF), "255.255alpha255");
  EXPECT_STREQ(versionString(0xFFFF66FF), "255.255.255");
}

TEST(VersionString, NextCallOverwritesTheSameBuffer) {
  const char* first = versionString(0x03166600);
  const char* second = versionString(0x02096308);
  EXPECT_EQ(first, second);
  EXPECT_STREQ(first, "2.9rc8");
}

}  // namespace
