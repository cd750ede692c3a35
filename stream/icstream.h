// Inflates another stream's bytes while they are read (RFC 1950, or RFC 1951 when raw). A damaged
// stream reads as one that ends early: who needs all the bytes counts them.
#pragma once

#include <cstddef>
#include <istream>
#include <streambuf>

#include <zlib.h>

class icstreambuf : public std::streambuf {
 public:
  // source is not owned and must outlive the object.
  icstreambuf(std::streambuf* source, bool raw);
  ~icstreambuf() override;
  icstreambuf(const icstreambuf&) = delete;
  icstreambuf& operator=(const icstreambuf&) = delete;

  bool isComplete() const { return complete_; }

 protected:
  int_type underflow() override;
  // Forward only; the bytes in between are read and dropped.
  pos_type seekoff(off_type offset, std::ios_base::seekdir way,
                   std::ios_base::openmode which) override;
  pos_type seekpos(pos_type target, std::ios_base::openmode which) override;

 private:
  enum : unsigned { kBufferSize = 4096, kSkipSize = 1024 };

  off_type delivered() const { return produced_ - (egptr() - gptr()); }
  std::size_t inflateSome();

  std::streambuf* source_;
  z_stream state_ = {};
  bool ended_ = false;  // at the end of the compressed stream or at damage: no byte comes any more
  bool complete_ = false;
  off_type produced_ = 0;  // bytes inflated so far, those still in the buffer included
  char in_[kBufferSize];
  char out_[1 + kBufferSize];  // the first keeps the last character delivered, for a put-back
};

class icstream : public virtual std::istream {
 public:
  icstream(std::istream& source, bool raw);
  ~icstream() override;
  icstream(const icstream&) = delete;
  icstream& operator=(const icstream&) = delete;

  // Whether the end was that of the compressed stream, its check value right, and no damage.
  bool isComplete() const { return buffer_->isComplete(); }

 private:
  icstreambuf* buffer_;
};
