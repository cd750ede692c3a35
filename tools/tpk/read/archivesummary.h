// An archive in a few numbers.
#pragma once

#include "tools/tpk/read/packreader.h"

#include <cstdint>
#include <string>

struct ArchiveSummary {
  std::uint64_t entries = 0;
  std::uint64_t dataSize = 0;  // of the regular files that are unpacked, together
  std::uint32_t compressedSize = 0;
  std::uint16_t zlibHeader = 0;
  std::string problem;  // why the rest cannot be read; empty when all could
};

// Reads the archive part to its end or to where it is broken.
ArchiveSummary summarize(const InputFile& file, const PartSpan& archive);

// What the stream's header says of the compression: "zlib level 6", "zlib level 7 to 9"; zlib keeps
// no more than that. "no zlib stream" for anything else.
std::string compressionText(std::uint16_t zlibHeader);
