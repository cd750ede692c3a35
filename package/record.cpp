// The meta directory of an installed package: small text files that scripts read too
// (docs/database.md).
#include "model/version.h"
#include "package/depfile.h"
#include "package/files.h"
#include "package/metafiles.h"
#include "package/package.h"
#include "stream/ifilestream.h"
#include "stream/outputfile.h"

#include <cstdio>
#include <iostream>

#include <sys/stat.h>
#include <unistd.h>

namespace {

// Who asked for the enabled or disabled state.
const char* stateWord(bool userForced) { return userForced ? "user" : "auto"; }

bool exists(const std::string& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0;
}

}  // namespace

Package::~Package() = default;

const char* actionVerb(std::uint32_t action) {
  static const char* const verbs[] = {"", "uninstall", "enable", "disable"};
  return action <= kActionDisable ? verbs[action] : "";
}

std::string Package::getMetaDir(bool relative) const {
  return (relative ? "." : "") + std::string(kDatabase) + name + "/";
}

std::string Package::getContainerName() const {
  return bundle.name.empty() ? getFullName() : bundle.getFullName();
}

void Package::readFromRepo(const std::string& packageName) {
  name = packageName;
  readRecord(getMetaDir(false));
  takeSchedule(kScheduleDir + name + "/schedule");
}

void Package::readRecord(const std::string& meta) {
  readVersion(meta + kVersionFile);
  readLists(meta);
  readFileList(meta + kFilesFile);
  readBundleName(meta + kBundleFile);
  readState(meta);
}

void Package::readVersion(const std::string& path) {
  ifilestream file(path);
  if (!(file >> version >> buildTime)) scheduledAction = kActionUninstall;
}

void Package::readLists(const std::string& meta) {
  const bool depsRead = readDepFile(meta + kDepsFile, deps, false);
  const bool providesRead = readDepFile(meta + kProvidesFile, provides, true);
  const bool conflictsRead = readDepFile(meta + kConflictsFile, conflicts, false);
  if (!depsRead || !providesRead || !conflictsRead) scheduledAction = kActionUninstall;
}

void Package::readFileList(const std::string& path) {
  isBundle = !exists(path);
  if (isBundle) return;
  ifilestream file(path);
  std::string line;
  while (std::getline(file, line)) {
    if (line.empty()) continue;
    // The list is written in the order of the set: the end is the right place for nearly every
    // line.
    files.insert(files.end(), line[0] == '/' ? line : '/' + line);
  }
}

void Package::readBundleName(const std::string& path) {
  ifilestream file(path);
  std::string word;
  if (!(file >> word)) return;
  bundle.name = word;
  bundle.minVersion = bundle.maxVersion = 0;
}

void Package::readState(const std::string& meta) {
  userForced = false;
  ifilestream marker(meta + kDisabledFile);
  disabled = marker.isOpen();
  if (disabled) {
    std::string line;
    std::getline(marker, line);
    userForced = line != stateWord(false);
  } else {
    userForced = ifilestream(meta + kEnabledFile).isOpen();
  }
}

void Package::takeSchedule(const std::string& path) {
  {
    ifilestream file(path);
    std::string word;
    file >> word;
    if (word == actionVerb(kActionUninstall)) {
      scheduledAction = kActionUninstall;
    } else if (word == actionVerb(kActionEnable)) {
      scheduledAction = kActionEnable;
      userForced = true;
    } else if (word == actionVerb(kActionDisable)) {
      scheduledAction = kActionDisable;
      userForced = true;
    }
  }
  unlink(path.c_str());
}

bool Package::makeMetaDir(bool relative) const { return makeDirs(getMetaDir(relative), false); }

bool Package::writeMeta(bool relative) {
  const std::string meta = getMetaDir(relative);
  const auto written = [this](bool good, const char* file) {
    if (!good) reportInstallError(std::string("meta/") + file);
    return good;
  };
  if (!written(writeTextFile(meta + kVersionFile,
                             std::to_string(version) + ' ' + std::to_string(buildTime) + '\n'),
               kVersionFile)) {
    return false;
  }
  if (!written(writeDepFile(meta + kDepsFile, deps, false), kDepsFile)) return false;
  if (!provides.empty() &&
      !written(writeDepFile(meta + kProvidesFile, provides, true), kProvidesFile)) {
    return false;
  }
  if (!conflicts.empty() &&
      !written(writeDepFile(meta + kConflictsFile, conflicts, false), kConflictsFile)) {
    return false;
  }
  if (!written(writeBundleName(meta + kBundleFile), kBundleFile)) return false;
  writeDisabled(disabled);
  writeEnabled(!disabled && userForced);
  if (!written(writeFileList(relative), kFilesFile)) return false;
  // A package with an image is not set up by a script.
  if (hasImage) unlink((meta + kInstallScript).c_str());
  return true;
}

bool Package::writeBundleName(const std::string& path) const {
  if (!bundle.name.empty()) return writeTextFile(path, bundle.name + '\n');
  unlink(path.c_str());
  return true;
}

// The state is the router's, wherever the rest of the record is written: always the absolute
// directory.
void Package::writeDisabled(bool present) const { writeMarker(kDisabledFile, present); }

void Package::writeEnabled(bool present) const { writeMarker(kEnabledFile, present); }

void Package::writeMarker(const char* marker, bool present) const {
  // Placeholders stand in the list of a run without a record: their directory would be the database
  // itself.
  if (name.empty()) return;
  const std::string path = getMetaDir(false) + marker;
  if (present) {
    // A state that could not be saved is no reason to give up the package.
    writeTextFile(path, std::string(stateWord(userForced)) + '\n');
  } else {
    unlink(path.c_str());
  }
}

bool Package::writeFileList(bool relative) const {
  enum : std::size_t { kWriteSize = 4096 };
  if (isBundle) return true;
  // Under another name until it is whole: a run that dies here must not leave a record that looks
  // complete. Without a list it reads as a bundle without members, which the next plan uninstalls.
  const std::string path = getMetaDir(relative) + kFilesFile;
  const std::string unfinished = path + ".new";
  OutputFile file(unfinished, OutputFile::kNoFollow);
  std::string pending;
  for (const std::string& logical : files) {
    if (logical.empty()) continue;
    pending.append(logical, logical[0] == '/' ? 1 : 0, std::string::npos);
    pending += '\n';
    if (pending.size() < kWriteSize) continue;
    file.write(pending);
    pending.clear();
  }
  file.write(pending);
  return file.close() && std::rename(unfinished.c_str(), path.c_str()) == 0;
}

void Package::dump() const {
  std::cout << "package <" << name << "> version=" << versionString(version) << '\n';
  if (disabled) std::cout << "   disabled\n";
  if (userForced) std::cout << "   user-forced\n";
  std::cout << "  deps=\n";
  for (const PackageDep& dep : deps) {
    std::cout << "    <" << dep.name << "> min=" << versionString(dep.minVersion);
    std::cout << " max=" << versionString(dep.maxVersion) << '\n';
  }
  std::cout << "  files=\n";
  for (const std::string& path : files) std::cout << "    " << path << '\n';
}
