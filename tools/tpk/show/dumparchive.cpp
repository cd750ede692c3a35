#include "tools/tpk/show/dumparchive.h"

#include "tools/tpk/host/failure.h"
#include "tools/tpk/read/archivereader.h"
#include "tools/tpk/read/entrytext.h"
#include "tools/tpk/read/fieldtext.h"
#include "tools/tpk/read/inputfile.h"
#include "tools/tpk/read/partnames.h"

#include <string>

namespace {

enum : std::uint64_t { kShownEntries = 50 };

class ArchiveDump {
 public:
  ArchiveDump(const InputFile& file, std::uint64_t offset, DumpWriter& out)
      : reader_(file, offset), out_(out) {}

  void run();
  // What the reader had of the entry in which it failed.
  void dumpBroken();

 private:
  bool isShown() const { return count_ <= kShownEntries || out_.full(); }
  void dumpEntry();
  void dumpHeader();
  void dumpName();
  void dumpData();

  ArchiveReader reader_;
  DumpWriter& out_;
  ArchiveEntry entry_;
  std::uint64_t begin_ = 0;  // of the entry, in the inflated data
  std::uint64_t count_ = 0;
  bool begun_ = false;  // what the reader has of the entry is in the dump
};

void ArchiveDump::run() {
  while (reader_.next(entry_)) {
    ++count_;
    begun_ = true;
    if (isShown()) dumpEntry();
    begin_ += ArchiveHeader::kSize + entry_.name.size() + entry_.header.dataSize();
    begun_ = false;
  }
  if (!isShown()) out_.elided(count_ - kShownEntries, "entries");
}

void ArchiveDump::dumpBroken() {
  if (!isShown()) out_.elided(count_ - kShownEntries, "entries");
  if (begun_ || reader_.position() < begin_ + ArchiveHeader::kSize) return;
  out_.line("");
  dumpHeader();
  if (entry_.name.size() == entry_.header.nameLength()) dumpName();
}

void ArchiveDump::dumpEntry() {
  if (count_ > 1) out_.line("");
  dumpHeader();
  dumpName();
  if (entry_.header.dataSize() > 0) dumpData();
}

void ArchiveDump::dumpHeader() {
  const ArchiveHeader& header = entry_.header;
  const std::string mode = octalText(header.mode()) + ' ' + entryTypeName(header.mode());
  out_.record(begin_, std::string(header.bytes, header.bytes + sizeof header.bytes),
              {{"mode", 2, mode},
               {"user", 2, std::to_string(header.user())},
               {"group", 2, std::to_string(header.group())},
               {"unused", ArchiveHeader::kTime - ArchiveHeader::kUnused1,
                unusedText(header.bytes + ArchiveHeader::kUnused1,
                           ArchiveHeader::kTime - ArchiveHeader::kUnused1)},
               {"time", 4, timeText(header.time()) + " UTC"},
               {"unused", ArchiveHeader::kSkip - ArchiveHeader::kUnused2,
                unusedText(header.bytes + ArchiveHeader::kUnused2,
                           ArchiveHeader::kSkip - ArchiveHeader::kUnused2)},
               {"skip", 1, header.skip() ? "yes: the entry is passed over" : "no"},
               {"data size", 4, countText(header.dataSize(), "byte")},
               {"name length", 2, countText(header.nameLength(), "byte")}});
}

void ArchiveDump::dumpName() {
  if (entry_.name.empty()) return;
  out_.field(begin_ + ArchiveHeader::kSize, entry_.name.size(), "name", shownText(entry_.name),
             bytesOf(entry_.name));
}

// The reader has taken the target of a link and the number of a device already.
void ArchiveDump::dumpData() {
  const std::uint64_t offset = begin_ + ArchiveHeader::kSize + entry_.name.size();
  const std::uint32_t size = entry_.header.dataSize();
  if (reader_.remaining() > 0) {
    out_.data(offset, size, "data",
              [this](char* out, std::size_t count) { return reader_.read(out, count); });
  } else if (entry_.header.type() == ArchiveHeader::kSymlink) {
    out_.field(offset, size, "target", shownText(entry_.target), bytesOf(entry_.target));
  } else {
    unsigned char number[ArchiveHeader::kDeviceNumberSize];
    put32(number, entry_.device);
    const std::string bytes(number, number + sizeof number);
    out_.field(offset, size, "device",
               std::to_string(deviceMajor(entry_.device)) + ':' +
                   std::to_string(deviceMinor(entry_.device)),
               bytesOf(bytes));
  }
}

}  // namespace

bool dumpArchive(const InputFile& file, std::uint64_t offset, DumpWriter& out) {
  ArchiveDump dump(file, offset, out);
  bool good = true;
  out.setInflated(true);
  try {
    dump.run();
  } catch (const EnvironmentFailure&) {
    throw;
  } catch (const Failure& failure) {
    dump.dumpBroken();
    const std::string text = failure.what();
    const std::string prefix = file.name() + ": ";
    out.wrong(text.compare(0, prefix.size(), prefix) == 0 ? text.substr(prefix.size()) : text);
    good = false;
  }
  out.setInflated(false);
  return good;
}
