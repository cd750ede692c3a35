#include "tests/plan/naive.h"

#include <set>

namespace {

using Candidates = std::vector<PackageInfo*>;
using Packages = std::vector<Package*>;

void tell(Lines* messages, const std::string& text) {
  if (messages) messages->push_back(text);
}

bool isDropped(const PackageInfo& a, const Candidates& all, bool reverse, Lines* messages) {
  for (const PackageInfo* b : all) {
    if (b == &a) continue;
    if (!a.has(b->name) && !b->has(a.name)) continue;
    const int c = b->hasBetter(a, reverse);
    if (c > 0) {
      tell(messages, "WARNING: omitting package " + a.getFullName() + ": " +
                         (reverse ? "older" : "newer") + " package is already provided");
      return true;
    }
    if (c == 0 && (!a.isBundle || b->isBundle)) return true;
  }
  return false;
}

bool staysOn(const Package& p) {
  return (!p.disabled && p.scheduledAction == 0) || p.scheduledAction == 2;
}

class Plan {
 public:
  Plan(const Packages& packages, Lines* messages) : packages_(packages), messages_(messages) {}

  NaivePlan make();

 private:
  Package* bundleNamed(const std::string& name) const;
  Packages satisfying(const PackageDep& d) const;
  void spread();
  void pullIn();
  void walk(Package& p);
  void require(Package& q, const Package& p);
  void settleConflicts();
  void lookAt(Package& p);
  void dropDependents();
  bool dropPass();
  bool dropFor(Package& p, const PackageDep& d) const;
  void follow(Package& b) const;
  Packages collect(bool removals) const;

