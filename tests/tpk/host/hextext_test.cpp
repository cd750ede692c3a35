#include "tools/tpk/host/hextext.h"

#include <gtest/gtest.h>

namespace {

TEST(HexText, HasTwoLowerCaseDigitsForEveryByte) {
  EXPECT_EQ(hexText(""), "");
  EXPECT_EQ(hexText(std::string("\0\x09\xaf\xff", 4)), "0009afff");
}

TEST(HexText, IsAppendedWithoutMovingTheTextThatHasRoom) {
  std::string text = "# ";
  text.reserve(100);
  const char* const place = text.data();
  const unsigned char bytes[48] = {0x12};
  appendHex(text, bytes, sizeof bytes);
  EXPECT_EQ(text.substr(0, 6), "# 1200");
  EXPECT_EQ(text.size(), 98U);
  EXPECT_EQ(text.data(), place);
}

}  // namespace
