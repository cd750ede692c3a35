// The files of the machine that go into a package: when the newest was changed, and that none of
// them is the file to be written.
#pragma once

#include "tools/tpk/host/pendingfile.h"

#include <cstdint>
#include <functional>
#include <string>

struct stat;

class Inputs {
 public:
  // output is where the package goes; null: nowhere.
  explicit Inputs(const PendingFile* output) : output_(output) {}

  // Throws Failure when it is the output.
  void note(const std::string& path, const struct stat& status);
  // The same of a file that links lead to. Throws EnvironmentFailure when it is not there.
  void note(const std::string& path);
  // A folder whose contents are packed, all but the names that isLeftOut says. Throws Failure when
  // the output is in it.
  void noteFolder(const std::string& path, const struct stat& status,
                  const std::function<bool(const std::string&)>& isLeftOut);

  // The latest change, in seconds since 1970; 0 when nothing was noted.
  std::int64_t newest() const { return newest_; }

 private:
  const PendingFile* output_;
  std::int64_t newest_ = 0;
};
