// Checks of the file, its parts, its signatures and of what a bundle carries.
#include "tools/tpk/lint/lintchecks.h"
#include "tools/tpk/read/deptext.h"
#include "tools/tpk/read/partnames.h"

#include <algorithm>
#include <set>

namespace {

std::string quoted(const std::string& text) { return '"' + text + '"'; }

std::string partText(const PartSpan& part) {
  return partName(part.type) + " at byte " + std::to_string(part.offset - PartHeader::kSize);
}

// The files.

void refused(const LintFile& file, LintSink& sink) {
  if (!file.refusal.empty()) sink.about(file, file.refusal);
}

void strayPart(const LintFile& file, LintSink& sink) {
  for (const PartSpan& part : file.packed.strays) sink.about(file, partText(part));
}

void trailingBytes(const LintFile& file, LintSink& sink) {
  if (file.packed.trailing > 0)
    sink.about(file,
               "ends in " + std::to_string(file.packed.trailing) + " bytes that belong to no part");
}

void dumb(const LintFile& file, LintSink& sink) {
  if (file.packed.dumb) sink.about(file, "is a dumb package");
}

void dumbScript(const LintFile& file, LintSink& sink) {
  if (!file.packed.dumb) return;
  for (const auto& package : file.packages)
    if (package->packed->onInstall || package->packed->onUninstall)
      sink.about(*package, "has a script");
}

// Signatures. A package that is yet to be built is signed later.

bool needsSignature(const LintPackage& package) {
  return !package.isBundle && !package.file->isManifest && !package.packed->listed;
}

void unsignedPackage(const LintPackage& package, LintSink& sink) {
  if (needsSignature(package) && package.packed->signature == SignatureState::kNone)
    sink.about(package, "is neither signed nor in the product's list");
}

void badSignature(const LintPackage& package, LintSink& sink) {
  if (package.isBundle || package.file->isManifest) return;
  switch (package.packed->signature) {
    case SignatureState::kTooShort:
      return sink.about(package, "its signature is cut short");
    case SignatureState::kOtherDigest:
      return sink.about(package, "its signature was made for other bytes");
    case SignatureState::kOtherKey:
      return sink.about(package, "its signature was made with another key");
    default:
      return;
  }
}

// Bundles.

void bundleRequiresMember(const LintPackage& package, LintSink& sink) {
  if (!package.isBundle) return;
  for (const PackageDep& dep : package.info().deps)
    for (const auto& member : package.file->packages)
      if (member->isMember() && member->info().satisfies(dep))
        sink.about(package, "requires " + depText(dep) + ", which is its own " +
                                member->info().getFullName());
}

void repeatedMember(const LintPackage& package, LintSink& sink) {
  if (!package.isBundle) return;
  std::set<std::string> names = {package.info().name};
  for (const auto& member : package.file->packages)
    if (member->isMember() && !names.insert(member->info().name).second)
      sink.about(package, quoted(member->info().name) + " is the name of more than one package");
}

void turnOffNonMember(const LintPackage& package, LintSink& sink) {
  for (const PackageDep& name : package.packed->turnOff) {
    const auto& all = package.file->packages;
    const bool known = std::any_of(all.begin(), all.end(), [&name](const auto& member) {
      return member->isMember() && member->info().name == name.name;
    });
    if (!known) sink.about(package, "turns " + quoted(name.name) + " off");
  }
}

// The members before this one; all of them when there is none such.
std::vector<const LintPackage*> membersBefore(const LintPackage& package) {
  std::vector<const LintPackage*> members;
  for (const auto& member : package.file->packages) {
    if (member.get() == &package) break;
    if (member->isMember()) members.push_back(member.get());
  }
  return members;
}

bool isBefore(const LintPackage& package, const PackageDep& dep) {
  const auto before = membersBefore(package);
  return std::any_of(before.begin(), before.end(), [&dep](const LintPackage* member) {
    return !member->turnedOff && member->info().satisfies(dep);
  });
}

void memberBeforeRequirement(const LintPackage& package, LintSink& sink) {
  if (!package.isMember()) return;
  for (const PackageDep& dep : package.info().deps) {
    if (isBefore(package, dep)) continue;
    bool behind = false;
    for (const auto& member : package.file->packages) {
      if (behind && !member->turnedOff && member->info().satisfies(dep)) {
        sink.about(package, "requires " + depText(dep) + ", and " + member->info().getFullName() +
                                " comes later");
        break;
      }
      behind = behind || member.get() == &package;
    }
  }
}

void requiresTurnedOff(const LintPackage& package, LintSink& sink) {
  if (!package.isMember()) return;
  for (const PackageDep& dep : package.info().deps)
    for (const auto& member : package.file->packages)
      if (member.get() != &package && member->turnedOff && member->info().satisfies(dep))
        sink.about(package, "requires " + depText(dep) + ", which is turned off");
}

void memberConflict(const LintPackage& package, LintSink& sink) {
  if (!package.isMember() || package.turnedOff) return;
  for (const LintPackage* member : membersBefore(package))
    if (!member->turnedOff && member->info().name != package.info().name &&
        member->info().hasConflict(package.info()))
      sink.about(package, "is in conflict with " + member->info().getFullName());
}

void imageInMember(const LintPackage& package, LintSink& sink) {
  if (package.isMember() && package.info().hasImage) sink.about(package, "has an image marker");
}

// Parts.

struct PartPlace {
  PartType type;
  bool inBundle;
  bool inPackage;
};
// The order in which the installer looks for them.
const PartPlace kPlaces[] = {
    {kPartBundle, true, false},      {kPartPackage, false, true},
    {kPartArchitecture, true, true}, {kPartDescription, true, true},
    {kPartRequires, true, true},     {kPartProvides, true, true},
    {kPartConflicts, true, true},    {kPartImage, true, true},
    {kPartTurnOff, true, false},     {kPartOnInstall, false, true},
    {kPartOnUninstall, false, true}, {kPartArchive, false, true},
    {kPartSignature, false, true},
};

const PartPlace* placeOf(std::uint32_t type) {
  for (const PartPlace& place : kPlaces)
    if (place.type == type) return &place;
  return nullptr;
}

void unknownPart(const LintPackage& package, LintSink& sink) {
  for (const PartSpan& part : package.packed->parts)
    if (!placeOf(part.type)) sink.about(package, partText(part));
}

void foreignPart(const LintPackage& package, LintSink& sink) {
  for (const PartSpan& part : package.packed->parts) {
    const PartPlace* const place = placeOf(part.type);
    if (place && !(package.isBundle ? place->inBundle : place->inPackage))
      sink.about(package,
                 partText(part) + (package.isBundle ? " in a bundle" : " in a single package"));
  }
}

void misplacedPart(const LintPackage& package, LintSink& sink) {
  const PartPlace* last = nullptr;
  for (const PartSpan& part : package.packed->parts) {
    const PartPlace* const place = placeOf(part.type);
    if (!place) continue;
    if (last && place <= last)
      sink.about(package, partText(part) + (place == last ? " a second time" : " is too late"));
    else
      last = place;
  }
}

const std::vector<FileCheck> kFileChecks = {
    {{"refused", Severity::kError, "The file is no package, or the description builds none.",
      "Mend what is named first; nothing else was looked at."},
     refused},
    {{"stray-part", Severity::kWarning,
      "A part before the first header belongs to no package: no reader takes it.",
      "Build the package anew with this tool."},
     strayPart},
    {{"trailing-bytes", Severity::kWarning, "Bytes behind the last part belong to nothing.",
      "Build the package anew with this tool."},
     trailingBytes},
    {{"dumb", Severity::kNote,
      "A dumb package leaves no record: it replaces whatever files are there, and nothing can "
      "upgrade or uninstall it.",
      "Make an ordinary package unless this is meant."},
     dumb},
    {{"dumb-script", Severity::kError,
      "The scripts of a dumb package have no record to be stored in, which fails the installation.",
      "Drop the scripts, or make an ordinary package."},
     dumbScript},
};

const std::vector<PackageCheck> kContainerChecks = {
    {{"unknown-part", Severity::kWarning, "Part of a type that no reader takes.",
      "Build the package anew with this tool."},
     unknownPart},
    {{"foreign-part", Severity::kError,
      "A part that belongs to single packages stands in a bundle, or the other way round: the "
      "installation ends there.",
      "Build the package anew with this tool."},
     foreignPart},
    {{"misplaced-part", Severity::kError,
      "A part stands where no reader looks for it, because parts are only taken in one order, and "
      "each once.",
      "Build the package anew with this tool."},
     misplacedPart},
    {{"unsigned", Severity::kError, "Routers refuse packages that nobody signed.",
      "Sign it with tpk sign, or put its digest into the product's list."},
     unsignedPackage},
    {{"bad-signature", Severity::kError, "Routers refuse packages whose signature is not good.",
      "Sign it again with the product's key, as the last thing that is done to it."},
     badSignature},
    {{"bundle-requires-member", Severity::kError,
      "A bundle's requirements have to be installed before the bundle, and so before what it "
      "carries.",
      "Drop the requirement."},
     bundleRequiresMember},
    {{"repeated-member", Severity::kError,
      "Of several packages with one name only one stays installed; the bundle counts as well.",
      "Give each package a name of its own."},
     repeatedMember},
    {{"turn-off-non-member", Severity::kWarning,
      "The bundle turns a package off that it does not carry.", "Drop the name, or correct it."},
     turnOffNonMember},
    {{"member-before-requirement", Severity::kError,
      "The packages of a bundle are installed in their order: one that needs a later one is left "
      "out, without a word.",
      "Put what is required first."},
     memberBeforeRequirement},
    {{"requires-turned-off", Severity::kWarning,
      "A requirement that is installed disabled does not count.",
      "Do not turn it off, or turn both off."},
     requiresTurnedOff},
    {{"member-conflict", Severity::kWarning,
      "A package that is in conflict with one before it is installed disabled.",
      "Turn one of them off, so that it shows which is meant."},
     memberConflict},
    {{"image-in-member", Severity::kWarning,
      "Only the image marker of the whole file keeps the file on the router; that of a carried "
      "package only drops its install script.",
      "Put the image marker into the bundle."},
     imageInMember},
};

}  // namespace

const std::vector<FileCheck>& fileChecks() { return kFileChecks; }
const std::vector<PackageCheck>& containerChecks() { return kContainerChecks; }
