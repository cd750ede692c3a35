#include "tools/tpk/read/rangeindex.h"

#include <algorithm>
#include <limits>

namespace {

// The upper bound; an open one is above every version.
std::uint64_t top(const PackageDep& dep) {
  return dep.maxVersion != 0 ? dep.maxVersion : std::numeric_limits<std::uint64_t>::max();
}

}  // namespace

RangeIndex::RangeIndex(const std::vector<PackageDep>& list) {
  for (const PackageDep& dep : list) places_[dep.name].push_back({dep.minVersion, &dep});
  for (auto& named : places_) {
    std::vector<Place>& places = named.second;
    std::stable_sort(places.begin(), places.end(),
                     [](const Place& a, const Place& b) { return a.lowest < b.lowest; });
    const PackageDep* farthest = places.front().farthest;
    for (Place& place : places) {
      const std::uint64_t own = top(*place.farthest);
      // What stands in the list first has the lower address.
      if (own > top(*farthest) || (own == top(*farthest) && place.farthest < farthest))
        farthest = place.farthest;
      place.farthest = farthest;
    }
  }
}

const PackageDep* RangeIndex::farthest(const std::string& name, std::uint64_t limit) const {
  const auto named = places_.find(name);
  if (named == places_.end()) return nullptr;
  const std::vector<Place>& places = named->second;
  const auto behind = std::upper_bound(
      places.begin(), places.end(), limit,
      [](std::uint64_t bound, const Place& place) { return bound < place.lowest; });
  return behind == places.begin() ? nullptr : std::prev(behind)->farthest;
}

const PackageDep* RangeIndex::covering(const PackageDep& wanted) const {
  const PackageDep* found = farthest(wanted.name, wanted.minVersion);
  return found && top(*found) >= top(wanted) ? found : nullptr;
}

bool RangeIndex::overlaps(const PackageDep& wanted) const {
  const PackageDep* found = farthest(wanted.name, top(wanted));
  return found && top(*found) >= wanted.minVersion;
}
