#include "tools/tpk/read/versiontext.h"

#include "model/version.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

std::uint32_t parsed(const std::string& text) {
  std::uint32_t version = 0;
  EXPECT_TRUE(parseVersion(text, version)) << text;
  return version;
}

TEST(VersionText, TakesFinalReleases) {
  EXPECT_EQ(parsed("3.22"), 0x03166600U);
  EXPECT_EQ(parsed("3.22.1"), 0x03166601U);
  EXPECT_EQ(parsed("0.0"), 0x00006600U);
  EXPECT_EQ(parsed("255.255.255"), 0xffff66ffU);
}

TEST(VersionText, TakesReleasesBeforeTheFinalOne) {
  EXPECT_EQ(parsed("3.20rc2"), 0x03146302U);
  EXPECT_EQ(parsed("2.9rc8"), 0x02096308U);
  EXPECT_EQ(parsed("5.0beta7"), 0x05006207U);
  EXPECT_EQ(parsed("5.0alpha"), 0x05006100U);
  EXPECT_EQ(parsed("5.0beta"), 0x05006200U);
  EXPECT_EQ(parsed("5.0rc"), 0x05006300U);
}

TEST(VersionText, TakesWhatVersionStringMakes) {
  for (const ReleaseKind kind : {kKindAlpha, kKindBeta, kKindCandidate, kKindFinal})
    for (const std::uint8_t number : std::vector<std::uint8_t>{0, 1, 9, 10, 99, 255}) {
      const std::uint32_t version = packVersion(number, 7, kind, number);
      EXPECT_EQ(parsed(versionString(version)), version);
    }
}

TEST(VersionText, RefusesEverythingElse) {
  for (const char* text : {"",         "3",         "3.",
                           ".3",       "3.22.",     "3.22.1.",
                           "3.22.1.1", "3.22rc1.1", "3.22gamma",
                           "3.22rc 1", " 3.22",     "3.22 ",
                           "+3.22",    "-3.22",     "3.-2",
                           "3,22",     "256.0",     "0.256",
                           "0.0.256",  "3.22rc256", "3.99999999999999999999",
                           "3.22RC1",  "v3.22",     "3.22rcrc",
                           "3.22r",    "0x3.22"}) {
    std::uint32_t version = 0;
    EXPECT_FALSE(parseVersion(text, version)) << text;
  }
}

}  // namespace
