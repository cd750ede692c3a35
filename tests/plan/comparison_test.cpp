// Random repositories: the program plans as the rules do that are written down without regard to
// cost (naive.h). TEST_SEED repeats a run.
#include "tests/plan/naive.h"
#include "tests/support/random.h"
#include "tests/support/repoaccess.h"

#include <iostream>
#include <memory>
#include <sstream>

#include <gtest/gtest.h>

namespace {

constexpr unsigned kRounds = 6000;
constexpr std::size_t kMostPackages = 9;

// Few names and versions, so that nearly every package has to do with others.
class RandomWorld {
 public:
  explicit RandomWorld(TestRandom& random) : random_(random) {}

  std::size_t size() { return static_cast<std::size_t>(random_.below(kMostPackages + 1)); }
  void describe(PackageInfo& info, unsigned depth);
  void install(Package& package);
  bool chance(unsigned percent) { return random_.below(100) < percent; }

 private:
  std::string name() { return std::string(1, "abcdef"[random_.below(names_)]); }
  std::uint32_t version() { return 0x01006600 + static_cast<std::uint32_t>(random_.below(3)); }
  std::uint32_t bound() { return chance(60) ? 0 : version(); }
  PackageDep entry();
  void fill(std::vector<PackageDep>& list, unsigned percent);

  TestRandom& random_;
  const std::size_t names_ = 2 + static_cast<std::size_t>(random_.below(5));
};

PackageDep RandomWorld::entry() {
  PackageDep dep;
  dep.name = chance(3) ? std::string() : name();
  dep.minVersion = bound();
  dep.maxVersion = bound();
  dep.weight = static_cast<std::int32_t>(random_.below(3)) - 1;
  return dep;
}

void RandomWorld::fill(std::vector<PackageDep>& list, unsigned percent) {
  while (chance(percent)) list.push_back(entry());
}

void RandomWorld::describe(PackageInfo& info, unsigned depth) {
  info.name = chance(5) ? std::string() : name();
  info.version = chance(5) ? 0 : version();
  info.buildTime = static_cast<std::uint32_t>(random_.below(2));
  info.isBundle = chance(25);
  fill(info.deps, 35);
  fill(info.provides, 25);
  fill(info.conflicts, 20);
  if (depth == 0 || !info.isBundle) return;
  while (chance(60)) {
    info.subPackages.push_back(new PackageInfo);
    describe(*info.subPackages.back(), depth - 1);
  }
}

void RandomWorld::install(Package& package) {
  describe(package, chance(5) ? 1 : 0);
  if (chance(40)) package.bundle.name = name();
  package.disabled = chance(40);
  if (chance(40)) package.scheduledAction = static_cast<std::uint32_t>(1 + random_.below(3));
}

void copyDescription(const PackageInfo& from, PackageInfo& to) {
  to.name = from.name;
  to.version = from.version;
  to.buildTime = from.buildTime;
  to.isBundle = from.isBundle;
  to.deps = from.deps;
  to.provides = from.provides;
  to.conflicts = from.conflicts;
  for (const PackageInfo* carried : from.subPackages) {
    to.subPackages.push_back(new PackageInfo);
    copyDescription(*carried, *to.subPackages.back());
  }
}

void copyPackage(const Package& from, Package& to) {
  copyDescription(from, to);
  to.bundle = from.bundle;
  to.disabled = from.disabled;
  to.scheduledAction = from.scheduledAction;
}

// Where the elements of a list stand in another.
template <typename Part, typename Whole>
std::vector<std::size_t> positions(const Part& part, const Whole& whole) {
  std::vector<std::size_t> result;
  for (const auto* element : part) {
    std::size_t at = 0;
    while (at < whole.size() && &*whole[at] != element) ++at;
    result.push_back(at);
  }
  return result;
}

std::string describe(const std::vector<PackageDep>& list, const char* kind) {
  std::ostringstream text;
  for (const PackageDep& dep : list) {
    text << "\n    " << kind << " '" << dep.name << "' " << std::hex << dep.minVersion << ".."
         << dep.maxVersion << std::dec << " weight " << dep.weight;
  }
  return text.str();
}

std::string describe(const PackageInfo& info) {
  std::ostringstream text;
  text << "'" << info.name << "' " << std::hex << info.version << std::dec << " built "
       << info.buildTime << (info.isBundle ? " bundle" : "") << describe(info.deps, "requires")
       << describe(info.provides, "provides") << describe(info.conflicts, "conflicts");
  for (const PackageInfo* carried : info.subPackages)
    text << "\n    carries " << describe(*carried);
  return text.str();
}

std::string describe(const Package& package) {
  std::ostringstream text;
  text << "in '" << package.bundle.name << "'" << (package.disabled ? " disabled" : "")
       << " action " << package.scheduledAction << " "
       << describe(static_cast<const PackageInfo&>(package));
  return text.str();
}

class Comparison : public testing::Test {
 protected:
  void SetUp() override {
    real_ = std::cout.rdbuf(nothing_.rdbuf());
    repo_ = RepoAccess::fresh();
  }
  void TearDown() override {
    RepoAccess::fresh();
    std::cout.rdbuf(real_);
  }

