#include "tools/tpk/read/packagecheck.h"

#include "model/version.h"
#include "stream/sha1.h"
#include "stream/signature.h"
#include "tools/tpk/host/printable.h"
#include "tools/tpk/read/partnames.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace {

enum : std::uint64_t { kReadSize = 65536 };

std::string number(std::uint64_t value) { return std::to_string(value); }

std::string bytes(std::uint64_t count) { return number(count) + (count == 1 ? " byte" : " bytes"); }

// The first bytes of a digest, enough to tell two of them apart.
std::string shortHex(const unsigned char* digest) {
  char text[16];
  std::snprintf(text, sizeof text, "%02x%02x%02x%02x%02x..", unsigned{digest[0]},
                unsigned{digest[1]}, unsigned{digest[2]}, unsigned{digest[3]}, unsigned{digest[4]});
  return text;
}

// "part 4 (archive)"
std::string partText(std::uint32_t type) {
  const std::string name = partName(type);
  const bool known = name.compare(0, sizeof "part" - 1, "part") != 0;
  return "part " + number(type) + " (" + (known ? name : "of an unknown type") + ")";
}

Finding finding(Fault fault, std::uint64_t offset, const std::string& text) {
  return {fault, offset, text, ""};
}

bool isOneOf(std::uint32_t type, std::initializer_list<std::uint32_t> types) {
  return std::find(types.begin(), types.end(), type) != types.end();
}

std::string nameFault(const std::string& name) {
  if (name.empty()) return "the name is empty";
  if (name == "." || name == ".." || name.find('/') != std::string::npos)
    return "the name \"" + printable(name) + "\"" +
           " cannot be that of a directory in the database";
  return "";
}

Finding tooShort(Fault fault, const PartPlace& part, std::size_t needed) {
  return finding(fault, part.header + PartHeader::kLength,
                 partText(part.type) + " has " + bytes(part.length) + ", too few for the " +
                     number(needed) + " of its record");
}

}  // namespace

PartWalk PackageCheck::contentsWalk(const Layout& layout) {
  return PartWalk(layout, {kPartPackage, kPartBundle, kPartImage, kPartArchive, kPartSignature});
}

PartWalk PackageCheck::headerWalk(const Layout& layout) {
  return PartWalk(layout, {kPartBundle, kPartPackage, kPartArchitecture, kPartDescription,
                           kPartRequires, kPartProvides, kPartConflicts, kPartImage});
}

std::optional<Finding> PackageCheck::genuine(PartWalk& walk, bool& listed) {
  const std::uint64_t begin = walk.part().header;
  std::uint32_t type = walk.next();
  while (type == kPartArchive || type == kPartImage) type = walk.next();
  if (walk.isCutShort()) return cutShort(walk.part());
  if (type == kPartSignature) {
    auto fault = signatureFault(walk.part(), begin);
    if (!fault) walk.next();
    return fault;
  }
  if (type == kPartBundle)
    return finding(Fault::kMisplaced, walk.part().header,
                   partText(type) + " stands inside a package");
  const std::uint64_t end = type == kNoPart ? layout_.end : walk.part().header;
  unsigned char digest[SignatureRecord::kDigestSize];
  listed = digestOf(begin, end, digest) && goodSignature(digest);
  if (listed) return std::nullopt;
  if (type == kNoPart && layout_.size < layout_.announced()) return cutBehind(walk);
  return finding(
      Fault::kUnknown, begin,
      "neither signed nor one of the product's known packages (digest " + shortHex(digest) + ")");
}

std::optional<Finding> PackageCheck::signatureFault(const PartPlace& signature,
                                                    std::uint64_t begin) {
  SignatureRecord record;
  if (signature.length < SignatureRecord::kSize)
    return tooShort(Fault::kSignatureShort, signature, SignatureRecord::kSize);
  unsigned char digest[SignatureRecord::kDigestSize];
  if (signature.present < SignatureRecord::kSize || !read(signature.contents(), record) ||
      !digestOf(begin, signature.contents(), digest))
    return cutShort(signature);
  if (std::memcmp(record.digest(), digest, sizeof digest) != 0)
    return finding(Fault::kDigest, signature.contents() + SignatureRecord::kDigest,
                   "the digest differs from the one that was signed: signed " +
                       shortHex(record.digest()) + ", found " + shortHex(digest));
  if (!goodSignatureRecord(record, digest))
    return finding(Fault::kKey, signature.contents() + SignatureRecord::kCheck,
                   "the signature was made with another key than the product's, or was changed");
  return std::nullopt;
}

