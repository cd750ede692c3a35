// The entries of one archive as files below a folder, and as the rules and entries of a description
// that give them back what a folder does not keep: owners, times, device numbers.
#pragma once

#include "tools/tpk/host/targetfolder.h"
#include "tools/tpk/read/archivereader.h"

#include <cstdint>
#include <functional>
#include <string>

struct UnpackTarget {
  TargetFolder& folder;
  std::string root;         // where in the folder the files go
  std::uint32_t buildTime;  // of the package: files with this time need no rule
  bool devices;             // make device nodes and FIFOs
};

class Unpacker {
 public:
  // take gets pieces of TOML, tables of their own each; problem gets what could not be unpacked or
  // described.
  Unpacker(const UnpackTarget& target, std::function<void(const std::string&)> take,
           std::function<void(const std::string&)> problem);

  // Throws Failure for a broken archive and EnvironmentFailure for what the machine refuses.
  void unpackAll(ArchiveReader& archive);

 private:
  void unpack(const ArchiveEntry& entry, ArchiveReader& archive);
  // These return 0 or why the path cannot be (TargetFolder).
  int place(const ArchiveEntry& entry, const std::string& path, ArchiveReader& archive);
  int placeFile(const ArchiveEntry& entry, const std::string& path, ArchiveReader& archive);
  int placeFolder(const std::string& path);
  bool canBe(const ArchiveEntry& entry, const ArchiveReader& archive);
  void describe(const ArchiveEntry& entry);
  std::string attributes(const ArchiveEntry& entry) const;
  void refuse(const ArchiveEntry& entry, const std::string& why);

  UnpackTarget target_;
  std::function<void(const std::string&)> take_;
  std::function<void(const std::string&)> problem_;
  std::string path_;  // of the current entry, clean
};
