#include "tools/tpk/read/layout.h"

#include <algorithm>

namespace {

template <typename Record>
bool readAt(std::istream& in, std::uint64_t offset, Record& record) {
  in.clear();
  in.seekg(static_cast<std::streamoff>(offset));
  in.read(reinterpret_cast<char*>(record.bytes), Record::kSize);
  return in.good();
}

}  // namespace

bool Layout::isPackage() const {
  return hasHeader() && (header.magic() == kPackageMagic || header.magic() == kDumbMagic);
}

Layout readLayout(std::istream& in, std::uint64_t size) {
  Layout layout;
  layout.size = size;
  readAt(in, 0, layout.header);
  layout.end = std::min<std::uint64_t>(size, FileHeader::kSize);
  if (!layout.isPackage()) return layout;

  PartHeader header;
  while (size - layout.end >= PartHeader::kSize && readAt(in, layout.end, header)) {
    PartPlace part;
    part.header = layout.end;
    part.type = header.type();
    part.length = header.length();
    part.present =
        static_cast<std::uint32_t>(std::min<std::uint64_t>(part.length, size - part.contents()));
    layout.parts.push_back(part);
    layout.end = part.end();
  }
  return layout;
}

PartWalk::PartWalk(const Layout& layout, std::initializer_list<std::uint32_t> accepted)
    : layout_(layout), accepted_(accepted) {}

std::uint32_t PartWalk::next() {
  const auto accepts = [this](std::uint32_t type) {
    return std::find(accepted_.begin(), accepted_.end(), type) != accepted_.end();
  };
  do {
    if (type_ == kNoPart || index_ == layout_.parts.size()) return type_ = kNoPart;
    type_ = layout_.parts[index_++].type;
  } while (!accepts(type_));
  return type_;
}

void PartWalk::moveTo(std::size_t index) {
  index_ = index + 1;
  type_ = layout_.parts[index].type;
}
