#include "tools/tpk/host/printable.h"

#include <string>

#include <gtest/gtest.h>

namespace {

TEST(Printable, OrdinaryTextStaysAsItIs) {
  EXPECT_EQ(printable("etc/motd.d/Gr\xC3\xBC\xC3\x9F\x65 1"),
            "etc/motd.d/Gr\xC3\xBC\xC3\x9F\x65 1");
  EXPECT_EQ(printable("\xF0\x9F\x93\xA6"), "\xF0\x9F\x93\xA6");
}

TEST(Printable, WhatATerminalActsUponIsWrittenAsItsCode) {
  EXPECT_EQ(printable("a\nb\tc\x1B[2J\x7F"), "a\\nb\\tc\\x1b[2J\\x7f");
  EXPECT_EQ(printable(std::string("a\0b", 3)), "a\\x00b");
  EXPECT_EQ(printable("\xC2\x9B"), "\\xc2\\x9b");
  EXPECT_EQ(printable("\xE2\x80\xAEgpj"), "\\xe2\\x80\\xaegpj");
}

TEST(Printable, TheBackslashIsDoubledSoThatNoTwoTextsLookAlike) {
  EXPECT_EQ(printable("\\n"), "\\\\n");
}

TEST(Printable, BytesThatAreNoUtf8AreWrittenAsTheirCodes) {
  EXPECT_EQ(printable("\xFF"), "\\xff");
  EXPECT_EQ(printable("\xC3"), "\\xc3");
  EXPECT_EQ(printable("\xC0\x80"), "\\xc0\\x80");
  EXPECT_EQ(printable("\xE0\x80\x80"), "\\xe0\\x80\\x80");
  EXPECT_EQ(printable("\xED\xA0\x80"), "\\xed\\xa0\\x80");
  EXPECT_FALSE(isUtf8("a\xFF"));
  EXPECT_TRUE(isUtf8("a\xC3\xBC"));
}

}  // namespace
