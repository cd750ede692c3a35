// One entry of a requires, provides or conflicts list.
#pragma once

#include <cstdint>
#include <string>

class PackageInfo;

class PackageDep {
 public:
  std::string name;              // at most 16 bytes when it comes from a package file
  std::uint32_t minVersion = 0;  // packed; 0: no lower bound
  std::uint32_t maxVersion = 0;  // packed; 0: no upper bound
  std::int32_t weight = 0;       // of a provides entry, see PackageInfo::hasConflict

  // The name, and behind "-" the lower bound when there is one.
  std::string getFullName() const;
  // Takes the package's name, and its version as both bounds; the weight stays.
  void assign(const PackageInfo* package);
};
