// Packages of the whole-program tests: signed files, and the records that they leave in the
// database.
#pragma once

#include "tests/support/packbuilder.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// Packed versions, each named after its text.
enum Version : std::uint32_t {
  k2_9rc7 = 0x02096307,
  k2_9rc8 = 0x02096308,
  k3_20rc1 = 0x03146301,
  k3_20rc2 = 0x03146302,
  k3_21 = 0x03156600,
  k3_22 = 0x03166600,
  k3_22_1 = 0x03166601,
  k3_23 = 0x03176600,
};

// One package, and how to make its file.
struct Pack {
  std::string name;
  std::uint32_t version = k3_22;
  std::uint32_t buildTime = 1000;
  std::optional<std::string> arch = "mipsel";  // without a value the file names none
  std::vector<PackageDep> deps = {};
  std::vector<PackageDep> provides = {};
  std::vector<PackageDep> conflicts = {};
  std::optional<std::string> image = {};  // contents of the image marker
  std::optional<std::string> onInstall = {};
  std::optional<std::string> onUninstall = {};
  ArchiveBuilder files = {};
  bool dumb = false;

  // The package's parts, signed, behind what is there already.
  void appendTo(PackBuilder& builder) const;
  // The file of the package alone.
  std::string file() const;
};

// A package with one file /share/<name> that holds the name and the version's number.
Pack simplePack(const std::string& name, std::uint32_t version = k3_22);
std::string simpleContents(const std::string& name, std::uint32_t version = k3_22);

// Bytes that cannot be compressed, the same in every run.
std::string noise(std::size_t size);

struct BundlePack {
  std::string name;
  std::uint32_t version = k3_22;
  std::vector<Pack> members = {};
  std::optional<std::vector<PackageDep>> turnOff = {};
  std::optional<std::string> image = {};
  std::vector<PackageDep> deps = {};
  std::vector<PackageDep> conflicts = {};
  std::string arch = "mipsel";

  std::string file() const;
};

// The record of an installed package, in the form of Router::database(). More is what stands in the
// record beside the description: the files "bundle", "disabled" and so on with their contents.
struct MetaFile {
  std::string name;
  std::string contents;
};
std::string recordOf(const Pack& pack, const std::vector<std::string>& files,
                     const std::vector<MetaFile>& more = {});
std::string recordOfBundle(const BundlePack& bundle, const std::vector<MetaFile>& more = {});
// A stored script.
std::string storedScript(const std::string& contents);

// Where the parts of a package file are: offset is that of the contents.
struct PartAt {
  std::uint32_t type;
  std::size_t offset;
  std::size_t size;
};
std::vector<PartAt> partsOf(const std::string& file);
// The first of that type; the test fails when there is none.
PartAt partOf(const std::string& file, std::uint32_t type);
