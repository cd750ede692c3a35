// Which candidates survive, in which order they are installed, and whether one may be installed at
// all.
#include "model/version.h"
#include "package/package.h"
#include "plan/flashprobe.h"
#include "plan/nameindex.h"
#include "repo/repo.h"

namespace {

constexpr char kArchitecture[] = "mipsel";
constexpr char kSystemPackage[] = "system";
constexpr std::uint32_t kOldestOnThisFileSystem = packVersion(2, 9, kKindCandidate, 8);
constexpr std::uint32_t kOldestOnLargeBlocks = packVersion(3, 20, kKindCandidate, 2);

// The check of one candidate: at most one message, whatever is found.
class CandidateCheck {
 public:
  CandidateCheck(Repo& repo, const PackageInfo& candidate, unsigned flags)
      : repo_(repo), candidate_(candidate), flags_(flags), fullName_(candidate.getFullName()) {}

  unsigned run();

 private:
  void compareWithInstalled();
  void checkFileSystem();
  void checkArchitecture();
  void checkDependencies();
  void checkConflicts();

  // Whether something may be reported that the flag silences; when it may, it has to be.
  bool reports(unsigned quietFlag) {
    if (reported_ || (flags_ & quietFlag)) return false;
    reported_ = true;
    return true;
  }

  Repo& repo_;
  const PackageInfo& candidate_;
  const unsigned flags_;
  const std::string fullName_;
  unsigned result_ = 0;
  bool reported_ = false;
};

unsigned CandidateCheck::run() {
  compareWithInstalled();
  checkFileSystem();
  checkArchitecture();
  checkDependencies();
  checkConflicts();
  return result_;
}

void CandidateCheck::compareWithInstalled() {
  const Package* const installed = repo_.findPackage(candidate_.name);
  if (!installed) return;
  const int better = candidate_.hasBetter(*installed);
  if (better > 0) {
    result_ = kIsUpgrade;
  } else if (better == 0) {
    result_ = kIsSame;
    if (!reports(kReinstall)) return;
    repo_.warn("omitting package %s: it is already installed", fullName_.c_str());
  } else {
    result_ = kIsDowngrade;
    if (!reports(kAllowDowngrade)) return;
    repo_.warn("omitting package %s: newer package %s is already installed", fullName_.c_str(),
               installed->getFullName().c_str());
  }
}

void CandidateCheck::checkFileSystem() {
  if (candidate_.name != kSystemPackage) return;
  const bool tooOld = candidate_.version < kOldestOnThisFileSystem ||
                      (candidate_.version < kOldestOnLargeBlocks && flashHasLargeBlocks());
  if (!tooOld) return;
  result_ |= kUnusable;
  if (!reports(kQuietUnusable)) return;
  repo_.warn("omitting package %s: it does not support current file system", fullName_.c_str());
}

void CandidateCheck::checkArchitecture() {
  if (candidate_.arch.empty() || candidate_.arch == kArchitecture) return;
  result_ |= kUnusable;
  if (!reports(kQuietUnusable)) return;
  repo_.error("can not install %s: it is not made for %s, but for %s", fullName_.c_str(),
              kArchitecture, candidate_.arch.c_str());
}

void CandidateCheck::checkDependencies() {
  for (const PackageDep& dep : candidate_.deps) {
    std::vector<Package*> satisfying;
    repo_.collectSatisfying(dep, satisfying, false);
    if (!satisfying.empty()) continue;
    result_ |= kUnusable;
    if (!reports(kQuietUnusable)) return;
    repo_.error("can not install %s: %s is not installed, but is required", fullName_.c_str(),
                dep.getFullName().c_str());
    return;
  }
}

void CandidateCheck::checkConflicts() {
  const Package* const other = repo_.findConflicting(candidate_);
  if (!other) return;
  result_ |= kConflict;
  if (!reports(kQuietConflicts)) return;
  repo_.error("can not install %s: it conflicts with %s", fullName_.c_str(),
              other->getFullName().c_str());
}

using Candidates = std::vector<PackageInfo*>;

// Whether b makes a superfluous. Two that compare equal make each other superfluous: neither is to
// be trusted over the other. But a bundle stands against a single package of the same name and
// version.
bool dropsCandidate(const PackageInfo& a, const PackageInfo& b, bool reverse, bool& better) {
  if (!a.has(b.name) && !b.has(a.name)) return false;
  const int comparison = b.hasBetter(a, reverse);
  better = comparison > 0;
  return better || (comparison == 0 && (!a.isBundle || b.isBundle));
}

Candidates prune(Repo& repo, const Candidates& candidates, bool reverse, bool verbose) {
  const NameIndex index(candidates, kOwnNames);
  Candidates survivors;
  for (std::size_t i = 0; i < candidates.size(); ++i) {
    PackageInfo* const a = candidates[i];
    bool dropped = false;
    bool better = false;
    for (const std::size_t j : index.sharing(*a, kOwnNames)) {
      if (j == i) continue;
      dropped = dropsCandidate(*a, *candidates[j], reverse, better);
      if (dropped) break;
    }
    if (!dropped) survivors.push_back(a);
    if (dropped && better && verbose) {
      repo.warn(reverse ? "omitting package %s: older package is already provided"
                        : "omitting package %s: newer package is already provided",
                a->getFullName().c_str());
    }
  }
  return survivors;
}

// Puts each candidate behind the last one placed that it must follow, in front of all when there is
// none.
Candidates order(const Candidates& survivors) {
  const NameIndex answering(survivors, kAnsweredNames);
  const NameIndex conflicting(survivors, kConflictAskedNames);
  std::string precedes(survivors.size(), 0);  // by position: 1 or 0
  Positions placed;
  for (std::size_t i = 0; i < survivors.size(); ++i) {
    const PackageInfo& next = *survivors[i];
    std::fill(precedes.begin(), precedes.end(), 0);
    for (const std::size_t j : answering.sharing(next, kRequiredNames)) {
      if (next.requires(*survivors[j])) precedes[j] = 1;
    }
    for (const std::size_t j : conflicting.sharing(next, kAnsweredNames)) {
      if (survivors[j]->hasConflict(next)) precedes[j] = 1;
    }
    std::size_t at = placed.size();
    while (at > 0 && !precedes[placed[at - 1]]) --at;
    placed.insert(placed.begin() + static_cast<std::ptrdiff_t>(at), i);
  }
  Candidates ordered;
  for (const std::size_t i : placed) ordered.push_back(survivors[i]);
  return ordered;
}

}  // namespace

unsigned Repo::checkCandidate(const PackageInfo& candidate, unsigned flags) {
  return CandidateCheck(*this, candidate, flags).run();
}

void Repo::selectCandidates(std::vector<PackageInfo*>& candidates, bool reverse, bool verbose) {
  candidates = order(prune(*this, candidates, reverse, verbose));
}
