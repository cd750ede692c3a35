// The file archive of a package, entry by entry (stream/packformat.h, ArchiveHeader).
#pragma once

#include "stream/packformat.h"

#include <cstdint>
#include <istream>
#include <memory>
#include <string>

class InputFile;

struct ArchiveEntry {
  ArchiveHeader header;
  std::string name;          // as it stands in the archive
  std::string target;        // of a symbolic link
  std::uint32_t device = 0;  // of a device node; makedev() of the board's kernel
};

class ArchiveReader {
 public:
  // A part of type kPartArchive of the file, at the offset of its contents.
  ArchiveReader(const InputFile& file, std::uint64_t offset, std::uint32_t size);
  ~ArchiveReader();
  ArchiveReader(const ArchiveReader&) = delete;
  ArchiveReader& operator=(const ArchiveReader&) = delete;

  // The next entry, past what is left of the current one's data. False at the archive's end. Throws
  // Failure when the archive is cut short or its compressed data are broken. A link's target and a
  // device's number are part of the entry, the data of everything else are read through read().
  bool next(ArchiveEntry& entry);
  // At most count bytes of the current entry's data; 0 at their end. Throws Failure.
  std::size_t read(char* out, std::size_t count);
  // Of the current entry's data.
  std::uint32_t remaining() const { return remaining_; }
  // First two bytes of the compressed data: method and flags (RFC 1950).
  std::uint16_t zlibHeader() const;

 private:
  struct Streams;
  std::unique_ptr<Streams> streams_;
  std::uint32_t remaining_ = 0;
};
