// Checks of what a package says of itself: names, versions, relations.
#include "model/version.h"
#include "tools/tpk/lint/lintchecks.h"
#include "tools/tpk/read/deptext.h"
#include "tools/tpk/read/rangeindex.h"

#include <algorithm>
#include <set>

namespace {

constexpr char kArchitecture[] = "mipsel";
constexpr char kSystem[] = "system";
// The clean-up takes packages away that do not need at least this.
constexpr std::uint32_t kFittingSystem = packVersion(3, 22, kKindFinal, 0);
// What is older does not start from every router's flash.
constexpr std::uint32_t kOldestSystem = packVersion(3, 20, kKindCandidate, 2);

struct List {
  const char* name;
  std::vector<PackageDep> PackageInfo::*entries;
};
const List kLists[] = {{"requires", &PackageInfo::deps},
                       {"provides", &PackageInfo::provides},
                       {"conflicts", &PackageInfo::conflicts}};

std::string quoted(const std::string& text) { return '"' + text + '"'; }

bool hasSpace(const std::string& name) {
  return name.find_first_of(" \t\n\v\f\r") != std::string::npos;
}

bool isEmptyRange(const PackageDep& dep) {
  return dep.maxVersion != 0 && dep.maxVersion < dep.minVersion;
}

// Names and versions.

void nameWithSpace(const LintPackage& package, LintSink& sink) {
  const PackageInfo& info = package.info();
  if (hasSpace(info.name)) sink.about(package, "its own name " + quoted(info.name));
  for (const List& list : kLists)
    for (const PackageDep& dep : info.*list.entries)
      if (hasSpace(dep.name)) sink.about(package, std::string(list.name) + " " + quoted(dep.name));
}

void emptyName(const LintPackage& package, LintSink& sink) {
  for (const List& list : kLists)
    for (const PackageDep& dep : package.info().*list.entries)
      if (dep.name.empty()) sink.about(package, std::string(list.name) + " a package without name");
}

void hiddenName(const LintPackage& package, LintSink& sink) {
  if (package.info().name[0] == '.') sink.about(package, "is named " + quoted(package.info().name));
}

void reservedName(const LintPackage& package, LintSink& sink) {
  if (package.info().name == "image") sink.about(package, "is named \"image\"");
}

void fullName(const LintPackage& package, LintSink& sink) {
  if (package.info().name.size() == PackageHeader::kNameWidth)
    sink.about(package, "is named " + quoted(package.info().name));
}

void noVersion(const LintPackage& package, LintSink& sink) {
  if (package.info().version == 0) sink.about(package, "has no version");
}

void oddVersion(const LintPackage& package, LintSink& sink) {
  const auto kind = static_cast<char>(package.info().version >> 8);
  if (package.info().version != 0 && std::string("abcf").find(kind) == std::string::npos)
    sink.about(package,
               "its release kind is byte " + std::to_string(static_cast<unsigned char>(kind)));
}

void oldSystem(const LintPackage& package, LintSink& sink) {
  if (package.info().name == kSystem && package.info().version < kOldestSystem)
    sink.about(package, "is older than " + std::string(versionString(kOldestSystem)));
}

void futureBuild(const LintPackage& package, LintSink& sink) {
  if (package.info().buildTime > package.file->options->now)
    sink.about(package, "was built at " + std::to_string(package.info().buildTime) + ", now is " +
                            std::to_string(package.file->options->now));
}

void architecture(const LintPackage& package, LintSink& sink) {
  const std::string& name = package.info().arch;
  if (name.empty() || name == kArchitecture) return;
  sink.about(package, package.packed->find(kPartArchitecture)
                          ? "is made for " + quoted(name)
                          : "names no architecture, which stands for " + quoted(name));
}

void noArchitecture(const LintPackage& package, LintSink& sink) {
  if (package.info().arch.empty()) sink.about(package, "its architecture is an empty text");
}

// Relations.

void systemRequirement(const LintPackage& package, LintSink& sink) {
  const PackageInfo& info = package.info();
  if (package.isBundle || info.name == "moth" || info.name == "disk-drivers" ||
      info.name == kSystem)
    return;
  const bool fits = std::any_of(info.deps.begin(), info.deps.end(), [](const PackageDep& dep) {
    return dep.name == kSystem && dep.minVersion >= kFittingSystem;
  });
  if (!fits) sink.about(package, "does not require system 3.22 or newer");
}

void requiresItself(const LintPackage& package, LintSink& sink) {
  for (const PackageDep& dep : package.info().deps)
    if (dep.name == package.info().name) sink.about(package, "requires " + depText(dep));
}

void shadowedRequirement(const LintPackage& package, LintSink& sink) {
  const RangeIndex provided(package.info().provides);
  for (const PackageDep& dep : package.info().deps)
    if (dep.name != package.info().name && provided.overlaps(dep))
      sink.about(package, "requires " + depText(dep) + " and provides it");
}

void conflictsWithItself(const LintPackage& package, LintSink& sink) {
  if (package.info().hasConflict(package.info()))
    sink.about(package, "is in conflict with every package like itself");
}

void requiresAndConflicts(const LintPackage& package, LintSink& sink) {
  const RangeIndex conflicts(package.info().conflicts);
  for (const PackageDep& wanted : package.info().deps)
    if (const PackageDep* refused = conflicts.covering(wanted))
      sink.about(package, "requires " + depText(wanted) + ", conflicts with " + depText(*refused));
}

void emptyRange(const LintPackage& package, LintSink& sink) {
  for (const List& list : kLists)
    for (const PackageDep& dep : package.info().*list.entries)
      if (isEmptyRange(dep)) sink.about(package, std::string(list.name) + " " + depText(dep));
}

void repeatedRelation(const LintPackage& package, LintSink& sink) {
  for (const List& list : kLists) {
    std::set<std::string> seen;
    for (const PackageDep& dep : package.info().*list.entries)
      if (!seen.insert(depText(dep)).second)
        sink.about(package, std::string(list.name) + " " + depText(dep) + " more than once");
  }
}

const std::vector<PackageCheck> kHeaderChecks = {
    {{"name-with-space", Severity::kError,
      "A record cannot be read back when a name in its lists has white space in it, and the "
      "package "
      "is taken away again; what requires or brings a package so named shares its fate.",
      "Use another name."},
     nameWithSpace},
    {{"empty-name", Severity::kError,
      "A record cannot be read back when a name in its lists is empty, and the package is taken "
      "away again.",
      "Drop the entry or name the package."},
     emptyName},
    {{"hidden-name", Severity::kError,
      "The database passes over names that begin with a dot: the package is forgotten by the next "
      "run.",
      "Use another name."},
     hiddenName},
    {{"reserved-name", Severity::kWarning,
      "While a package of this name is installed nothing can be installed through standard input: "
      "what comes in is kept under the name meanwhile.",
      "Use another name."},
     reservedName},
    {{"name-fills-field", Severity::kNote,
      "The name has 16 bytes, as many as there is room for: it may be the beginning of a longer "
      "one.",
      "Make sure that the name is meant like this."},
     fullName},
    {{"no-version", Severity::kWarning,
      "Version 0 means no version: every other package of the name is newer, and no requirement "
      "with a lower bound is met.",
      "Give it a version."},
     noVersion},
    {{"odd-version", Severity::kWarning,
      "The release kind is none of alpha, beta, candidate and final.",
      "Give it a version such as 3.22, 3.22.1 or 3.20rc2."},
     oddVersion},
    {{"old-system", Severity::kWarning,
      "Routers refuse a system older than 2.9rc8, and those with erase blocks of 256 KiB one older "
      "than 3.20rc2.",
      "Ship a newer system."},
     oldSystem},
    {{"built-in-future", Severity::kWarning,
      "The build time is later than now: a package of the same version that is built later than "
      "this one counts as the older one until then.",
      "Set the clock, build-time or SOURCE_DATE_EPOCH right."},
     futureBuild},
    {{"wrong-architecture", Severity::kError,
      "The installer refuses packages that are not made for \"mipsel\".",
      "Build the package for mipsel and say so."},
     architecture},
    {{"no-architecture", Severity::kNote,
      "A package with an empty architecture is taken by every router.",
      "Say mipsel if there are programs in the package."},
     noArchitecture},
    {{"system-requirement", Severity::kWarning,
      "The clean-up of a router takes every package away that does not require \"system\" with a "
      "lower bound of 3.22 or newer.",
      "Add { name = \"system\", min = \"3.22\" } to the requirements."},
     systemRequirement},
    {{"requires-itself", Severity::kError,
      "A requirement has to be installed before the package: this one is refused wherever it is "
      "not installed yet.",
      "Drop the requirement."},
     requiresItself},
    {{"shadowed-requirement", Severity::kWarning,
      "The package provides what it requires: somebody else must provide it for the installation, "
      "and may then be taken away without this package being noticed.",
      "Drop the requirement, or require the other package by its own name."},
     shadowedRequirement},
    {{"conflicts-with-itself", Severity::kError,
      "Beside the installed version its own next version is in conflict, and is installed "
      "disabled.",
      "Narrow the conflict; do not provide the package's own name with a negative weight."},
     conflictsWithItself},
    {{"requires-and-conflicts", Severity::kError,
      "Everything that meets a requirement is in conflict with the package.",
      "Drop one of the two, or narrow the conflict."},
     requiresAndConflicts},
    {{"empty-range", Severity::kError,
      "The lower bound of a range is above its upper bound: no version is in it.",
      "Exchange or correct the bounds."},
     emptyRange},
    {{"repeated-relation", Severity::kNote, "A list has the same entry twice.",
      "Drop one of them."},
     repeatedRelation},
};

}  // namespace

const std::vector<PackageCheck>& headerChecks() { return kHeaderChecks; }
