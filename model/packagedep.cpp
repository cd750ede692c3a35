#include "model/packagedep.h"

#include "model/packageinfo.h"
#include "model/version.h"
#include "stream/text.h"

std::string PackageDep::getFullName() const {
  if (minVersion == 0) return name;
  return formatted("%s-%s", name.c_str(), versionString(minVersion));
}

void PackageDep::assign(const PackageInfo* package) {
  name = package->name;
  minVersion = package->version;
  maxVersion = package->version;
}
