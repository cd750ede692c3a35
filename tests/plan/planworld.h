// What tests of installations share: a router root with installed packages, and package files in
// memory.
#pragma once

#include "model/version.h"
#include "tests/plan/consoleevents.h"
#include "tests/support/inroot.h"
#include "tests/support/packbuilder.h"

#include <string>
#include <vector>

constexpr std::uint32_t k1_0 = packVersion(1, 0, kKindFinal, 0);
constexpr std::uint32_t k2_0 = packVersion(2, 0, kKindFinal, 0);

// One package of a file: header, "mipsel", lists, one archive with the file /opt/<name> that holds
// the version text, signature. Members are public to be changed before it is put into a file.
struct PackContents {
  std::string name;
  std::uint32_t version = k1_0;
  std::vector<PackageDep> deps = {};
  std::vector<PackageDep> conflicts = {};
  std::vector<PackageDep> provides = {};
  bool image = false;
  bool genuine = true;
  std::string arch = "mipsel";
};

void appendPackage(PackBuilder& file, const PackContents& pack);
std::string packageFile(const PackContents& pack, bool dumb = false);
// Behind the bundle's header stands the turn-off list, unless it is empty, then the members.
std::string bundleFile(const PackContents& bundle, const std::vector<PackContents>& members,
                       const std::vector<PackageDep>& turnedOff = {});

class PlanWorld : public InRoot {
 protected:
  void SetUp() override;

  // An installed package with its record and its file.
  Package* add(const std::string& name, std::uint32_t version = k1_0);
  Package* addBundle(const std::string& name, std::uint32_t version = k1_0);
  // Writes the record anew after a change.
  void save(Package* package);
  // The result of installing the file, with the map of choices and the places below.
  int install(const std::string& file, unsigned flags = kAllowUpgrade);
  // The messages of the console since the last call.
  Lines messages() { return messagesOf(consoleEvents(takeConsole())); }
  // Names in the list, in its order; disabled ones with "(disabled)" behind.
  Lines installed() const;
  // Everything below /flash that is no directory, without the lists of records.
  Lines flash() const;

  std::map<std::string, bool> choices_;
  std::string imageDir_;
};
