// A folder that a package is unpacked into. Nothing is ever created, changed or removed outside it,
// whatever the paths are and whatever links were made below it: paths are walked folder by folder
// and no link is followed, and nothing that is there already is opened or replaced.
#pragma once

#include "tools/tpk/host/descriptor.h"

#include <cstdint>
#include <string>

class TargetFolder {
 public:
  // Makes the folder; one that is there must be empty. Throws EnvironmentFailure.
  explicit TargetFolder(const std::string& path);
  // Removes all that was made unless keep() was called.
  ~TargetFolder();
  TargetFolder(const TargetFolder&) = delete;
  TargetFolder& operator=(const TargetFolder&) = delete;

  // From here on what was made stays.
  void keep() { kept_ = true; }

  // Paths are relative, of components that are neither empty nor "." or ".."; folders on the way
  // that are missing are made. The result is 0, or the errno with which the path itself cannot be:
  // something is there already (EEXIST), it leads through what is no folder (ENOTDIR), it is too
  // long or too deep (ENAMETOOLONG), its characters are none for this file system. Everything else
  // (a full disk, no rights) throws EnvironmentFailure.
  int makeFolder(const std::string& path);
  int makeLink(const std::string& path, const std::string& target);
  // A device or a FIFO; mode with its type.
  int makeNode(const std::string& path, std::uint16_t mode, std::uint32_t device);
  // An empty file, open for writing.
  int createFile(const std::string& path, OwnedDescriptor& file);

  // Throws EnvironmentFailure.
  void write(const OwnedDescriptor& file, const char* data, std::size_t count) const;
  // With exactly these permissions and this time of the last change.
  void finishFile(const OwnedDescriptor& file, std::uint16_t permissions, std::uint32_t time) const;
  // A whole small file.
  int writeFile(const std::string& path, const std::string& contents, std::uint16_t permissions);

  // Whether the path is a folder that is there.
  bool hasFolder(const std::string& path);
  // Whether a folder had to be made on the way to something else since the last call.
  bool takeImplied();

 private:
  enum : unsigned { kMostComponents = 200 };

  int openParent(const std::string& path, std::string& name);
  int openStep(const std::string& name, OwnedDescriptor& folder);
  int judge(const std::string& path) const;
  [[noreturn]] void fail(const std::string& path) const;

  std::string path_;
  OwnedDescriptor root_;
  bool made_ = false;  // the folder itself
  bool kept_ = false;
  bool implied_ = false;
  // The folder that was opened last: entries come folder by folder.
  std::string parentPath_;
  OwnedDescriptor parent_;
};
