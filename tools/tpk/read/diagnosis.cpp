#include "tools/tpk/read/diagnosis.h"

#include "tools/tpk/read/inputfile.h"
#include "tools/tpk/read/packagecheck.h"
#include "tools/tpk/read/verify.h"

#include <algorithm>
#include <cstdio>

namespace {

const char* const kFaultWords[] = {
    "no-header",    "magic", "cut-short",  "length",          "past-end", "no-package", "misplaced",
    "header-short", "name",  "list-short", "signature-short", "digest",   "key",        "unknown"};

// What explains the others comes first: a file that was cut, or that has another length than it
// should, has every other fault only because of that.
unsigned rank(Fault fault) {
  switch (fault) {
    case Fault::kNoHeader:
    case Fault::kMagic:
      return 0;
    case Fault::kCutShort:
      return 1;
    case Fault::kLength:
      return 2;
    case Fault::kDigest:
    case Fault::kKey:
    case Fault::kUnknown:
      return 4;
    default:
      return 3;
  }
}

bool comesBefore(const Finding& a, const Finding& b) {
  if (rank(a.fault) != rank(b.fault)) return rank(a.fault) < rank(b.fault);
  return a.offset < b.offset;
}

class Examination {
 public:
  Examination(std::istream& in, const Layout& layout, Diagnosis& result)
      : check_(in, layout), layout_(layout), result_(result) {}

  void run();

 private:
  void addNoHeader();
  void addLength();
  void lookAtHeaders();
  std::optional<Finding> headersOfBundle(PartWalk& walk);
  void lookAtContents();
  std::optional<Finding> lookAtPackage(PartWalk& walk);
  bool moveToPackage(PartWalk& walk, std::size_t from) const;
  void add(const Finding& finding);

  PackageCheck check_;
  const Layout& layout_;
  Diagnosis& result_;
};

void Examination::run() {
  if (!layout_.isPackage()) {
    addNoHeader();
    return;
  }
  lookAtContents();
  lookAtHeaders();
  addLength();
  std::stable_sort(result_.findings.begin(), result_.findings.end(), comesBefore);
}

// The readers often stumble over the same thing.
void Examination::add(const Finding& finding) {
  for (const Finding& known : result_.findings)
    if (known.fault == finding.fault && known.offset == finding.offset) return;
  result_.findings.push_back(finding);
}

void Examination::addNoHeader() {
  char text[100];
  if (layout_.size == 0) {
    add({Fault::kNoHeader, 0, "the file is empty", ""});
  } else if (!layout_.hasHeader()) {
    std::snprintf(text, sizeof text, "no package: of the %u bytes of a file header it has %u",
                  static_cast<unsigned>(FileHeader::kSize), static_cast<unsigned>(layout_.size));
    add({Fault::kNoHeader, layout_.size, text, ""});
  } else {
    std::snprintf(text, sizeof text, "wrong magic 0x%08X: a package begins with 0x%08X or 0x%08X",
                  layout_.header.magic(), static_cast<unsigned>(kPackageMagic),
                  static_cast<unsigned>(kDumbMagic));
    add({Fault::kMagic, FileHeader::kMagic, text, ""});
  }
}

void Examination::addLength() {
  if (layout_.size == layout_.announced()) return;
  for (const Finding& known : result_.findings)
    if (known.fault == Fault::kCutShort) return;
  const bool longer = layout_.size > layout_.announced();
  const std::uint64_t off =
      longer ? layout_.size - layout_.announced() : layout_.announced() - layout_.size;
  add({Fault::kLength, FileHeader::kLength,
       "the length field is off by " + std::to_string(off) + ": the file has " +
           std::to_string(layout_.size) + " bytes, its header says " +
           std::to_string(layout_.announced()),
       ""});
}

// As PackageFile::readFrom goes over them.
void Examination::lookAtHeaders() {
  PartWalk walk = PackageCheck::headerWalk(layout_);
  const std::uint32_t type = walk.next();
  if (type != kPartPackage && type != kPartBundle) return add(check_.noPackage(walk, false));
  std::string name;
  auto fault = check_.readable(walk, name);
  if (!fault && type == kPartBundle) fault = headersOfBundle(walk);
  if (fault) add(*fault);
}

std::optional<Finding> Examination::headersOfBundle(PartWalk& walk) {
  if (walk.type() == kPartImage) walk.next();
  if (walk.type() != kPartPackage) return check_.noPackage(walk, false);
  while (walk.type() == kPartPackage) {
    std::string name;
    auto fault = check_.readable(walk, name);
    if (fault) {
      fault->package = name;
      return fault;
    }
    if (walk.type() == kPartImage) walk.next();
  }
  return std::nullopt;
}

// As verifyPackages goes over them, but on past a package that is not genuine.
void Examination::lookAtContents() {
  PartWalk walk = PackageCheck::contentsWalk(layout_);
  result_.isBundle = walk.next() == kPartBundle;
  if (result_.isBundle && walk.next() == kPartImage) walk.next();

  std::optional<Finding> first;
  const auto note = [&first](const std::optional<Finding>& fault) {
    if (!first) first = fault;
  };
  bool found = walk.type() == kPartPackage;
  if (!found) {
    note(check_.noPackage(walk, false));
    found = result_.isBundle && moveToPackage(walk, 0);
  }
  while (found) {
    const std::size_t index = walk.index();
    const auto fault = lookAtPackage(walk);
    note(fault);
    if (!result_.isBundle) break;
    if (!fault && walk.type() != kPartPackage && walk.type() != kNoPart)
      note(check_.noPackage(walk, true));
    found = (!fault && walk.type() == kPartPackage) || moveToPackage(walk, index + 1);
  }
  if (first) add(*first);
}

// Why the package is not genuine; what is described also has what is wrong with its headers.
std::optional<Finding> Examination::lookAtPackage(PartWalk& walk) {
  PackageDiagnosis package;
  PartWalk headers = PackageCheck::headerWalk(layout_);
  headers.moveTo(walk.index());
  package.fault = check_.readable(headers, package.name);
  ++result_.packageCount;
  if (package.name.empty()) package.name = "package " + std::to_string(result_.packageCount);
  auto fault = check_.genuine(walk, package.listed);
  for (auto* known : {&fault, &package.fault})
    if (*known && result_.isBundle) (*known)->package = package.name;
  if (fault && (!package.fault || comesBefore(*fault, *package.fault))) package.fault = fault;
  if (result_.packages.size() < Diagnosis::kMostPackages)
    result_.packages.push_back(std::move(package));
  return fault;
}

bool Examination::moveToPackage(PartWalk& walk, std::size_t from) const {
  for (std::size_t i = from; i < layout_.parts.size(); ++i) {
    if (layout_.parts[i].type != kPartPackage) continue;
    walk.moveTo(i);
    return true;
  }
  return false;
}

}  // namespace

const char* faultWord(Fault fault) { return kFaultWords[static_cast<std::size_t>(fault)]; }

std::string explanation(const Finding& finding) {
  return finding.package.empty() ? finding.text : finding.package + ": " + finding.text;
}

Diagnosis diagnose(const InputFile& file, const Layout& layout) {
  Diagnosis result;
  result.good = verifyFile(file.path()) == Verdict::kGood;
  Examination(*file.open(), layout, result).run();
  return result;
}
