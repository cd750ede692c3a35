#include "model/packagedep.h"

#include "model/packageinfo.h"

#include <gtest/gtest.h>

namespace {

TEST(PackageDep, StartsWithOpenBounds) {
  const PackageDep dep;
  EXPECT_EQ(dep.name, "");
  EXPECT_EQ(dep.minVersion, 0u);
  EXPECT_EQ(dep.maxVersion, 0u);
  EXPECT_EQ(dep.weight, 0);
}

TEST(PackageDep, FullNameIsTheNameAloneWithoutLowerBound) {
  PackageDep dep;
  dep.name = "system";
  EXPECT_EQ(dep.getFullName(), "system");
}

TEST(PackageDep, FullNameShowsTheLowerBound) {
  PackageDep dep;
  dep.name = "system";
  dep.minVersion = 0x03166600;
  EXPECT_EQ(dep.getFullName(), "system-3.22");
}

TEST(PackageDep, FullNameNeverShowsTheUpperBound) {
  PackageDep dep;
  dep.name = "system";
  dep.maxVersion = 0x03166600;
  EXPECT_EQ(dep.getFullName(), "system");
  dep.minVersion = 0x03146302;
  EXPECT_EQ(dep.getFullName(), "system-3.20rc2");
}

TEST(PackageDep, AssignTakesNameAndVersionAsBothBounds) {
  PackageInfo package;
  package.name = "routing";
  package.version = 0x03166601;
  PackageDep dep;
  dep.name = "before";
  dep.minVersion = 1;
  dep.maxVersion = 2;
  dep.assign(&package);
  EXPECT_EQ(dep.name, "routing");
  EXPECT_EQ(dep.minVersion, 0x03166601u);
  EXPECT_EQ(dep.maxVersion, 0x03166601u);
}

TEST(PackageDep, AssignLeavesTheWeight) {
  const PackageInfo package;
  PackageDep dep;
  dep.weight = -7;
  dep.assign(&package);
  EXPECT_EQ(dep.weight, -7);
}

}  // namespace