std::optional<Finding> PackageCheck::readable(PartWalk& walk, std::string& name) {
  const PartPlace& part = walk.part();
  PackageHeader header;
  if (part.length < PackageHeader::kSize)
    return tooShort(Fault::kHeaderShort, part, PackageHeader::kSize);
  if (part.present < PackageHeader::kSize || !read(part.contents(), header)) return cutShort(part);
  name = printable(header.name()) + "-" + versionString(header.version());
  const std::string fault = nameFault(header.name());
  if (!fault.empty()) return finding(Fault::kName, part.contents() + PackageHeader::kName, fault);

  walk.next();
  for (const PartType type :
       {kPartArchitecture, kPartDescription, kPartRequires, kPartProvides, kPartConflicts}) {
    if (walk.type() != type) continue;
    if (isOneOf(type, {kPartArchitecture, kPartDescription})) {
      if (!walk.part().whole()) return cutShort(walk.part());
    } else if (auto shortList = listFault(walk.part())) {
      return shortList;
    }
    walk.next();
  }
  return std::nullopt;
}

std::optional<Finding> PackageCheck::listFault(const PartPlace& part) {
  DepCount count;
  if (part.present < DepCount::kSize || !read(part.contents(), count)) {
    if (!part.whole()) return cutShort(part);
    return finding(Fault::kListShort, part.header + PartHeader::kLength,
                   partText(part.type) + " ends early: it has " + bytes(part.length) +
                       ", too few for its count");
  }
  const std::uint64_t room = (part.present - DepCount::kSize) / DepRecord::kSize;
  if (count.count() <= room) return std::nullopt;
  if (!part.whole()) return cutShort(part);
  return finding(Fault::kListShort, part.contents(),
                 partText(part.type) + " ends early: it announces " + number(count.count()) +
                     (count.count() == 1 ? " entry" : " entries") + " and has room for " +
                     number(room));
}

Finding PackageCheck::noPackage(const PartWalk& walk, bool behindAnother) const {
  if (walk.isCutShort()) return cutShort(walk.part());
  if (walk.type() == kNoPart) {
    if (layout_.size < layout_.announced()) return cutBehind(walk);
    return finding(Fault::kNoPackage, layout_.end, "there is no package in the file");
  }
  return finding(Fault::kMisplaced, walk.part().header,
                 partText(walk.part().type) + " stands where " +
                     (behindAnother ? "the next package's header should be"
                                    : "the package's header should be"));
}

// A part of which the file does not have everything: what is wrong is the file's end, or else, when
// that is where the file's header says, the part's length.
Finding PackageCheck::cutShort(const PartPlace& part) const {
  if (layout_.size < layout_.announced())
    return finding(Fault::kCutShort, layout_.size,
                   "cut short at byte " + number(layout_.size) + ", in " + partText(part.type) +
                       ": " + number(part.present) + " of its " + bytes(part.length) +
                       " are there");
  return finding(Fault::kPastEnd, part.header + PartHeader::kLength,
                 partText(part.type) + " at byte " + number(part.header) + " reaches " +
                     bytes(part.length - part.present) + " past the end of the file");
}

// The file ends between two parts, or in the header of one.
Finding PackageCheck::cutBehind(const PartWalk& walk) const {
  const std::uint64_t more = layout_.announced() - layout_.size;
  std::string text = "cut short at byte " + number(layout_.size) + ", ";
  text += layout_.size > layout_.end ? "in the header of a part" : "between two parts";
  if (walk.any()) text += " behind " + partText(layout_.parts.back().type);
  text += ": the file's header announces " + bytes(more) + " more";
  return finding(Fault::kCutShort, layout_.size, text);
}

bool PackageCheck::digestOf(std::uint64_t begin, std::uint64_t end, unsigned char* digest) {
  SHA1 hash;
  char buffer[kReadSize];
  in_.clear();
  in_.seekg(static_cast<std::streamoff>(begin));
  while (begin < end && in_.good()) {
    const std::uint64_t wanted = std::min<std::uint64_t>(end - begin, kReadSize);
    in_.read(buffer, static_cast<std::streamsize>(wanted));
    hash.update(buffer, static_cast<unsigned>(in_.gcount()));
    begin += static_cast<std::uint64_t>(in_.gcount());
  }
  hash.digest(digest);
  return begin == end;
}

template <typename Record>
bool PackageCheck::read(std::uint64_t offset, Record& record) {
  in_.clear();
  in_.seekg(static_cast<std::streamoff>(offset));
  in_.read(reinterpret_cast<char*>(record.bytes), Record::kSize);
  return in_.good();
}
