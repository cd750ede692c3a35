#include "plan/nameindex.h"

#include "model/packageinfo.h"

#include <algorithm>

namespace {

using Names = std::vector<std::string_view>;

void appendNames(const std::vector<PackageDep>& list, Names& names) {
  for (const PackageDep& dep : list) names.push_back(dep.name);
}

void appendNames(const PackageInfo& package, unsigned kinds, Names& names) {
  if (kinds & kOwnNames) names.push_back(package.name);
  if (kinds & kProvidedNames) appendNames(package.provides, names);
  if (kinds & kConflictNames) appendNames(package.conflicts, names);
  if (kinds & kRequiredNames) appendNames(package.deps, names);
  for (const PackageInfo* carried : package.subPackages) appendNames(*carried, kinds, names);
}

}  // namespace

void NameIndex::addName(std::string_view name, std::size_t position) {
  std::vector<std::size_t>& positions = positions_[name];
  if (positions.empty() || positions.back() != position) positions.push_back(position);
}

void NameIndex::add(const PackageInfo& package) {
  Names names;
  appendNames(package, kinds_, names);
  for (const std::string_view name : names) addName(name, size_);
  ++size_;
}

const std::vector<std::size_t>& NameIndex::named(const std::string& name) const {
  static const std::vector<std::size_t> none;
  const auto found = positions_.find(name);
  return found == positions_.end() ? none : found->second;
}

std::vector<std::size_t> NameIndex::sharing(const PackageInfo& package, unsigned kinds) const {
  Names names;
  appendNames(package, kinds, names);
  std::vector<std::size_t> result;
  for (const std::string_view name : names) {
    const auto found = positions_.find(name);
    if (found == positions_.end()) continue;
    result.insert(result.end(), found->second.begin(), found->second.end());
  }
  makeUnique(result);
  return result;
}

void makeUnique(std::vector<std::size_t>& positions) {
  std::sort(positions.begin(), positions.end());
  positions.erase(std::unique(positions.begin(), positions.end()), positions.end());
}
