#include "tools/tpk/host/failure.h"
#include "tools/tpk/lint/lintchecks.h"
#include "tools/tpk/make/packagesource.h"
#include "tools/tpk/read/archiveindex.h"
#include "tools/tpk/read/inputfile.h"

#include <algorithm>

namespace {

// Enough for the machine that an ELF program is for.
enum : std::size_t { kStartSize = 20 };

std::string normalized(const std::string& name) {
  std::string path;
  for (std::size_t begin = 0; begin < name.size();) {
    const std::size_t end = std::min(name.find('/', begin), name.size());
    const std::string component = name.substr(begin, end - begin);
    if (!component.empty() && component != ".") {
      if (!path.empty()) path += '/';
      path += component;
    }
    begin = end + 1;
  }
  return path;
}

// Findings say themselves which file they are about.
std::string withoutName(const std::string& message, const std::string& name) {
  const std::string start = name + ": ";
  return message.compare(0, start.size(), start) == 0 ? message.substr(start.size()) : message;
}

std::string startOfData(ArchiveReader& archive) {
  std::string start(kStartSize, '\0');
  start.resize(archive.read(start.data(), start.size()));
  return start;
}

void readEntries(const InputFile& input, const PartSpan& part, LintPackage& package) {
  ArchiveReader archive(input, part.offset);
  ArchiveBudget budget;
  for (LintEntry entry; archive.next(entry.archived); entry = LintEntry()) {
    if (!budget.fits(entry.archived)) {
      package.hasMoreEntries = true;
      return;
    }
    entry.path = normalized(entry.archived.name);
    if (entry.type() == ArchiveHeader::kRegular) entry.start = startOfData(archive);
    package.entries.push_back(std::move(entry));
  }
}

void readArchive(const InputFile& input, LintPackage& package) {
  const PartSpan* const part = package.packed->find(kPartArchive);
  if (!part) return;
  try {
    readEntries(input, *part, package);
  } catch (const EnvironmentFailure&) {
    throw;
  } catch (const Failure& failure) {
    package.archiveFailure = withoutName(failure.what(), input.name());
  }
}

void addPackage(LintFile& file, const PackedPackage& packed, bool isBundle) {
  auto package = std::make_unique<LintPackage>(LintPackage{&file, &packed});
  package->isBundle = isBundle;
  file.packages.push_back(std::move(package));
}

void noteTurnedOff(LintFile& file) {
  for (const PackageDep& name : file.packed.bundle->turnOff)
    for (const auto& package : file.packages)
      if (package->isMember() && package->info().name == name.name) package->turnedOff = true;
}

void readPackages(const InputFile& input, LintFile& file) {
  file.packed = readPackedFile(input);
  if (!file.described.readFrom(input.path()))
    throw Failure(file.name + ": the installer cannot read its headers");
  if (file.packed.bundle) addPackage(file, *file.packed.bundle, true);
  for (const auto& packed : file.packed.packages) addPackage(file, *packed, false);
  if (file.packed.bundle) noteTurnedOff(file);
  for (const auto& package : file.packages) readArchive(input, *package);
}

}  // namespace

bool LintPackage::isMember() const { return !isBundle && file->packed.bundle; }

std::unique_ptr<LintFile> readLintFile(const std::string& name, const LintOptions& options) {
  auto file = std::make_unique<LintFile>();
  file->name = name;
  file->options = &options;
  file->isManifest = isManifest(name);
  try {
    readPackages(*openPackage(name), *file);
  } catch (const EnvironmentFailure&) {
    throw;
  } catch (const Failure& failure) {
    file->refusal = withoutName(failure.what(), name);
    file->packages.clear();
  }
  return file;
}
