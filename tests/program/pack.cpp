#include "tests/program/pack.h"

#include "tests/support/router.h"

#include <algorithm>

#include <gtest/gtest.h>

namespace {

void appendList(PackBuilder& builder, PartType type, const std::vector<PackageDep>& list) {
  if (!list.empty()) builder.list(static_cast<std::uint16_t>(type), list);
}

unsigned byteAt(const std::string& bytes, std::size_t at) {
  return static_cast<unsigned char>(bytes[at]);
}

std::string recordText(const std::string& name, std::vector<MetaFile> files) {
  std::sort(files.begin(), files.end(),
            [](const MetaFile& a, const MetaFile& b) { return a.name < b.name; });
  std::string text;
  for (const MetaFile& file : files) text += "== " + name + "/" + file.name + "\n" + file.contents;
  return text;
}

}  // namespace

void Pack::appendTo(PackBuilder& builder) const {
  builder.header(name, version, buildTime);
  if (arch) builder.part(kPartArchitecture, *arch);
  builder.part(kPartDescription, "the package " + name);
  appendList(builder, kPartRequires, deps);
  appendList(builder, kPartProvides, provides);
  appendList(builder, kPartConflicts, conflicts);
  if (image) builder.image(*image);
  if (onInstall) builder.part(kPartOnInstall, *onInstall);
  if (onUninstall) builder.part(kPartOnUninstall, *onUninstall);
  builder.archive(files).sign();
}

std::string Pack::file() const {
  PackBuilder builder(dumb);
  appendTo(builder);
  return builder.finish();
}

std::string simpleContents(const std::string& name, std::uint32_t version) {
  return name + " " + std::to_string(version) + "\n";
}

Pack simplePack(const std::string& name, std::uint32_t version) {
  Pack pack;
  pack.name = name;
  pack.version = version;
  pack.files.time(5000).regular("share/" + name, simpleContents(name, version));
  return pack;
}

std::string noise(std::size_t size) {
  std::string bytes;
  std::uint32_t state = 1;
  while (bytes.size() < size) {
    state = state * 1103515245U + 12345U;
    bytes += static_cast<char>(state >> 16);
  }
  return bytes;
}

std::string BundlePack::file() const {
  PackBuilder builder;
  builder.bundleHeader(name, version, 1000).part(kPartArchitecture, arch);
  appendList(builder, kPartRequires, deps);
  appendList(builder, kPartConflicts, conflicts);
  if (image) builder.image(*image);
  if (turnOff) builder.list(kPartTurnOff, *turnOff);
  for (const Pack& member : members) member.appendTo(builder);
  return builder.finish();
}

std::string recordOf(const Pack& pack, const std::vector<std::string>& files,
                     const std::vector<MetaFile>& more) {
  std::vector<MetaFile> record = more;
  record.push_back(
      {"version", std::to_string(pack.version) + " " + std::to_string(pack.buildTime) + "\n"});
  record.push_back({"deps", dependencyLines(pack.deps)});
  if (!pack.provides.empty()) record.push_back({"provides", dependencyLines(pack.provides, true)});
  if (!pack.conflicts.empty()) record.push_back({"conflicts", dependencyLines(pack.conflicts)});
  if (pack.onInstall && !pack.image) {
    record.push_back({"oninstall", storedScript(*pack.onInstall)});
  }
  if (pack.onUninstall) record.push_back({"onuninstall", storedScript(*pack.onUninstall)});
  std::string list;
  for (const std::string& file : files) list += file.substr(1) + "\n";
  record.push_back({"files", list});
  return recordText(pack.name, record);
}

std::string recordOfBundle(const BundlePack& bundle, const std::vector<MetaFile>& more) {
  std::vector<MetaFile> record = more;
  record.push_back({"version", std::to_string(bundle.version) + " 1000\n"});
  record.push_back({"deps", dependencyLines(bundle.deps)});
  if (!bundle.conflicts.empty()) {
    record.push_back({"conflicts", dependencyLines(bundle.conflicts)});
  }
  return recordText(bundle.name, record);
}

std::string storedScript(const std::string& contents) {
  return "#!/bin/bash\n\n. /tarn/lib/install/profile.sh\n\n" + contents;
}

std::vector<PartAt> partsOf(const std::string& file) {
  std::vector<PartAt> parts;
  for (std::size_t at = 8; file.size() - at >= 6;) {
    PartAt part;
    part.type = byteAt(file, at) | byteAt(file, at + 1) << 8;
    part.size = byteAt(file, at + 2) | byteAt(file, at + 3) << 8 | byteAt(file, at + 4) << 16 |
                byteAt(file, at + 5) << 24;
    part.offset = at + 6;
    parts.push_back(part);
    if (part.size >= file.size() - part.offset) break;
    at = part.offset + part.size;
  }
  return parts;
}

PartAt partOf(const std::string& file, std::uint32_t type) {
  for (const PartAt& part : partsOf(file)) {
    if (part.type == type) return part;
  }
  ADD_FAILURE() << "no part of type " << type;
  return {type, 0, 0};
}
