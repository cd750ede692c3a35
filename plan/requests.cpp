// Settles the requests (scheduled actions) of installed packages against each other, and carries
// them out.
#include "package/package.h"
#include "plan/nameindex.h"
#include "repo/repo.h"

#include <algorithm>
#include <map>
#include <set>
#include <string_view>

namespace {

using Packages = std::vector<Package*>;
using Positions = std::vector<std::size_t>;

// One plan over the list of installed packages, which does not change meanwhile: only scheduled
// actions do.
class RequestPlan {
 public:
  RequestPlan(Repo& repo, const Packages& packages, bool verbose);

  // False when nothing is to be done, because nothing would be left.
  bool settle();
  Packages withAction(bool removal) const;

 private:
  Package* bundleOf(const Package& member) const;

  void spreadBundleActions();
  void pullInDependencies();
  void walk(Package* package);
  bool walkDependency(const Package& package, const Positions& satisfiers);
  void require(Package* needed, const Package& by);
  void settleConflicts();
  bool settleConflict(Package& p, Package& q);
  void dropDependents();
  bool dropDependent(Package& package, const Positions& satisfiers);
  void letBundlesFollow();
  void letBundleFollow(Package& bundle);
  bool somethingStaysOn() const;

  Repo& repo_;
  const Packages& packages_;
  const bool verbose_;
  const NameIndex answering_;
  const NameIndex conflicting_;
  std::set<const Package*> walked_;
  // Who satisfies each dependency of a package, in list order.
  std::map<const Package*, std::vector<Positions>> satisfiers_;
  std::map<std::string_view, Positions> members_;  // by the name of their bundle
};

RequestPlan::RequestPlan(Repo& repo, const Packages& packages, bool verbose)
    : repo_(repo),
      packages_(packages),
      verbose_(verbose),
      answering_(packages, kAnsweredNames),
      conflicting_(packages, kConflictAskedNames) {
  for (std::size_t i = 0; i < packages_.size(); ++i) {
    const Package& package = *packages_[i];
    if (!package.bundle.name.empty()) members_[package.bundle.name].push_back(i);
    std::vector<Positions>& satisfiersOfDeps = satisfiers_[&package];
    for (const PackageDep& dep : package.deps) {
      satisfiersOfDeps.emplace_back();
      for (const std::size_t j : answering_.named(dep.name)) {
        if (packages_[j]->satisfies(dep)) satisfiersOfDeps.back().push_back(j);
      }
    }
  }
}

bool RequestPlan::settle() {
  spreadBundleActions();
  pullInDependencies();
  settleConflicts();
  dropDependents();
  letBundlesFollow();
  if (packages_.empty() || somethingStaysOn()) return true;
  for (Package* package : packages_) package->scheduledAction = kActionNone;
  if (verbose_) repo_.error("can not uninstall or disable all packages");
  return false;
}

Packages RequestPlan::withAction(bool removal) const {
  std::vector<PackageInfo*> chosen;
  for (Package* package : packages_) {
    const std::uint32_t action = package->scheduledAction;
    const bool wanted =
        removal ? action == kActionUninstall || action == kActionDisable : action == kActionEnable;
    if (wanted) chosen.push_back(package);
  }
  repo_.selectCandidates(chosen, false, false);
  Packages result;
  for (PackageInfo* package : chosen) result.push_back(static_cast<Package*>(package));
  return result;
}

Package* RequestPlan::bundleOf(const Package& member) const {
  if (member.bundle.name.empty()) return nullptr;
  for (const std::size_t i : answering_.named(member.bundle.name)) {
    if (packages_[i]->isBundle && packages_[i]->name == member.bundle.name) return packages_[i];
  }
  return nullptr;
}

void RequestPlan::spreadBundleActions() {
  for (Package* member : packages_) {
    const Package* const bundle = bundleOf(*member);
    if (!bundle) continue;
    if (bundle->scheduledAction == kActionDisable) {
      if (member->scheduledAction != kActionUninstall) member->scheduledAction = kActionDisable;
    } else if (bundle->scheduledAction == kActionUninstall) {
      member->scheduledAction = kActionUninstall;
    } else if (bundle->scheduledAction == kActionEnable && member->disabled) {
      member->scheduledAction = kActionEnable;
    }
  }
}

void RequestPlan::pullInDependencies() {
  for (Package* package : packages_) {
    if (package->staysOn()) walk(package);
  }
}

// Once per plan: packages may require each other in a circle.
void RequestPlan::walk(Package* package) {
  if (!walked_.insert(package).second) return;
  if (Package* const bundle = bundleOf(*package)) require(bundle, *package);
  for (const Positions& satisfiers : satisfiers_[package]) {
    if (!walkDependency(*package, satisfiers)) return;
  }
}

// False when nothing can be required for the dependency, which ends the walk.
bool RequestPlan::walkDependency(const Package& package, const Positions& satisfiers) {
  std::vector<PackageInfo*> choice;
  for (const std::size_t i : satisfiers) {
    if (packages_[i]->staysOn()) return true;
    choice.push_back(packages_[i]);
  }
  repo_.selectCandidates(choice, false, false);
  if (choice.empty()) return false;
  require(static_cast<Package*>(choice.back()), package);
  return true;
}

void RequestPlan::require(Package* needed, const Package& by) {
  const std::uint32_t action = needed->scheduledAction;
  if (action != kActionUninstall && action != kActionDisable) {
    if (!needed->disabled) return;
    needed->scheduledAction = kActionEnable;
  } else {
    if (verbose_) {
      repo_.warn("can not %s %s: %s depends on it", actionVerb(action),
                 needed->getFullName().c_str(), by.name.c_str());
    }
    needed->scheduledAction = kActionNone;
  }
  walk(needed);
}

void RequestPlan::settleConflicts() {
  for (Package* p : packages_) {
    if (!p->staysOn()) continue;
    Positions related = answering_.sharing(*p, kConflictAskedNames);
    const Positions asking = conflicting_.sharing(*p, kAnsweredNames);
    related.insert(related.end(), asking.begin(), asking.end());
    makeUnique(related);
    for (const std::size_t i : related) {
      Package* const q = packages_[i];
      if (q == p || !q->staysOn()) continue;
      if (!settleConflict(*p, *q)) break;
    }
  }
}

// Both stay on so far. False when p's request is refused.
bool RequestPlan::settleConflict(Package& p, Package& q) {
  if (p.hasConflict(q)) {
    if (q.scheduledAction == kActionNone) q.scheduledAction = kActionDisable;
    return true;
  }
  if (p.scheduledAction != kActionEnable || !q.hasConflict(p)) return true;
  if (q.scheduledAction == kActionNone) {
    q.scheduledAction = kActionDisable;
    return true;
  }
  if (verbose_) {
    repo_.error("can not enable %s: %s conflicts with it", p.name.c_str(), q.getFullName().c_str());
  }
  p.scheduledAction = kActionNone;
  return false;
}

// What has to go makes others go, until nothing changes any more. An action only ever becomes a
// stronger one here, and what it depends on too, so the order of the looks does not matter.
void RequestPlan::dropDependents() {
  bool changed = true;
  while (changed) {
    changed = false;
    for (Package* package : packages_) {
      for (const Positions& satisfiers : satisfiers_[package]) {
        if (dropDependent(*package, satisfiers)) changed = true;
      }
    }
  }
}

// True when the package's action was changed because of one of its dependencies.
bool RequestPlan::dropDependent(Package& package, const Positions& satisfiers) {
  bool onlyDisabled = false;
  for (const std::size_t i : satisfiers) {
    const Package& satisfier = *packages_[i];
    if (satisfier.staysOn()) return false;
    if (satisfier.disabled || satisfier.scheduledAction == kActionDisable) onlyDisabled = true;
  }
  std::uint32_t& action = package.scheduledAction;
  if (!onlyDisabled) {
    if (action == kActionUninstall) return false;
    action = kActionUninstall;
    return true;
  }
  const bool isOff = package.disabled && action == kActionNone;
  if (isOff || action == kActionUninstall || action == kActionDisable) return false;
  action = kActionDisable;
  return true;
}

void RequestPlan::letBundlesFollow() {
  for (Package* package : packages_) {
    if (package->isBundle && package->scheduledAction != kActionUninstall)
      letBundleFollow(*package);
  }
}

void RequestPlan::letBundleFollow(Package& bundle) {
  bool allGo = true;
  for (const std::size_t i : members_[bundle.name]) {
    const Package& member = *packages_[i];
    const std::uint32_t action = member.scheduledAction;
    if (action == (member.disabled ? kActionEnable : kActionNone)) return;
    const bool goes = action == kActionUninstall || (!member.disabled && action == kActionEnable);
    if (!goes) allGo = false;
  }
  if (allGo) {
    bundle.scheduledAction = kActionUninstall;
  } else if (!bundle.disabled) {
    bundle.scheduledAction = kActionDisable;
  } else if (bundle.scheduledAction == kActionEnable) {
    bundle.scheduledAction = kActionNone;
  }
}

bool RequestPlan::somethingStaysOn() const {
  for (const Package* package : packages_) {
    if (package->staysOn()) return true;
  }
  return false;
}

}  // namespace

