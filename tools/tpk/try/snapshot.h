// The database of a scratch root at one moment, and what its packages take of the flash.
#pragma once

#include "package/package.h"

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>

class ScratchRoot;

struct FlashUse {
  std::uint64_t bytes = 0;
  unsigned unsized = 0;  // files of which nobody knows how large they are

  FlashUse& operator+=(const FlashUse& more) {
    bytes += more.bytes;
    unsized += more.unsized;
    return *this;
  }
};

struct SnapshotPackage {
  Package record;
  // What the installer reads as a request to uninstall; or, after a script's work, what is no
  // longer made of plain files, which are then not looked into.
  bool damaged = false;
  FlashUse use;  // files and record
};

class Snapshot {
 public:
  using Packages = std::map<std::string, std::unique_ptr<SnapshotPackage>>;

  // Requests that wait for the next run stay. Whatever scripts may have left there, nothing outside
  // the root is read, and nothing is waited for.
  explicit Snapshot(const ScratchRoot& root);

  // By name.
  const Packages& packages() const { return packages_; }
  // Null when there is none.
  const SnapshotPackage* find(const std::string& name) const;
  // Whether an enabled package satisfies it.
  bool satisfies(const PackageDep& dep) const;

 private:
  Packages packages_;
};
