#include "stream/opackstream.h"

#include "stream/packformat.h"

#include <limits>

namespace {

template <typename Record>
void writeRecord(std::ostream& out, const Record& record) {
  out.write(reinterpret_cast<const char*>(record.bytes), Record::kSize);
}

// The lengths of the format have 32 bits.
bool fits(std::streamoff length) {
  return length >= 0 && length <= std::streamoff{std::numeric_limits<std::uint32_t>::max()};
}

}  // namespace

opackstream::opackstream(const std::string& path, bool dumb)
    : std::ofstream(path, std::ios_base::binary | std::ios_base::trunc),
      magic_(dumb ? kDumbMagic : kPackageMagic) {
  if (good()) seekp(FileHeader::kSize);
}

opackstream::~opackstream() {
  if (is_open()) close();
}

void opackstream::beginPart(std::uint32_t type) {
  if (partHeader_ != 0 || type > std::numeric_limits<std::uint16_t>::max()) setstate(failbit);
  if (!good()) return;
  partHeader_ = tellp();
  type_ = type;
  writeRecord(*this, PartHeader());  // its place, until the length is known
}

void opackstream::endPart() {
  if (!good() || partHeader_ == 0) return;
  seekp(0, end);
  const std::streamoff length =
      tellp() - std::streampos(partHeader_ + std::streamoff{PartHeader::kSize});
  if (!fits(length)) setstate(failbit);
  if (!good()) return;
  PartHeader header;
  header.setType(static_cast<std::uint16_t>(type_));
  header.setLength(static_cast<std::uint32_t>(length));
  seekp(partHeader_);
  writeRecord(*this, header);
  seekp(0, end);
  partHeader_ = 0;
}

void opackstream::close() {
  if (partHeader_ != 0) setstate(failbit);  // a part without an end has no length
  if (good()) writeFileHeader();
  std::ofstream::close();
}

// Without any part the file is still empty.
void opackstream::writeFileHeader() {
  const std::streamoff headerSize = FileHeader::kSize;
  seekp(0, end);
  const std::streamoff size = tellp();
  const std::streamoff length = size > headerSize ? size - headerSize : 0;
  if (!fits(length)) setstate(failbit);
  if (!good()) return;
  FileHeader header;
  header.setMagic(magic_);
  header.setLength(static_cast<std::uint32_t>(length));
  seekp(0);
  writeRecord(*this, header);
}
