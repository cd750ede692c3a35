// A description in a temp folder, and the files that it asks for as text.
#pragma once

#include "tests/support/tree.h"
#include "tests/tpk/failuretext.h"
#include "tools/tpk/make/filetree.h"
#include "tools/tpk/make/manifest.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

class FilesWorld : public ::testing::Test {
 protected:
  enum : std::uint32_t { kBuildTime = 1700000000 };

  std::string path(const std::string& name) const { return temp_.path() + "/" + name; }
  void put(const std::string& name, const std::string& contents, mode_t mode = 0644) const {
    writeFile(path(name), contents, mode);
  }
  void setTime(const std::string& name, time_t seconds) const;

  // The tree of a package of the build time above with these further lines in its description; they
  // begin at line 4. One line for each entry, such as
  //   bin/tool file 0755 0:0 time=build size=8
  //   etc/link link -> target
  //   dev/null char 0666 0:0 time=build device=1:3
  // with " skip" behind those that the router passes over.
  std::string files(const std::string& description);
  // Only the paths, in their order.
  std::string paths(const std::string& description);
  // The failure's text; the temp folder's path and "/" are left out of it.
  std::string failure(const std::string& description);
  // What was said while the last tree was made.
  const std::vector<std::string>& warnings() const { return warnings_; }
  // Of a file of the last tree.
  std::string contents(const std::string& file) const;

  TempFolder temp_;

 private:
  Manifest read(const std::string& description);
  void make(const std::string& description);

  Spool spool_;
  FileTree tree_;
  std::vector<std::string> warnings_;
};
