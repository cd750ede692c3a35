#include "tools/tpk/read/entrypath.h"

#include "tests/tpk/failuretext.h"

#include <string>

#include <gtest/gtest.h>

namespace {

TEST(CleanPath, LeavesOutWhatSaysNothing) {
  EXPECT_EQ(cleanPath("a/b"), "a/b");
  EXPECT_EQ(cleanPath("/a//./b/"), "a/b");
  EXPECT_EQ(cleanPath("..a/.b/c..").c_str(), std::string("..a/.b/c.."));
  EXPECT_EQ(cleanPath("/"), "");
  EXPECT_EQ(cleanPath("."), "");
  EXPECT_EQ(cleanPath(""), "");
}

TEST(CleanPath, RefusesWhatTheRouterRefuses) {
  for (const std::string path : {"..", "../a", "a/..", "a/../b", "a\nb"})
    EXPECT_NE(failureOf([&] { cleanPath(path); }), "no failure") << path;
  EXPECT_NE(failureOf([] { cleanPath(std::string("a\0b", 3)); }), "no failure");
}

}  // namespace