void Repo::planRequests(std::vector<Package*>& removals, std::vector<Package*>& enables,
                        int verbose) {
  removals.clear();
  enables.clear();
  RequestPlan plan(*this, packages, verbose != 0);
  if (!plan.settle()) return;
  removals = plan.withAction(true);
  // Dependents go before what they depend on.
  std::reverse(removals.begin(), removals.end());
  enables = plan.withAction(false);
}

void Repo::executeRemovals(const std::vector<Package*>& removals, int verbose) {
  for (Package* package : removals) {
    if (package->scheduledAction == kActionUninstall) {
      removePackage(package, verbose >= 2);
    } else {
      disablePackage(package, verbose != 0);
    }
  }
}

void Repo::disablePackage(Package* package, bool verbose) {
  const std::string fullName = package->getFullName();
  if (verbose) setStatus("disabling " + fullName + "...");
  package->disable();
  if (verbose) log("disabled %s", fullName.c_str());
}

void Repo::removePackage(Package* package, bool verbose) {
  const std::string fullName = package->getFullName();
  if (verbose) setStatus("uninstalling " + fullName + "...");
  package->uninstall();
  takePackage(package);
  if (verbose) log("uninstalled %s", fullName.c_str());
  delete package;
}

void Repo::executeEnables(const std::vector<Package*>& enables, int verbose) {
  enableAndReport(enables, verbose != 0);
}
