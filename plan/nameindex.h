// Which packages of a list have a name in common with another package. Every relation between two
// packages needs one, so that with hundreds of packages only a few pairs have to be looked at.
#pragma once

#include <cstddef>
#include <set>
#include <string>
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

// Positions in a list of packages.
using Positions = std::vector<std::size_t>;

// Points to the names: the packages must not change while it is used. Names are compared as far as
// their first NUL, which damaged records may hold: an answer may name a package too many.
class NameIndex {
 public:
  explicit NameIndex(unsigned kinds) : kinds_(kinds) {}
  template <typename List>
  NameIndex(const List& list, unsigned kinds) : kinds_(kinds) {
    for (const auto& package : list) add(*package);
  }

  // The package gets the next position, from 0.
  void add(const PackageInfo& package);
  // Positions, ascending and each once, of the packages that have this name.
  Positions named(const std::string& name) const;
  // The same of the packages that share one of package's names of these kinds.
  Positions sharing(const PackageInfo& package, unsigned kinds) const;

 private:
  struct Entry {
    const char* name;
    std::size_t position;

    bool operator<(const Entry& other) const;
  };

  void append(const char* name, Positions& positions) const;

  unsigned kinds_;
  std::size_t size_ = 0;
  std::set<Entry> entries_;
};

// Sorts and drops repetitions.
void makeUnique(Positions& positions);
