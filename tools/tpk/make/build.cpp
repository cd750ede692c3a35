#include "tools/tpk/make/build.h"

#include "model/packagefile.h"
#include "model/version.h"
#include "stream/ocstream.h"
#include "stream/opackstream.h"
#include "stream/packformat.h"
#include "tools/tpk/host/failure.h"
#include "tools/tpk/host/hostfile.h"
#include "tools/tpk/host/pendingfile.h"
#include "tools/tpk/host/progress.h"
#include "tools/tpk/make/archive.h"
#include "tools/tpk/make/packagefiles.h"
#include "tools/tpk/product/sign.h"

#include <algorithm>
#include <cerrno>
#include <limits>

#include <unistd.h>

namespace {

// One package with all that its description leads to.
struct Prepared {
  const Manifest& manifest;
  FileTree files;
  std::uint32_t buildTime;
};

// Where a build stands: what is prepared, and what the parts of it share.
class Build {
 public:
  explicit Build(const PendingFile& output) : output_(output) {}

  void prepare(const Manifest& manifest);

  const std::vector<Prepared>& packages() const { return packages_; }
  const Spool& spool() const { return spool_; }
  std::uint32_t bundleTime() const { return bundleTime_; }
  std::uint64_t dataSize() const;
  const std::vector<std::string>& warnings() const { return warnings_; }

 private:
  std::int64_t addPackage(const Manifest& manifest);

  const PendingFile& output_;
  Spool spool_;
  std::vector<Prepared> packages_;
  std::uint32_t bundleTime_ = 0;
  std::vector<std::string> warnings_;
};

// The build time decides which of two packages of one version is newer: without one that is given,
// an unchanged package keeps its own, and a changed one has a later one.
std::uint32_t buildTimeOf(const Manifest& manifest, std::int64_t newest) {
  if (manifest.buildTime) return *manifest.buildTime;
  if (newest > std::numeric_limits<std::uint32_t>::max())
    throw Failure(manifest.name +
                  ": what it packs was changed after the year 2106; add build-time = 1700000000");
  return static_cast<std::uint32_t>(newest);
}

void Build::prepare(const Manifest& manifest) {
  if (!manifest.isBundle) {
    addPackage(manifest);
    return;
  }
  Inputs inputs(&output_);
  for (const std::string& path : manifest.inputs) inputs.note(path);
  std::int64_t newest = inputs.newest();
  for (const Manifest& member : manifest.members) newest = std::max(newest, addPackage(member));
  bundleTime_ = buildTimeOf(manifest, newest);
}

// The time of the newest that goes in.
std::int64_t Build::addPackage(const Manifest& manifest) {
  Inputs inputs(&output_);
  FileTree files = collectFiles(manifest, spool_, inputs, warnings_);
  const std::uint32_t buildTime = buildTimeOf(manifest, inputs.newest());
  settleFiles(manifest, buildTime, files);
  packages_.push_back({manifest, std::move(files), buildTime});
  return inputs.newest();
}

std::uint64_t Build::dataSize() const {
  std::uint64_t sum = 0;
  for (const Prepared& package : packages_) sum += package.files.dataSize();
  return sum;
}

// errno is that of the write that failed; without one it was the length of a part or of the file.
[[noreturn]] void failToWrite(const std::string& file) {
  if (errno == 0) throw Failure(file + ": is larger than 4 GiB, the most that a package can have");
  failWithErrno(file, "cannot be written");
}

// Writes the parts in the order in which their readers take them: first what describes the package,
// then what is installed, the signature last, because it covers all before it.
class PackageWriter {
 public:
  PackageWriter(opackstream& out, const std::string& file, const Build& build, bool withSignatures)
      : out_(out),
        file_(file),
        build_(build),
        withSignatures_(withSignatures),
        progress_(STDERR_FILENO, "packing", build.dataSize()) {}

  void add(const Manifest& manifest) {
    if (manifest.isBundle) {
      addDescription(manifest, kPartBundle, build_.bundleTime());
      // Directly before the first package: the installation looks for it nowhere else.
      addList(kPartTurnOff, manifest.turnOff);
    }
    for (const Prepared& package : build_.packages()) addPackage(package);
  }

 private:
  void addPackage(const Prepared& package) {
    const Manifest& manifest = package.manifest;
    addDescription(manifest, kPartPackage, package.buildTime);
    if (manifest.onInstall) addPart(kPartOnInstall, *manifest.onInstall);
    if (manifest.onUninstall) addPart(kPartOnUninstall, *manifest.onUninstall);
    if (manifest.hasFiles) addArchive(package);
    if (withSignatures_) addPart(kPartSignature, std::string(SignatureRecord::kSize, '\0'));
  }

  void addDescription(const Manifest& manifest, PartType opening, std::uint32_t buildTime) {
    addHeader(manifest, opening, buildTime);
    addPart(kPartArchitecture, manifest.architecture);
    if (!manifest.description.empty()) addPart(kPartDescription, manifest.description);
    addList(kPartRequires, manifest.deps);
    addList(kPartProvides, manifest.provides);
    addList(kPartConflicts, manifest.conflicts);
    if (manifest.image) addPart(kPartImage, "");
  }

  void addHeader(const Manifest& manifest, PartType type, std::uint32_t buildTime) {
    PackageHeader header;
    header.setName(manifest.name);
    header.setVersion(manifest.version);
    header.setBuildTime(buildTime);
    out_.beginPart(type);
    write(header);
    endPart();
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
    endPart();
  }

  void addArchive(const Prepared& package) {
    out_.beginPart(kPartArchive);
    ocstream deflated(out_, package.manifest.compression);
    writeArchive(deflated, package.files, build_.spool(), [this](std::size_t count) {
      check();
      progress_.add(count);
    });
    if (!deflated.finish()) out_.setstate(std::ios_base::badbit);
    endPart();
  }

  void addPart(PartType type, const std::string& contents) {
    out_.beginPart(type);
    out_.write(contents.data(), static_cast<std::streamsize>(contents.size()));
    endPart();
  }

  void endPart() {
    out_.endPart();
    check();
  }

  // At once: what is read in between leaves its own errno.
  void check() {
    if (!out_) failToWrite(file_);
    errno = 0;
  }

  template <typename Record>
  void write(const Record& record) {
    out_.write(reinterpret_cast<const char*>(record.bytes), sizeof record.bytes);
  }

  opackstream& out_;
  const std::string& file_;
  const Build& build_;
  bool withSignatures_;
  Progress progress_;
};

}  // namespace

std::vector<std::string> buildPackage(const Manifest& manifest, const Signer* signer,
                                      const std::string& file) {
  PendingFile pending(file);
  Build build(pending);
  build.prepare(manifest);
  opackstream out(pending.workPath(), manifest.dumb);
  if (!out) failWithErrno(file, "cannot be created");
  PackageWriter(out, file, build, signer != nullptr).add(manifest);
  errno = 0;
  out.close();
  if (!out) failToWrite(file);
  if (signer) signPackages(pending.workPath(), *signer);
  pending.commit();
  return build.warnings();
}

std::string packageFileName(const Manifest& manifest) {
  return manifest.name + "-" + versionString(manifest.version) + kPackageSuffix;
}
