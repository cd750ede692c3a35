#include "tools/tpk/read/packreader.h"

#include "stream/ipackstream.h"
#include "stream/readbytes.h"
#include "stream/signature.h"
#include "tools/tpk/host/failure.h"
#include "tools/tpk/host/hextext.h"
#include "tools/tpk/host/printable.h"
#include "tools/tpk/read/inputfile.h"
#include "tools/tpk/read/layout.h"
#include "tools/tpk/read/partnames.h"

#include <algorithm>

namespace {

// Which an installation takes notice of, and the description, which it passes over.
const PartType kKnownParts[] = {kPartPackage,  kPartBundle,    kPartArchitecture, kPartDescription,
                                kPartRequires, kPartProvides,  kPartConflicts,    kPartImage,
                                kPartTurnOff,  kPartOnInstall, kPartOnUninstall,  kPartArchive,
                                kPartSignature};

// One pass over a file with the reader and in the order of an installation.
class PackReader {
 public:
  explicit PackReader(const InputFile& file);

  PackedFile read();

 private:
  void readFileHeader();
  std::vector<PartSpan> findParts();
  void assignParts();
  void readBundle();
  void readPackage(PackedPackage& package);
  void readDescription(PackedPackage& package);
  void explainDescription(const PackedPackage& package);
  void readContents(PackedPackage& package);
  void takeSignature(PackedPackage& package);
  SignatureState judgeSignature(bool verified, std::uint64_t offset, const Digest& digest) const;
  void takeTurnOff(PackedPackage& bundle);
  std::string readText();
  [[noreturn]] void fail(const std::string& what) const;

