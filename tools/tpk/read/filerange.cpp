#include "tools/tpk/read/filerange.h"

#include <algorithm>

filerangebuf::int_type filerangebuf::underflow() {
  if (gptr() != egptr()) return traits_type::to_int_type(*gptr());
  const auto wanted = static_cast<std::streamsize>(std::min<std::uint64_t>(left_, kBufferSize));
  const std::streamsize got = source_->sgetn(buffer_, wanted);
  if (got <= 0) return traits_type::eof();
  left_ -= static_cast<std::uint64_t>(got);
  setg(buffer_, buffer_, buffer_ + got);
  return traits_type::to_int_type(*gptr());
}

std::streamsize filerangebuf::xsgetn(char* out, std::streamsize count) {
  const std::streamsize buffered = std::min<std::streamsize>(count, egptr() - gptr());
  std::copy(gptr(), gptr() + buffered, out);
  gbump(static_cast<int>(buffered));
  const auto wanted =
      static_cast<std::streamsize>(std::min(left_, static_cast<std::uint64_t>(count - buffered)));
  const std::streamsize got = wanted > 0 ? source_->sgetn(out + buffered, wanted) : 0;
  if (got > 0) left_ -= static_cast<std::uint64_t>(got);
  return buffered + std::max<std::streamsize>(got, 0);
}

FileRange::FileRange(std::unique_ptr<std::istream> file, std::uint64_t offset, std::uint64_t size)
    : std::istream(nullptr), file_(std::move(file)), buffer_(file_->rdbuf(), size) {
  rdbuf(&buffer_);
  if (!file_->seekg(static_cast<std::streamoff>(offset))) setstate(failbit);
}
