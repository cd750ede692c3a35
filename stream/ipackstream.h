// Reads a package file (stream/packformat.h) part by part. While it reads, it can hash everything
// it passes, and copy every raw byte that it consumes to a second stream buffer.
#pragma once

#include "stream/packformat.h"
#include "stream/sha1.h"

#include <algorithm>
#include <cstdint>
#include <istream>
#include <limits>
#include <streambuf>
#include <vector>

// The contents of the current part as a stream buffer: end-of-file is the end of the part. It has
// no get area of its own, so that nothing is taken from the source before a reader asks for it.
class ipackstreambuf : public std::streambuf {
 public:
  // Neither buffer is owned; copySink may be null. Both must outlive the object.
  ipackstreambuf(std::streambuf* source, bool hash, std::streambuf* copySink);
  ~ipackstreambuf() override = default;

  // Reads the file header; it is copied but never hashed. False when fewer bytes came.
  bool readFileHeader(FileHeader& header);
  // Skips what is left of the current part. False when the source ended before.
  bool skipRest();
  // Reads the header of the next part; false at the end of the source, where the digest is
  // finalised and ready. A header that is cut short is not copied.
  bool nextHeader(PartHeader& header);
  // After a failed skip nothing that was hashed stands for a whole package any more.
  void dropDigest() { digestReady_ = false; }

  bool takeDigest(unsigned char* out);
  // Finalises the digest, takes the signature record past the hash and checks it against the
  // product's key.
  bool verifySignature();

  std::uint32_t size() const { return size_; }
  // Bytes before the current part's contents; stays at its largest value past 4 GiB.
  std::uint32_t offset() const {
    return static_cast<std::uint32_t>(
        std::min<std::uint64_t>(contents_, std::numeric_limits<std::uint32_t>::max()));
  }
  // Bytes read, however many.
  std::uint64_t position() const { return contents_ + consumed(); }
  std::uint32_t consumed() const { return size_ - remaining_; }

 protected:
  pos_type seekoff(off_type offset, std::ios_base::seekdir way,
                   std::ios_base::openmode which) override;
  pos_type seekpos(pos_type target, std::ios_base::openmode which) override;
  std::streamsize showmanyc() override;
  std::streamsize xsgetn(char* out, std::streamsize count) override;
  int_type underflow() override;
  int_type uflow() override;
  int_type pbackfail(int_type c) override;

 private:
  void finaliseDigest();
  void account(const char* data, std::streamsize count);
  void copy(const char* data, std::streamsize count);
  bool discard(std::uint32_t count);

  std::streambuf* source_;
  std::streambuf* copySink_;
  // Where the current part's contents begin in the file. A forged file's parts may lie past 4 GiB,
  // and every one adds less than 5 GiB: no file is long enough to make this wrap.
  std::uint64_t contents_ = 0;
  std::uint32_t size_ = 0;
  std::uint32_t remaining_ = 0;
  bool hashing_;
  bool digestReady_ = false;
  SHA1 hasher_;
  unsigned char digest_[SHA1::kDigestSize] = {};
  // Bytes pushed back into the source that were hashed and copied already.
  std::uint32_t putBack_ = 0;
};

class ipackstream : public virtual std::istream {
 public:
  // Reads the file header from source's buffer; the stream is failed when that is not a package's.
  // source and copySink are not owned and must outlive the stream.
  ipackstream(std::istream& source, bool hash, std::streambuf* copySink = nullptr);
  ~ipackstream() override;
  ipackstream(const ipackstream&) = delete;
  ipackstream& operator=(const ipackstream&) = delete;

  // Parts of other types are passed over (but hashed and copied).
  void accept(std::uint32_t type);
  // Moves to the next accepted part, past what is left of the current one, and returns its type.
  // kNoPart, with the stream failed and at end-of-file, when there is none, the file is cut short,
  // or the stream has failed before: a reader that asks for more bytes than the part has left
  // (count on size()) ends the file for itself.
  std::uint32_t next();
  // Type of the current part: 0 before the first next(), then what next() returned last.
  std::uint32_t type() const { return type_; }

  bool isDumb() const { return magic_ == kDumbMagic; }
  // Length of the current part's contents.
  std::uint32_t size() const { return buffer_->size(); }
  // Bytes of the file before the current part's contents; stays at its largest value past 4 GiB.
  std::uint32_t offset() const { return buffer_->offset(); }
  // Bytes of the current part not yet read.
  std::uint32_t remaining() const { return buffer_->size() - buffer_->consumed(); }
  // Bytes of the file read so far; unlike tellg() also right for a stream that has failed.
  std::uint64_t position() const { return buffer_->position(); }
  // Length of the whole file as its header has it; 0 when there was no header.
  std::uint64_t totalSize() const { return totalSize_; }

  // The digest of the package that has just ended: 20 bytes, once, while the stream stands at the
  // header of the next package or at the end of the file. False otherwise: a digest never speaks
  // for bytes that follow it.
  [[nodiscard]] bool signature(unsigned char* digest);
  // With a signature part current: whether it signs the package's bytes before it with the
  // product's key.
  [[nodiscard]] bool verifySignature();

 private:
  bool accepts(std::uint32_t type) const;
  std::uint32_t noMoreParts();

  ipackstreambuf* buffer_;
  std::uint32_t magic_ = 0;
  std::uint64_t totalSize_ = 0;
  std::uint32_t type_ = 0;
  std::vector<std::uint32_t> accepted_;
};
