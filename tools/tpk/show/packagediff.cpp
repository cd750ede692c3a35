#include "tools/tpk/show/packagediff.h"

#include "model/version.h"
#include "tools/tpk/host/printable.h"
#include "tools/tpk/read/deptext.h"
#include "tools/tpk/read/entrytext.h"
#include "tools/tpk/read/partnames.h"
#include "tools/tpk/show/linediff.h"

#include <algorithm>

namespace {

const char* yesNo(bool value) { return value ? "yes" : "no"; }

std::string versionText(std::uint32_t version) { return versionString(version); }

std::string depLine(const PackageDep& dep, bool withWeight) {
  return depText(dep) + (withWeight ? ", weight " + std::to_string(dep.weight) : "");
}

std::string ownerText(const IndexedEntry& entry) {
  return std::to_string(entry.header.user()) + "/" + std::to_string(entry.header.group());
}

std::string deviceText(const IndexedEntry& entry) {
  return std::to_string(deviceMajor(entry.device)) + "," +
         std::to_string(deviceMinor(entry.device));
}

std::string entryLine(const std::string& path, const IndexedEntry& entry) {
  std::string line =
      printable(path) + " (" + modeText(entry.header.mode()) + " " + ownerText(entry);
  if (entry.header.type() == ArchiveHeader::kRegular)
    line += " " + std::to_string(entry.header.dataSize()) + " bytes";
  line += ")";
  if (!entry.target.empty()) line += " -> " + printable(entry.target);
  return line;
}

ArchiveIndex indexOf(const InputFile& file, const PackedPackage& package) {
  const PartSpan* const part = package.find(kPartArchive);
  return part ? indexArchive(file, part->offset) : ArchiveIndex();
}

}  // namespace

void PackageDiff::line(const std::string& text) {
  out_ << indent_ << text << '\n';
  any_ = true;
}

void PackageDiff::value(const std::string& label, const std::string& before,
                        const std::string& after) {
  if (before != after) line(label + ": " + printable(before) + " -> " + printable(after));
}

void PackageDiff::compare(const InputFile& fileBefore, const PackedPackage& before,
                          const InputFile& fileAfter, const PackedPackage& after) {
  compareHeaders(before, after);
  compareDeps("requires", before.info.deps, after.info.deps);
  compareDeps("provides", before.info.provides, after.info.provides, true);
  compareDeps("conflicts", before.info.conflicts, after.info.conflicts);
  compareDeps("turns off", before.turnOff, after.turnOff);
  compareScripts("oninstall", before.onInstall, after.onInstall);
  compareScripts("onuninstall", before.onUninstall, after.onUninstall);
  const bool had = before.find(kPartArchive) != nullptr;
  const bool has = after.find(kPartArchive) != nullptr;
  value("archive", yesNo(had), yesNo(has));
  compareFiles(indexOf(fileBefore, before), indexOf(fileAfter, after));
}

void PackageDiff::compareHeaders(const PackedPackage& before, const PackedPackage& after) {
  const PackageInfo& a = before.info;
  const PackageInfo& b = after.info;
  value("name", a.name, b.name);
  value("version", versionText(a.version), versionText(b.version));
  value("built", timeText(a.buildTime) + " UTC", timeText(b.buildTime) + " UTC");
  value("architecture", a.arch, b.arch);
  if (a.description != b.description) {
    line("description:");
    for (const std::string& text : unifiedDiff(linesOf(a.description), linesOf(b.description)))
      line("  " + printable(text));
  }
  value("image", yesNo(a.hasImage), yesNo(b.hasImage));
  const auto isSigned = [](const PackedPackage& package) {
    return package.signature != SignatureState::kNone;
  };
  value("signed", yesNo(isSigned(before)), yesNo(isSigned(after)));
}

// Of several entries with one name the first are compared with each other, then the second ones.
void PackageDiff::compareDeps(const std::string& label, const std::vector<PackageDep>& before,
                              const std::vector<PackageDep>& after, bool withWeight) {
  std::vector<const PackageDep*> left(after.size());
  std::transform(after.begin(), after.end(), left.begin(),
                 [](const PackageDep& dep) { return &dep; });
  const auto relation = [&](const char* sign, const PackageDep& dep) {
    line(label + ": " + sign + printable(depLine(dep, withWeight)));
  };
  for (const PackageDep& dep : before) {
    const auto match = std::find_if(left.begin(), left.end(), [&dep](const PackageDep* other) {
      return other->name == dep.name;
    });
    if (match == left.end()) {
      relation("- ", dep);
      continue;
    }
    value(label, depLine(dep, withWeight), depLine(**match, withWeight));
    left.erase(match);
  }
  for (const PackageDep* dep : left) relation("+ ", *dep);
}

void PackageDiff::compareScripts(const std::string& label, const std::optional<std::string>& before,
                                 const std::optional<std::string>& after) {
  if (before == after) return;
  line(label + ":" + (before ? "" : " (new)") + (after ? "" : " (gone)"));
  const std::string a = before.value_or("");
  const std::string b = after.value_or("");
  const std::vector<std::string> lines = unifiedDiff(linesOf(a), linesOf(b));
  for (const std::string& text : lines) line("  " + printable(text));
  if (lines.empty() && before && after) line("  only the end of the last line");
}

void PackageDiff::compareFiles(const ArchiveIndex& before, const ArchiveIndex& after) {
  auto a = before.begin();
  auto b = after.begin();
  while (a != before.end() || b != after.end()) {
    if (b == after.end() || (a != before.end() && a->first < b->first)) {
      line("- " + entryLine(a->first, a->second));
      ++a;
    } else if (a == before.end() || b->first < a->first) {
      line("+ " + entryLine(b->first, b->second));
      ++b;
    } else {
      compareEntries(a->first, a->second, b->second);
      ++a;
      ++b;
    }
  }
}

void PackageDiff::compareEntries(const std::string& path, const IndexedEntry& before,
                                 const IndexedEntry& after) {
  std::string changes;
  const auto change = [&changes](const std::string& label, const std::string& was,
                                 const std::string& is) {
    if (was != is) changes += "; " + label + " " + printable(was) + " -> " + printable(is);
  };
  const ArchiveHeader& a = before.header;
  const ArchiveHeader& b = after.header;
  change("type", entryTypeName(a.mode()), entryTypeName(b.mode()));
  change("mode", octalText(a.mode()), octalText(b.mode()));
  change("owner", ownerText(before), ownerText(after));
  change("time", timeText(a.time()), timeText(b.time()));
  change("target", before.target, after.target);
  change("device", deviceText(before), deviceText(after));
  if (before.target.empty() && after.target.empty())
    change("size", std::to_string(a.dataSize()), std::to_string(b.dataSize()));
  if (before.contents != after.contents) changes += "; contents";
  change("passed over", yesNo(a.skip()), yesNo(b.skip()));
  if (!changes.empty()) line(printable(path) + ": " + changes.substr(2));
}
