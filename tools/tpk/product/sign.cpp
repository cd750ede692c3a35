#include "tools/tpk/product/sign.h"

#include "stream/opackstream.h"
#include "tools/tpk/host/failure.h"
#include "tools/tpk/host/hostfile.h"
#include "tools/tpk/product/signer.h"
#include "tools/tpk/read/inputfile.h"
#include "tools/tpk/read/packreader.h"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <vector>

namespace {

enum : std::size_t { kCopySize = 65536 };

// The parts of a file, in their order, into another one.
class PartCopier {
 public:
  PartCopier(const InputFile& from, opackstream& to)
      : name_(from.name()), from_(from.open()), to_(to), buffer_(kCopySize) {}

  // All but signatures.
  void copy(const std::vector<PartSpan>& parts) {
    for (const PartSpan& part : parts) {
      if (part.type == kPartSignature) continue;
      to_.beginPart(part.type);
      copyBytes(part.offset, part.size);
      to_.endPart();
    }
  }

  void addRoomForSignature() {
    const SignatureRecord empty;
    to_.beginPart(kPartSignature);
    to_.write(reinterpret_cast<const char*>(empty.bytes), sizeof empty.bytes);
    to_.endPart();
  }

  void copyBytes(std::uint64_t offset, std::uint64_t count) {
    from_->seekg(static_cast<std::streamoff>(offset));
    while (count > 0 && to_) {
      const std::uint64_t wanted = std::min<std::uint64_t>(count, buffer_.size());
      errno = 0;  // a file that was cut short meanwhile sets none
      if (!from_->read(buffer_.data(), static_cast<std::streamsize>(wanted)))
        failWithErrno(name_, "cannot be read");
      to_.write(buffer_.data(), static_cast<std::streamsize>(wanted));
      count -= wanted;
    }
  }

 private:
  std::string name_;
  std::unique_ptr<std::istream> from_;
  opackstream& to_;
  std::vector<char> buffer_;
};

}  // namespace

void rewriteSignatures(const InputFile& in, const Signer* signer, const std::string& out) {
  const PackedFile file = readPackedFile(in);
  errno = 0;
  opackstream written(out, file.dumb);
  if (!written) failWithErrno(out, "cannot be created");
  PartCopier copier(in, written);
  copier.copy(file.strays);
  if (file.bundle) copier.copy(file.bundle->parts);
  for (const auto& package : file.packages) {
    copier.copy(package->parts);
    if (signer) copier.addRoomForSignature();
  }
  copier.copyBytes(file.size - file.trailing, file.trailing);
  written.close();
  if (!written) failWithErrno(out, "cannot be written");
  if (signer) signPackages(out, *signer);
}

void signPackages(const std::string& file, const Signer& signer) {
  const InputFile in(file);
  const PackedFile packages = readPackedFile(in);
  errno = 0;
  std::fstream out(file, std::ios_base::in | std::ios_base::out | std::ios_base::binary);
  for (const auto& package : packages.packages) {
    const PartSpan* const room = package->find(kPartSignature);
    if (!room || room->size < SignatureRecord::kSize)
      throw Failure(file + ": a package without room for a signature");
    const SignatureRecord record = signer.sign(package->digest.data());
    out.seekp(static_cast<std::streamoff>(room->offset));
    out.write(reinterpret_cast<const char*>(record.bytes), sizeof record.bytes);
  }
  out.close();
  if (!out) failWithErrno(file, "cannot be written");
}
