#include "tools/tpk/host/progress.h"

#include "tests/support/privilege.h"
#include "tests/support/terminal.h"
#include "tests/support/tree.h"

#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

const std::string kClear = "\r\033[K";

std::string bar(unsigned filled, const std::string& percent) {
  return kClear + "packing [" + std::string(filled, '#') + std::string(30 - filled, ' ') + "] " +
         percent + "%";
}

TEST(Progress, ShowsHowMuchIsDone) {
  NEEDS_TERMINALS();
  const Terminal terminal;
  {
    Progress progress(terminal.descriptor(), "packing", 200);
    EXPECT_EQ(terminal.read(), "");
    progress.add(100);
    EXPECT_EQ(terminal.read(), bar(15, "50"));
    progress.add(100);
    EXPECT_EQ(terminal.read(), bar(30, "100"));
  }
  EXPECT_EQ(terminal.read(), kClear);
}

TEST(Progress, DoesNotDrawMoreOftenThanAnybodySees) {
  NEEDS_TERMINALS();
  const Terminal terminal;
  Progress progress(terminal.descriptor(), "packing", 1000000);
  for (int i = 0; i < 999; ++i) progress.add(1000);
  const std::string seen = terminal.read();
  std::size_t bars = 0;
  for (auto at = seen.find(kClear); at != std::string::npos; at = seen.find(kClear, at + 1)) ++bars;
  EXPECT_GE(bars, 1U);
  EXPECT_LE(bars, 30U);
}

TEST(Progress, OfNothingShowsNothing) {
  NEEDS_TERMINALS();
  const Terminal terminal;
  { Progress(terminal.descriptor(), "packing", 0).add(0); }
  EXPECT_EQ(terminal.read(), "");
}

TEST(Progress, IsOnlyForTerminals) {
  const TempFolder temp;
  const int file = ::open((temp.path() + "/file").c_str(), O_RDWR | O_CREAT, 0600);
  ASSERT_GE(file, 0);
  { Progress(file, "packing", 100).add(50); }
  close(file);
  EXPECT_EQ(readFile(temp.path() + "/file"), "");
}

}  // namespace
