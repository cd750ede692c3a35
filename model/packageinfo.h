// The description of one package, from a package file or from the database, and the relations
// between descriptions: the whole vocabulary in which the planning decides.
#pragma once

#include "model/packagedep.h"

#include <cstdint>
#include <list>
#include <string>
#include <vector>

class ipackstream;

class PackageInfo {
 public:
  std::string name;
  std::uint32_t version = 0;    // packed, model/version.h
  std::uint32_t buildTime = 0;  // seconds since 1970; breaks the tie of equal versions
  std::string arch;
  std::string description;
  bool hasImage =
      false;  // the package file is kept as the package's image after a successful install
  std::vector<PackageDep> deps;
  std::vector<PackageDep> provides;
  std::vector<PackageDep> conflicts;
  bool isBundle = false;                // only carries others
  std::list<PackageInfo*> subPackages;  // of a bundle, in file order; owned

  PackageInfo() = default;
  virtual ~PackageInfo();
  PackageInfo(const PackageInfo&) = delete;
  PackageInfo& operator=(const PackageInfo&) = delete;

  // Declares a conflict with one version of a name, or with all of them when version is 0.
  void addConflict(const std::string& name, unsigned int version);

  // Name, "-" and version text.
  std::string getFullName() const;

  // By its own name and version; neither what it provides nor what it carries counts.
  bool doesSatisfy(const PackageDep& dep) const;
  // By an entry of its provides list whose range overlaps the wanted one.
  bool doesProvidersSatisfy(const PackageDep& dep) const;
  // By either.
  bool satisfies(const PackageDep& dep) const {
    return doesSatisfy(dep) || doesProvidersSatisfy(dep);
  }
  // Whether name is this package's or one that it carries.
  bool has(const std::string& name) const;
  // Whether this package, or one that it carries, depends on other, or on one that other carries.
  bool requires(const PackageInfo& other) const;
  // Whether this package must not stand beside other. Not symmetric: of two packages that provide
  // the same name the one with the greater weight has the conflict.
  bool hasConflict(const PackageInfo& other) const;
  // Positive when this is newer than other, negative when older, 0 when equal or not comparable (no
  // common name). A bundle compares through the carried package of the other's name.
  int hasBetter(const PackageInfo& other) const;
  // The same, negated when reverse.
  int hasBetter(const PackageInfo& other, bool reverse) const;

  // Reads one description, with the stream on a package or bundle header that it accepts; leaves
  // the stream on the first part that does not belong to the description, or on the image marker.
  // False when it stands elsewhere, a read came short, or the name cannot be an entry of the
  // database directory. (model/headers.cpp)
  [[nodiscard]] bool readFrom(ipackstream& in);
};

// Appends the entries of the list part on which the stream stands. False on a short read; entries
// read before stay. (model/headers.cpp)
[[nodiscard]] bool readDeps(ipackstream& in, std::vector<PackageDep>& list);
