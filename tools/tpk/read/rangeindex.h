// The ranges of a relation list, found by name and bound: a list may have 65,535 entries, and what
// compares two of them cannot look at every pair.
#pragma once

#include "model/packagedep.h"

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

class RangeIndex {
 public:
  // The list must outlive the index.
  explicit RangeIndex(const std::vector<PackageDep>& list);

  // An entry of the same name in whose range every version in wanted's is; null without one. Of
  // several it is the one that reaches farthest up, and of these the first.
  const PackageDep* covering(const PackageDep& wanted) const;
  // Whether an entry of the same name has a version in common with wanted's range, as
  // PackageInfo::doesProvidersSatisfy() finds it.
  bool overlaps(const PackageDep& wanted) const;

 private:
  // Of the entries of that name with a lower bound of at most limit, the one that reaches farthest.
  const PackageDep* farthest(const std::string& name, std::uint64_t limit) const;

  // By lower bound; each is the one that reaches farthest of those up to its place, and lowest the
  // lower bound of that place.
  struct Place {
    std::uint32_t lowest;
    const PackageDep* farthest;
  };
  std::unordered_map<std::string, std::vector<Place>> places_;
};
