#include "repo/repo.h"

#include "package/package.h"

#include <algorithm>

#include <dirent.h>

Repo* Repo::getRepo() {
  static Repo* const repo = new Repo;
  return repo;
}

Reporter* Reporter::getReporter() { return Repo::getRepo(); }

void Repo::init(bool quietConsole) {
  quiet = quietConsole;
  DIR* directory = opendir(kDatabase);
  if (!directory) {
    warn("could not open repo");
    return;
  }
  std::string name;
  while (const dirent* entry = readdir(directory)) {
    if (entry->d_name[0] == '.') continue;
    name = entry->d_name;
    auto* package = new Package;
    package->readFromRepo(name);
    addPackage(package);
  }
  closedir(directory);
}

int Repo::findPackageIndex(const std::string& name) const {
  for (std::size_t i = 0; i < packages.size(); ++i) {
    if (packages[i]->name == name) return static_cast<int>(i);
  }
  return -1;
}

Package* Repo::findPackage(const std::string& name) const {
  const int index = findPackageIndex(name);
  return index < 0 ? nullptr : packages[static_cast<std::size_t>(index)];
}

void Repo::addPackage(Package* package) { packages.push_back(package); }

bool Repo::takePackage(const Package* package) {
  const auto found = std::find(packages.begin(), packages.end(), package);
  if (found == packages.end()) return false;
  packages.erase(found);
  return true;
}

bool Repo::holds(const Package* package) const {
  return std::find(packages.begin(), packages.end(), package) != packages.end();
}

Package* Repo::findProvider(const std::string& name) const {
  PackageDep any;
  any.name = name;
  Package* lastDisabled = nullptr;
  for (Package* package : packages) {
    if (package->name != name && !package->doesProvidersSatisfy(any)) continue;
    if (!package->disabled) return package;
    lastDisabled = package;
  }
  return lastDisabled;
}

Package* Repo::findConflicting(const PackageInfo& other) const {
  for (Package* package : packages) {
    if (!package->disabled && package->hasConflict(other)) return package;
  }
  return nullptr;
}

void Repo::collectSatisfying(const PackageDep& dep, std::vector<Package*>& list,
                             bool includeDisabled) const {
  for (Package* package : packages) {
    if (package->disabled && !includeDisabled) continue;
    if (package->satisfies(dep)) list.push_back(package);
  }
}
