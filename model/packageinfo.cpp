#include "model/packageinfo.h"

#include "model/version.h"
#include "stream/text.h"

namespace {

const PackageDep* firstNamed(const std::vector<PackageDep>& list, const std::string& name) {
  for (const PackageDep& entry : list) {
    if (entry.name == name) return &entry;
  }
  return nullptr;
}

const PackageInfo* carriedNamed(const PackageInfo& bundle, const std::string& name) {
  for (const PackageInfo* carried : bundle.subPackages) {
    if (carried->name == name) return carried;
  }
  return nullptr;
}

// Whether a range that ends at high lies below one that begins at low. Ends of 0 are open: nothing
// lies below a low of 0, and a high of 0 is below nothing.
bool isBelow(std::uint32_t high, std::uint32_t low) { return high != 0 && high < low; }

// Positive when a is newer than b. Of equal versions the one built later is.
int compareReleases(const PackageInfo& a, const PackageInfo& b) {
  if (a.version != b.version) return a.version > b.version ? 1 : -1;
  if (a.buildTime != b.buildTime) return a.buildTime > b.buildTime ? 1 : -1;
  return 0;
}

}  // namespace

PackageInfo::~PackageInfo() {
  for (const PackageInfo* carried : subPackages) delete carried;
}

void PackageInfo::addConflict(const std::string& conflictName, unsigned int conflictVersion) {
  const PackageDep conflict = {conflictName, conflictVersion, conflictVersion};
  conflicts.push_back(conflict);
}

std::string PackageInfo::getFullName() const {
  return formatted("%s-%s", name.c_str(), versionString(version));
}

bool PackageInfo::doesSatisfy(const PackageDep& dep) const {
  return name == dep.name && dep.minVersion <= version &&
         (dep.maxVersion == 0 || version <= dep.maxVersion);
}

bool PackageInfo::doesProvidersSatisfy(const PackageDep& dep) const {
  for (const PackageDep& offer : provides) {
    if (offer.name == dep.name && !isBelow(dep.maxVersion, offer.minVersion) &&
        !isBelow(offer.maxVersion, dep.minVersion)) {
      return true;
    }
  }
  return false;
}

bool PackageInfo::has(const std::string& wanted) const {
  return name == wanted || carriedNamed(*this, wanted) != nullptr;
}

bool PackageInfo::requires(const PackageInfo& other) const {
  for (const PackageDep& dep : deps) {
    if (other.satisfies(dep)) return true;
  }
  for (const PackageInfo* carried : other.subPackages) {
    if (requires(*carried)) return true;
  }
  for (const PackageInfo* carried : subPackages) {
    if (carried->requires(other)) return true;
  }
  return false;
}

// The first rule that applies decides, also when its answer is no: a package that offers to stand
// in for another without outweighing it may stand beside it, whatever the later rules would say.
bool PackageInfo::hasConflict(const PackageInfo& other) const {
  for (const PackageDep& conflict : conflicts) {
    if (other.doesSatisfy(conflict)) return true;
  }
  if (const PackageDep* offer = firstNamed(other.provides, name)) return offer->weight < 0;
  for (const PackageDep& offer : provides) {
    if (offer.name == other.name) return offer.weight >= 0;
    if (const PackageDep* rival = firstNamed(other.provides, offer.name)) {
      return rival->weight < offer.weight;
    }
  }
  for (const PackageDep& conflict : conflicts) {
    if (other.doesProvidersSatisfy(conflict)) return true;
  }
  if (carriedNamed(other, name)) return true;
  for (const PackageInfo* carried : subPackages) {
    if (carried->hasConflict(other)) return true;
  }
  return false;
}

int PackageInfo::hasBetter(const PackageInfo& other) const {
  if (name == other.name) return compareReleases(*this, other);
  if (const PackageInfo* carried = carriedNamed(*this, other.name)) {
    return compareReleases(*carried, other);
  }
  if (const PackageInfo* carried = carriedNamed(other, name)) {
    return compareReleases(*this, *carried);
  }
  return 0;
}

int PackageInfo::hasBetter(const PackageInfo& other, bool reverse) const {
  return reverse ? -hasBetter(other) : hasBetter(other);
}