  bool compareSelection(RandomWorld& world);
  bool comparePlan(RandomWorld& world);

  TestRandom random_;  // before standard output is covered: it tells its seed

 private:
  std::stringstream nothing_;
  std::streambuf* real_ = nullptr;
  Repo* repo_ = nullptr;
};

bool Comparison::compareSelection(RandomWorld& world) {
  repo_ = RepoAccess::fresh();
  std::vector<std::unique_ptr<PackageInfo>> all(world.size());
  std::vector<PackageInfo*> found;
  for (auto& info : all) {
    info = std::make_unique<PackageInfo>();
    world.describe(*info, 2);
    found.push_back(info.get());
  }
  std::vector<PackageInfo*> expected = found;
  const bool reverse = world.chance(50);
  const bool verbose = world.chance(80);
  Lines messages;
  selectNaively(expected, reverse, verbose ? &messages : nullptr);
  repo_->selectCandidates(found, reverse, verbose);
  EXPECT_EQ(positions(found, all), positions(expected, all));
  EXPECT_EQ(RepoAccess::logLines(), messages);
  if (!HasFailure()) return true;
  for (const auto& info : all) ADD_FAILURE() << describe(*info);
  return false;
}

bool Comparison::comparePlan(RandomWorld& world) {
  repo_ = RepoAccess::fresh();
  std::vector<std::unique_ptr<Package>> copies(world.size());
  std::vector<Package*> list;
  std::string before;
  for (auto& copy : copies) {
    auto* const package = new Package;
    world.install(*package);
    repo_->addPackage(package);
    before += describe(*package) + "\n";
    copy = std::make_unique<Package>();
    copyPackage(*package, *copy);
    list.push_back(copy.get());
  }
  const bool verbose = world.chance(80);
  Lines messages;
  const NaivePlan expected = planNaively(list, verbose ? &messages : nullptr);
  std::vector<Package*> removals;
  std::vector<Package*> enables;
  repo_->planRequests(removals, enables, verbose ? 1 : 0);
  EXPECT_EQ(positions(removals, repo_->installed()), positions(expected.removals, list));
  EXPECT_EQ(positions(enables, repo_->installed()), positions(expected.enables, list));
  for (std::size_t i = 0; i < list.size(); ++i) {
    EXPECT_EQ(repo_->installed()[i]->scheduledAction, list[i]->scheduledAction) << "of " << i;
  }
  EXPECT_EQ(RepoAccess::logLines(), messages);
  if (!HasFailure()) return true;
  ADD_FAILURE() << before;
  return false;
}

TEST_F(Comparison, SelectionsAgree) {
  for (unsigned i = 0; i < kRounds; ++i) {
    RandomWorld world(random_);
    ASSERT_TRUE(compareSelection(world)) << "in round " << i;
  }
}

TEST_F(Comparison, PlansAgree) {
  for (unsigned i = 0; i < kRounds; ++i) {
    RandomWorld world(random_);
    ASSERT_TRUE(comparePlan(world)) << "in round " << i;
  }
}

}  // namespace
