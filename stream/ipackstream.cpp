#include "stream/ipackstream.h"

#include "stream/signature.h"

#include <algorithm>
#include <cstring>

namespace {

enum : unsigned { kChunkSize = 4096 };

// A streamsize has 32 bits on the board: a length of 2 GiB and more does not fit into it.
std::streamsize lesser(std::streamsize count, std::uint32_t limit) {
  return static_cast<std::streamsize>(std::min<std::int64_t>(count, limit));
}

// Puts the record's bytes to use only when they all came.
template <typename Record>
bool readRecord(std::streambuf& from, Record& record) {
  const std::streamsize size = Record::kSize;
  return from.sgetn(reinterpret_cast<char*>(record.bytes), size) == size;
}

}  // namespace

ipackstreambuf::ipackstreambuf(std::streambuf* source, bool hash, std::streambuf* copySink)
    : source_(source), copySink_(copySink), hashing_(hash) {}

bool ipackstreambuf::readFileHeader(FileHeader& header) {
  if (!readRecord(*source_, header)) return false;
  copy(reinterpret_cast<const char*>(header.bytes), FileHeader::kSize);
  contents_ += FileHeader::kSize;
  return true;
}

bool ipackstreambuf::skipRest() {
  if (!hashing_ && !copySink_ && remaining_ > 0) {
    const pos_type reached = source_->pubseekoff(remaining_, std::ios_base::cur, std::ios_base::in);
    if (reached != pos_type(off_type(-1))) remaining_ = 0;
  }
  return discard(remaining_);
}

bool ipackstreambuf::nextHeader(PartHeader& header) {
  contents_ += size_;
  size_ = remaining_ = 0;
  if (!readRecord(*source_, header)) {
    finaliseDigest();
    return false;
  }
  const char* bytes = reinterpret_cast<const char*>(header.bytes);
  copy(bytes, PartHeader::kSize);
  // A digest stands for the package that ends here and for nothing behind this header. Were it
  // kept, the digest of a genuine package that the reader passed over, and did not ask about, could
  // vouch for a forged one later in the file.
  digestReady_ = false;
  if (hashing_) {
    if (header.type() == kPartPackage) finaliseDigest();
    hasher_.update(bytes, PartHeader::kSize);
  }
  contents_ += PartHeader::kSize;
  size_ = remaining_ = header.length();
  return true;
}

bool ipackstreambuf::takeDigest(unsigned char* out) {
  if (!digestReady_) return false;
  std::memcpy(out, digest_, sizeof digest_);
  digestReady_ = false;
  return true;
}

bool ipackstreambuf::verifySignature() {
  if (!hashing_) return false;
  finaliseDigest();
  if (remaining_ < SignatureRecord::kSize) return false;
  SignatureRecord record;
  // The record cannot be part of what it signs: it goes past the hash, but not past the copy.
  hashing_ = false;
  const bool complete = readRecord(*this, record);
  hashing_ = true;
  return complete && goodSignatureRecord(record, digest_);
}

// Positions count from the start of the part's contents. Relative to the end they count backwards:
// the target is the part's size less the offset.
ipackstreambuf::pos_type ipackstreambuf::seekoff(off_type offset, std::ios_base::seekdir way,
                                                 std::ios_base::openmode which) {
  const off_type size = size_;
  if (offset > size || offset < -size) return pos_type(off_type(-1));
  if (way == std::ios_base::cur) offset += consumed();
  if (way == std::ios_base::end) offset = size - offset;
  return seekpos(pos_type(offset), which);
}

ipackstreambuf::pos_type ipackstreambuf::seekpos(pos_type position, std::ios_base::openmode) {
  const off_type target = position;
  if (target < 0 || target > off_type{size_}) return pos_type(off_type(-1));
  const off_type distance = target - off_type{consumed()};
  bool reached = distance == 0;
  if (!reached && !hashing_ && !copySink_) {
    // Relative to where the source stands, so that this also holds past 4 GiB and for a package
    // that does not begin at the source's first byte.
    reached = source_->pubseekoff(distance, std::ios_base::cur, std::ios_base::in) !=
              pos_type(off_type(-1));
    if (reached) remaining_ = size_ - static_cast<std::uint32_t>(target);
  } else if (!reached) {
    // What was hashed or copied cannot be taken back: forward only.
    reached = distance > 0 && discard(static_cast<std::uint32_t>(distance));
  }
  return reached ? pos_type(target) : pos_type(off_type(-1));
}

