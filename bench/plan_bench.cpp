// How the cost of planning grows with the number of packages. The "BigO" lines of one run say it
// independently of the machine.
#include "model/version.h"
#include "package/package.h"
#include "repo/repo.h"

#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

namespace {

constexpr std::uint32_t kVersion = packVersion(3, 22, kKindFinal, 0);

PackageDep dep(const std::string& name, std::uint32_t minVersion = 0) {
  PackageDep result;
  result.name = name;
  result.minVersion = minVersion;
  return result;
}

std::string nameOf(std::size_t i) {
  return i == 0 ? std::string("system") : "package-" + std::to_string(i);
}

// As packages are: all need the system, many need one or two others, some stand in for a name, a
// few have a conflict with something that is not there.
void describe(PackageInfo& info, std::size_t i) {
  info.name = nameOf(i);
  info.version = kVersion;
  info.buildTime = static_cast<std::uint32_t>(i);
  info.arch = "mipsel";
  if (i == 0) return;
  info.deps.push_back(dep("system", kVersion));
  if (i % 2 == 0) info.deps.push_back(dep(nameOf(i / 2)));
  if (i % 3 == 0) info.deps.push_back(dep("service-" + std::to_string(i / 3)));
  info.provides.push_back(dep("service-" + std::to_string(i)));
  if (i % 7 == 0) info.conflicts.push_back(dep("former-" + std::to_string(i)));
}

constexpr std::size_t kBundleSize = 10;

std::string bundleName(std::size_t i) { return "bundle-" + std::to_string(i / kBundleSize); }

// The one repository, filled anew; its former packages are given up.
Repo* repoOf(std::size_t count) {
  Repo* const repo = Repo::getRepo();
  while (!repo->installed().empty()) {
    const std::unique_ptr<Package> package(repo->installed().back());
    repo->takePackage(package.get());
  }
  for (std::size_t i = 0; i < count; ++i) {
    auto* const package = new Package;
    describe(*package, i);
    package->bundle.name = bundleName(i);
    repo->addPackage(package);
    if (i % kBundleSize != 0) continue;
    auto* const bundle = new Package;
    bundle->name = bundleName(i);
    bundle->version = kVersion;
    bundle->isBundle = true;
    repo->addPackage(bundle);
  }
  return repo;
}

void nothingToDo(benchmark::State& state) {
  Repo* const repo = repoOf(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    if (repo->scheduleAndExec(1) == 0) continue;
    state.SkipWithError("there was something to do");
    break;
  }
  state.SetComplexityN(state.range(0));
}

// Every package but the system is to go, and with them go the bundles; nothing is carried out.
void planToUninstall(benchmark::State& state) {
  Repo* const repo = repoOf(static_cast<std::size_t>(state.range(0)));
  std::vector<Package*> removals;
  std::vector<Package*> enables;
  for (auto _ : state) {
    for (Package* package : repo->installed()) {
      const bool stays = package->isBundle || package->name == "system";
      package->scheduledAction = stays ? kActionNone : kActionUninstall;
    }
    repo->planRequests(removals, enables, 0);
    // The system and its bundle stay.
    if (removals.size() + 2 == repo->installed().size()) continue;
    state.SkipWithError("something else was planned");
    break;
  }
  state.SetComplexityN(state.range(0));
}

// Each needs the next in the list, and the last something that is missing: the worst order in which
// the loss of a dependency can spread.
void chainThatGoes(benchmark::State& state) {
  Repo* const repo = repoOf(1);
  const auto count = static_cast<std::size_t>(state.range(0));
  for (std::size_t i = 1; i <= count; ++i) {
    auto* const package = new Package;
    package->name = nameOf(i);
    package->deps.push_back(dep(i == count ? "missing" : nameOf(i + 1)));
    repo->addPackage(package);
  }
  std::vector<Package*> removals;
  std::vector<Package*> enables;
  for (auto _ : state) {
    for (Package* package : repo->installed()) package->scheduledAction = kActionNone;
    repo->planRequests(removals, enables, 0);
    if (removals.size() == count) continue;
    state.SkipWithError("something else was planned");
    break;
  }
  state.SetComplexityN(state.range(0));
}

void selectCandidates(benchmark::State& state) {
  Repo* const repo = repoOf(0);
  std::vector<std::unique_ptr<PackageInfo>> found;
  for (std::size_t i = 0; i < static_cast<std::size_t>(state.range(0)); ++i) {
    found.push_back(std::make_unique<PackageInfo>());
    describe(*found.back(), i);
  }
  for (auto _ : state) {
    std::vector<PackageInfo*> candidates;
    for (const auto& info : found) candidates.push_back(info.get());
    repo->selectCandidates(candidates, false, false);
    if (candidates.size() == found.size()) continue;
    state.SkipWithError("some were dropped");
    break;
  }
  state.SetComplexityN(state.range(0));
}

void checkCandidate(benchmark::State& state) {
  Repo* const repo = repoOf(static_cast<std::size_t>(state.range(0)));
  PackageInfo candidate;
  describe(candidate, static_cast<std::size_t>(state.range(0)) + 1);
  for (auto _ : state) {
    benchmark::DoNotOptimize(repo->checkCandidate(candidate, kAllInstallFlags));
  }
  state.SetComplexityN(state.range(0));
}

void sizes(benchmark::internal::Benchmark* bench) {
  bench->Arg(50)->Arg(100)->Arg(200)->Arg(400)->Arg(800)->Complexity();
}

BENCHMARK(nothingToDo)->Apply(sizes);
BENCHMARK(planToUninstall)->Apply(sizes);
BENCHMARK(chainThatGoes)->Apply(sizes);
BENCHMARK(selectCandidates)->Apply(sizes);
BENCHMARK(checkCandidate)->Apply(sizes);

}  // namespace
