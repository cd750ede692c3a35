// What tpk info prints with --json.
#include "model/version.h"
#include "tools/tpk/read/archivesummary.h"
#include "tools/tpk/read/entrytext.h"
#include "tools/tpk/read/inputfile.h"
#include "tools/tpk/read/jsontext.h"
#include "tools/tpk/read/packreader.h"
#include "tools/tpk/read/partnames.h"
#include "tools/tpk/show/info.h"

#include <zlib.h>

namespace {

Json partsJson(const std::vector<PartSpan>& parts) {
  Json array = Json::array();
  for (const PartSpan& part : parts) {
    Json entry;
    entry["type"] = part.type;
    entry["name"] = partName(part.type);
    entry["offset"] = part.offset;
    entry["size"] = part.size;
    array.push_back(entry);
  }
  return array;
}

Json scriptJson(const std::optional<std::string>& script) {
  if (!script) return nullptr;
  Json object;
  object["size"] = script->size();
  return object;
}

Json descriptionJson(const PackedPackage& package) {
  const PackageInfo& info = package.info;
  Json object;
  putText(object, "name", info.name);
  object["version"] = versionString(info.version);
  object["packed-version"] = info.version;
  object["build-time"] = info.buildTime;
  object["built"] = timeText(info.buildTime) + " UTC";
  putText(object, "architecture", info.arch);
  object["names-architecture"] = package.find(kPartArchitecture) != nullptr;
  putText(object, "description", info.description);
  object["image"] = info.hasImage;
  object["requires"] = depsJson(info.deps);
  object["provides"] = depsJson(info.provides, true);
  object["conflicts"] = depsJson(info.conflicts);
  return object;
}

Json archiveJson(const InputFile& file, const PackedPackage& package, bool& good) {
  const PartSpan* const part = package.find(kPartArchive);
  if (!part) return nullptr;
  const ArchiveSummary summary = summarize(file, *part);
  Json object;
  object["entries"] = summary.entries;
  object["unpacked-size"] = summary.dataSize;
  object["packed-size"] = summary.compressedSize;
  object["compression"] = compressionText(summary.zlibHeader);
  object["error"] = nullptr;
  if (!summary.problem.empty()) {
    putText(object, "error", summary.problem);
    good = false;
  }
  return object;
}

const char* signatureWord(SignatureState state) {
  switch (state) {
    case SignatureState::kGood:
      return "good";
    case SignatureState::kTooShort:
      return "too-short";
    case SignatureState::kOtherDigest:
      return "other-digest";
    case SignatureState::kOtherKey:
      return "other-key";
    default:
      return "none";
  }
}

Json packageJson(const InputFile& file, const PackedPackage& package, bool& good) {
  Json object = descriptionJson(package);
  object["oninstall"] = scriptJson(package.onInstall);
  object["onuninstall"] = scriptJson(package.onUninstall);
  object["archive"] = archiveJson(file, package, good);
  object["signature"] = signatureWord(package.signature);
  object["digest"] = digestText(package.digest);
  object["listed"] = package.listed;
  object["genuine"] = package.isGenuine();
  object["parts"] = partsJson(package.parts);
  return object;
}

Json bundleJson(const PackedPackage& bundle) {
  Json object = descriptionJson(bundle);
  object["turn-off"] = depsJson(bundle.turnOff);
  object["parts"] = partsJson(bundle.parts);
  return object;
}

}  // namespace

bool writeInfoJson(std::ostream& out, const InputFile& file, const PackedFile& contents) {
  bool good = true;
  Json object;
  putText(object, "file", contents.name);
  object["size"] = contents.size;
  object["dumb"] = contents.dumb;
  object["zlib"] = zlibVersion();
  object["strays"] = partsJson(contents.strays);
  object["trailing"] = contents.trailing;
  object["bundle"] = contents.bundle ? bundleJson(*contents.bundle) : Json(nullptr);
  object["packages"] = Json::array();
  for (const auto& package : contents.packages)
    object["packages"].push_back(packageJson(file, *package, good));
  out << jsonText(object);
  return good;
}
