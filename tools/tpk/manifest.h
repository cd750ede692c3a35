// The description of a package or a bundle that is to be built: package.toml.
//
//   name = "hello"                      # at most 16 bytes
//   version = "3.22"                    # 3.22, 3.22.1, 3.20rc2, 5.0beta7, 4.0alpha
//   build-time = 1700000000             # seconds since 1970
//   architecture = "mipsel"
//   description = "text"
//   image = true                        # the router keeps the package file
//   requires = ["system", { name = "system", min = "3.20", max = "3.22" }]
//   provides = [{ name = "greeter", min = "1.0", weight = 10 }]
//   conflicts = ["goodbye"]
//   oninstall = "text of the script"
//   onuninstall = { file = "remove.sh" }
//   files = "root"                      # a folder: what is in it lands in the router's root
//
// Only name and version must be there. A bundle has, in the place of scripts and files:
//
//   [bundle]
//   members = ["one", "two/package.toml"]   # folders or descriptions of packages
//   turn-off = ["two"]                      # installed disabled
//
// Paths are relative to the description's folder.
#pragma once

#include "model/packagedep.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct Manifest {
  std::string name;
  std::uint32_t version = 0;  // packed
  std::uint32_t buildTime = 0;
  std::string architecture;
  std::string description;
  bool image = false;
  std::vector<PackageDep> deps;
  std::vector<PackageDep> provides;
  std::vector<PackageDep> conflicts;
  std::optional<std::string> onInstall;  // the text
  std::optional<std::string> onUninstall;
  std::string files;  // the folder; empty: no files

  bool isBundle = false;
  std::vector<Manifest> members;
  std::vector<PackageDep> turnOff;
};

// Reads a description; a folder stands for its package.toml. buildTime is that of packages whose
// descriptions have none. Throws Failure, naming the file and the line.
Manifest readManifest(const std::string& path, std::uint32_t buildTime);

// SOURCE_DATE_EPOCH when it is set, otherwise the time of day. Throws Failure.
std::uint32_t defaultBuildTime();
