#include "plan/nameindex.h"

#include "model/packageinfo.h"
#include "tests/support/packbuilder.h"

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// "own" with one name of each kind, and a package that it carries with the same.
class NameIndexTest : public testing::Test {
 protected:
  void SetUp() override {
    fill(package_, "");
    auto* const carried = new PackageInfo;
    fill(*carried, "carried-");
    package_.subPackages.push_back(carried);
  }

  static void fill(PackageInfo& info, const std::string& prefix) {
    info.name = prefix + "own";
    info.provides.push_back(dep(prefix + "provided"));
    info.conflicts.push_back(dep(prefix + "conflict"));
    info.deps.push_back(dep(prefix + "required"));
  }

  bool has(unsigned kinds, const std::string& name) const {
    NameIndex index(kinds);
    index.add(package_);
    return !index.named(name).empty();
  }

  PackageInfo package_;
};

PackageInfo& named(PackageInfo& info, const std::string& name) {
  info.name = name;
  return info;
}

TEST_F(NameIndexTest, KeepsOnlyTheKindsThatItWasMadeFor) {
  const std::vector<std::pair<unsigned, std::string>> kinds = {{kOwnNames, "own"},
                                                               {kProvidedNames, "provided"},
                                                               {kConflictNames, "conflict"},
                                                               {kRequiredNames, "required"}};
  for (const auto& kept : kinds) {
    for (const auto& asked : kinds) {
      EXPECT_EQ(has(kept.first, asked.second), kept == asked) << kept.second << asked.second;
      EXPECT_EQ(has(kept.first, "carried-" + asked.second), kept == asked) << asked.second;
    }
  }
}

TEST_F(NameIndexTest, AnswersWithNamesAndProvides) {
  EXPECT_TRUE(has(kAnsweredNames, "own"));
  EXPECT_TRUE(has(kAnsweredNames, "provided"));
  EXPECT_FALSE(has(kAnsweredNames, "conflict"));
  EXPECT_FALSE(has(kAnsweredNames, "required"));
}

TEST_F(NameIndexTest, AsksForConflictsWithAllButWhatIsRequired) {
  EXPECT_TRUE(has(kConflictAskedNames, "own"));
  EXPECT_TRUE(has(kConflictAskedNames, "provided"));
  EXPECT_TRUE(has(kConflictAskedNames, "conflict"));
  EXPECT_FALSE(has(kConflictAskedNames, "required"));
}

TEST_F(NameIndexTest, LooksForTheKindsThatItIsAskedWith) {
  PackageInfo other;
  named(other, "conflict");
  NameIndex index(kOwnNames);
  index.add(other);
  EXPECT_THAT(index.sharing(package_, kConflictNames), ElementsAre(0));
  EXPECT_THAT(index.sharing(package_, kOwnNames | kProvidedNames | kRequiredNames), IsEmpty());
}

TEST_F(NameIndexTest, LooksForNamesOfCarriedPackages) {
  PackageInfo other;
  named(other, "carried-required");
  NameIndex index(kOwnNames);
  index.add(other);
  EXPECT_THAT(index.sharing(package_, kRequiredNames), ElementsAre(0));
}

TEST(NameIndex, IsEmptyAtFirst) {
  const NameIndex index(kAnsweredNames);
  PackageInfo a;
  EXPECT_THAT(index.named(""), IsEmpty());
  EXPECT_THAT(index.sharing(a, kAnsweredNames), IsEmpty());
}

TEST(NameIndex, CountsPositionsFromZero) {
  PackageInfo a, b, c;
  const std::vector<PackageInfo*> list = {&named(a, "a"), &named(b, "b"), &named(c, "a")};
  const NameIndex index(list, kOwnNames);
  EXPECT_THAT(index.named("a"), ElementsAre(0, 2));
  EXPECT_THAT(index.named("b"), ElementsAre(1));
  EXPECT_THAT(index.named("c"), IsEmpty());
}

TEST(NameIndex, GoesOnCountingBehindTheList) {
  PackageInfo a, b;
  NameIndex index(std::vector<PackageInfo*>{&named(a, "a")}, kOwnNames);
  index.add(named(b, "a"));
  EXPECT_THAT(index.named("a"), ElementsAre(0, 1));
}

TEST(NameIndex, NamesAPackageOnceThatHasANameTwice) {
  PackageInfo a;
  named(a, "a").provides = {dep("a"), dep("b"), dep("a")};
  const NameIndex index(std::vector<PackageInfo*>{&a}, kAnsweredNames);
  EXPECT_THAT(index.named("a"), ElementsAre(0));
}

TEST(NameIndex, SharingNamesEachPackageOnceInAscendingOrder) {
  PackageInfo a, b, c, other;
  named(a, "a").provides = {dep("x")};
  named(b, "b").provides = {dep("y")};
  named(c, "x").provides = {dep("y")};
  other.provides = {dep("y"), dep("x")};
  const std::vector<PackageInfo*> list = {&a, &b, &c};
  EXPECT_THAT(NameIndex(list, kAnsweredNames).sharing(other, kProvidedNames), ElementsAre(0, 1, 2));
}

TEST(NameIndex, NamesThatOnlyBeginAlikeAreDifferent) {
  PackageInfo a;
  const NameIndex index(std::vector<PackageInfo*>{&named(a, "app")}, kOwnNames);
  EXPECT_THAT(index.named("ap"), IsEmpty());
  EXPECT_THAT(index.named("apps"), IsEmpty());
  EXPECT_THAT(index.named(""), IsEmpty());
}

TEST(NameIndex, TheEmptyNameIsANameLikeAnyOther) {
  PackageInfo a, b;
  const std::vector<PackageInfo*> list = {&a, &b};
  EXPECT_THAT(NameIndex(list, kOwnNames).named(""), ElementsAre(0, 1));
}

TEST(NameIndex, MakeUniqueSortsAndDropsRepetitions) {
  std::vector<std::size_t> positions = {3, 1, 3, 0, 1};
  makeUnique(positions);
  EXPECT_THAT(positions, ElementsAre(0, 1, 3));
}

}  // namespace
