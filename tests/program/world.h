// What every whole-program test stands on: a router, and a system package on it, because a router
// without packages ends the batch run for good.
#pragma once

#include "tests/program/console.h"
#include "tests/program/pack.h"
#include "tests/support/privilege.h"
#include "tests/support/router.h"

#include <algorithm>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

class World : public testing::Test {
 protected:
  void SetUp() override {
    NEEDS_CHROOT();
    router.installed(systemRecord());
  }

  static Record systemRecord() {
    Record record;
    record.name = "system";
    record.version = k3_22;
    record.buildTime = 100;
    record.files = {"/lib/system"};
    return record;
  }
  // Its lines in Router::database().
  static std::string systemLines() {
    return "== system/deps\n== system/files\nlib/system\n== system/version\n51799552 100\n";
  }

  Router router;
};

// Compares all that a run has said and how it ended.
#define EXPECT_RUN(result, expectedStatus, console)           \
  do {                                                        \
    const ProcessResult seen = (result);                      \
    EXPECT_TRUE(seen.exited(expectedStatus)) << seen;         \
    EXPECT_EQ(visible(seen.out), visible((console).bytes())); \
    EXPECT_EQ(seen.err, "");                                  \
  } while (false)
