// Deflates what is written to it into another stream (RFC 1950). A failure of
// zlib or of the sink sets the stream's bad state.
#pragma once

#include <ostream>
#include <streambuf>

#include <zlib.h>

class ocstreambuf : public std::streambuf {
 public:
  // sink is not owned and must outlive the object. level is zlib's: 0 to 9, -1 for its default.
  explicit ocstreambuf(std::streambuf* sink, int level = Z_DEFAULT_COMPRESSION);
  // Finishes the compressed stream unless finish() did.
  ~ocstreambuf() override;
  ocstreambuf(const ocstreambuf&) = delete;
  ocstreambuf& operator=(const ocstreambuf&) = delete;

  // Ends the compressed stream; nothing can be written afterwards. False when deflating or the sink
  // failed.
  bool finish();

 protected:
  int_type overflow(int_type c) override;
  int sync() override;

 private:
  enum : unsigned { kBufferSize = 4096 };

  bool deflatePending();
  bool deflateSome(int flush);
  bool writeOut();

  std::streambuf* sink_;
  z_stream state_ = {};
  bool failed_ = false;  // for good: bytes are missing from the compressed stream
  bool finished_ = false;
  char in_[kBufferSize];
  char out_[kBufferSize];
};

class ocstream : public virtual std::ostream {
 public:
  explicit ocstream(std::ostream& sink, int level = Z_DEFAULT_COMPRESSION);
  ~ocstream() override;
  ocstream(const ocstream&) = delete;
  ocstream& operator=(const ocstream&) = delete;

  // Ends the compressed stream and sets the bad state when that fails.
  bool finish();

 private:
  ocstreambuf* buffer_;
};
