#include "stream/text.h"

#include <gtest/gtest.h>

TEST(Formatted, IsWhatPrintfWrites) {
  EXPECT_EQ(formatted("%s-%u%c", "a", 7U, '\n'), "a-7\n");
  EXPECT_EQ(formatted("%*s|%-3d|", 4, "ab", 5), "  ab|5  |");
}

TEST(Formatted, MayBeEmpty) { EXPECT_EQ(formatted("%s", ""), ""); }

TEST(Formatted, IsNeverCut) {
  const std::string part(70000, 'x');
  EXPECT_EQ(formatted("<%s><%s>", part.c_str(), part.c_str()), "<" + part + "><" + part + ">");
}
