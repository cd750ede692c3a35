#include "tools/tpk/show/list.h"

#include "tools/tpk/host/printable.h"
#include "tools/tpk/read/archivereader.h"
#include "tools/tpk/read/entrytext.h"
#include "tools/tpk/read/inputfile.h"
#include "tools/tpk/read/jsontext.h"
#include "tools/tpk/read/packreader.h"
#include "tools/tpk/read/partnames.h"

#include <cstdio>
#include <functional>

namespace {

bool isDevice(const ArchiveEntry& entry) {
  const std::uint16_t type = entry.header.type();
  return type == ArchiveHeader::kCharDevice || type == ArchiveHeader::kBlockDevice;
}

bool isLink(const ArchiveEntry& entry) { return entry.header.type() == ArchiveHeader::kSymlink; }

std::string sizeText(const ArchiveEntry& entry) {
  if (isDevice(entry))
    return std::to_string(deviceMajor(entry.device)) + "," +
           std::to_string(deviceMinor(entry.device));
  return std::to_string(isLink(entry) ? 0 : entry.header.dataSize());
}

std::string lineOf(const ArchiveEntry& entry) {
  const std::string owner =
      std::to_string(entry.header.user()) + "/" + std::to_string(entry.header.group());
  char columns[128];
  std::snprintf(columns, sizeof columns, "%s %-9s %10s %s ", modeText(entry.header.mode()).c_str(),
                owner.c_str(), sizeText(entry).c_str(), timeText(entry.header.time()).c_str());
  std::string line = columns + printable(entry.name);
  if (isLink(entry)) line += " -> " + printable(entry.target);
  if (entry.header.skip()) line += " (passed over)";
  return line;
}

std::string jsonOf(const ArchiveEntry& entry) {
  Json object;
  putText(object, "path", entry.name);
  object["type"] = entryTypeName(entry.header.mode());
  object["mode"] = octalText(entry.header.mode());
  object["owner"] = entry.header.user();
  object["group"] = entry.header.group();
  object["time"] = entry.header.time();
  object["size"] = isLink(entry) ? 0 : entry.header.dataSize();
  if (isLink(entry)) putText(object, "target", entry.target);
  if (isDevice(entry)) {
    object["major"] = deviceMajor(entry.device);
    object["minor"] = deviceMinor(entry.device);
  }
  object["skip"] = entry.header.skip();
  return jsonText(object, -1);
}

void forEachEntry(const InputFile& file, const PackedPackage& package,
                  const std::function<void(const ArchiveEntry&)>& take) {
  const PartSpan* const part = package.find(kPartArchive);
  if (!part) return;
  ArchiveReader reader(file, part->offset);
  ArchiveEntry entry;
  while (reader.next(entry)) take(entry);
}

void writeText(std::ostream& out, const InputFile& file, const PackedFile& contents) {
  for (const auto& package : contents.packages) {
    if (contents.bundle) {
      if (package != contents.packages.front()) out << '\n';
      out << printable(package->info.getFullName()) << ":\n";
    }
    forEachEntry(file, *package,
                 [&out](const ArchiveEntry& entry) { out << lineOf(entry) << '\n'; });
  }
}

void writeJson(std::ostream& out, const InputFile& file, const PackedFile& contents) {
  out << "[";
  const char* packageSeparator = "\n";
  for (const auto& package : contents.packages) {
    Json name;
    putText(name, "package", package->info.getFullName());
    const std::string opening = jsonText(name, -1);
    // The object goes on behind the name.
    out << packageSeparator << opening.substr(0, opening.size() - 1) << ",\"entries\":[";
    packageSeparator = ",\n";
    const char* separator = "\n  ";
    forEachEntry(file, *package, [&](const ArchiveEntry& entry) {
      out << separator << jsonOf(entry);
      separator = ",\n  ";
    });
    out << "\n]}";
  }
  out << "\n]\n";
}

}  // namespace

void writeList(std::ostream& out, const ListOptions& options) {
  const InputFile file(options.file);
  const PackedFile contents = readPackedFile(file);
  options.json ? writeJson(out, file, contents) : writeText(out, file, contents);
}
