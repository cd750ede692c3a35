#include "package/files.h"
#include "package/metafiles.h"
#include "package/package.h"
#include "repo/console.h"
#include "repo/fileowners.h"
#include "stream/text.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Of the names that keep files in use alive; never starts again during a run.
unsigned keptFiles = 0;

void nameKeptFile(char (&name)[32]) {
  struct stat info;
  do {
    std::snprintf(name, sizeof name, "/tmp/inst%u", ++keptFiles);
  } while (lstat(name, &info) == 0);
}

bool isLink(const std::string& path) {
  struct stat info;
  return lstat(path.c_str(), &info) == 0 && S_ISLNK(info.st_mode);
}

// A running program goes on reading its file under the second name; the RAM file system drops it at
// the next start.
void keepFile(const std::string& path) {
  char name[32];
  nameKeptFile(name);
  if (link(path.c_str(), name) != 0) {
    Reporter::getReporter()->warn("link failed: %s", std::strerror(errno));
  }
}

}  // namespace

void Package::enable() {
  writeDisabled(false);
  writeEnabled(userForced);
  disabled = false;
  scheduledAction = kActionNone;
}

void Package::disable() {
  writeEnabled(false);
  writeDisabled(true);
  disabled = true;
  scheduledAction = kActionNone;
}

void Package::uninstall() {
  // First what makes the record a whole one: when the power goes in the middle, the next run takes
  // away what is left instead of listing a package without its files.
  removeVersion();
  removeFiles();
  removeMetaDir();
  scheduledAction = kActionNone;
}

void Package::removeFiles() {
  PathGuard guard(kFlashRoot);
  for (const std::string& logical : files) {
    const std::string real = formatted("%s/%s", kFlashRoot, logical.c_str());
    // The list may have been written by somebody else: what lies outside the flash is not the
    // package's.
    if (!guard.stays(real)) continue;
    if (fileIsUsed(real)) keepFile(real);
    unlink(real.c_str());
  }
  files.clear();
}

void Package::removeVersion() const {
  // Placeholders have no record: the directory would be the database itself.
  if (name.empty() || isLink(kDatabase + name)) return;
  unlink((getMetaDir(false) + kVersionFile).c_str());
}

void Package::removeMetaDir() const {
  if (name.empty()) return;
  const std::string meta = getMetaDir(false);
  // A link in the database's place for a record leads to what is not the package's.
  if (isLink(kDatabase + name)) {
    unlink((kDatabase + name).c_str());
    return;
  }
  DIR* const directory = opendir(meta.c_str());
  if (!directory) return;
  while (const dirent* entry = readdir(directory)) {
    if (entry->d_name[0] != '.') unlink((meta + entry->d_name).c_str());
  }
  closedir(directory);
  rmdir(meta.c_str());
}
