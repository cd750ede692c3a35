#include "package/depfile.h"

#include "stream/ifilestream.h"
#include "stream/outputfile.h"
#include "stream/text.h"

#include <cinttypes>

bool readDepFile(const std::string& path, std::vector<PackageDep>& list, bool withWeight) {
  ifilestream file(path);
  for (;;) {
    PackageDep dep;
    if (!(file >> dep.name)) return true;
    if (!(file >> dep.minVersion >> dep.maxVersion)) return false;
    if (withWeight && !(file >> dep.weight)) return false;
    list.push_back(dep);
  }
}

bool writeDepFile(const std::string& path, const std::vector<PackageDep>& list, bool withWeight) {
  std::string text;
  for (const PackageDep& dep : list) {
    text += dep.name;
    text += formatted(" %" PRIu32 " %" PRIu32, dep.minVersion, dep.maxVersion);
    if (withWeight) text += formatted(" %" PRId32, dep.weight);
    text += "\n";
  }
  return writeTextFile(path, text);
}
