#include "plan/nameindex.h"

#include "model/packageinfo.h"

#include <algorithm>
#include <cstring>

namespace {

using Names = std::vector<const char*>;

void appendNames(const std::vector<PackageDep>& list, Names& names) {
  for (const PackageDep& dep : list) names.push_back(dep.name.c_str());
}

void appendNames(const PackageInfo& package, unsigned kinds, Names& names) {
  if (kinds & kOwnNames) names.push_back(package.name.c_str());
  if (kinds & kProvidedNames) appendNames(package.provides, names);
  if (kinds & kConflictNames) appendNames(package.conflicts, names);
  if (kinds & kRequiredNames) appendNames(package.deps, names);
  for (const PackageInfo* carried : package.subPackages) appendNames(*carried, kinds, names);
}

}  // namespace

bool NameIndex::Entry::operator<(const Entry& other) const {
  const int comparison = std::strcmp(name, other.name);
  return comparison != 0 ? comparison < 0 : position < other.position;
}

void NameIndex::add(const PackageInfo& package) {
  Names names;
  appendNames(package, kinds_, names);
  for (const char* name : names) entries_.insert({name, size_});
  ++size_;
}

void NameIndex::append(const char* name, Positions& positions) const {
  for (auto entry = entries_.lower_bound({name, 0});
       entry != entries_.end() && std::strcmp(entry->name, name) == 0; ++entry) {
    positions.push_back(entry->position);
  }
}

Positions NameIndex::named(const std::string& name) const {
  Positions result;
  append(name.c_str(), result);
  return result;
}

Positions NameIndex::sharing(const PackageInfo& package, unsigned kinds) const {
  Names names;
  appendNames(package, kinds, names);
  Positions result;
  for (const char* name : names) append(name, result);
  makeUnique(result);
  return result;
}

// A heap, because it takes the least code.
void makeUnique(Positions& positions) {
  std::make_heap(positions.begin(), positions.end());
  std::sort_heap(positions.begin(), positions.end());
  positions.erase(std::unique(positions.begin(), positions.end()), positions.end());
}
