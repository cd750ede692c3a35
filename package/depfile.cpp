#include "package/depfile.h"

#include "stream/ifilestream.h"
#include "stream/outputfile.h"

#include <utility>

bool readDepFile(const std::string& path, std::vector<PackageDep>& list, bool withWeight) {
  ifilestream file(path);
  for (;;) {
    PackageDep dep;
    if (!(file >> dep.name)) return true;
    if (!(file >> dep.minVersion >> dep.maxVersion)) return false;
    if (withWeight && !(file >> dep.weight)) return false;
    list.push_back(std::move(dep));
  }
}

bool writeDepFile(const std::string& path, const std::vector<PackageDep>& list, bool withWeight) {
  std::string text;
  for (const PackageDep& dep : list) {
    text += dep.name + ' ' + std::to_string(dep.minVersion) + ' ' + std::to_string(dep.maxVersion);
    if (withWeight) text += ' ' + std::to_string(dep.weight);
    text += '\n';
  }
  return writeTextFile(path, text);
}
