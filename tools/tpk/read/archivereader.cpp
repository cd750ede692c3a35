#include "tools/tpk/read/archivereader.h"

#include "stream/readbytes.h"
#include "tools/tpk/host/failure.h"
#include "tools/tpk/host/printable.h"
#include "tools/tpk/read/inputfile.h"

#include <algorithm>

namespace {

std::uint16_t zlibHeaderOf(const InputFile& file, std::uint64_t offset) {
  FileRange part = openArchive(file, offset);
  unsigned char bytes[2];
  if (!part.read(reinterpret_cast<char*>(bytes), sizeof bytes)) return 0;
  return static_cast<std::uint16_t>(bytes[0] << 8 | bytes[1]);
}

}  // namespace

FileRange openArchive(const InputFile& file, std::uint64_t offset) {
  auto stream = file.open();
  PartHeader header;
  stream->seekg(static_cast<std::streamoff>(offset - PartHeader::kSize));
  stream->read(reinterpret_cast<char*>(header.bytes), PartHeader::kSize);
  return FileRange(std::move(stream), offset, header.length());
}

ArchiveReader::ArchiveReader(const InputFile& file, std::uint64_t offset)
    : file_(file),
      part_(openArchive(file, offset)),
      inflated_(part_, false),
      zlibHeader_(zlibHeaderOf(file, offset)) {}

bool ArchiveReader::next(ArchiveEntry& entry) {
  char dropped[4096];
  while (read(dropped, sizeof dropped) > 0) {
  }

  entry = ArchiveEntry();
  name_.clear();
  if (!readHeader(entry.header)) return false;
  entry.name = readText(entry.header.nameLength(), "the name of an entry");
  name_ = "\"" + printable(entry.name) + "\"";
  remaining_ = entry.header.dataSize();
  readSmallData(entry);
  return true;
}

std::size_t ArchiveReader::read(char* out, std::size_t count) {
  const std::size_t wanted = std::min<std::size_t>(count, remaining_);
  if (readRaw(out, wanted) != wanted) failShort(name_);
  remaining_ -= static_cast<std::uint32_t>(wanted);
  return wanted;
}

// The archive has no end mark: it ends where its compressed stream does.
bool ArchiveReader::readHeader(ArchiveHeader& header) {
  const std::size_t got = readRaw(reinterpret_cast<char*>(header.bytes), sizeof header.bytes);
  if (got == sizeof header.bytes) return true;
  if (got > 0 || !inflated_.isComplete()) failShort("the header of an entry");
  return false;
}

void ArchiveReader::readSmallData(ArchiveEntry& entry) {
  const std::uint32_t size = remaining_;
  const std::uint16_t type = entry.header.type();
  if (type == ArchiveHeader::kSymlink) {
    if (size > kLongestTarget && entry.header.skip()) return;
    if (size > kLongestTarget)
      fail("the link " + name_ + " has a target of " + std::to_string(size) + " bytes");
    entry.target = readText(size, "the target of a link");
  } else if (type == ArchiveHeader::kCharDevice || type == ArchiveHeader::kBlockDevice) {
    if (size != ArchiveHeader::kDeviceNumberSize && entry.header.skip()) return;
    if (size != ArchiveHeader::kDeviceNumberSize)
      fail("the device " + name_ + " has a number of " + std::to_string(size) + " bytes, not 4");
    unsigned char number[ArchiveHeader::kDeviceNumberSize];
    if (readRaw(reinterpret_cast<char*>(number), sizeof number) != sizeof number) failShort(name_);
    entry.device = get32(number);
  } else {
    return;
  }
  remaining_ = 0;
}

std::size_t ArchiveReader::readRaw(char* out, std::size_t count) {
  if (count == 0) return 0;
  inflated_.read(out, static_cast<std::streamsize>(count));
  const auto got = static_cast<std::size_t>(inflated_.gcount());
  position_ += got;
  return got;
}

std::string ArchiveReader::readText(std::uint32_t count, const char* what) {
  std::string text;
  if (count > 0 && !readBytes(inflated_, count, text)) failShort(what);
  position_ += count;
  return text;
}

void ArchiveReader::failShort(const std::string& where) const {
  fail(inflated_.isComplete()
           ? "it ends in the middle of " + where
           : "its compressed data are damaged or cut short in or before " + where);
}

void ArchiveReader::fail(const std::string& what) const {
  throw Failure(file_.name() + ": archive: " + what);
}
