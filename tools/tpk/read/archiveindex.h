// All entries of an archive by path, for commands that need them at once.
#pragma once

#include "stream/sha1.h"
#include "tools/tpk/read/archivereader.h"

#include <array>
#include <cstdint>
#include <map>
#include <string>

// What such a command takes into memory of an archive: compressed, a small file can have more
// entries than any machine has memory for.
class ArchiveBudget {
 public:
  enum : std::uint64_t { kMostEntries = 100000, kMostNameBytes = 16 * 1024 * 1024 };

  // Whether there is room for the entry and, because some keep those too, for the paths of all
  // folders on the way to it.
  bool fits(const ArchiveEntry& entry);
  // Throws Failure for an entry too many.
  void take(const ArchiveEntry& entry, const ArchiveReader& archive);

 private:
  std::uint64_t entries_ = 0;
  std::uint64_t nameBytes_ = 0;
};

struct IndexedEntry {
  ArchiveHeader header;
  std::string target;
  std::uint32_t device = 0;
  std::array<unsigned char, SHA1::kDigestSize> contents = {};  // the digest of the data
};

// By clean path; by the name as it stands where that is no path that the router takes. Of entries
// with one path the last counts, as on the router.
using ArchiveIndex = std::map<std::string, IndexedEntry>;

// Throws Failure for a broken archive, and for one with more entries than any router holds.
ArchiveIndex indexArchive(const InputFile& file, std::uint64_t offset);
