// Which packages of a list have a name in common with another package. Every relation between two
// packages needs one, so that with hundreds of packages only a few pairs have to be looked at.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

class PackageInfo;

// The names of a description, and of those that it carries, that count.
enum NameKinds : unsigned {
  kOwnNames = 1,
  kProvidedNames = 2,
  kConflictNames = 4,
  kRequiredNames = 8,
  // What other packages can ask for.
  kAnsweredNames = kOwnNames | kProvidedNames,
  // What a package looks for in others when it is asked whether it has a conflict.
  kConflictAskedNames = kOwnNames | kProvidedNames | kConflictNames,
};

// Holds views of the names: the packages must not change while it is used.
class NameIndex {
 public:
  explicit NameIndex(unsigned kinds) : kinds_(kinds) {}
  template <typename List>
  NameIndex(const List& list, unsigned kinds) : kinds_(kinds) {
    for (const auto& package : list) add(*package);
  }

  // The package gets the next position, from 0.
  void add(const PackageInfo& package);
  // Positions, ascending, of the packages that have this name.
  const std::vector<std::size_t>& named(const std::string& name) const;
  // Positions, ascending and each once, of the packages that share one of package's names of these
  // kinds.
  std::vector<std::size_t> sharing(const PackageInfo& package, unsigned kinds) const;

 private:
  void addName(std::string_view name, std::size_t position);

  unsigned kinds_;
  std::size_t size_ = 0;
  std::map<std::string_view, std::vector<std::size_t>> positions_;
};

// Sorts and drops repetitions.
void makeUnique(std::vector<std::size_t>& positions);
