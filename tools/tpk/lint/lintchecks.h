// The checks of tpk lint: one small function each, in tables by what they look at.
#pragma once

#include "model/packagefile.h"
#include "tools/tpk/lint/lint.h"
#include "tools/tpk/read/archivereader.h"
#include "tools/tpk/read/packreader.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

struct LintEntry {
  ArchiveEntry archived;
  // Seen from the router's root, without "." and empty components: "bin/sh". Empty for the root.
  std::string path;
  std::string start;  // the first bytes of a regular file, enough for the header of a program

  std::uint16_t type() const { return archived.header.type(); }
  bool isDirectory() const { return type() == ArchiveHeader::kDirectory; }
};

struct LintFile;

// One package of a file, or the bundle that carries the others.
struct LintPackage {
  const LintFile* file;
  const PackedPackage* packed;
  bool isBundle = false;
  bool turnedOff = false;  // by the bundle that carries it
  std::vector<LintEntry> entries = {};
  bool hasMoreEntries = false;      // than anybody looks at
  std::string archiveFailure = {};  // why the archive could not be read to its end

  const PackageInfo& info() const { return packed->info; }
  bool isMember() const;
};

// Entries that are passed over leave nothing behind that could hurt.
template <typename Check>
void eachPlaced(const LintPackage& package, Check check) {
  for (const LintEntry& entry : package.entries)
    if (!entry.archived.header.skip()) check(entry);
}

struct LintFile {
  std::string name;
  const LintOptions* options = nullptr;
  bool isManifest = false;
  std::string refusal;  // why it cannot be built or read; there are no packages then
  PackedFile packed;
  PackageFile described;  // as the installer's planning sees it, with the carried packages
  std::vector<std::unique_ptr<LintPackage>> packages;  // a bundle first, then what it carries
};

struct LintSet {
  std::vector<std::unique_ptr<LintFile>> files;
  LintOptions options;
};

// Takes the findings of one check.
class LintSink {
 public:
  LintSink(const LintRule& rule, std::vector<LintFinding>& findings)
      : rule_(rule), findings_(findings) {}

  void aboutAll(const std::string& text) { add("", "", "", text); }
  void about(const LintFile& file, const std::string& text) { add(file.name, "", "", text); }
  void about(const LintPackage& package, const std::string& text);
  void about(const LintPackage& package, const LintEntry& entry, const std::string& text);

 private:
  void add(const std::string& file, const std::string& package, const std::string& entry,
           const std::string& text);

  const LintRule& rule_;
  std::vector<LintFinding>& findings_;
};

template <typename Subject>
struct LintCheck {
  LintRule rule;
  void (*run)(const Subject& subject, LintSink& sink);
};

using FileCheck = LintCheck<LintFile>;
using PackageCheck = LintCheck<LintPackage>;
using SetCheck = LintCheck<LintSet>;

const std::vector<FileCheck>& fileChecks();          // of the file as a whole (lintcontainer.cpp)
const std::vector<PackageCheck>& containerChecks();  // parts, signatures, bundles
const std::vector<PackageCheck>& headerChecks();     // what a package says of itself
const std::vector<PackageCheck>& archiveChecks();    // entries by themselves: kind, size, litter
const std::vector<PackageCheck>& pathChecks();       // their names, and what they do to each other
const std::vector<PackageCheck>& scriptChecks();
const std::vector<SetCheck>& setChecks();  // of packages beside each other

// Opens, reads and, when it is a description, builds the file (lintfile.cpp). What is wrong with it
// is in refusal; throws EnvironmentFailure.
std::unique_ptr<LintFile> readLintFile(const std::string& name, const LintOptions& options);
