#include "model/version.h"
#include "package/package.h"
#include "repo/repo.h"

#include <algorithm>

namespace {

constexpr std::uint32_t kOldestFittingSystem = packVersion(3, 22, kKindFinal, 0);

// Packages that belong to every system, whatever they say of themselves.
bool isAlwaysKept(const Package& package) {
  return package.isBundle || package.name == "moth" || package.name == "disk-drivers" ||
         package.name == "system";
}

bool needsFittingSystem(const Package& package) {
  return std::any_of(package.deps.begin(), package.deps.end(), [](const PackageDep& dep) {
    return dep.name == "system" && dep.minVersion >= kOldestFittingSystem;
  });
}

}  // namespace

unsigned Repo::scheduleAndExec(int verbose) {
  std::vector<Package*> removals;
  std::vector<Package*> enables;
  planRequests(removals, enables, verbose);
  const unsigned anything = removals.empty() && enables.empty() ? 0 : 1;
  executeRemovals(removals, verbose);
  executeEnables(enables, verbose);
  return anything;
}

unsigned Repo::uninstallBadPackages() {
  scheduleAndExec(0);
  for (Package* package : packages) {
    if (!isAlwaysKept(*package) && !needsFittingSystem(*package)) {
      package->scheduledAction = kActionUninstall;
    }
  }
  return scheduleAndExec(1);
}
