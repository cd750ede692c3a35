#include "tools/tpk/read/deptext.h"

#include <gtest/gtest.h>

namespace {

TEST(DepText, SaysTheRangeThatIsMeant) {
  PackageDep dep;
  dep.name = "system";
  EXPECT_EQ(depText(dep), "system");
  dep.minVersion = 0x03140000 | 'f' << 8;
  EXPECT_EQ(depText(dep), "system >= 3.20");
  dep.maxVersion = dep.minVersion;
  EXPECT_EQ(depText(dep), "system = 3.20");
  dep.maxVersion = 0x03166600;
  EXPECT_EQ(depText(dep), "system 3.20 .. 3.22");
  dep.minVersion = 0;
  EXPECT_EQ(depText(dep), "system <= 3.22");
}

}  // namespace
