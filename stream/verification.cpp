#include "stream/verification.h"

#include "stream/ipackstream.h"
#include "stream/signature.h"

#include <algorithm>

namespace {

enum : std::uint32_t { kReadSize = 4096 };

// Never asks for more than the part has: that would fail the stream for all parts that follow.
bool readPart(ipackstream& in, PackObserver& observer) {
  char buffer[kReadSize];
  while (in.remaining() > 0) {
    const auto wanted =
        static_cast<std::streamsize>(std::min<std::uint32_t>(in.remaining(), kReadSize));
    in.read(buffer, wanted);
    const std::streamsize got = in.gcount();
    if (got > 0) observer.onRead(in);
    if (got != wanted) return false;
  }
  return true;
}

// From the package's header to the first accepted part behind its contents.
bool readContents(ipackstream& in, PackObserver& observer) {
  std::uint32_t type = in.next();
  while (type == kPartArchive || type == kPartImage) {
    if (!readPart(in, observer)) return false;
    type = in.next();
  }
  return true;
}

}  // namespace

bool verifyPackages(ipackstream& in, PackObserver& observer) {
  for (const std::uint32_t type :
       {kPartPackage, kPartBundle, kPartImage, kPartArchive, kPartSignature})
    in.accept(type);

  const bool bundle = in.next() == kPartBundle;
  if (bundle && in.next() == kPartImage) in.next();
  do {
    if (in.type() != kPartPackage) return false;
    if (!readContents(in, observer)) return false;
    if (!packageIsGenuine(in)) return false;
  } while (bundle && in.type() != kNoPart);
  return true;
}

bool packageIsGenuine(ipackstream& in) {
  if (in.type() == kPartSignature) {
    if (!in.verifySignature()) return false;
    in.next();  // whatever follows is for the caller to look at
    return true;
  }
  unsigned char digest[SignatureRecord::kDigestSize];
  return in.signature(digest) && goodSignature(digest);
}
