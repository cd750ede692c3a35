#include "tools/tpk/show/info.h"

#include "model/version.h"
#include "tools/tpk/host/printable.h"
#include "tools/tpk/read/archivesummary.h"
#include "tools/tpk/read/deptext.h"
#include "tools/tpk/read/entrytext.h"
#include "tools/tpk/read/inputfile.h"
#include "tools/tpk/read/packreader.h"
#include "tools/tpk/read/partnames.h"

#include <iomanip>
#include <sstream>

#include <zlib.h>

namespace {

enum : int { kLabelWidth = 14 };

// The lines of one package or bundle, in a table of two columns.
class InfoTable {
 public:
  // prefix stands before every line.
  InfoTable(std::ostream& out, const std::string& prefix) : out_(out), prefix_(prefix) {}

  void row(const std::string& label, const std::string& value) {
    out_ << prefix_ << std::left << std::setw(kLabelWidth) << label << value << '\n';
  }
  // One line for each line of the text.
  void text(const std::string& label, const std::string& value) {
    std::istringstream lines(value);
    std::string shown = label;
    for (std::string line; std::getline(lines, line); shown.clear()) row(shown, printable(line));
  }
  void deps(const std::string& label, const std::vector<PackageDep>& list,
            bool withWeight = false) {
    std::string shown = label;
    for (const PackageDep& dep : list) {
      const std::string weight = ", weight " + std::to_string(dep.weight);
      row(shown, printable(depText(dep)) + (withWeight ? weight : ""));
      shown.clear();
    }
  }
  void description(const PackedPackage& package);
  void signature(const PackedPackage& package);
  // False when the archive is broken.
  bool archive(const InputFile& file, const PackedPackage& package);
  void unknownParts(const std::vector<PartSpan>& parts);

 private:
  std::ostream& out_;
  std::string prefix_;
};

std::string bytesText(std::uint64_t count) {
  return std::to_string(count) + (count == 1 ? " byte" : " bytes");
}

void InfoTable::description(const PackedPackage& package) {
  const PackageInfo& info = package.info;
  row("name", printable(info.name));
  row("version", versionString(info.version));
  row("built", timeText(info.buildTime) + " UTC (" + std::to_string(info.buildTime) + ")");
  const bool named = package.find(kPartArchitecture) != nullptr;
  row("architecture", printable(info.arch) + (named ? "" : " (the package names none)"));
  text("description", info.description);
  if (info.hasImage) row("image", "the router keeps the package file");
  deps("requires", info.deps);
  deps("provides", info.provides, true);
  deps("conflicts", info.conflicts);
  deps("turns off", package.turnOff);
  if (package.onInstall) row("oninstall", bytesText(package.onInstall->size()));
  if (package.onUninstall) row("onuninstall", bytesText(package.onUninstall->size()));
}

void InfoTable::signature(const PackedPackage& package) {
  row("signature", signatureText(package.signature));
  row("digest", digestText(package.digest) + (package.listed ? " (in the product's list)" : ""));
  row("genuine", package.isGenuine() ? "yes" : "no");
}

bool InfoTable::archive(const InputFile& file, const PackedPackage& package) {
  const PartSpan* const part = package.find(kPartArchive);
  if (!part) return true;
  const ArchiveSummary summary = summarize(file, *part);
  row("archive", std::to_string(summary.entries) +
                     (summary.entries == 1 ? " entry, " : " entries, ") +
                     bytesText(summary.dataSize) + " unpacked, " +
                     bytesText(summary.compressedSize) + " packed");
  row("", compressionText(summary.zlibHeader) + "; this tpk has zlib " + zlibVersion());
  if (!summary.problem.empty()) row("", "broken: " + summary.problem);
  return summary.problem.empty();
}

void InfoTable::unknownParts(const std::vector<PartSpan>& parts) {
  for (const PartSpan& part : parts) {
    if (!isKnownPart(part.type))
      row("ignored", partName(part.type) + " with " + bytesText(part.size));
  }
}

bool writePackage(std::ostream& out, const std::string& prefix, const InputFile& file,
                  const PackedPackage& package) {
  InfoTable table(out, prefix);
  table.description(package);
  const bool good = table.archive(file, package);
  table.unknownParts(package.parts);
  table.signature(package);
  return good;
}

bool writeMembers(std::ostream& out, const InputFile& file, const PackedFile& contents) {
  bool good = true;
  for (const auto& member : contents.packages) {
    const bool last = member == contents.packages.back();
    out << "  |\n  +-- " << printable(member->info.getFullName()) << '\n';
    if (!writePackage(out, last ? "        " : "  |     ", file, *member)) good = false;
  }
  return good;
}

}  // namespace

bool writeInfo(std::ostream& out, const InputFile& file, const PackedFile& contents) {
  out << printable(contents.name) << ": ";
  if (contents.bundle) {
    out << "bundle of " << contents.packages.size()
        << (contents.packages.size() == 1 ? " package, " : " packages, ");
  } else {
    out << "package, ";
  }
  out << bytesText(contents.size) << '\n';
  const std::string prefix = "  ";
  InfoTable table(out, prefix);
  if (contents.dumb) table.row("dumb", "leaves no record on the router");
  table.unknownParts(contents.strays);
  if (contents.trailing > 0)
    table.row("ignored", bytesText(contents.trailing) + " behind the last part");
  if (!contents.bundle) return writePackage(out, prefix, file, *contents.packages.front());
  table.description(*contents.bundle);
  table.unknownParts(contents.bundle->parts);
  return writeMembers(out, file, contents);
}
