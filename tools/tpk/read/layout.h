// Where everything in a package file lies (docs/format.md), read from its raw bytes. Nothing is
// refused here, so that a broken file can be explained and shown as far as it goes.
#pragma once

#include "stream/packformat.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <istream>
#include <vector>

struct PartPlace {
  std::uint64_t header = 0;   // offset of its header in the file
  std::uint32_t length = 0;   // of the contents, as the header has it
  std::uint32_t present = 0;  // of them in the file
  std::uint16_t type = 0;

  std::uint64_t contents() const { return header + PartHeader::kSize; }
  std::uint64_t end() const { return contents() + present; }
  bool whole() const { return present == length; }
};

struct Layout {
  std::uint64_t size = 0;  // of the file
  FileHeader header;       // zeros where the file is shorter
  // In file order; of a file that is no package none. Only the last one can be cut short.
  std::vector<PartPlace> parts;
  std::uint64_t end = 0;  // of the last part; what follows is too short for a part's header

  bool hasHeader() const { return size >= FileHeader::kSize; }
  bool isPackage() const;
  // What the file's header says of the whole file's size.
  std::uint64_t announced() const { return std::uint64_t{FileHeader::kSize} + header.length(); }
};

// Reads from the first byte on. in must be able to seek; size is the file's.
Layout readLayout(std::istream& in, std::uint64_t size);

// Goes over the parts as a reader does that accepts some types (ipackstream::next).
class PartWalk {
 public:
  PartWalk(const Layout& layout, std::initializer_list<std::uint32_t> accepted);

  // The next accepted part's type; kNoPart at the end, and where a part on the way is cut short.
  std::uint32_t next();
  std::uint32_t type() const { return type_; }
  // The current part or, at the end, the last one that was passed. Only when there was one.
  const PartPlace& part() const { return layout_.parts[index_ - 1]; }
  std::size_t index() const { return index_ - 1; }
  bool any() const { return index_ > 0; }
  // At the end: whether it is in the middle of part().
  bool isCutShort() const { return type_ == kNoPart && any() && !part().whole(); }
  // Makes the part with this index the current one.
  void moveTo(std::size_t index);

 private:
  const Layout& layout_;
  std::vector<std::uint32_t> accepted_;
  std::size_t index_ = 0;  // of the part behind the current one
  std::uint32_t type_ = 0;
};
