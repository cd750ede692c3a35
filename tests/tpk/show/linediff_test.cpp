#include "tools/tpk/show/linediff.h"

#include <chrono>
#include <string>

#include <gtest/gtest.h>

namespace {

using Lines = std::vector<std::string>;

Lines diff(const std::string& before, const std::string& after) {
  return unifiedDiff(linesOf(before), linesOf(after));
}

TEST(LineDiff, LinesEndWhereTheyEnd) {
  EXPECT_EQ(linesOf(""), Lines());
  EXPECT_EQ(linesOf("a\n\nb\n"), (Lines{"a", "", "b"}));
  EXPECT_EQ(linesOf("a\nb"), (Lines{"a", "b"}));
}

TEST(LineDiff, OfTheSameIsNothing) {
  EXPECT_EQ(diff("a\nb\n", "a\nb\n"), Lines());
  EXPECT_EQ(diff("", ""), Lines());
}

TEST(LineDiff, ShowsAChangeWithThreeLinesAround) {
  EXPECT_EQ(diff("1\n2\n3\n4\n5\n6\n7\n8\n9\n", "1\n2\n3\n4\nx\n6\n7\n8\n9\n"),
            (Lines{"@@ -2,7 +2,7 @@", " 2", " 3", " 4", "-5", "+x", " 6", " 7", " 8"}));
}

TEST(LineDiff, ChangesThatAreNearShareAGroup) {
  EXPECT_EQ(diff("a\n1\n2\n3\n4\n5\n6\nb\n", "x\n1\n2\n3\n4\n5\n6\ny\n"),
            (Lines{"@@ -1,8 +1,8 @@", "-a", "+x", " 1", " 2", " 3", " 4", " 5", " 6", "-b", "+y"}));
  EXPECT_EQ(diff("a\n1\n2\n3\n4\n5\n6\n7\nb\n", "x\n1\n2\n3\n4\n5\n6\n7\ny\n"),
            (Lines{"@@ -1,4 +1,4 @@", "-a", "+x", " 1", " 2", " 3", "@@ -6,4 +6,4 @@", " 5", " 6",
                   " 7", "-b", "+y"}));
}

TEST(LineDiff, OfNothingIsAllOfIt) {
  EXPECT_EQ(diff("", "a\nb\n"), (Lines{"@@ -0,0 +1,2 @@", "+a", "+b"}));
  EXPECT_EQ(diff("a\n", ""), (Lines{"@@ -1,1 +0,0 @@", "-a"}));
}

TEST(LineDiff, FindsTheLongestCommonPart) {
  EXPECT_EQ(diff("a\nb\nc\nd\n", "b\nx\nc\n"),
            (Lines{"@@ -1,4 +1,3 @@", "-a", " b", "+x", " c", "-d"}));
}

TEST(LineDiff, VeryLongTextsAreComparedFromTheirEnds) {
  std::string before = "same\n";
  std::string after = before;
  for (int i = 0; i < 3000; ++i) {
    before += "a" + std::to_string(i) + "\n";
    after += "b" + std::to_string(i) + "\n";
  }
  const Lines lines = diff(before + "end\n", after + "end\n");
  ASSERT_EQ(lines.size(), 1U + 1 + 6000 + 1);
  EXPECT_EQ(lines[0], "@@ -1,3002 +1,3002 @@");
  EXPECT_EQ(lines[2], "-a0");
  EXPECT_EQ(lines.back(), " end");
}

TEST(LineDiff, FewChangesInLongTextsAreFewLines) {
  std::string text;
  for (int i = 0; i < 5000; ++i) text += std::to_string(i) + "\n";
  EXPECT_EQ(diff("first\n" + text, text + "last\n"),
            (Lines{"@@ -1,4 +1,3 @@", "-first", " 0", " 1", " 2", "@@ -4999,3 +4998,4 @@", " 4997",
                   " 4998", " 4999", "+last"}));
}

// Every line of the one is like half of the other's, and none is where it is there.
TEST(LineDiff, HostileTextsTakeNoTime) {
  std::string before;
  std::string after;
  for (unsigned i = 0; i < 100000; ++i) {
    before += i % 2 == 0 ? "a\n" : "b\n";
    after += i * i % 7 < 3 ? "a\n" : "b\n";
  }
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_GT(diff(before, after).size(), 100000U);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
}

}  // namespace
