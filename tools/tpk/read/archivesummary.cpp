#include "tools/tpk/read/archivesummary.h"

#include "tools/tpk/host/failure.h"
#include "tools/tpk/read/archivereader.h"
#include "tools/tpk/read/inputfile.h"

ArchiveSummary summarize(const InputFile& file, const PartSpan& archive) {
  ArchiveSummary summary;
  summary.compressedSize = archive.size;
  try {
    ArchiveReader reader(file, archive.offset);
    summary.zlibHeader = reader.zlibHeader();
    ArchiveEntry entry;
    while (reader.next(entry)) {
      ++summary.entries;
      if (entry.header.type() == ArchiveHeader::kRegular && !entry.header.skip())
        summary.dataSize += entry.header.dataSize();
    }
  } catch (const EnvironmentFailure&) {
    throw;
  } catch (const Failure& failure) {
    summary.problem = failure.what();
    const std::string start = file.name() + ": archive: ";
    if (summary.problem.compare(0, start.size(), start) == 0)
      summary.problem.erase(0, start.size());
  }
  return summary;
}

std::string compressionText(std::uint16_t zlibHeader) {
  enum : unsigned { kMethodMask = 0x0F00, kDeflate = 0x0800, kLevelShift = 6, kCheckModulus = 31 };
  if ((zlibHeader & kMethodMask) != kDeflate || zlibHeader % kCheckModulus != 0)
    return "no zlib stream";
  static const char* const levels[] = {"0 or 1", "2 to 5", "6", "7 to 9"};
  return std::string("zlib level ") + levels[zlibHeader >> kLevelShift & 3];
}
