#include "tools/tpk/build.h"

#include "model/packagefile.h"
#include "model/version.h"
#include "stream/ocstream.h"
#include "stream/opackstream.h"
#include "stream/packformat.h"
#include "tools/tpk/archive.h"
#include "tools/tpk/failure.h"
#include "tools/tpk/hostfile.h"
#include "tools/tpk/sign.h"

namespace {

// Writes the parts in the order in which their readers take them: first what describes the package,
// then what is installed, the signature last, because it covers all before it.
class PackageWriter {
 public:
  PackageWriter(opackstream& out, bool withSignatures)
      : out_(out), withSignatures_(withSignatures) {}

  void addBundle(const Manifest& bundle) {
    addDescription(bundle, kPartBundle);
    // Directly before the first package: the installation looks for it nowhere else.
    addList(kPartTurnOff, bundle.turnOff);
    for (const Manifest& member : bundle.members) addPackage(member);
  }

  void addPackage(const Manifest& package) {
    addDescription(package, kPartPackage);
    if (package.onInstall) addPart(kPartOnInstall, *package.onInstall);
    if (package.onUninstall) addPart(kPartOnUninstall, *package.onUninstall);
    if (!package.files.empty()) addArchive(package.files);
    if (withSignatures_) addPart(kPartSignature, std::string(SignatureRecord::kSize, '\0'));
  }

 private:
  void addDescription(const Manifest& manifest, PartType opening) {
    addHeader(manifest, opening);
    addPart(kPartArchitecture, manifest.architecture);
    if (!manifest.description.empty()) addPart(kPartDescription, manifest.description);
    addList(kPartRequires, manifest.deps);
    addList(kPartProvides, manifest.provides);
    addList(kPartConflicts, manifest.conflicts);
    if (manifest.image) addPart(kPartImage, "");
  }

  void addHeader(const Manifest& manifest, PartType type) {
    PackageHeader header;
    header.setName(manifest.name);
    header.setVersion(manifest.version);
    header.setBuildTime(manifest.buildTime);
    out_.beginPart(type);
    write(header);
    out_.endPart();
  }

  void addList(PartType type, const std::vector<PackageDep>& list) {
    if (list.empty()) return;
    out_.beginPart(type);
    DepCount count;
    count.setCount(static_cast<std::uint16_t>(list.size()));
    write(count);
    for (const PackageDep& dep : list) {
      DepRecord record;
      record.setName(dep.name);
      record.setMinVersion(dep.minVersion);
      record.setMaxVersion(dep.maxVersion);
      record.setWeight(dep.weight);
      write(record);
    }
    out_.endPart();
  }

  void addArchive(const std::string& folder) {
    out_.beginPart(kPartArchive);
    ocstream deflated(out_);
    writeArchive(deflated, folder);
    if (!deflated.finish()) out_.setstate(std::ios_base::badbit);
    out_.endPart();
  }

  void addPart(PartType type, const std::string& contents) {
    out_.beginPart(type);
    out_.write(contents.data(), static_cast<std::streamsize>(contents.size()));
    out_.endPart();
  }

  template <typename Record>
  void write(const Record& record) {
    out_.write(reinterpret_cast<const char*>(record.bytes), sizeof record.bytes);
  }

  opackstream& out_;
  bool withSignatures_;
};

}  // namespace

void buildPackage(const Manifest& manifest, const Signer* signer, const std::string& file) {
  PendingFile pending(file);
  opackstream out(pending.workPath(), false);
  if (!out) failWithErrno(file, "cannot be created");
  PackageWriter writer(out, signer != nullptr);
  manifest.isBundle ? writer.addBundle(manifest) : writer.addPackage(manifest);
  out.close();
  if (!out) failWithErrno(file, "cannot be written");
  if (signer) signPackages(pending.workPath(), *signer);
  pending.commit();
}

std::string packageFileName(const Manifest& manifest) {
  return manifest.name + "-" + versionString(manifest.version) + kPackageSuffix;
}
