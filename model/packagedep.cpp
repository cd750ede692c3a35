#include "model/packagedep.h"

#include "model/packageinfo.h"
#include "model/version.h"

std::string PackageDep::getFullName() const {
  if (minVersion == 0) return name;
  return name + "-" + versionString(minVersion);
}

void PackageDep::assign(const PackageInfo* package) {
  name = package->name;
  minVersion = package->version;
  maxVersion = package->version;
}
