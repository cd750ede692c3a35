// Checks of packages that are to stand on one router.
#include "tools/tpk/lint/lintchecks.h"

#include <map>
#include <unordered_map>
#include <utility>

namespace {

enum : std::uint64_t { kBlock = 4096 };
// Of an installed package's record: the files "version", "deps" and "files".
enum : std::uint64_t { kRecordFiles = 3 };

std::uint64_t inBlocks(std::uint64_t bytes) { return (bytes + kBlock - 1) / kBlock * kBlock; }

template <typename Check>
void eachPackage(const LintSet& set, Check check) {
  for (const auto& file : set.files)
    for (const auto& package : file->packages) check(*package);
}

// Calls with every two files that could be read.
template <typename Check>
void eachPair(const LintSet& set, Check check) {
  for (auto a = set.files.begin(); a != set.files.end(); ++a)
    for (auto b = set.files.begin(); b != a; ++b)
      if ((*a)->refusal.empty() && (*b)->refusal.empty()) check(**b, **a);
}

bool areRivals(const PackageInfo& a, const PackageInfo& b) {
  return a.has(b.name) || b.has(a.name);
}

// The installer drops what something else replaces; of two that are equal it drops both, unless
// one of them is the bundle that carries the other.
bool dropEachOther(const PackageInfo& a, const PackageInfo& b) {
  return areRivals(a, b) && a.hasBetter(b) == 0 && a.isBundle == b.isBundle;
}

void equalPackages(const LintSet& set, LintSink& sink) {
  eachPair(set, [&](const LintFile& a, const LintFile& b) {
    if (dropEachOther(a.described, b.described))
      sink.about(b, b.described.getFullName() + " is also in " + a.name);
  });
}

void superseded(const LintSet& set, LintSink& sink) {
  eachPair(set, [&](const LintFile& a, const LintFile& b) {
    if (!areRivals(a.described, b.described) || dropEachOther(a.described, b.described)) return;
    const int better = a.described.hasBetter(b.described);
    const bool aStays = better > 0 || (better == 0 && a.described.isBundle);
    const LintFile& gone = aStays ? b : a;
    const LintFile& stays = aStays ? a : b;
    sink.about(gone, gone.described.getFullName() + " is replaced by " +
                         stays.described.getFullName() + " of " + stays.name);
  });
}

// Whether the two never have their files in one place: one replaces the other, or is disabled.
bool standApart(const LintPackage& a, const LintPackage& b) {
  return a.info().name == b.info().name || a.turnedOff || b.turnedOff ||
         a.info().hasConflict(b.info()) || b.info().hasConflict(a.info());
}

void fileCollision(const LintSet& set, LintSink& sink) {
  struct Owner {
    const LintPackage* package;
    bool isDirectory;
  };
  std::unordered_map<std::string, Owner> owners;
  std::map<std::pair<const LintPackage*, const LintPackage*>, bool> apart;
  eachPackage(set, [&](const LintPackage& package) {
    for (const LintEntry& entry : package.entries) {
      if (entry.archived.header.skip()) continue;
      const auto added = owners.emplace(entry.path, Owner{&package, entry.isDirectory()});
      const Owner& owner = added.first->second;
      if (added.second || owner.package == &package) continue;
      if (owner.isDirectory && entry.isDirectory()) continue;
      const auto pair = apart.emplace(std::make_pair(owner.package, &package), false);
      if (pair.second) pair.first->second = standApart(*owner.package, package);
      if (!pair.first->second)
        sink.about(package, entry, "is also in " + owner.package->info().getFullName());
    }
  });
}

std::uint64_t flashOf(const LintPackage& package) {
  std::uint64_t bytes = package.file->packed.dumb ? 0 : kRecordFiles * kBlock;
  for (const auto* script : {&package.packed->onInstall, &package.packed->onUninstall})
    if (*script) bytes += inBlocks((*script)->size());
  for (const LintEntry& entry : package.entries) {
    if (entry.archived.header.skip()) continue;
    const bool isFile = entry.type() == ArchiveHeader::kRegular;
    bytes += isFile ? inBlocks(entry.archived.header.dataSize()) : kBlock;
  }
  // With the image marker the file itself is kept.
  if (package.info().hasImage && !package.isMember()) bytes += inBlocks(package.file->packed.size);
  return bytes;
}

void overBudget(const LintSet& set, LintSink& sink) {
  if (!set.options.flash) return;
  std::uint64_t total = 0;
  eachPackage(set, [&](const LintPackage& package) { total += flashOf(package); });
  if (total <= *set.options.flash) return;
  sink.aboutAll("everything takes " + std::to_string(total) + " bytes of flash, " +
                std::to_string(total - *set.options.flash) + " more than there are");
  eachPackage(set, [&](const LintPackage& package) {
    sink.about(package, "takes " + std::to_string(flashOf(package)) + " bytes of flash");
  });
}

const std::vector<SetCheck> kSetChecks = {
    {{"equal-packages", Severity::kError,
      "Of two packages with one name, version and build time the installer takes neither.",
      "Give one of them only."},
     equalPackages},
    {{"superseded", Severity::kNote, "The installer takes the newest of several, or the bundle.",
      "Leave the other one out."},
     superseded},
    {{"file-collision", Severity::kError,
      "A file that belongs to another package stays as it is: the later package lacks its own.",
      "Leave the file out of one of the packages, or let them conflict."},
     fileCollision},
    {{"over-flash-budget", Severity::kError,
      "The unpacked files, scripts and records, each in blocks of 4 KiB, take more flash than was "
      "given.",
      "Leave files out, or find more room."},
     overBudget},
};

}  // namespace

const std::vector<SetCheck>& setChecks() { return kSetChecks; }
