#include "tools/tpk/sign.h"

#include "stream/ifilestream.h"
#include "stream/ipackstream.h"
#include "stream/packformat.h"
#include "stream/sha1.h"
#include "tools/tpk/failure.h"
#include "tools/tpk/hostfile.h"
#include "tools/tpk/signer.h"

#include <algorithm>
#include <fstream>
#include <vector>

namespace {

// What one signature covers: from the header of the package's first part up to the record.
struct SignedRange {
  std::uint32_t begin;
  std::uint32_t record;
};

std::vector<SignedRange> findRanges(const std::string& file) {
  ifilestream in(file);
  if (!in.isOpen()) failWithErrno(file, "cannot be opened");
  ipackstream parts(in, false);
  parts.accept(kPartPackage);
  parts.accept(kPartSignature);

  std::vector<SignedRange> ranges;
  std::uint32_t type = parts.next();
  while (type == kPartPackage) {
    const std::uint32_t begin = parts.offset() - std::uint32_t{PartHeader::kSize};
    if (parts.next() != kPartSignature || parts.size() < SignatureRecord::kSize)
      throw Failure(file + ": a package without room for a signature");
    ranges.push_back({begin, parts.offset()});
    type = parts.next();
  }
  if (type != kNoPart || ranges.empty()) throw Failure(file + ": holds no packages");
  return ranges;
}

void digestOf(const std::string& file, const SignedRange& range, unsigned char* digest) {
  ifilestream in(file);
  in.seekg(range.begin);
  SHA1 hash;
  std::vector<char> buffer(65536);
  std::size_t left = range.record - range.begin;
  while (left > 0) {
    const std::size_t wanted = std::min(left, buffer.size());
    in.read(buffer.data(), static_cast<std::streamsize>(wanted));
    if (static_cast<std::size_t>(in.gcount()) != wanted) failWithErrno(file, "cannot be read");
    hash.update(buffer.data(), static_cast<unsigned>(wanted));
    left -= wanted;
  }
  hash.digest(digest);
}

}  // namespace

void signPackages(const std::string& file, const Signer& signer) {
  const std::vector<SignedRange> ranges = findRanges(file);
  std::fstream out(file, std::ios_base::in | std::ios_base::out | std::ios_base::binary);
  for (const SignedRange& range : ranges) {
    unsigned char digest[SHA1::kDigestSize];
    digestOf(file, range, digest);
    const SignatureRecord record = signer.sign(digest);
    out.seekp(range.record);
    out.write(reinterpret_cast<const char*>(record.bytes), sizeof record.bytes);
  }
  out.close();
  if (!out) failWithErrno(file, "cannot be written");
}
