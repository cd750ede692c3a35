// The description of a package or a bundle that is to be built: package.toml.
//
//   name = "hello"                      # at most 16 bytes
//   version = "3.22"                    # 3.22, 3.22.1, 3.20rc2, 5.0beta7, 4.0alpha
//   build-time = 1700000000             # seconds since 1970
//   architecture = "mipsel"
//   description = "text"
//   dumb = true                         # leaves no record on the router
//   image = true                        # the router keeps the package file
//   requires = ["system", { name = "system", min = "3.20", max = "3.22" }]
//   provides = [{ name = "greeter", min = "1.0", weight = 10 }]
//   conflicts = ["goodbye"]
//   oninstall = "text of the script"
//   onuninstall = { file = "remove.sh" }
//   compression = 9                     # 0 to 9
//   files = "root"                      # a folder or a tar: its contents land in the router's root
//   exclude = ["*.o", ".git", "doc/**"] # what of it stays out
//
// Only name and version must be there. files can also be a list, of which later ones win:
//
//   files = ["root", { tar = "rootfs.tar.gz", into = "usr", keep-owners = true },
//            { folder = "extra", into = "opt/x", keep-modes = true, keep-times = true }]
//
// What is declared needs nothing of the machine, and no rights:
//
//   [[entry]]
//   path = "dev/console"
//   type = "char"                       # char, block, fifo, link, directory, file
//   major = 5                           # of char and block, with minor
//   minor = 1
//   target = "busybox"                  # of a link
//   text = "..."                        # of a file, or: from = "path"
//   owner = 0                           # and group, mode, time, skip: as in a rule
//
//   [[rule]]                            # in their order, later ones win; over sources and entries,
//   match = "bin/*"                     # but what an entry says of itself stands
//   owner = 0
//   group = 0
//   mode = "0755"
//   time = 1700000000
//   skip = true                         # in the package, but the router passes it over
//
// A bundle has, in the place of scripts and files:
//
//   [bundle]
//   members = ["one", "two/package.toml"]   # folders or descriptions of packages
//   turn-off = ["two"]                      # installed disabled
//
// Paths of the machine are relative to the description's folder. Patterns: tools/tpk/make/glob.h;
// one of exclude without a "/" is for names at any depth.
#pragma once

#include "model/packagedep.h"
#include "tools/tpk/make/glob.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// What a rule or an entry says; what it does not mention stays as it was.
struct FileAttributes {
  std::optional<std::uint16_t> owner;
  std::optional<std::uint16_t> group;
  std::optional<std::uint16_t> mode;  // permission bits
  std::optional<std::uint32_t> time;
  std::optional<bool> skip;

  bool empty() const { return !owner && !group && !mode && !time && !skip; }
};

// In all three: where is "file:line", for messages; paths of the router are clean
// (tools/tpk/make/filetree.h).
struct FileSource {
  enum class Kind { kFolder, kTar, kEither };
  Kind kind = Kind::kEither;
  std::string path;
  std::string into;
  bool keepOwners = false;
  bool keepModes = false;
  bool keepTimes = false;
  std::string where;
};

struct FileEntry {
  std::string path;
  std::uint16_t type = 0;    // ArchiveHeader::Type
  std::uint32_t device = 0;  // as ArchiveEntry has it
  std::string target;
  std::string text;
  std::optional<std::string> from;  // in the place of text
  FileAttributes set;
  std::string where;
};

struct FileRule {
  Glob match;
  FileAttributes set;
  std::string where;
};

struct Manifest {
  std::string name;
  std::uint32_t version = 0;               // packed
  std::optional<std::uint32_t> buildTime;  // of the key or of SOURCE_DATE_EPOCH
  std::string architecture;
  std::string description;
  bool dumb = false;
  bool image = false;
  std::vector<PackageDep> deps;
  std::vector<PackageDep> provides;
  std::vector<PackageDep> conflicts;
  std::optional<std::string> onInstall;  // the text
  std::optional<std::string> onUninstall;

  int compression = -1;   // zlib's level; -1: its default
  bool hasFiles = false;  // the package has an archive, be it empty
  std::vector<FileSource> sources;
  std::vector<Glob> exclude;  // patterns for whole paths
  std::vector<FileRule> rules;
  std::vector<FileEntry> entries;

  bool isBundle = false;
  std::vector<Manifest> members;
  std::vector<PackageDep> turnOff;

  std::vector<std::string> inputs;    // files that were read for this: the description, scripts
  std::vector<std::string> warnings;  // "file:line: text"; of the members too
};

// Reads a description; a folder stands for its package.toml. Throws Failure, naming the file and
// the line.
Manifest readManifest(const std::string& path);

// SOURCE_DATE_EPOCH, when it is set. Throws Failure.
std::optional<std::uint32_t> sourceDateEpoch();
