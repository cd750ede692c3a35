// The file archive of a package, entry by entry (stream/packformat.h, ArchiveHeader).
#pragma once

#include "stream/icstream.h"
#include "stream/packformat.h"
#include "tools/tpk/read/filerange.h"

#include <cstdint>
#include <memory>
#include <string>

class InputFile;

struct ArchiveEntry {
  ArchiveHeader header;
  std::string name;          // as it stands in the archive: any bytes
  std::string target;        // of a symbolic link
  std::uint32_t device = 0;  // of a device node; makedev() of the board's kernel
};

// The compressed data of the archive part whose contents begin at the offset, as a stream. The file
// must outlive it. Reached at once, not by way of the parts before: a file can have thousands.
FileRange openArchive(const InputFile& file, std::uint64_t offset);

class ArchiveReader {
 public:
  // The longest target of a link that a file system takes.
  enum : std::uint32_t { kLongestTarget = 4095 };

  // The archive part whose contents begin at the offset. The file must outlive the object.
  ArchiveReader(const InputFile& file, std::uint64_t offset);
  ArchiveReader(const ArchiveReader&) = delete;
  ArchiveReader& operator=(const ArchiveReader&) = delete;

  // The next entry, past what is left of the current one's data. False at the archive's end. Throws
  // Failure when the archive ends early or its compressed data are broken, for a link with a longer
  // target and for a device without a number of four bytes. A link's target and a device's number
  // are part of the entry, the data of everything else are read through read(). Of an entry that
  // the router passes over a target or a number that cannot be is left to read() as well.
  bool next(ArchiveEntry& entry);
  // At most count bytes of the current entry's data; 0 at their end. Throws Failure.
  std::size_t read(char* out, std::size_t count);
  const InputFile& file() const { return file_; }
  // Of the current entry's data.
  std::uint32_t remaining() const { return remaining_; }
  // Inflated so far.
  std::uint64_t position() const { return position_; }
  // The first two bytes of the compressed data (RFC 1950, section 2.2), the first one in the upper
  // half; 0 when there are fewer.
  std::uint16_t zlibHeader() const { return zlibHeader_; }

 private:
  bool readHeader(ArchiveHeader& header);
  void readSmallData(ArchiveEntry& entry);
  std::size_t readRaw(char* out, std::size_t count);
  std::string readText(std::uint32_t count, const char* what);
  [[noreturn]] void failShort(const std::string& where) const;
  [[noreturn]] void fail(const std::string& what) const;

  const InputFile& file_;
  FileRange part_;
  icstream inflated_;
  std::uint16_t zlibHeader_ = 0;
  std::string name_;  // of the current entry, for messages
  std::uint32_t remaining_ = 0;
  std::uint64_t position_ = 0;
};
