#include "tools/tpk/try/consoletext.h"

#include "tests/program/console.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using Lines = std::vector<std::string>;

TEST(ConsoleText, StatusLinesAreNoLines) {
  Console console;
  console.line().status("verifying x.tpk").error("broken package x.tpk").line();
  EXPECT_EQ(consoleLines(console.bytes()), (Lines{"ERROR: broken package x.tpk"}));
}

// A warning leaves the status line below itself, which the next message takes away.
TEST(ConsoleText, MessagesBesideAStandingStatusLineAreWhole) {
  Console console;
  console.bar("installing ppp-3.22", 10, 100).warning("ghost file /bin/a").warning("ghost file /b");
  console.log("installed ppp-3.22");
  EXPECT_EQ(consoleLines(console.bytes()),
            (Lines{"WARNING: ghost file /bin/a", "WARNING: ghost file /b", "installed ppp-3.22"}));
}

TEST(ConsoleText, LastLineNeedsNoEnd) {
  EXPECT_EQ(consoleLines("one\n\ntwo"), (Lines{"one", "two"}));
  EXPECT_EQ(consoleLines(""), Lines());
}

TEST(ConsoleText, OtherSequencesStayForWhoPrintsThem) {
  EXPECT_EQ(consoleLines("\033[2Jx\n"), (Lines{"\033[2Jx"}));
}

}  // namespace
