#include "tools/tpk/show/dump.h"

#include "tools/tpk/host/printable.h"
#include "tools/tpk/read/diagnosis.h"
#include "tools/tpk/read/entrytext.h"
#include "tools/tpk/read/fieldtext.h"
#include "tools/tpk/read/inputfile.h"
#include "tools/tpk/read/layout.h"
#include "tools/tpk/read/partnames.h"
#include "tools/tpk/show/dumparchive.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>

namespace {

enum : std::uint64_t { kShownEntries = 20, kShownLines = 40, kTextPiece = 64 };

// In the order in which the parts of a package, or the head of a bundle, are read.
const std::uint32_t kTurns[] = {kPartArchitecture, kPartDescription, kPartRequires, kPartProvides,
                                kPartConflicts,    kPartImage,       kPartTurnOff,  kPartOnInstall,
                                kPartOnUninstall,  kPartArchive,     kPartSignature};

// The first two bytes of compressed data (RFC 1950, section 2.2).
std::string zlibText(const std::string& bytes) {
  if (bytes.size() < 2) return "";
  static const char* const levels[] = {"fastest", "fast", "default", "best"};
  const unsigned method = static_cast<unsigned char>(bytes[0]);
  const unsigned flags = static_cast<unsigned char>(bytes[1]);
  if ((method & 0x0F) != 8 || (method << 8 | flags) % 31 != 0) return "not zlib's";
  return "deflate, " + std::string(levels[flags >> 6]) + " compression";
}

class Dump {
 public:
  Dump(const InputFile& file, const DumpStyle& style, std::ostream& out)
      : file_(file),
        in_(file.open()),
        layout_(readLayout(*in_, file.size())),
        diagnosis_(diagnose(file, layout_)),
        out_(out, style) {}

  bool run();

 private:
  std::vector<DumpMark> marks() const;
  void dumpFileHeader();
  void dumpPart(const PartPlace& part);
  void dumpContents(const PartPlace& part);
  void noteTurn(const PartPlace& part);
  void dumpPackageHeader(const PartPlace& part);
  void dumpText(const PartPlace& part);
  void dumpList(const PartPlace& part);
  void dumpDependency(const PartPlace& part, std::uint64_t offset);
  void dumpScript(const PartPlace& part);
  std::uint64_t lineSize(const PartPlace& part, std::uint64_t begin);
  void dumpSignature(const PartPlace& part);
  void dumpArchivePart(const PartPlace& part);
  void dumpRest(const PartPlace& part, std::uint64_t done, const char* name,
                const std::string& meaning);
  std::string read(std::uint64_t offset, std::uint64_t count);
  template <typename Record>
  Record recordAt(const PartPlace& part, std::uint64_t offset, std::string& bytes);
  DumpWriter::Source from(std::uint64_t offset);

