#include "tools/tpk/read/deptext.h"

#include "model/version.h"

std::string depText(const PackageDep& dep) {
  // One at a time: the next text overwrites the one before.
  const std::string low = versionString(dep.minVersion);
  const std::string high = versionString(dep.maxVersion);
  if (dep.minVersion == 0 && dep.maxVersion == 0) return dep.name;
  if (dep.maxVersion == 0) return dep.name + " >= " + low;
  if (dep.minVersion == 0) return dep.name + " <= " + high;
  if (dep.minVersion == dep.maxVersion) return dep.name + " = " + low;
  return dep.name + " " + low + " .. " + high;
}
