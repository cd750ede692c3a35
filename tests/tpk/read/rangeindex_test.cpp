// The index of ranges, beside a look at every entry.
#include "tools/tpk/read/rangeindex.h"

#include "model/packageinfo.h"
#include "tests/support/random.h"

#include <gtest/gtest.h>

namespace {

bool covers(const PackageDep& outer, const PackageDep& inner) {
  return outer.name == inner.name && outer.minVersion <= inner.minVersion &&
         (outer.maxVersion == 0 || (inner.maxVersion != 0 && inner.maxVersion <= outer.maxVersion));
}

// Whether a reaches farther up than b.
bool isHigher(const PackageDep& a, const PackageDep& b) {
  return b.maxVersion != 0 && (a.maxVersion == 0 || a.maxVersion > b.maxVersion);
}

const PackageDep* coveringByLooking(const std::vector<PackageDep>& list, const PackageDep& wanted) {
  const PackageDep* best = nullptr;
  for (const PackageDep& dep : list)
    if (covers(dep, wanted) && (!best || isHigher(dep, *best))) best = &dep;
  return best;
}

TEST(RangeIndex, FindsWhatALookAtEveryEntryFinds) {
  TestRandom random;
  // Few names and bounds, so that many ranges touch; empty and open ones among them.
  const auto bound = [&] { return static_cast<std::uint32_t>(random.below(6)); };
  const auto range = [&] {
    return PackageDep{std::string(1, static_cast<char>('a' + random.below(2))), bound(), bound()};
  };
  unsigned covered = 0;
  unsigned overlapping = 0;
  constexpr unsigned kRounds = 20000;
  for (unsigned round = 0; round < kRounds; ++round) {
    PackageInfo package;
    for (std::size_t i = random.below(6); i > 0; --i) package.provides.push_back(range());
    const RangeIndex index(package.provides);
    const PackageDep wanted = range();
    const PackageDep* expected = coveringByLooking(package.provides, wanted);
    ASSERT_EQ(index.covering(wanted), expected) << round;
    ASSERT_EQ(index.overlaps(wanted), package.doesProvidersSatisfy(wanted)) << round;
    covered += expected ? 1U : 0U;
    overlapping += index.overlaps(wanted) ? 1U : 0U;
  }
  EXPECT_GT(covered, kRounds / 10);
  EXPECT_LT(covered, kRounds / 2);
  EXPECT_GT(overlapping, kRounds / 4);
  EXPECT_LT(overlapping, kRounds * 3 / 4);
}

TEST(RangeIndex, OfNothingFindsNothing) {
  const std::vector<PackageDep> nothing;
  const RangeIndex index(nothing);
  EXPECT_EQ(index.covering({"a"}), nullptr);
  EXPECT_FALSE(index.overlaps({"a"}));
}

}  // namespace
