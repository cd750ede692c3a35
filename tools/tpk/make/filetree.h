// What a package will install, before it is written: a path for every entry, and what the archive
// says of it. The contents of files stay where they are, on the machine or in a spool.
#pragma once

#include "tools/tpk/host/descriptor.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>

// Contents that come out of something else (a tar, a text of a description): one temporary file
// without a name, below TMPDIR or /tmp. All failures throw EnvironmentFailure.
class Spool {
 public:
  // Where the next byte goes.
  std::uint64_t size() const { return size_; }
  void append(const char* data, std::size_t count);
  // Reads exactly count bytes.
  void read(std::uint64_t offset, char* out, std::size_t count) const;

 private:
  OwnedDescriptor descriptor_;  // opened when the first byte comes
  std::uint64_t size_ = 0;
};

// Where a regular file's contents are.
struct FileData {
  std::string path;          // of the machine; empty: in the spool
  std::uint64_t offset = 0;  // in the spool
  std::uint64_t size = 0;
};

struct FileNode {
  std::uint16_t mode = 0;  // type and permission bits as ArchiveHeader has them
  std::uint16_t user = 0;
  std::uint16_t group = 0;
  bool skip = false;
  std::optional<std::int64_t> time;  // seconds since 1970; without: the package's build time
  std::uint32_t device = 0;
  std::string target;  // of a symbolic link
  FileData data;
  std::string origin;  // for messages: the file or the line that it comes from

  std::uint16_t type() const;
};

// A folder stands directly before what is in it; otherwise paths are ordered by their bytes,
// component by component.
struct PathOrder {
  bool operator()(const std::string& a, const std::string& b) const;
};

class FileTree {
 public:
  using Nodes = std::map<std::string, FileNode, PathOrder>;

  // Paths are relative and clean (read/entrypath.h). What was there under the path goes.
  void put(const std::string& path, FileNode node) { nodes_[path] = std::move(node); }
  Nodes& nodes() { return nodes_; }
  const Nodes& nodes() const { return nodes_; }
  FileNode* find(const std::string& path);

  // Adds a folder (0755, root) for every one that a path leads through and that is not there.
  // Throws Failure when a path leads through something else.
  void addMissingParents();
  // Of all regular files.
  std::uint64_t dataSize() const;

 private:
  Nodes nodes_;
};

// Hands the contents over piece by piece. The size of a file of the machine was taken before:
// throws Failure when it is another one now.
void readData(const FileData& data, const Spool& spool,
              const std::function<void(const char*, std::size_t)>& take);
