#include "tools/tpk/read/partnames.h"

#include <gtest/gtest.h>

namespace {

TEST(PartName, KnowsEveryPart) {
  EXPECT_EQ(partName(4), "archive");
  EXPECT_EQ(partName(18), "bundle header");
  EXPECT_EQ(partName(20), "turn-off list");
  EXPECT_EQ(partName(99), "part of unknown type 99");
}

TEST(EntryTypeName, GoesByTheTypeBits) {
  EXPECT_STREQ(entryTypeName(0100644), "file");
  EXPECT_STREQ(entryTypeName(0120777), "link");
  EXPECT_STREQ(entryTypeName(0140644), "unknown");
}

}  // namespace
