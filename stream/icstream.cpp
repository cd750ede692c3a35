#include "stream/icstream.h"

#include <algorithm>
#include <limits>

namespace {

// zlib compares only the first character with its own version: any zlib 1 of the board will do,
// also one older than the header that this was compiled with.
const char kZlibVersion[] = "1.2.3";
const int kRawWindowBits = -15;

}  // namespace

icstreambuf::icstreambuf(std::streambuf* source, bool raw) : source_(source) {
  const int result =
      raw ? inflateInit2_(&state_, kRawWindowBits, kZlibVersion, static_cast<int>(sizeof state_))
          : inflateInit_(&state_, kZlibVersion, static_cast<int>(sizeof state_));
  ended_ = result != Z_OK;
  state_.avail_out = kBufferSize;  // nothing is waiting inside zlib, see inflateSome()
}

icstreambuf::~icstreambuf() { inflateEnd(&state_); }

icstreambuf::int_type icstreambuf::underflow() {
  if (gptr() < egptr()) return traits_type::to_int_type(*gptr());
  char* const data = out_ + 1;
  const bool kept = gptr() > eback();
  if (kept) out_[0] = gptr()[-1];
  // The old bytes are about to be overwritten, also by a call whose result is dropped.
  setg(kept ? out_ : data, data, data);

  std::size_t got = 0;
  while (got == 0 && !ended_) got = inflateSome();
  if (got == 0) return traits_type::eof();
  setg(eback(), data, data + got);
  produced_ += static_cast<off_type>(got);
  return traits_type::to_int_type(*data);
}

// Bytes inflated behind the kept one; 0 with ended_ clear where zlib took input but has no byte
// yet, as in a header or an empty block.
std::size_t icstreambuf::inflateSome() {
  if (state_.avail_in == 0) {
    const std::streamsize got = source_->sgetn(in_, kBufferSize);
    state_.next_in = reinterpret_cast<Bytef*>(in_);
    state_.avail_in = got > 0 ? static_cast<uInt>(got) : 0;
    // A call that filled the output can have taken the last input and still hold bytes.
    const bool holdsOutput = state_.avail_out == 0;
    if (state_.avail_in == 0 && !holdsOutput) ended_ = true;
    if (ended_) return 0;
  }
  state_.next_out = reinterpret_cast<Bytef*>(out_ + 1);
  state_.avail_out = kBufferSize;
  const int result = inflate(&state_, Z_PARTIAL_FLUSH);
  ended_ = result != Z_OK;
  complete_ = result == Z_STREAM_END;
  // What a failing call produced is not to be trusted.
  const bool good = result == Z_OK || result == Z_STREAM_END;
  return good ? kBufferSize - state_.avail_out : 0;
}

icstreambuf::pos_type icstreambuf::seekoff(off_type offset, std::ios_base::seekdir way,
                                           std::ios_base::openmode which) {
  if (way == std::ios_base::end) return pos_type(off_type(-1));
  if (way == std::ios_base::cur) {
    if (offset > std::numeric_limits<off_type>::max() - delivered()) return pos_type(off_type(-1));
    offset += delivered();
  }
  return seekpos(pos_type(offset), which);
}

icstreambuf::pos_type icstreambuf::seekpos(pos_type target, std::ios_base::openmode) {
  if (off_type(target) < delivered()) return pos_type(off_type(-1));
  off_type left = off_type(target) - delivered();
  char dropped[kSkipSize];
  while (left > 0) {
    const std::streamsize chunk =
        static_cast<std::streamsize>(std::min<off_type>(left, off_type{kSkipSize}));
    if (sgetn(dropped, chunk) != chunk) return pos_type(off_type(-1));
    left -= chunk;
  }
  return target;
}

// The virtual base is built before the buffer exists, so it starts without one; rdbuf() also
// clears the bad state that this leaves.
icstream::icstream(std::istream& source, bool raw)
    : std::istream(nullptr), buffer_(new icstreambuf(source.rdbuf(), raw)) {
  rdbuf(buffer_);
}

// The istream below is destroyed afterwards, but does not touch its buffer any more.
icstream::~icstream() { delete buffer_; }
