// The meta directory of an installed package: small text files that scripts read too
// (docs/database.md).
#include "model/version.h"
#include "package/depfile.h"
#include "package/files.h"
#include "package/metafiles.h"
#include "package/package.h"
#include "repo/console.h"
#include "stream/ifilestream.h"
#include "stream/outputfile.h"
#include "stream/text.h"

#include <cinttypes>
#include <cstdio>

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
  return formatted("%s%s%s/", relative ? "." : "", kDatabase, name.c_str());
}

std::string Package::getMetaFile(bool relative, const char* file) const {
  return formatted("%s%s", getMetaDir(relative).c_str(), file);
}

std::string Package::getContainerName() const {
  return bundle.name.empty() ? getFullName() : bundle.getFullName();
}

void Package::readFromRepo(const std::string& packageName) {
  name = packageName;
  readRecord(getMetaDir(false));
  takeSchedule(formatted("%s%s/schedule", kScheduleDir, name.c_str()));
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
    std::string logical;
    if (line[0] != '/') logical += "/";
    logical += line;
    files.insert(files.end(), logical);
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
  if (!writeMetaFile(meta, kVersionFile,
                     formatted("%" PRIu32 " %" PRIu32 "\n", version, buildTime)) ||
      !writeMetaDeps(meta, kDepsFile, deps, false)) {
    return false;
  }
  if (!provides.empty() && !writeMetaDeps(meta, kProvidesFile, provides, true)) {
    return false;
  }
  if (!conflicts.empty() && !writeMetaDeps(meta, kConflictsFile, conflicts, false)) {
    return false;
  }
  if (bundle.name.empty()) {
    unlink((meta + kBundleFile).c_str());
  } else if (!writeMetaFile(meta, kBundleFile, formatted("%s\n", bundle.name.c_str()))) {
    return false;
  }
  writeDisabled(disabled);
  writeEnabled(!disabled && userForced);
  if (!metaWritten(writeFileList(relative), kFilesFile)) return false;
  // A package with an image is not set up by a script.
  if (hasImage) unlink((meta + kInstallScript).c_str());
  return true;
}

bool Package::metaWritten(bool good, const char* file) const {
  if (!good) reportInstallError(formatted("meta/%s", file).c_str());
  return good;
}

bool Package::writeMetaFile(const std::string& meta, const char* file,
                            const std::string& text) const {
  return metaWritten(writeTextFile(meta + file, text), file);
}

bool Package::writeMetaDeps(const std::string& meta, const char* file,
                            const std::vector<PackageDep>& list, bool withWeight) const {
  return metaWritten(writeDepFile(meta + file, list, withWeight), file);
}

// The state is the router's, wherever the rest of the record is written: always the absolute
// directory.
void Package::writeDisabled(bool present) const { writeMarker(kDisabledFile, present); }

void Package::writeEnabled(bool present) const { writeMarker(kEnabledFile, present); }

void Package::writeMarker(const char* marker, bool present) const {
  // Placeholders stand in the list of a run without a record: their directory would be the database
  // itself.
  if (name.empty()) return;
  const std::string path = getMetaFile(false, marker);
  if (present) {
    // A state that could not be saved is no reason to give up the package.
    writeTextFile(path, formatted("%s\n", stateWord(userForced)));
  } else {
    unlink(path.c_str());
  }
}

bool Package::writeFileList(bool relative) const {
  if (isBundle) return true;
  // Under another name until it is whole: a run that dies here must not leave a record that looks
  // complete. Without a list it reads as a bundle without members, which the next plan uninstalls.
  const std::string path = getMetaFile(relative, kFilesFile);
  const std::string unfinished = path + ".new";
  OutputFile file(unfinished, OutputFile::kNoFollow);
  for (const std::string& logical : files) {
    if (logical.empty()) continue;
    const std::size_t begin = logical[0] == '/' ? 1 : 0;
    file.write(logical.data() + begin, logical.size() - begin);
    file.write("\n", 1);
  }
  return file.close() && std::rename(unfinished.c_str(), path.c_str()) == 0;
}

void Package::dump() const {
  print(formatted("package <%s> version=%s\n", name.c_str(), versionString(version)).c_str());
  if (disabled) print("   disabled\n");
  if (userForced) print("   user-forced\n");
  print("  deps=\n");
  for (const PackageDep& dep : deps) {
    print(formatted("    <%s> min=%s", dep.name.c_str(), versionString(dep.minVersion)).c_str());
    print(formatted(" max=%s\n", versionString(dep.maxVersion)).c_str());
  }
  print("  files=\n");
  for (const std::string& path : files) print(formatted("    %s\n", path.c_str()).c_str());
}