  const InputFile& file_;
  std::unique_ptr<std::istream> in_;
  Layout layout_;
  Diagnosis diagnosis_;
  DumpWriter out_;
  std::size_t turn_ = 0;  // behind the last part that had one
  bool archivesAreGood_ = true;
};

bool Dump::run() {
  out_.line(printable(file_.name()) + ": " + countText(layout_.size, "byte"));
  out_.setMarks(marks());
  dumpFileHeader();
  for (const PartPlace& part : layout_.parts) dumpPart(part);
  if (layout_.hasHeader() && layout_.end < layout_.size) {
    const bool known = layout_.isPackage();
    out_.heading(known ? "behind the last part" : "behind the file header");
    out_.data(layout_.end, layout_.size - layout_.end, known ? "too short" : "data",
              from(layout_.end));
  }
  out_.finishMarks();
  out_.line("");
  out_.line(diagnosis_.good ? "verdict: good"
                            : "verdict: broken: " + explanation(diagnosis_.findings.front()));
  if (diagnosis_.good && !archivesAreGood_)
    out_.line("but an archive is damaged: an installation may fail");
  return diagnosis_.good && archivesAreGood_;
}

// What is wrong with the file, and with each package of a bundle.
std::vector<DumpMark> Dump::marks() const {
  std::vector<DumpMark> marks;
  // What is wrong with the end of the file belongs to its last byte.
  const std::uint64_t last = layout_.size > 0 ? layout_.size - 1 : 0;
  const auto add = [&marks, last](const Finding& finding) {
    marks.push_back({std::min(finding.offset, last), explanation(finding)});
  };
  for (const Finding& finding : diagnosis_.findings) add(finding);
  for (const PackageDiagnosis& package : diagnosis_.packages)
    if (package.fault) add(*package.fault);
  std::stable_sort(marks.begin(), marks.end(), [](const DumpMark& a, const DumpMark& b) {
    return a.offset < b.offset || (a.offset == b.offset && a.text < b.text);
  });
  const auto same = [](const DumpMark& a, const DumpMark& b) {
    return a.offset == b.offset && a.text == b.text;
  };
  marks.erase(std::unique(marks.begin(), marks.end(), same), marks.end());
  return marks;
}

void Dump::dumpFileHeader() {
  const FileHeader& header = layout_.header;
  std::array<char, 64> magic;
  std::snprintf(magic.data(), magic.size(), "0x%08X: %s", static_cast<unsigned>(header.magic()),
                header.magic() == kPackageMagic ? "a package"
                : header.magic() == kDumbMagic  ? "a package that leaves no record"
                                                : "not a package's");
  out_.heading("file header");
  out_.record(0, read(0, std::min<std::uint64_t>(layout_.size, FileHeader::kSize)),
              {{"magic", 4, magic.data()},
               {"length", 4, countText(header.length(), "byte") + " behind this header"}});
}

void Dump::dumpPart(const PartPlace& part) {
  const bool known = std::find(std::begin(kTurns), std::end(kTurns), part.type) != std::end(kTurns);
  const bool opening = part.type == kPartPackage || part.type == kPartBundle;
  const std::string number = "part " + std::to_string(part.type);
  out_.heading(number + (known || opening ? ": " + partName(part.type)
                                          : ": of a type that readers pass over"));
  out_.record(
      part.header, read(part.header, PartHeader::kSize),
      {{"type", 2, std::to_string(part.type)}, {"length", 4, countText(part.length, "byte")}});
  if (opening) turn_ = 0;
  if (known) noteTurn(part);
  dumpContents(part);
}

void Dump::noteTurn(const PartPlace& part) {
  const auto found = std::find(std::begin(kTurns), std::end(kTurns), part.type);
  const auto turn = static_cast<std::size_t>(found - std::begin(kTurns)) + 1;
  if (turn_ == std::size(kTurns)) {
    out_.note("behind the signature, which does not cover it");
  } else if (turn <= turn_) {
    out_.note(part.type == kPartDescription
                  ? "out of turn: it is not read"
                  : "out of turn: an installation stops here and takes the package for broken");
  }
  turn_ = std::max(turn_, turn);
}

void Dump::dumpContents(const PartPlace& part) {
  switch (part.type) {
    case kPartPackage:
    case kPartBundle:
      return dumpPackageHeader(part);
    case kPartArchitecture:
    case kPartDescription:
      return dumpText(part);
    case kPartRequires:
    case kPartProvides:
    case kPartConflicts:
    case kPartTurnOff:
      return dumpList(part);
    case kPartOnInstall:
    case kPartOnUninstall:
      return dumpScript(part);
    case kPartArchive:
      return dumpArchivePart(part);
    case kPartSignature:
      return dumpSignature(part);
    default:
      if (part.present > 0) out_.data(part.contents(), part.present, "data", from(part.contents()));
      return;
  }
}

void Dump::dumpPackageHeader(const PartPlace& part) {
  std::string bytes;
  const auto header = recordAt<PackageHeader>(part, part.contents(), bytes);
  out_.record(part.contents(), bytes,
              {{"name", PackageHeader::kNameWidth, shownText(header.name())},
               {"version", 4, versionText(header.version())},
               {"build time", 4, timeText(header.buildTime()) + " UTC"},
               {"unused", PackageHeader::kSize - PackageHeader::kUnused,
                unusedText(header.bytes + PackageHeader::kUnused,
                           PackageHeader::kSize - PackageHeader::kUnused)}});
  dumpRest(part, bytes.size(), "rest", "not read");
}

void Dump::dumpText(const PartPlace& part) {
  const std::string text = read(part.contents(), std::min<std::uint64_t>(part.present, kTextPiece));
  dumpRest(part, 0, "text", shownText(text, part.present));
}

void Dump::dumpList(const PartPlace& part) {
  std::string bytes;
  const auto count = recordAt<DepCount>(part, part.contents(), bytes);
  out_.record(part.contents(), bytes,
              {{"count", DepCount::kSize,
                std::to_string(count.count()) + (count.count() == 1 ? " entry" : " entries")}});
  if (bytes.size() < DepCount::kSize) return;
  std::uint64_t done = DepCount::kSize;
  for (std::uint64_t i = 0; i < count.count() && done < part.present; ++i) {
    if (i < kShownEntries || out_.full()) dumpDependency(part, done);
    done += std::min<std::uint64_t>(DepRecord::kSize, part.present - done);
  }
  if (count.count() > kShownEntries && !out_.full())
    out_.elided(count.count() - kShownEntries, "entries");
  dumpRest(part, done, "rest", "not read");
}

void Dump::dumpDependency(const PartPlace& part, std::uint64_t offset) {
  std::string bytes;
  const auto dep = recordAt<DepRecord>(part, part.contents() + offset, bytes);
  out_.record(
      part.contents() + offset, bytes,
      {{"name", DepRecord::kNameWidth, shownText(dep.name())},
       {"lowest", 4, boundText(dep.minVersion())},
       {"unused", DepRecord::kMaxVersion - DepRecord::kUnused,
        unusedText(dep.bytes + DepRecord::kUnused, DepRecord::kMaxVersion - DepRecord::kUnused)},
       {"highest", 4, boundText(dep.maxVersion())},
       {"weight", 4, std::to_string(dep.weight())}});
}

// A line is a field. Of a long one only the beginning is kept.
void Dump::dumpScript(const PartPlace& part) {
  std::uint64_t number = 0;
  for (std::uint64_t begin = 0; begin < part.present;) {
    const std::uint64_t size = lineSize(part, begin);
    if (++number <= kShownLines || out_.full()) {
      const std::uint64_t offset = part.contents() + begin;
      const std::string text = read(offset, std::min<std::uint64_t>(size, kTextPiece));
      out_.field(offset, size, "line " + std::to_string(number), shownText(text, size),
                 from(offset));
    }
    begin += size;
  }
  if (number > kShownLines && !out_.full()) out_.elided(number - kShownLines, "lines");
}

// With its line end.
std::uint64_t Dump::lineSize(const PartPlace& part, std::uint64_t begin) {
  const DumpWriter::Source source = from(part.contents() + begin);
  std::array<char, 4096> piece;
  for (std::uint64_t size = 0;;) {
    const std::uint64_t wanted = std::min<std::uint64_t>(part.present - begin - size, piece.size());
    const std::size_t got = wanted > 0 ? source(piece.data(), wanted) : 0;
    const auto* const end = std::find(piece.data(), piece.data() + got, '\n');
    size += static_cast<std::uint64_t>(end - piece.data());
    if (end != piece.data() + got) return size + 1;
    if (got == 0) return size;
  }
}

void Dump::dumpSignature(const PartPlace& part) {
  std::string bytes;
  recordAt<SignatureRecord>(part, part.contents(), bytes);
  out_.record(part.contents(), bytes,
              {{"digest", SignatureRecord::kDigestSize, "of what was signed (SHA-1)"},
               {"check value", SignatureRecord::kCheckSize, "e"},
               {"scalar", SignatureRecord::kScalarSize, "s"}});
  dumpRest(part, bytes.size(), "rest", "not read");
}

void Dump::dumpArchivePart(const PartPlace& part) {
  enum : std::uint64_t { kZlibHeader = 2 };
  const std::string header =
      read(part.contents(), std::min<std::uint64_t>(part.present, kZlibHeader));
  out_.record(part.contents(), header, {{"zlib header", kZlibHeader, zlibText(header)}});
  dumpRest(part, header.size(), "deflated", "");
  out_.heading("part 4: archive, inflated");
  if (!dumpArchive(file_, part.contents(), out_)) archivesAreGood_ = false;
}

// What the part has behind the first so many bytes.
void Dump::dumpRest(const PartPlace& part, std::uint64_t done, const char* name,
                    const std::string& meaning) {
  if (done >= part.present) return;
  out_.field(part.contents() + done, part.present - done, name, meaning,
             from(part.contents() + done));
}

std::string Dump::read(std::uint64_t offset, std::uint64_t count) {
  std::string bytes(count, '\0');
  bytes.resize(from(offset)(bytes.data(), bytes.size()));
  return bytes;
}

// The record as far as the part has it; bytes become what there is of it.
template <typename Record>
Record Dump::recordAt(const PartPlace& part, std::uint64_t offset, std::string& bytes) {
  Record record;
  bytes = read(offset, std::min<std::uint64_t>(Record::kSize, part.end() - offset));
  std::copy(bytes.begin(), bytes.end(), record.bytes);
  return record;
}

DumpWriter::Source Dump::from(std::uint64_t offset) {
  return [this, offset](char* out, std::size_t count) mutable {
    in_->clear();
    in_->seekg(static_cast<std::streamoff>(offset));
    in_->read(out, static_cast<std::streamsize>(count));
    offset += static_cast<std::uint64_t>(in_->gcount());
    return static_cast<std::size_t>(in_->gcount());
  };
}

}  // namespace

bool dumpFile(const InputFile& file, const DumpStyle& style, std::ostream& out) {
  return Dump(file, style, out).run();
}
