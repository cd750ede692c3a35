#include "model/packageinfo.h"

#include "model/packagefile.h"
#include "model/version.h"
#include "tests/model/allocations.h"
#include "tests/support/packbuilder.h"

#include <gtest/gtest.h>

namespace {

constexpr std::uint32_t k2_0 = packVersion(2, 0, kKindFinal, 0);
constexpr std::uint32_t k2_9 = packVersion(2, 9, kKindFinal, 0);
constexpr std::uint32_t k3_0 = packVersion(3, 0, kKindFinal, 0);
constexpr std::uint32_t k3_20rc2 = packVersion(3, 20, kKindCandidate, 2);
constexpr std::uint32_t k3_22 = packVersion(3, 22, kKindFinal, 0);
constexpr std::uint32_t k4_0 = packVersion(4, 0, kKindFinal, 0);

PackageDep offer(const std::string& name, std::int32_t weight) { return dep(name, 0, 0, weight); }

PackageInfo& addCarried(PackageInfo& bundle, const std::string& name, std::uint32_t version = k3_22,
                        std::uint32_t buildTime = 0) {
  auto* carried = new PackageInfo;
  carried->name = name;
  carried->version = version;
  carried->buildTime = buildTime;
  bundle.subPackages.push_back(carried);
  return *carried;
}

// A description to be made in an expression.
class Pack {
 public:
  explicit Pack(const std::string& name, std::uint32_t version = k3_22,
                std::uint32_t buildTime = 0) {
    info_.name = name;
    info_.version = version;
    info_.buildTime = buildTime;
  }
  PackageInfo* operator->() { return &info_; }
  const PackageInfo* operator->() const { return &info_; }
  operator const PackageInfo&() const { return info_; }
  PackageInfo& carry(const std::string& name, std::uint32_t version = k3_22,
                     std::uint32_t buildTime = 0) {
    return addCarried(info_, name, version, buildTime);
  }