std::streamsize ipackstreambuf::showmanyc() { return lesser(source_->in_avail(), remaining_); }

std::streamsize ipackstreambuf::xsgetn(char* out, std::streamsize count) {
  const std::streamsize wanted = lesser(count, remaining_);
  if (wanted <= 0) return 0;
  const std::streamsize got = source_->sgetn(out, wanted);
  if (got > 0) account(out, got);
  return got;
}

ipackstreambuf::int_type ipackstreambuf::underflow() {
  return remaining_ > 0 ? source_->sgetc() : traits_type::eof();
}

ipackstreambuf::int_type ipackstreambuf::uflow() {
  char byte;
  return xsgetn(&byte, 1) == 1 ? traits_type::to_int_type(byte) : traits_type::eof();
}

ipackstreambuf::int_type ipackstreambuf::pbackfail(int_type c) {
  if (consumed() == 0) return traits_type::eof();
  const bool any = traits_type::eq_int_type(c, traits_type::eof());
  const int_type back = any ? source_->sungetc() : source_->sputbackc(traits_type::to_char_type(c));
  if (traits_type::eq_int_type(back, traits_type::eof())) return back;
  ++remaining_;
  if (hashing_ || copySink_) ++putBack_;
  return traits_type::not_eof(c);
}

void ipackstreambuf::finaliseDigest() {
  hasher_.digest(digest_);
  digestReady_ = true;
}

// Takes bytes of the part that were just read off what remains, and passes on those that are read
// for the first time.
void ipackstreambuf::account(const char* data, std::streamsize count) {
  remaining_ -= static_cast<std::uint32_t>(count);
  const std::streamsize again = lesser(count, putBack_);
  putBack_ -= static_cast<std::uint32_t>(again);
  data += again;
  count -= again;
  if (hashing_) hasher_.update(data, static_cast<unsigned>(count));
  copy(data, count);
}

// A sink that takes less has failed; that shows where its owner closes it. The package itself can
// be read all the same.
void ipackstreambuf::copy(const char* data, std::streamsize count) {
  if (copySink_) copySink_->sputn(data, count);
}

bool ipackstreambuf::discard(std::uint32_t count) {
  char dropped[kChunkSize];
  while (count > 0) {
    const std::streamsize got = xsgetn(dropped, lesser(kChunkSize, count));
    if (got <= 0) return false;
    count -= static_cast<std::uint32_t>(got);
  }
  return true;
}

// The virtual base is built before the buffer exists, so it starts without one; rdbuf() also
// clears the bad state that this leaves.
ipackstream::ipackstream(std::istream& source, bool hash, std::streambuf* copySink)
    : std::istream(nullptr), buffer_(new ipackstreambuf(source.rdbuf(), hash, copySink)) {
  rdbuf(buffer_);
  FileHeader header;
  if (buffer_->readFileHeader(header)) {
    magic_ = header.magic();
    totalSize_ = std::uint64_t{header.length()} + FileHeader::kSize;
  }
  if (magic_ != kPackageMagic && magic_ != kDumbMagic) setstate(failbit);
}

// The istream below is destroyed afterwards, but does not touch its buffer any more.
ipackstream::~ipackstream() { delete buffer_; }

void ipackstream::accept(std::uint32_t type) { accepted_.push_back(type); }

std::uint32_t ipackstream::next() {
  if (fail()) {
    // At the end that was reached before, the digest stays for who asks; anywhere else the reader
    // has lost its place.
    if (type_ != kNoPart) buffer_->dropDigest();
    return noMoreParts();
  }
  clear(rdstate() & ~eofbit);
  PartHeader header;
  do {
    if (!buffer_->skipRest()) {
      buffer_->dropDigest();
      return noMoreParts();
    }
    if (!buffer_->nextHeader(header)) return noMoreParts();
  } while (!accepts(header.type()));
  type_ = header.type();
  return type_;
}

bool ipackstream::signature(unsigned char* digest) { return buffer_->takeDigest(digest); }

bool ipackstream::verifySignature() {
  return type_ == kPartSignature && !fail() && buffer_->verifySignature();
}

bool ipackstream::accepts(std::uint32_t type) const {
  return std::find(accepted_.begin(), accepted_.end(), type) != accepted_.end();
}

std::uint32_t ipackstream::noMoreParts() {
  setstate(failbit | eofbit);
  type_ = kNoPart;
  return type_;
}