  const InputFile& file_;
  std::unique_ptr<std::istream> source_;
  ipackstream in_;
  PackedFile result_;
};

template <typename Record>
bool readRecord(std::istream& in, Record& record) {
  return static_cast<bool>(in.read(reinterpret_cast<char*>(record.bytes), Record::kSize));
}

std::string atByte(std::uint64_t offset) { return " at byte " + std::to_string(offset); }

PackReader::PackReader(const InputFile& file)
    : file_(file), source_(file.open()), in_(*source_, true) {
  for (const PartType type : kKnownParts) in_.accept(type);
}

PackedFile PackReader::read() {
  readFileHeader();
  assignParts();
  in_.next();
  if (result_.bundle) readBundle();
  for (const auto& package : result_.packages) readPackage(*package);
  return std::move(result_);
}

void PackReader::readFileHeader() {
  const auto file = file_.open();
  FileHeader header;
  if (!readRecord(*file, header))
    fail("is no package: it has " + std::to_string(file_.size()) + " bytes");
  if (header.magic() != kPackageMagic && header.magic() != kDumbMagic)
    fail("is no package: its first four bytes are not a package's");
  result_.name = file_.name();
  result_.dumb = in_.isDumb();
  result_.length = header.length();
  result_.size = file_.size();
  const std::uint64_t announced = in_.totalSize();
  if (announced != result_.size) {
    fail("has " + std::to_string(result_.size) + " bytes, but its header says " +
         std::to_string(announced));
  }
}

std::vector<PartSpan> PackReader::findParts() {
  const auto file = file_.open();
  const Layout layout = readLayout(*file, file_.size());
  std::vector<PartSpan> parts;
  for (const PartPlace& part : layout.parts) {
    if (!part.whole()) {
      fail("its " + partName(part.type) + atByte(part.header) + " says it has " +
           std::to_string(part.length) + " bytes, but " + std::to_string(part.present) +
           " are there");
    }
    parts.push_back({part.type, part.contents(), part.length});
  }
  result_.trailing = result_.size - layout.end;
  return parts;
}

// Every package has the parts up to the next package header. Before the first header readers pass
// over types that they do not know.
void PackReader::assignParts() {
  PackedPackage* current = nullptr;
  for (const PartSpan& part : findParts()) {
    if (part.type == kPartPackage) {
      if (!result_.bundle && !result_.packages.empty()) {
        fail("has a second package" + atByte(part.offset - PartHeader::kSize) +
             ", but is no bundle");
      }
      result_.packages.push_back(std::make_unique<PackedPackage>());
      current = result_.packages.back().get();
    } else if (part.type == kPartBundle && current == nullptr) {
      result_.bundle = std::make_unique<PackedPackage>();
      current = result_.bundle.get();
    } else if (current == nullptr && isKnownPart(part.type)) {
      fail("begins with its " + partName(part.type) + ", not with a package header");
    }
    (current ? current->parts : result_.strays).push_back(part);
  }
  if (result_.packages.empty())
    fail(result_.bundle ? "is a bundle without packages" : "has no package header");
}

void PackReader::readBundle() {
  PackedPackage& bundle = *result_.bundle;
  readDescription(bundle);
  // The installation looks for the list nowhere else.
  if (in_.type() == kPartImage) in_.next();
  if (in_.type() == kPartTurnOff) takeTurnOff(bundle);
  while (in_.type() != kPartPackage && in_.type() != kNoPart) in_.next();
}

void PackReader::readPackage(PackedPackage& package) {
  readDescription(package);
  readContents(package);
  package.listed = goodSignature(package.digest.data());
}

void PackReader::readDescription(PackedPackage& package) {
  if (!package.info.readFrom(in_)) explainDescription(package);
}

void PackReader::explainDescription(const PackedPackage& package) {
  const PartSpan& opening = package.parts.front();
  const std::string what = partName(opening.type);
  if (opening.size < PackageHeader::kSize) {
    fail("its " + what + atByte(opening.offset - PartHeader::kSize) + " has " +
         std::to_string(opening.size) + " bytes instead of " +
         std::to_string(std::size_t{PackageHeader::kSize}));
  }
  if (in_.type() == opening.type) {
    fail("its " + what + " has a name that cannot be a folder's: \"" +
         printable(package.info.name) + "\"");
  }
  fail("its " + partName(in_.type()) + atByte(in_.offset() - std::uint32_t{PartHeader::kSize}) +
       " ends before its last entry");
}

// The first of each kind counts. The digest is had at the signature or where the package ends.
void PackReader::readContents(PackedPackage& package) {
  bool digested = false;
  for (; in_.type() != kPartPackage && in_.type() != kNoPart; in_.next()) {
    if (in_.type() == kPartOnInstall && !package.onInstall) package.onInstall = readText();
    if (in_.type() == kPartOnUninstall && !package.onUninstall) package.onUninstall = readText();
    if (in_.type() == kPartSignature && !digested) {
      takeSignature(package);
      digested = true;
    }
  }
  if (!digested && !in_.signature(package.digest.data())) fail("cannot be read to its end");
}

void PackReader::takeSignature(PackedPackage& package) {
  const std::uint64_t offset = in_.offset();
  const bool longEnough = in_.size() >= SignatureRecord::kSize;
  const bool verified = in_.verifySignature();
  if (!in_.signature(package.digest.data())) fail("cannot be read to its end");
  package.signature =
      longEnough ? judgeSignature(verified, offset, package.digest) : SignatureState::kTooShort;
}

SignatureState PackReader::judgeSignature(bool verified, std::uint64_t offset,
                                          const Digest& digest) const {
  if (verified) return SignatureState::kGood;
  const auto file = file_.open();
  file->seekg(static_cast<std::streamoff>(offset));
  SignatureRecord record;
  if (!readRecord(*file, record)) fail("cannot be read" + atByte(offset));
  return std::equal(digest.begin(), digest.end(), record.digest()) ? SignatureState::kOtherKey
                                                                   : SignatureState::kOtherDigest;
}

void PackReader::takeTurnOff(PackedPackage& bundle) {
  if (!readDeps(in_, bundle.turnOff)) {
    fail("its turn-off list" + atByte(in_.offset() - std::uint32_t{PartHeader::kSize}) +
         " ends before its last entry");
  }
}

std::string PackReader::readText() {
  std::string text;
  if (!readBytes(in_, in_.remaining(), text)) fail("cannot be read" + atByte(in_.position()));
  return text;
}

void PackReader::fail(const std::string& what) const { throw Failure(file_.name() + ": " + what); }

}  // namespace

const PartSpan* PackedPackage::find(PartType type) const {
  for (const PartSpan& part : parts) {
    if (part.type == type) return &part;
  }
  return nullptr;
}

bool PackedPackage::isGenuine() const {
  return signature == SignatureState::kGood || (signature == SignatureState::kNone && listed);
}

PackedFile readPackedFile(const InputFile& file) { return PackReader(file).read(); }

const char* signatureText(SignatureState state) {
  switch (state) {
    case SignatureState::kGood:
      return "made with the product's key";
    case SignatureState::kTooShort:
      return "too short";
    case SignatureState::kOtherDigest:
      return "made for other bytes";
    case SignatureState::kOtherKey:
      return "made with another key";
    default:
      return "none";
  }
}

std::string digestText(const Digest& digest) {
  return hexText(std::string(digest.begin(), digest.end()));
}