 private:
  PackageInfo info_;
};

TEST(PackageInfo, StartsEmpty) {
  const PackageInfo package;
  EXPECT_EQ(package.name, "");
  EXPECT_EQ(package.arch, "");
  EXPECT_EQ(package.description, "");
  EXPECT_EQ(package.version, 0u);
  EXPECT_EQ(package.buildTime, 0u);
  EXPECT_FALSE(package.hasImage);
  EXPECT_FALSE(package.isBundle);
  EXPECT_TRUE(package.deps.empty());
  EXPECT_TRUE(package.provides.empty());
  EXPECT_TRUE(package.conflicts.empty());
  EXPECT_TRUE(package.subPackages.empty());
}

TEST(PackageFile, StartsEmpty) {
  const PackageFile file;
  EXPECT_EQ(file.path, "");
  EXPECT_EQ(file.foundPath, "");
  EXPECT_EQ(file.size, 0u);
  EXPECT_FALSE(file.isDumb);
}

TEST(PackageInfo, DestroysWhatItCarries) {
  const std::size_t before = liveBlocks();
  {
    PackageInfo bundle;
    addCarried(bundle, "a");
    addCarried(addCarried(bundle, "b"), "c").provides = {dep("d")};
    EXPECT_GT(liveBlocks(), before);
  }
  EXPECT_EQ(liveBlocks(), before);
}

TEST(PackageFile, IsDestroyedThroughItsBase) {
  const std::size_t before = liveBlocks();
  auto* file = new PackageFile;
  file->path.assign(100, 'x');
  const PackageInfo* package = file;
  delete package;
  EXPECT_EQ(liveBlocks(), before);
}

TEST(AddConflict, AppendsOneVersionAsBothBounds) {
  Pack package("a");
  package->conflicts = {dep("before")};
  package->addConflict("b", k3_22);
  ASSERT_EQ(package->conflicts.size(), 2u);
  EXPECT_EQ(package->conflicts[0].name, "before");
  EXPECT_EQ(package->conflicts[1].name, "b");
  EXPECT_EQ(package->conflicts[1].minVersion, k3_22);
  EXPECT_EQ(package->conflicts[1].maxVersion, k3_22);
  EXPECT_EQ(package->conflicts[1].weight, 0);
}

TEST(AddConflict, OfOneVersionConflictsWithThatVersionOnly) {
  Pack package("a");
  package->addConflict("b", k3_22);
  EXPECT_TRUE(package->hasConflict(Pack("b", k3_22)));
  EXPECT_FALSE(package->hasConflict(Pack("b", k3_20rc2)));
  EXPECT_FALSE(package->hasConflict(Pack("b", k4_0)));
}

TEST(AddConflict, OfVersionZeroConflictsWithEveryVersion) {
  PackageInfo placeholder;
  placeholder.addConflict("b", 0);
  EXPECT_TRUE(placeholder.hasConflict(Pack("b", 0)));
  EXPECT_TRUE(placeholder.hasConflict(Pack("b", k3_22)));
  EXPECT_TRUE(placeholder.hasConflict(Pack("b", 0xFFFFFFFF)));
  EXPECT_FALSE(placeholder.hasConflict(Pack("c", k3_22)));
}

TEST(GetFullName, JoinsNameAndVersion) {
  EXPECT_EQ(Pack("system", k3_22)->getFullName(), "system-3.22");
}

TEST(GetFullName, AlwaysShowsTheVersion) { EXPECT_EQ(Pack("", 0)->getFullName(), "-0.0"); }

TEST(DoesSatisfy, OpenBoundsTakeAnyVersion) {
  EXPECT_TRUE(Pack("a", 0)->doesSatisfy(dep("a")));
  EXPECT_TRUE(Pack("a", k3_22)->doesSatisfy(dep("a")));
  EXPECT_TRUE(Pack("a", 0xFFFFFFFF)->doesSatisfy(dep("a")));
}

TEST(DoesSatisfy, LowerBoundIsInclusive) {
  EXPECT_FALSE(Pack("a", k3_20rc2)->doesSatisfy(dep("a", k3_22)));
  EXPECT_TRUE(Pack("a", k3_22)->doesSatisfy(dep("a", k3_22)));
  EXPECT_TRUE(Pack("a", k4_0)->doesSatisfy(dep("a", k3_22)));
}

TEST(DoesSatisfy, UpperBoundIsInclusive) {
  EXPECT_TRUE(Pack("a", k3_20rc2)->doesSatisfy(dep("a", 0, k3_22)));
  EXPECT_TRUE(Pack("a", k3_22)->doesSatisfy(dep("a", 0, k3_22)));
  EXPECT_FALSE(Pack("a", k3_22 + 1)->doesSatisfy(dep("a", 0, k3_22)));
}

TEST(DoesSatisfy, VersionsCompareUnsigned) {
  EXPECT_TRUE(Pack("a", 0x80000000)->doesSatisfy(dep("a", k3_22)));
  EXPECT_FALSE(Pack("a", 0x80000000)->doesSatisfy(dep("a", 0, k3_22)));
}

TEST(DoesSatisfy, NamesCompareExactly) {
  const Pack package("system");
  EXPECT_FALSE(package->doesSatisfy(dep("System")));
  EXPECT_FALSE(package->doesSatisfy(dep("syste")));
  EXPECT_FALSE(package->doesSatisfy(dep("system2")));
  EXPECT_FALSE(package->doesSatisfy(dep("")));
}

TEST(DoesSatisfy, IgnoresProvides) {
  Pack package("a");
  package->provides = {dep("b")};
  EXPECT_FALSE(package->doesSatisfy(dep("b")));
  EXPECT_TRUE(package->doesProvidersSatisfy(dep("b")));
  EXPECT_TRUE(package->satisfies(dep("b")));
}

TEST(DoesSatisfy, IgnoresWhatABundleCarries) {
  Pack bundle("all");
  bundle.carry("a");
  EXPECT_FALSE(bundle->doesSatisfy(dep("a")));
  EXPECT_FALSE(bundle->satisfies(dep("a")));
}

TEST(DoesProvidersSatisfy, OpenTopOfTheOfferReachesUp) {
  Pack package("a");
  package->provides = {dep("b", k3_0, 0)};
  EXPECT_TRUE(package->doesProvidersSatisfy(dep("b", k3_22, 0)));
}

TEST(DoesProvidersSatisfy, OfferAboveTheWantedRangeFails) {
  Pack package("a");
  package->provides = {dep("b", k3_0, 0)};
  EXPECT_FALSE(package->doesProvidersSatisfy(dep("b", k2_0, k2_9)));
}

TEST(DoesProvidersSatisfy, OfferBelowTheWantedRangeFails) {
  Pack package("a");
  package->provides = {dep("b", k2_0, k2_9)};
  EXPECT_FALSE(package->doesProvidersSatisfy(dep("b", k3_0, 0)));
  EXPECT_FALSE(package->doesProvidersSatisfy(dep("b", k3_0, k4_0)));
}

TEST(DoesProvidersSatisfy, RangesThatTouchOverlap) {
  Pack package("a");
  package->provides = {dep("b", k2_9, k3_22)};
  EXPECT_TRUE(package->doesProvidersSatisfy(dep("b", k3_22, k4_0)));
  EXPECT_TRUE(package->doesProvidersSatisfy(dep("b", k2_0, k2_9)));
  EXPECT_FALSE(package->doesProvidersSatisfy(dep("b", k3_22 + 1, k4_0)));
  EXPECT_FALSE(package->doesProvidersSatisfy(dep("b", k2_0, k2_9 - 1)));
}

TEST(DoesProvidersSatisfy, OpenBoundsOfEitherSideAlwaysOverlap) {
  Pack package("a");
  package->provides = {dep("b")};
  EXPECT_TRUE(package->doesProvidersSatisfy(dep("b", k3_22, k3_22)));
  package->provides = {dep("b", k3_22, k3_22)};
  EXPECT_TRUE(package->doesProvidersSatisfy(dep("b")));
}

TEST(DoesProvidersSatisfy, BoundsCompareUnsigned) {
  Pack package("a");
  package->provides = {dep("b", 0x80000000, 0)};
  EXPECT_FALSE(package->doesProvidersSatisfy(dep("b", 0, 0x7FFFFFFF)));
  EXPECT_TRUE(package->doesProvidersSatisfy(dep("b", 0, 0x80000000)));
}

TEST(DoesProvidersSatisfy, LaterEntryOfTheSameNameMaySatisfy) {
  Pack package("a");
  package->provides = {dep("c"), dep("b", k2_0, k2_0), dep("b", k3_22, k3_22)};
  EXPECT_TRUE(package->doesProvidersSatisfy(dep("b", k3_22, k3_22)));
}

TEST(DoesProvidersSatisfy, NamesCompareExactly) {
  Pack package("a");
  package->provides = {dep("bc"), dep("B")};
  EXPECT_FALSE(package->doesProvidersSatisfy(dep("b")));
}

TEST(DoesProvidersSatisfy, IgnoresThePackagesOwnName) {
  EXPECT_FALSE(Pack("a")->doesProvidersSatisfy(dep("a")));
  EXPECT_TRUE(Pack("a")->satisfies(dep("a")));
}

TEST(Has, FindsItselfAndWhatItCarries) {
  Pack bundle("all");
  bundle.carry("a");
  bundle.carry("b");
  EXPECT_TRUE(bundle->has("all"));
  EXPECT_TRUE(bundle->has("a"));
  EXPECT_TRUE(bundle->has("b"));
  EXPECT_FALSE(bundle->has("c"));
}

TEST(Has, LooksOneLevelDeep) {
  Pack bundle("all");
  addCarried(bundle.carry("inner"), "deep");
  EXPECT_TRUE(bundle->has("inner"));
  EXPECT_FALSE(bundle->has("deep"));
}

TEST(Has, IgnoresProvides) {
  Pack package("a");
  package->provides = {dep("b")};
  EXPECT_FALSE(package->has("b"));
}

TEST(Requires, WhatADependencyNames) {
  Pack package("a");
  package->deps = {dep("x"), dep("b", k3_22)};
  EXPECT_TRUE(package->requires(Pack("b", k3_22)));
  EXPECT_FALSE(package->requires(Pack("b", k3_20rc2)));
  EXPECT_FALSE(package->requires(Pack("c")));
}

TEST(Requires, WhatProvidesADependency) {
  Pack package("a");
  package->deps = {dep("b", k3_22)};
  Pack other("c");
  other->provides = {dep("b", k3_0, 0)};
  EXPECT_TRUE(package->requires(other));
  other->provides = {dep("b", k2_0, k2_9)};
  EXPECT_FALSE(package->requires(other));
}

TEST(Requires, WhatTheOtherCarries) {
  Pack package("a");
  package->deps = {dep("b")};
  Pack bundle("all");
  bundle.carry("x");
  EXPECT_FALSE(package->requires(bundle));
  bundle.carry("b");
  EXPECT_TRUE(package->requires(bundle));
}

TEST(Requires, WhatACarriedPackageOfItsOwnRequires) {
  Pack bundle("all");
  bundle.carry("x");
  bundle.carry("a").deps = {dep("b")};
  EXPECT_TRUE(bundle->requires(Pack("b")));
  EXPECT_FALSE(bundle->requires(Pack("c")));
}

TEST(Requires, BetweenTheContentsOfTwoBundles) {
  Pack bundle("all");
  bundle.carry("a").deps = {dep("b")};
  Pack other("more");
  other.carry("b");
  EXPECT_TRUE(bundle->requires(other));
  EXPECT_FALSE(other->requires(bundle));
}

TEST(Requires, NothingWithoutDependencies) {
  EXPECT_FALSE(Pack("a")->requires(Pack("a")));
  EXPECT_FALSE(Pack("a")->requires(Pack("b")));
}

// hasConflict: a's answer about b, one rule after the other->

TEST(HasConflict, WithNothingDeclaredIsNone) { EXPECT_FALSE(Pack("a")->hasConflict(Pack("b"))); }

TEST(HasConflict, OwnListNamesTheOther) {
  Pack a("a");
  a->conflicts = {dep("x"), dep("b", k3_22)};
  EXPECT_TRUE(a->hasConflict(Pack("b", k3_22)));
  EXPECT_FALSE(a->hasConflict(Pack("b", k3_20rc2)));
}

TEST(HasConflict, OwnListComesBeforeAnOfferOfTheOther) {
  Pack a("a");
  a->conflicts = {dep("b")};
  Pack b("b");
  b->provides = {offer("a", 1)};
  EXPECT_TRUE(a->hasConflict(b));
}

TEST(HasConflict, OtherThatStandsInWithNegativeWeightConflicts) {
  Pack b("b");
  b->provides = {offer("x", 0), offer("a", -1)};
  EXPECT_TRUE(Pack("a")->hasConflict(b));
}

TEST(HasConflict, OtherThatStandsInWithZeroOrMoreDoesNot) {
  Pack b("b");
  b->provides = {offer("a", 0)};
  EXPECT_FALSE(Pack("a")->hasConflict(b));
  b->provides = {offer("a", 1)};
  EXPECT_FALSE(Pack("a")->hasConflict(b));
}

TEST(HasConflict, FirstOfferOfThisNameDecides) {
  Pack b("b");
  b->provides = {offer("a", 0), offer("a", -1)};
  EXPECT_FALSE(Pack("a")->hasConflict(b));
  b->provides = {offer("a", -1), offer("a", 0)};
  EXPECT_TRUE(Pack("a")->hasConflict(b));
}

TEST(HasConflict, OfferIgnoresItsVersionRange) {
  Pack b("b");
  b->provides = {dep("a", k2_0, k2_0, -1)};
  EXPECT_TRUE(Pack("a", k3_22)->hasConflict(b));
}

TEST(HasConflict, FriendlyOfferOfTheOtherEndsTheTest) {
  Pack b("b");
  b->provides = {offer("a", 0), offer("virtual", 0)};

  Pack standsIn("a");  // would conflict as the one that stands in for b
  standsIn->provides = {offer("b", 0)};
  EXPECT_FALSE(standsIn->hasConflict(b));

  Pack outweighs("a");  // would conflict as the heavier provider of a common name
  outweighs->provides = {offer("virtual", 1)};
  EXPECT_FALSE(outweighs->hasConflict(b));

  Pack declares("a");  // would conflict with what b provides
  declares->conflicts = {dep("virtual")};
  EXPECT_FALSE(declares->hasConflict(b));

  b.carry("a");  // would conflict as a package that b carries
  EXPECT_FALSE(Pack("a")->hasConflict(b));

  Pack bundle("a");  // would conflict through what it carries
  bundle.carry("c").conflicts = {dep("b")};
  EXPECT_FALSE(bundle->hasConflict(b));
}

TEST(HasConflict, StandingInForTheOtherWithZeroOrMoreConflicts) {
  Pack a("a");
  a->provides = {offer("b", 0)};
  EXPECT_TRUE(a->hasConflict(Pack("b")));
  a->provides = {offer("b", 1)};
  EXPECT_TRUE(a->hasConflict(Pack("b")));
}

TEST(HasConflict, StandingInForTheOtherWithNegativeWeightDoesNot) {
  Pack a("a");
  a->provides = {offer("b", -1)};
  EXPECT_FALSE(a->hasConflict(Pack("b")));
}

TEST(HasConflict, StandingInGentlyEndsTheTest) {
  Pack b("b");
  b->provides = {offer("virtual", -5)};
  b.carry("a");

  Pack a("a");
  a->provides = {offer("b", -1), offer("virtual", 0)};
  a->conflicts = {dep("virtual")};
  a.carry("c").conflicts = {dep("b")};
  EXPECT_FALSE(a->hasConflict(b));
}

TEST(HasConflict, HeavierProviderOfACommonNameHasTheConflict) {
  Pack a("a");
  a->provides = {offer("virtual", 2)};
  Pack b("b");
  b->provides = {offer("virtual", 1)};
  EXPECT_TRUE(a->hasConflict(b));
  EXPECT_FALSE(b->hasConflict(a));
}

TEST(HasConflict, EqualProvidersOfACommonNameDoNot) {
  Pack a("a");
  a->provides = {offer("virtual", 1)};
  Pack b("b");
  b->provides = {offer("virtual", 1)};
  EXPECT_FALSE(a->hasConflict(b));
  EXPECT_FALSE(b->hasConflict(a));
}

TEST(HasConflict, WeightsCompareSigned) {
  Pack a("a");
  a->provides = {offer("virtual", 0)};
  Pack b("b");
  b->provides = {offer("virtual", -1)};
  EXPECT_TRUE(a->hasConflict(b));
  EXPECT_FALSE(b->hasConflict(a));
}

TEST(HasConflict, FirstRivalOfferDecides) {
  Pack a("a");
  a->provides = {offer("virtual", 1)};
  Pack b("b");
  b->provides = {offer("virtual", 1), offer("virtual", 0)};
  EXPECT_FALSE(a->hasConflict(b));
  b->provides = {offer("virtual", 0), offer("virtual", 1)};
  EXPECT_TRUE(a->hasConflict(b));
}

TEST(HasConflict, OwnOffersAreTriedInOrder) {
  Pack b("b");
  b->provides = {offer("light", 1), offer("heavy", 1)};
  Pack a("a");
  a->provides = {offer("unrelated", 9), offer("light", 0), offer("heavy", 2)};
  EXPECT_FALSE(a->hasConflict(b));
  a->provides = {offer("unrelated", 9), offer("heavy", 2), offer("light", 0)};
  EXPECT_TRUE(a->hasConflict(b));
}

TEST(HasConflict, OtherByNameComesBeforeItsOfferOfThatName) {
  Pack a("a");
  a->provides = {offer("b", 0)};
  Pack b("b");
  b->provides = {offer("b", 1)};
  EXPECT_TRUE(a->hasConflict(b));
}

TEST(HasConflict, LighterProviderEndsTheTest) {
  Pack a("a");
  a->provides = {offer("virtual", 0)};
  a->conflicts = {dep("virtual")};
  Pack b("b");
  b->provides = {offer("virtual", 1)};
  EXPECT_FALSE(a->hasConflict(b));
}

TEST(HasConflict, OwnListNamesWhatTheOtherProvides) {
  Pack a("a");
  a->conflicts = {dep("x"), dep("virtual", k3_0, 0)};
  Pack b("b");
  b->provides = {dep("virtual", k3_22, 0)};
  EXPECT_TRUE(a->hasConflict(b));
  b->provides = {dep("virtual", k2_0, k2_9)};
  EXPECT_FALSE(a->hasConflict(b));
}

TEST(HasConflict, OtherThatCarriesAPackageOfThisName) {
  Pack bundle("all");
  bundle.carry("x");
  bundle.carry("a", k2_0);
  EXPECT_TRUE(Pack("a", k3_22)->hasConflict(bundle));
  EXPECT_FALSE(Pack("b")->hasConflict(bundle));
}

TEST(HasConflict, CarriedPackageOfThisOneConflicts) {
  Pack bundle("all");
  bundle.carry("x");
  bundle.carry("a").conflicts = {dep("b")};
  EXPECT_TRUE(bundle->hasConflict(Pack("b")));
  EXPECT_FALSE(bundle->hasConflict(Pack("c")));
}

TEST(HasConflict, OwnListOfABundleIsNotAskedOfWhatTheOtherCarries) {
  Pack a("a");
  a->conflicts = {dep("b")};
  Pack bundle("all");
  bundle.carry("b");
  EXPECT_FALSE(a->hasConflict(bundle));
}

TEST(HasConflict, IsNotSymmetric) {
  Pack a("a");
  a->conflicts = {dep("b")};
  const Pack b("b");
  EXPECT_TRUE(a->hasConflict(b));
  EXPECT_FALSE(b->hasConflict(a));
}

TEST(HasBetter, GreaterVersionIsNewer) {
  EXPECT_GT(Pack("a", k3_22)->hasBetter(Pack("a", k3_20rc2)), 0);
  EXPECT_LT(Pack("a", k3_20rc2)->hasBetter(Pack("a", k3_22)), 0);
}

TEST(HasBetter, VersionsCompareUnsigned) {
  EXPECT_GT(Pack("a", 0x80000000)->hasBetter(Pack("a", 0x7FFFFFFF)), 0);
  EXPECT_LT(Pack("a", 0x7FFFFFFF)->hasBetter(Pack("a", 0x80000000)), 0);
}

TEST(HasBetter, LaterBuildOfTheSameVersionIsNewer) {
  EXPECT_GT(Pack("a", k3_22, 200)->hasBetter(Pack("a", k3_22, 100)), 0);
  EXPECT_LT(Pack("a", k3_22, 100)->hasBetter(Pack("a", k3_22, 200)), 0);
}

TEST(HasBetter, BuildTimesCompareUnsigned) {
  EXPECT_GT(Pack("a", k3_22, 0x80000000)->hasBetter(Pack("a", k3_22, 1)), 0);
}

TEST(HasBetter, VersionComesBeforeBuildTime) {
  EXPECT_GT(Pack("a", k3_22, 100)->hasBetter(Pack("a", k3_20rc2, 200)), 0);
  EXPECT_LT(Pack("a", k3_20rc2, 200)->hasBetter(Pack("a", k3_22, 100)), 0);
}

TEST(HasBetter, SameReleaseIsEqual) {
  EXPECT_EQ(Pack("a", k3_22, 100)->hasBetter(Pack("a", k3_22, 100)), 0);
}

TEST(HasBetter, UnrelatedNamesDoNotCompare) {
  EXPECT_EQ(Pack("a", k4_0)->hasBetter(Pack("b", k2_0)), 0);
}

TEST(HasBetter, BundleComparesThroughTheCarriedPackageOfTheOthersName) {
  Pack bundle("all", k4_0);
  bundle.carry("x", k4_0);
  bundle.carry("a", k3_20rc2, 100);
  EXPECT_LT(bundle->hasBetter(Pack("a", k3_22)), 0);
  EXPECT_GT(bundle->hasBetter(Pack("a", k2_0)), 0);
  EXPECT_EQ(bundle->hasBetter(Pack("a", k3_20rc2, 100)), 0);
  EXPECT_LT(bundle->hasBetter(Pack("a", k3_20rc2, 101)), 0);
}

TEST(HasBetter, SinglePackageComparesWithTheOneThatABundleCarries) {
  Pack bundle("all", k4_0);
  bundle.carry("x", k4_0);
  bundle.carry("a", k3_20rc2, 100);
  EXPECT_GT(Pack("a", k3_22)->hasBetter(bundle), 0);
  EXPECT_LT(Pack("a", k2_0)->hasBetter(bundle), 0);
  EXPECT_EQ(Pack("a", k3_20rc2, 100)->hasBetter(bundle), 0);
  EXPECT_GT(Pack("a", k3_20rc2, 101)->hasBetter(bundle), 0);
}

TEST(HasBetter, BundlesOfOneNameCompareByThemselves) {
  Pack bundle("all", k3_22);
  bundle.carry("a", k2_0);
  Pack other("all", k3_20rc2);
  other.carry("a", k4_0);
  EXPECT_GT(bundle->hasBetter(other), 0);
}

TEST(HasBetter, BundlesWithOnlyACommonCarriedPackageDoNotCompare) {
  Pack bundle("all", k4_0);
  bundle.carry("a", k4_0);
  Pack other("more", k2_0);
  other.carry("a", k2_0);
  EXPECT_EQ(bundle->hasBetter(other), 0);
  EXPECT_EQ(other->hasBetter(bundle), 0);
}

TEST(HasBetter, ReverseNegates) {
  const Pack newer("a", k3_22);
  const Pack older("a", k3_20rc2);
  EXPECT_GT(newer->hasBetter(older, false), 0);
  EXPECT_LT(newer->hasBetter(older, true), 0);
  EXPECT_LT(older->hasBetter(newer, false), 0);
  EXPECT_GT(older->hasBetter(newer, true), 0);
  EXPECT_EQ(newer->hasBetter(newer, true), 0);
}

}  // namespace
