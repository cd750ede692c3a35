// What changed between two packages, one below the other.
#pragma once

#include "tools/tpk/read/archiveindex.h"
#include "tools/tpk/read/packreader.h"

#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

class PackageDiff {
 public:
  // indent stands before every line.
  PackageDiff(std::ostream& out, const std::string& indent) : out_(out), indent_(indent) {}

  void compare(const InputFile& fileBefore, const PackedPackage& before, const InputFile& fileAfter,
               const PackedPackage& after);
  // A line that is not about a part of a package.
  void line(const std::string& text);
  void value(const std::string& label, const std::string& before, const std::string& after);
  bool any() const { return any_; }

 private:
  void compareHeaders(const PackedPackage& before, const PackedPackage& after);
  void compareDeps(const std::string& label, const std::vector<PackageDep>& before,
                   const std::vector<PackageDep>& after, bool withWeight = false);
  void compareScripts(const std::string& label, const std::optional<std::string>& before,
                      const std::optional<std::string>& after);
  void compareFiles(const ArchiveIndex& before, const ArchiveIndex& after);
  void compareEntries(const std::string& path, const IndexedEntry& before,
                      const IndexedEntry& after);

  std::ostream& out_;
  std::string indent_;
  bool any_ = false;
};
