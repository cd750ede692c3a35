#include "tools/tpk/host/text.h"

#include <string>

#include <gtest/gtest.h>

namespace {

TEST(Quoted, ShowsControlCharactersAsCodes) {
  EXPECT_EQ(quoted("plain"), "\"plain\"");
  EXPECT_EQ(quoted(std::string("a\n\0\x1b\x7f", 5)), "\"a\\n\\x00\\x1b\\x7f\"");
  EXPECT_EQ(quoted("gr\xc3\xbc\xc3\x9f"), "\"gr\xc3\xbc\xc3\x9f\"");
}

TEST(NearestWord, IsTheOneWithTheFewestSlips) {
  const std::vector<std::string> words = {"requires", "provides", "name", "version", "min"};
  EXPECT_EQ(nearestWord("requries", words), "requires");
  EXPECT_EQ(nearestWord("require", words), "requires");
  EXPECT_EQ(nearestWord("provide", words), "provides");
  EXPECT_EQ(nearestWord("nmae", words), "name");
  EXPECT_EQ(nearestWord("Version", words), "version");
  EXPECT_EQ(nearestWord("mni", words), "min");
}

TEST(NearestWord, IsNoneWhenAllAreFar) {
  EXPECT_EQ(nearestWord("maintainer", {"name", "version", "min"}), "");
  EXPECT_EQ(nearestWord("xy", {"ab"}), "");
  EXPECT_EQ(nearestWord("", {"ab", "abc"}), "");
  EXPECT_EQ(nearestWord(std::string(100000, 'x'), {"name"}), "");
}

}  // namespace
