// Settles the requests (scheduled actions) of installed packages against each other, and carries
// them out.
#include "package/package.h"
#include "plan/nameindex.h"
#include "repo/repo.h"

#include <algorithm>

namespace {

using Packages = std::vector<Package*>;

// Who satisfies one dependency: positions in list order.
struct Satisfiers {
  const std::size_t* first;
  const std::size_t* last;

  const std::size_t* begin() const { return first; }
  const std::size_t* end() const { return last; }
};

// The entries of the next one begin where those of the one before end.
void noteBegin(Positions& begins, const Positions& entries) {
  const std::size_t begin = entries.size();
  begins.push_back(begin);
}

// One plan over the list of installed packages, which does not change meanwhile: only scheduled
// actions do.
class RequestPlan {
 public:
  RequestPlan(Repo& repo, const Packages& packages, bool verbose);

  // False when nothing is to be done, because nothing would be left.
  bool settle();
  // Appends the packages that are to go, or to be enabled.
  void collect(bool removal, Packages& list) const;

 private:
  // Its position, or packages_.size() when the member has none.
  std::size_t bundleOf(const Package& member) const;

  void noteSatisfiers(const PackageDep& dep);
  Satisfiers satisfiers(std::size_t dependency) const {
    return {satisfiers_.data() + satisfiersBegin_[dependency],
            satisfiers_.data() + satisfiersBegin_[dependency + 1]};
  }

  void spreadBundleActions();
  void pullInDependencies();
  void walk(std::size_t position);
  bool walkDependency(const Package& package, Satisfiers satisfiers);
  void require(std::size_t position, const Package& by);
  void settleConflicts();
  bool settleConflict(Package& p, Package& q);
  void dropDependents();
  bool dropDependent(Package& package, Satisfiers satisfiers);
  void letBundlesFollow();
  void letBundleFollow(Package& bundle);
  bool somethingStaysOn() const;

