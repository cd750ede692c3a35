#include "tools/tpk/make/glob.h"

#include "tests/tpk/failuretext.h"

#include <chrono>
#include <string>

#include <gtest/gtest.h>

namespace {

bool matches(const std::string& pattern, const std::string& path) {
  return Glob(pattern).matches(path);
}

TEST(Glob, TextMatchesItself) {
  EXPECT_TRUE(matches("bin/sh", "bin/sh"));
  EXPECT_FALSE(matches("bin/sh", "bin/shx"));
  EXPECT_FALSE(matches("bin/sh", "bin/s"));
  EXPECT_FALSE(matches("bin/sh", "xbin/sh"));
  EXPECT_EQ(Glob("bin/sh").literal(), "bin/sh");
}

TEST(Glob, StarStopsAtTheSlash) {
  EXPECT_TRUE(matches("bin/*", "bin/sh"));
  EXPECT_TRUE(matches("bin/*", "bin/.hidden"));
  EXPECT_FALSE(matches("bin/*", "bin"));
  EXPECT_FALSE(matches("bin/*", "bin/a/b"));
  EXPECT_TRUE(matches("*.o", "a.o"));
  EXPECT_TRUE(matches("*.o", ".o"));
  EXPECT_FALSE(matches("*.o", "b/a.o"));
  EXPECT_TRUE(matches("a*b*c", "axxbbyc"));
  EXPECT_FALSE(Glob("*").literal());
}

TEST(Glob, TwoStarsDoNot) {
  EXPECT_TRUE(matches("**", "a/b/c"));
  EXPECT_TRUE(matches("doc/**", "doc/a/b"));
  EXPECT_FALSE(matches("doc/**", "doc"));
  EXPECT_TRUE(matches("a**z", "a/b/z"));
}

TEST(Glob, FoldersInFrontMayBeNone) {
  EXPECT_TRUE(matches("**/x", "x"));
  EXPECT_TRUE(matches("**/x", "a/x"));
  EXPECT_TRUE(matches("**/x", "a/b/x"));
  EXPECT_FALSE(matches("**/x", "ax"));
  EXPECT_FALSE(matches("**/x", "a/bx"));
  EXPECT_TRUE(matches("a/**/b", "a/b"));
  EXPECT_TRUE(matches("a/**/b", "a/x/y/b"));
  EXPECT_FALSE(matches("a/**/b", "ab"));
  EXPECT_FALSE(matches("a/**/b", "a/xb"));
}

TEST(Glob, QuestionMarkIsOneCharacterButTheSlash) {
  EXPECT_TRUE(matches("tty?", "tty0"));
  EXPECT_FALSE(matches("tty?", "tty"));
  EXPECT_FALSE(matches("a?b", "a/b"));
}

TEST(Glob, SetsHaveRangesAndOpposites) {
  EXPECT_TRUE(matches("tty[0-3x]", "tty2"));
  EXPECT_TRUE(matches("tty[0-3x]", "ttyx"));
  EXPECT_FALSE(matches("tty[0-3x]", "tty4"));
  EXPECT_TRUE(matches("[!a]", "b"));
  EXPECT_TRUE(matches("[^a]", "b"));
  EXPECT_FALSE(matches("[!a]", "a"));
  EXPECT_FALSE(matches("x[!a]y", "x/y"));
  EXPECT_TRUE(matches("[]]", "]"));
  EXPECT_TRUE(matches("[a-]", "-"));
  EXPECT_TRUE(matches("[\x80-\xff]", "\xe4"));
}

TEST(Glob, BackslashTakesTheMeaningAway) {
  EXPECT_TRUE(matches("\\*", "*"));
  EXPECT_FALSE(matches("\\*", "x"));
  EXPECT_EQ(Glob("\\[a\\]\\\\").literal(), "[a]\\");
}

TEST(Glob, BrokenPatternsAreRefused) {
  EXPECT_EQ(failureOf([] { Glob("a\\"); }), "the pattern \"a\\\\\" ends in \"\\\"; write \"\\\\\"");
  for (const char* pattern : {"[", "[a", "[]", "[!]", "[a-"})
    EXPECT_EQ(failureOf([&] { Glob glob(pattern); }),
              "the pattern \"" + std::string(pattern) +
                  "\" has a \"[\" without a \"]\"; write \"\\[\" for it");
}

TEST(Glob, ManyStarsTakeNoLonger) {
  std::string pattern;
  for (int i = 0; i < 100; ++i) pattern += "*a**";
  const auto before = std::chrono::steady_clock::now();
  EXPECT_FALSE(matches(pattern + "b", std::string(2000, 'a')));
  EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(2));
}

}  // namespace
