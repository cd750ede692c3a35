// What a dry run showed: the files that were given, what became of them and of the router.
#pragma once

#include "tools/tpk/try/snapshot.h"

#include <cstdint>
#include <string>
#include <vector>

// A package of a file that was given, as its headers describe it.
struct GivenPackage {
  std::string name;
  std::string fullName;
  std::uint32_t version = 0;
  std::uint32_t buildTime = 0;
  std::string arch;
  std::vector<PackageDep> deps;
  bool hasInstallScript = false;
};

struct GivenFile {
  std::string path;          // as it was given
  std::string dropName;      // in the drop directory
  std::string fault;         // why it cannot be read or is not genuine; empty when it is fine
  bool isBundle = false;     // the first package is the bundle itself
  bool leavesRecord = true;  // not of a dumb package
  std::vector<GivenPackage> packages;
};

enum class TryOutcome {
  kInstalled,
  kUpgraded,
  kDowngraded,
  kUnchanged,  // the same stands there as before, and the installer is content
  kUnpacked,   // a dumb package: files without a record
  kRefused,
};

struct TriedPackage {
  GivenPackage given;
  TryOutcome outcome = TryOutcome::kRefused;
  bool disabled = false;   // that stands there afterwards
  std::uint32_t from = 0;  // version that stood there before; 0 when none
  std::string reason;      // of a refusal, where the installer's messages have none
};

struct TriedFile {
  GivenFile given;
  bool taken = false;  // the installer was content and removed it
  std::vector<TriedPackage> packages;
  std::vector<std::string> messages;  // of the installer that speak of it
  std::string reason;                 // of a refusal, where they do not say it

  // Every package that was given stands in the database, enabled or disabled, in its version.
  bool good() const;
};

// What became of a package that was not given, or of the old version of one that was refused.
struct SideEffect {
  enum class Change { kUninstalled, kDisabled, kEnabled };

  Change change;
  std::string fullName;
};

struct TryReport {
  std::vector<TriedFile> files;
  std::vector<SideEffect> sideEffects;
  const Snapshot* after = nullptr;  // not owned
  FlashUse added;                   // by packages that are new, or not as they were
  FlashUse removed;                 // of packages that are gone, or not as they were
  std::vector<std::string> messages;
  std::vector<std::string> notes;  // where the dry run is not what a router does
  bool routerLost = false;         // no package is left: a router would not start

  bool good() const;
};

// dropped: names that are still in the drop directory.
struct TryResult {
  const Snapshot& before;
  const Snapshot& after;
  const std::vector<std::string>& dropped;
  const std::vector<std::string>& messages;
  bool routerLost;
};

TryReport compareTry(const std::vector<GivenFile>& given, const TryResult& result);

// "upgraded" and so on, for people and programs.
const char* outcomeWord(TryOutcome outcome);
const char* changeWord(SideEffect::Change change);

std::string tryText(const TryReport& report);
std::string tryJson(const TryReport& report);
