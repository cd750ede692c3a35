// Tests whose process itself runs in a router root of its own: a temp folder with the router's
// directories becomes "/" for the length of a test. The real root comes back before the test ends,
// so that the folder can be removed, the next test can run in the same process, and what the
// program's runtime writes at its end lands where it belongs.
#pragma once

#include "tests/support/privilege.h"
#include "tests/support/repoaccess.h"
#include "tests/support/tree.h"

#include <memory>
#include <string>

#include <gtest/gtest.h>

class InRoot : public testing::Test {
 protected:
  // Enters a root with an empty database and a fresh Repo, with the umask 022; skips the test where
  // that is forbidden. From here on standard output goes to the console below; what a failed or
  // skipped test wrote there is printed at its end.
  void SetUp() override;
  void TearDown() override;

  // What was written to standard output since the last call, by whatever means.
  std::string takeConsole();

  // A file of the machine, which lies outside the root.
  static std::string hostFile(const std::string& path);
  // A RAM disk of that many KiB, until the test ends; only after NEEDS_MOUNT().
  void mountRamDisk(const std::string& path, unsigned kilobytes);

  // The descriptor that the next file to be opened gets: what is left open shows in it.
  static int nextDescriptor();

  Repo* repo_ = nullptr;

 private:
  void openDescriptors();
  void enter();
  void leave();
  void showConsole() const;

  std::unique_ptr<TempFolder> folder_;
  bool isRamDisk_ = false;
  bool entered_ = false;
  mode_t mask_ = 0;
  int realFolder_ = -1;  // the working directory outside
  int realOutput_ = -1;
  int console_ = -1;
  std::size_t consoleTaken_ = 0;
};
