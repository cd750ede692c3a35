// The package database of a run and everything that is done with it as a whole. One object, reached
// through getRepo(); its operations live in the files of three subsystems:
//   repo/repo.cpp           loading, lookups
//   repo/console.h          status, progress, messages, the run log: a Repo is the run's Reporter
//   repo/changes.cpp        state changes that are reported
//   repo/listing.cpp        the listing
//   repo/ownership.cpp      file owners
//   repo/verifyfile.cpp     verification of a file
//   plan/candidates.cpp     candidate check and selection
//   plan/requests.cpp       enable, disable, uninstall requests
//   plan/schedule.cpp       scheduled actions, clean-up
//   plan/installstream.cpp  installation from a stream
//   plan/installrun.cpp     the batch run
#pragma once

#include "model/packageinfo.h"
#include "repo/console.h"

#include <cstdint>
#include <istream>
#include <map>
#include <set>
#include <streambuf>
#include <string>
#include <vector>

class Package;
class PackageFile;

// What a caller allows an installation to do, and what it wants to hear.
enum InstallFlags : unsigned {
  kAllowUpgrade = 1,  // set by every caller
  kAllowDowngrade = 2,
  kReinstall = 4,        // a candidate equal to the installed package is not an error
  kQuietUnusable = 8,    // do not report candidates that cannot be used here
  kQuietConflicts = 16,  // do not report conflicts
  kAllInstallFlags = 31,
};

// What the candidate check found; 0 is a fresh install. The first three have the values of the
// flags that allow them.
enum CheckResult : unsigned {
  kIsUpgrade = kAllowUpgrade,
  kIsDowngrade = kAllowDowngrade,
  kIsSame = kReinstall,
  kUnusable = 8,
  kConflict = 16,
};

class Repo : public Reporter {
 public:
  // The single object; made by the first call, never destroyed.
  static Repo* getRepo();

  // Loads the database. Once per run, before any other operation.
  void init(bool quietConsole);

  const std::vector<Package*>& installed() const { return packages; }

  // Lookups (repo/repo.cpp); all scan from the first package to the last.

  // -1 when there is none.
  int findPackageIndex(const std::string& name) const;
  // nullptr when there is none.
  Package* findPackage(const std::string& name) const;
  // Appends; the repository owns the package.
  void addPackage(Package* package);
  // Takes this very object off the list; the caller owns it. False when it is not in the list.
  bool takePackage(const Package* package);
  bool holds(const Package* package) const;
  // The first enabled package of that name or providing it, else the last disabled one, else
  // nullptr.
  Package* findProvider(const std::string& name) const;
  // The first enabled package that has a conflict with other; nullptr when none has.
  Package* findConflicting(const PackageInfo& other) const;
  // Appends the packages that satisfy dep by name or provides list.
  void collectSatisfying(const PackageDep& dep, std::vector<Package*>& list,
                         bool includeDisabled) const;

  // Listing (repo/listing.cpp), to standard output.

  void showPackages() const;
  void dump() const;

  // File owners (repo/ownership.cpp). Paths are logical and compared as they stand.

  // The name of the first package that lists the path; empty when none does.
  std::string getFileOwner(const std::string& path) const;
  bool isFileUsed(const std::string& path) const;

  // Enables each package, with a status and a log line when verbose. (repo/changes.cpp)
  void enableAndReport(const std::vector<Package*>& list, bool verbose);

  // Whether every package of the file is genuine; says so, with name for the file
  // (repo/verifyfile.cpp).
  [[nodiscard]] bool verifyFile(const std::string& path, const char* name);

  // Planning. Lists hold packages of this repository, or candidates of the caller, and own nothing.

  // What stands against installing candidate beside what is installed (CheckResult bits); reports
  // at most one message. Changes nothing. (plan/candidates.cpp)
  unsigned checkCandidate(const PackageInfo& candidate, unsigned flags);
  // Leaves the best candidate of each name, in an order in which a package stands behind what it
  // requires. (plan/candidates.cpp)
  void selectCandidates(std::vector<PackageInfo*>& candidates, bool reverse, bool verbose);
  // Settles the scheduled actions against each other: what goes (dependents first) and what is
  // enabled (dependencies first). (plan/requests.cpp)
  void planRequests(std::vector<Package*>& removals, std::vector<Package*>& enables, int verbose);
  void executeRemovals(const std::vector<Package*>& removals, int verbose);
  void executeEnables(const std::vector<Package*>& enables, int verbose);
  // Plans and carries out; 1 when there was anything to do. Packages may be destroyed: check a
  // pointer kept over the call with holds(). (plan/schedule.cpp)
  unsigned scheduleAndExec(int verbose);
  // Uninstalls what was not made for the current system. (plan/schedule.cpp)
  unsigned uninstallBadPackages();

  // Installs what a stream holds; 0 on success. choices: the disabled state that the user chose, by
  // package name. image receives a copy of the raw stream unless null, and is flushed when that is
  // the whole of what was installed; imageDir receives the meta directory of a package that carries
  // the image marker unless null. (plan/installstream.cpp)
  int installFrom(std::istream& in, unsigned flags, std::map<std::string, bool>& choices,
                  std::streambuf* image, std::string* imageDir);
  // Installs what was dropped on flash; true when anything was there or changed. Does not return
  // when no package is left installed. (plan/installrun.cpp)
  bool installAllPackages(unsigned flags);

 private:
  friend class RepoAccess;  // tests: a fresh object and a look at its members

  Repo() = default;

  // Carries out the action, with a status and a log line when verbose. (repo/changes.cpp)
  void change(Package* package, std::uint32_t action, bool verbose);

  std::vector<Package*> packages;  // in database order; owned, never freed at the end of the run
  std::set<std::string>
      usedFiles;  // paths of files in use; stays empty until something gathers them
};

// Deletes every file below the directory (a logical path) that no package lists; directories stay.
// (repo/ownership.cpp)
void gcFilesIn(char* directory);
