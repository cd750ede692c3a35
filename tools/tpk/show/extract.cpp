#include "tools/tpk/show/extract.h"

#include "model/version.h"
#include "tools/tpk/host/failure.h"
#include "tools/tpk/host/printable.h"
#include "tools/tpk/host/targetfolder.h"
#include "tools/tpk/make/tomltext.h"
#include "tools/tpk/read/archivereader.h"
#include "tools/tpk/read/compressionlevel.h"
#include "tools/tpk/read/inputfile.h"
#include "tools/tpk/read/packreader.h"
#include "tools/tpk/show/rebuild.h"
#include "tools/tpk/show/unpack.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

const char kManifestName[] = "package.toml";
enum : int { kZlibDefaultLevel = 6 };
enum : std::uint16_t { kScriptMode = 0755, kManifestMode = 0644 };

class Extraction {
 public:
  Extraction(const ExtractOptions& options, const InputFile& file, const PackedFile& contents)
      : options_(options), file_(file), contents_(contents), folder_(options.folder) {}

  // Whether nothing was left out.
  bool run();

 private:
  void extractBundle();
  void extractPackage(const PackedPackage& package, const std::string& prefix);
  void extractArchive(const PackedPackage& package, const std::string& prefix,
                      const OwnedDescriptor& manifest);
  std::string description(const PackedPackage& package) const;
  std::string scriptKey(const std::optional<std::string>& script, const std::string& prefix,
                        const std::string& key);
  std::string memberFolder(const PackedPackage& member);
  void compareRebuilt();
  void write(const OwnedDescriptor& file, const std::string& text) {
    folder_.write(file, text.data(), text.size());
  }
  void openManifest(const std::string& prefix, OwnedDescriptor& manifest);
  void finishManifest(const OwnedDescriptor& manifest);
  void warn(const std::string& what) const;
  void problem(const std::string& what) {
    warn(what);
    complete_ = false;
  }

  const ExtractOptions& options_;
  const InputFile& file_;
  const PackedFile& contents_;
  TargetFolder folder_;
  bool complete_ = true;
};

bool Extraction::run() {
  contents_.bundle ? extractBundle() : extractPackage(*contents_.packages.front(), "");
  compareRebuilt();
  folder_.keep();
  return complete_;
}

void Extraction::extractBundle() {
  std::string text = description(*contents_.bundle);
  std::string members;
  for (const auto& member : contents_.packages) {
    const std::string name = memberFolder(*member);
    members += (members.empty() ? "" : ", ") + tomlText(name);
    extractPackage(*member, name + "/");
  }
  text += "\n[bundle]\nmembers = [" + members + "]\n";
  if (!contents_.bundle->turnOff.empty())
    text += "turn-off = " + tomlDeps(contents_.bundle->turnOff) + "\n";
  OwnedDescriptor manifest;
  openManifest("", manifest);
  write(manifest, text);
  finishManifest(manifest);
}

// Two members can have one name, and a name need not be one for a file.
std::string Extraction::memberFolder(const PackedPackage& member) {
  std::string name = member.info.name;
  const bool isPlain = printable(name) == name && name != kManifestName;
  if (isPlain && folder_.makeFolder(name) == 0) return name;
  name = "member.1";
  for (unsigned i = 2; folder_.makeFolder(name) != 0; ++i) name = "member." + std::to_string(i);
  return name;
}

void Extraction::extractPackage(const PackedPackage& package, const std::string& prefix) {
  OwnedDescriptor manifest;
  openManifest(prefix, manifest);
  write(manifest, description(package));
  write(manifest, scriptKey(package.onInstall, prefix, "oninstall"));
  write(manifest, scriptKey(package.onUninstall, prefix, "onuninstall"));
  extractArchive(package, prefix, manifest);
  finishManifest(manifest);
}

void Extraction::extractArchive(const PackedPackage& package, const std::string& prefix,
                                const OwnedDescriptor& manifest) {
  const PartSpan* const part = package.find(kPartArchive);
  if (!part) return;
  const std::string root = prefix + "root";
  folder_.makeFolder(root);
  const std::optional<int> level = compressionLevel(file_, *part);
  std::string keys = "files = \"root\"\n";
  if (level && *level != kZlibDefaultLevel)
    keys = "compression = " + std::to_string(*level) + "\n" + keys;
  write(manifest, keys);
  Unpacker unpacker(
      {folder_, root, package.info.buildTime, options_.devices},
      [&](const std::string& text) { write(manifest, text); },
      [&](const std::string& what) { problem(what); });
  ArchiveReader archive(file_, part->offset);
  unpacker.unpackAll(archive);
}

std::string Extraction::description(const PackedPackage& package) const {
  const PackageInfo& info = package.info;
  // What a description cannot say is found when it is read again.
  std::string text = "name = " + tomlText(info.name) + "\n";
  text += "version = " + tomlText(versionString(info.version)) + "\n";
  text += "build-time = " + std::to_string(info.buildTime) + "\n";
  text += "architecture = " + tomlText(info.arch) + "\n";
  if (!info.description.empty()) text += "description = " + tomlText(info.description) + "\n";
  const bool isOutermost = info.isBundle || !contents_.bundle;
  if (contents_.dumb && isOutermost) text += "dumb = true\n";
  if (info.hasImage) text += "image = true\n";
  if (!info.deps.empty()) text += "requires = " + tomlDeps(info.deps) + "\n";
  if (!info.provides.empty()) text += "provides = " + tomlDeps(info.provides) + "\n";
  if (!info.conflicts.empty()) text += "conflicts = " + tomlDeps(info.conflicts) + "\n";
  return text;
}

std::string Extraction::scriptKey(const std::optional<std::string>& script,
                                  const std::string& prefix, const std::string& key) {
  if (!script) return "";
  folder_.writeFile(prefix + key, *script, kScriptMode);
  return key + " = { file = \"" + key + "\" }\n";
}

void Extraction::openManifest(const std::string& prefix, OwnedDescriptor& manifest) {
  const int error = folder_.createFile(prefix + kManifestName, manifest);
  if (error != 0)
    throw EnvironmentFailure(options_.folder + "/" + printable(prefix) + kManifestName +
                             ": cannot be created: " + std::strerror(error));
}

void Extraction::finishManifest(const OwnedDescriptor& manifest) {
  folder_.finishFile(manifest, kManifestMode, contents_.packages.front()->info.buildTime);
}

void Extraction::compareRebuilt() {
  const RebuildResult result = rebuildAndCompare(options_.folder, file_, contents_);
  if (!result.problem.empty()) {
    problem(result.problem);
  } else if (!result.difference.empty() && complete_) {
    warn("tpk build makes other bytes of it: " + result.difference);
  }
}

void Extraction::warn(const std::string& what) const {
  std::fprintf(stderr, "tpk: warning: %s: %s\n", consoleText(file_.name()).c_str(),
               consoleText(what).c_str());
}

}  // namespace

bool extractFile(const ExtractOptions& options) {
  const InputFile file(options.file);
  const PackedFile contents = readPackedFile(file);
  return Extraction(options, file, contents).run();
}