  Repo& repo_;
  const Packages& packages_;
  const bool verbose_;
  const NameIndex answering_;
  const NameIndex conflicting_;
  std::string walked_;  // by position: 1 or 0
  // The dependencies of all packages are numbered through, and so is what satisfies them. These say
  // where those of a package, and those of a dependency, begin; the last entry is where all end.
  Positions dependenciesBegin_;
  Positions satisfiersBegin_;
  Positions satisfiers_;
};

RequestPlan::RequestPlan(Repo& repo, const Packages& packages, bool verbose)
    : repo_(repo),
      packages_(packages),
      verbose_(verbose),
      answering_(packages, kAnsweredNames),
      conflicting_(packages, kConflictAskedNames),
      walked_(packages.size(), 0) {
  for (const Package* package : packages_) {
    noteBegin(dependenciesBegin_, satisfiersBegin_);
    for (const PackageDep& dep : package->deps) noteSatisfiers(dep);
  }
  noteBegin(dependenciesBegin_, satisfiersBegin_);
  noteBegin(satisfiersBegin_, satisfiers_);
}

void RequestPlan::noteSatisfiers(const PackageDep& dep) {
  noteBegin(satisfiersBegin_, satisfiers_);
  for (const std::size_t i : answering_.named(dep.name)) {
    if (packages_[i]->satisfies(dep)) satisfiers_.push_back(i);
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

void RequestPlan::collect(bool removal, Packages& list) const {
  std::vector<PackageInfo*> chosen;
  for (Package* package : packages_) {
    const std::uint32_t action = package->scheduledAction;
    const bool wanted =
        removal ? action == kActionUninstall || action == kActionDisable : action == kActionEnable;
    PackageInfo* const info = package;
    if (wanted) chosen.push_back(info);
  }
  repo_.selectCandidates(chosen, false, false);
  for (PackageInfo* info : chosen) {
    Package* const package = static_cast<Package*>(info);
    list.push_back(package);
  }
}

std::size_t RequestPlan::bundleOf(const Package& member) const {
  if (!member.bundle.name.empty()) {
    for (const std::size_t i : answering_.named(member.bundle.name)) {
      if (packages_[i]->isBundle && packages_[i]->name == member.bundle.name) return i;
    }
  }
  return packages_.size();
}

void RequestPlan::spreadBundleActions() {
  for (Package* member : packages_) {
    const std::size_t bundle = bundleOf(*member);
    if (bundle == packages_.size()) continue;
    const std::uint32_t action = packages_[bundle]->scheduledAction;
    if (action == kActionDisable) {
      if (member->scheduledAction != kActionUninstall) member->scheduledAction = kActionDisable;
    } else if (action == kActionUninstall) {
      member->scheduledAction = kActionUninstall;
    } else if (action == kActionEnable && member->disabled) {
      member->scheduledAction = kActionEnable;
    }
  }
}

void RequestPlan::pullInDependencies() {
  for (std::size_t i = 0; i < packages_.size(); ++i) {
    if (packages_[i]->staysOn()) walk(i);
  }
}

// Once per plan: packages may require each other in a circle.
void RequestPlan::walk(std::size_t position) {
  if (walked_[position]) return;
  walked_[position] = 1;
  const Package& package = *packages_[position];
  const std::size_t bundle = bundleOf(package);
  if (bundle != packages_.size()) require(bundle, package);
  for (std::size_t d = dependenciesBegin_[position]; d < dependenciesBegin_[position + 1]; ++d) {
    if (!walkDependency(package, satisfiers(d))) return;
  }
}

// False when nothing can be required for the dependency, which ends the walk.
bool RequestPlan::walkDependency(const Package& package, Satisfiers satisfiers) {
  std::vector<PackageInfo*> choice;
  for (const std::size_t i : satisfiers) {
    if (packages_[i]->staysOn()) return true;
    PackageInfo* const info = packages_[i];
    choice.push_back(info);
  }
  repo_.selectCandidates(choice, false, false);
  if (choice.empty()) return false;
  for (const std::size_t i : satisfiers) {
    if (packages_[i] == choice.back()) require(i, package);
  }
  return true;
}

void RequestPlan::require(std::size_t position, const Package& by) {
  Package* const needed = packages_[position];
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
  walk(position);
}

void RequestPlan::settleConflicts() {
  for (Package* p : packages_) {
    if (!p->staysOn()) continue;
    Positions related = answering_.sharing(*p, kConflictAskedNames);
    for (const std::size_t i : conflicting_.sharing(*p, kAnsweredNames)) related.push_back(i);
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
    for (std::size_t i = 0; i < packages_.size(); ++i) {
      for (std::size_t d = dependenciesBegin_[i]; d < dependenciesBegin_[i + 1]; ++d) {
        if (dropDependent(*packages_[i], satisfiers(d))) changed = true;
      }
    }
  }
}

// True when the package's action was changed because of one of its dependencies.
bool RequestPlan::dropDependent(Package& package, Satisfiers satisfiers) {
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
  for (const Package* member : packages_) {
    if (member->bundle.name.empty() || member->bundle.name != bundle.name) continue;
    const std::uint32_t action = member->scheduledAction;
    if (action == (member->disabled ? kActionEnable : kActionNone)) return;
    const bool goes = action == kActionUninstall || (!member->disabled && action == kActionEnable);
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
  plan.collect(true, removals);
  // Dependents go before what they depend on.
  std::reverse(removals.begin(), removals.end());
  plan.collect(false, enables);
}

void Repo::executeRemovals(const std::vector<Package*>& removals, int verbose) {
  for (Package* package : removals) {
    const bool goes = package->scheduledAction == kActionUninstall;
    change(package, goes ? kActionUninstall : kActionDisable, verbose >= (goes ? 2 : 1));
    if (!goes) continue;
    takePackage(package);
    delete package;
  }
}

void Repo::executeEnables(const std::vector<Package*>& enables, int verbose) {
  enableAndReport(enables, verbose != 0);
}
