#include "tools/tpk/read/entrytext.h"

#include <gtest/gtest.h>
#include <sys/sysmacros.h>

namespace {

TEST(EntryText, TimesAreUtc) {
  EXPECT_EQ(timeText(0), "1970-01-01 00:00:00");
  EXPECT_EQ(timeText(1700000000), "2023-11-14 22:13:20");
  EXPECT_EQ(timeText(0xFFFFFFFF), "2106-02-07 06:28:15");
}

TEST(EntryText, ModesAreThoseOfLs) {
  EXPECT_EQ(modeText(0100644), "-rw-r--r--");
  EXPECT_EQ(modeText(0040755), "drwxr-xr-x");
  EXPECT_EQ(modeText(0120777), "lrwxrwxrwx");
  EXPECT_EQ(modeText(0020600), "crw-------");
  EXPECT_EQ(modeText(0060600), "brw-------");
  EXPECT_EQ(modeText(0010600), "prw-------");
  EXPECT_EQ(modeText(0140000), "?---------");
}

TEST(EntryText, SpecialBitsStandInThePlaceOfTheX) {
  EXPECT_EQ(modeText(0106755), "-rwsr-sr-x");
  EXPECT_EQ(modeText(0106644), "-rwSr-Sr--");
  EXPECT_EQ(modeText(0041777), "drwxrwxrwt");
  EXPECT_EQ(modeText(0041776), "drwxrwxrwT");
}

TEST(EntryText, OctalModesHaveNoType) {
  EXPECT_EQ(octalText(0100644), "0644");
  EXPECT_EQ(octalText(0104755), "4755");
  EXPECT_EQ(octalText(0), "0000");
}

TEST(EntryText, DeviceNumbersComeApart) {
  const auto device = static_cast<std::uint32_t>(makedev(259, 300));
  EXPECT_EQ(deviceMajor(device), 259U);
  EXPECT_EQ(deviceMinor(device), 300U);
}

}  // namespace
