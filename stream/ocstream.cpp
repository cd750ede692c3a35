#include "stream/ocstream.h"

namespace {

const char kZlibVersion[] = "1.2.3";  // any zlib 1 accepts it

}  // namespace

ocstreambuf::ocstreambuf(std::streambuf* sink, int level) : sink_(sink) {
  failed_ = deflateInit_(&state_, level, kZlibVersion, static_cast<int>(sizeof state_)) != Z_OK;
  state_.next_out = reinterpret_cast<Bytef*>(out_);
  state_.avail_out = kBufferSize;
  setp(in_, in_ + kBufferSize);
}

// Nobody is left to hear of a failure; who wants to know calls finish().
ocstreambuf::~ocstreambuf() { finish(); }

bool ocstreambuf::finish() {
  if (finished_) return !failed_;
  finished_ = true;
  bool more = deflatePending() && !failed_;
  while (more) {
    failed_ = !deflateSome(Z_FINISH);
    more = !failed_ && state_.avail_out == 0;  // a full buffer: there can be more inside zlib
    failed_ = !writeOut() || failed_;
  }
  deflateEnd(&state_);
  setp(nullptr, nullptr);
  return !failed_;
}

ocstreambuf::int_type ocstreambuf::overflow(int_type c) {
  if (finished_ || !deflatePending()) return traits_type::eof();
  return traits_type::eq_int_type(c, traits_type::eof()) ? traits_type::not_eof(c)
                                                         : sputc(traits_type::to_char_type(c));
}

int ocstreambuf::sync() { return deflatePending() ? 0 : -1; }

// Gives the put area to zlib, and to the sink whatever fills the output buffer; the rest stays
// there for the next call.
bool ocstreambuf::deflatePending() {
  if (pptr() == pbase()) return true;
  state_.next_in = reinterpret_cast<Bytef*>(pbase());
  state_.avail_in = static_cast<uInt>(pptr() - pbase());
  while (!failed_ && state_.avail_in > 0) {
    failed_ = !deflateSome(Z_NO_FLUSH) || (state_.avail_out == 0 && !writeOut());
  }
  if (!failed_) setp(in_, in_ + kBufferSize);
  return !failed_;
}

bool ocstreambuf::deflateSome(int flush) {
  const int result = deflate(&state_, flush);
  return result == Z_OK || result == Z_STREAM_END;
}

bool ocstreambuf::writeOut() {
  const std::streamsize count = static_cast<std::streamsize>(kBufferSize - state_.avail_out);
  state_.next_out = reinterpret_cast<Bytef*>(out_);
  state_.avail_out = kBufferSize;
  return sink_->sputn(out_, count) == count;
}

// The virtual base is built before the buffer exists, so it starts without one; rdbuf() also
// clears the bad state that this leaves.
ocstream::ocstream(std::ostream& sink, int level)
    : std::ostream(nullptr), buffer_(new ocstreambuf(sink.rdbuf(), level)) {
  rdbuf(buffer_);
}

// The ostream below is destroyed afterwards, but does not touch its buffer any more.
ocstream::~ocstream() { delete buffer_; }

bool ocstream::finish() {
  const bool good = buffer_->finish();
  if (!good) setstate(badbit);
  return good;
}