  const Packages& packages_;
  Lines* const messages_;
  std::set<const Package*> walked_;
};

Package* Plan::bundleNamed(const std::string& name) const {
  for (Package* b : packages_) {
    if (b->isBundle && b->name == name) return b;
  }
  return nullptr;
}

Packages Plan::satisfying(const PackageDep& d) const {
  Packages result;
  for (Package* p : packages_) {
    if (p->doesSatisfy(d) || p->doesProvidersSatisfy(d)) result.push_back(p);
  }
  return result;
}

void Plan::spread() {
  for (Package* m : packages_) {
    if (m->bundle.name.empty()) continue;
    const Package* const b = bundleNamed(m->bundle.name);
    if (!b) continue;
    if (b->scheduledAction == 3) {
      if (m->scheduledAction != 1) m->scheduledAction = 3;
    } else if (b->scheduledAction == 1) {
      m->scheduledAction = 1;
    } else if (b->scheduledAction == 2) {
      if (m->disabled) m->scheduledAction = 2;
    }
  }
}

void Plan::pullIn() {
  for (Package* p : packages_) {
    if (staysOn(*p)) walk(*p);
  }
}

void Plan::walk(Package& p) {
  if (!walked_.insert(&p).second) return;
  if (!p.bundle.name.empty()) {
    Package* const b = bundleNamed(p.bundle.name);
    if (b) require(*b, p);
  }
  for (const PackageDep& d : p.deps) {
    Candidates list;
    bool one = false;
    for (Package* q : satisfying(d)) {
      list.push_back(q);
      one = one || staysOn(*q);
    }
    if (one) continue;
    selectNaively(list, false, nullptr);
    if (list.empty()) return;
    require(*static_cast<Package*>(list.back()), p);
  }
}

void Plan::require(Package& q, const Package& p) {
  if (q.scheduledAction != 1 && q.scheduledAction != 3) {
    if (!q.disabled) return;
    q.scheduledAction = 2;
    walk(q);
  } else {
    const std::string verb = q.scheduledAction == 1 ? "uninstall" : "disable";
    tell(messages_,
         "WARNING: can not " + verb + " " + q.getFullName() + ": " + p.name + " depends on it");
    q.scheduledAction = 0;
    walk(q);
  }
}

void Plan::settleConflicts() {
  for (Package* p : packages_) {
    if (staysOn(*p)) lookAt(*p);
  }
}

void Plan::lookAt(Package& p) {
  for (Package* q : packages_) {
    if (q == &p || !staysOn(*q)) continue;
    if (p.hasConflict(*q)) {
      if (!q->disabled && q->scheduledAction == 0) q->scheduledAction = 3;
    } else if (p.scheduledAction == 2) {
      if (!q->hasConflict(p)) continue;
      if (q->scheduledAction == 0) {
        q->scheduledAction = 3;
      } else if (q->scheduledAction == 2) {
        tell(messages_,
             "ERROR: can not enable " + p.name + ": " + q->getFullName() + " conflicts with it");
        p.scheduledAction = 0;
        return;
      }
    }
  }
}

void Plan::dropDependents() {
  while (dropPass()) {
  }
}

// One pass from the first package up to the first change.
bool Plan::dropPass() {
  for (Package* p : packages_) {
    for (const PackageDep& d : p->deps) {
      if (dropFor(*p, d)) return true;
    }
  }
  return false;
}

bool Plan::dropFor(Package& p, const PackageDep& d) const {
  unsigned on = 0;
  unsigned off = 0;
  for (const Package* q : satisfying(d)) {
    if (staysOn(*q)) ++on;
    if (q->disabled || q->scheduledAction == 3) ++off;
  }
  if (on != 0) return false;
  if (off == 0) {
    if (p.scheduledAction == 1) return false;
    p.scheduledAction = 1;
    return true;
  }
  if (p.scheduledAction == 1 || p.scheduledAction == 3) return false;
  if (p.disabled && p.scheduledAction == 0) return false;
  p.scheduledAction = 3;
  return true;
}

void Plan::follow(Package& b) const {
  bool every = true;
  for (const Package* m : packages_) {
    if (m->bundle.name.empty() || m->bundle.name != b.name) continue;
    if (!m->disabled && m->scheduledAction == 0) return;
    if (m->disabled && m->scheduledAction == 2) return;
    const bool goes =
        m->disabled ? m->scheduledAction == 1 : m->scheduledAction == 1 || m->scheduledAction == 2;
    every = every && goes;
  }
  if (every) {
    b.scheduledAction = 1;
  } else if (!b.disabled) {
    b.scheduledAction = 3;
  } else if (b.scheduledAction == 2) {
    b.scheduledAction = 0;
  }
}

Packages Plan::collect(bool removals) const {
  Candidates list;
  for (Package* p : packages_) {
    const std::uint32_t action = p->scheduledAction;
    if (removals ? action == 1 || action == 3 : action == 2) list.push_back(p);
  }
  selectNaively(list, false, nullptr);
  Packages result;
  for (PackageInfo* p : list) {
    result.insert(removals ? result.begin() : result.end(), static_cast<Package*>(p));
  }
  return result;
}

NaivePlan Plan::make() {
  spread();
  pullIn();
  settleConflicts();
  dropDependents();
  for (Package* b : packages_) {
    if (b->isBundle && b->scheduledAction != 1) follow(*b);
  }
  bool any = packages_.empty();
  for (const Package* p : packages_) any = any || staysOn(*p);
  if (!any) {
    for (Package* p : packages_) p->scheduledAction = 0;
    tell(messages_, "ERROR: can not uninstall or disable all packages");
    return {};
  }
  return {collect(true), collect(false)};
}

}  // namespace

void selectNaively(std::vector<PackageInfo*>& candidates, bool reverse, Lines* messages) {
  Candidates output;
  for (PackageInfo* a : candidates) {
    if (isDropped(*a, candidates, reverse, messages)) continue;
    std::size_t at = output.size();
    while (at > 0 && !a->requires(*output[at - 1]) && !output[at - 1]->hasConflict(*a)) --at;
    output.insert(output.begin() + static_cast<std::ptrdiff_t>(at), a);
  }
  candidates = output;
}

NaivePlan planNaively(const std::vector<Package*>& packages, Lines* messages) {
  return Plan(packages, messages).make();
}
