// Fills the tree of a package with what its sources bring: folders and tars.
#pragma once

#include "tools/tpk/make/filetree.h"
#include "tools/tpk/make/inputs.h"
#include "tools/tpk/make/manifest.h"

#include <string>
#include <vector>

// What all sources of one build share.
struct Collection {
  FileTree& tree;
  Spool& spool;
  Inputs& inputs;
  const std::vector<Glob>& exclude;
  std::vector<std::string>& warnings;

  // Whether a pattern of exclude matches the path or a folder above it.
  bool excludes(const std::string& path) const;
};

// Both throw Failure for what a package cannot hold, and EnvironmentFailure for what cannot be
// read. Nothing is read of a folder but its names and what the file system says of them.
void addFolder(Collection& collection, const FileSource& source);
// Contents go into the spool.
void addTar(Collection& collection, const FileSource& source);

// Attributes of what a source brings, by the source's keep- keys; mode is all of st_mode.
struct HostAttributes {
  std::uint32_t mode;
  std::int64_t user;
  std::int64_t group;
  std::int64_t time;
};

// The time or an owner that is kept must fit its field: throws Failure, naming origin.
void keepAttributes(const FileSource& source, const HostAttributes& found, FileNode& node);

// What a file gets whose source does not keep its mode: of the machine's bits only whether its
// owner may execute it counts, because the others depend on the umask of whoever made it.
std::uint16_t defaultPermissions(std::uint16_t type, bool executable);
