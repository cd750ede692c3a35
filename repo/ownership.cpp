#include "package/package.h"
#include "repo/repo.h"

#include <cstdio>

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

enum : unsigned { kPathSize = 512 };

bool isDotEntry(const char* name) {
  return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

// One entry of a directory that is being collected.
void collectEntry(char* path) {
  struct stat info;
  if (lstat(path, &info) != 0) return;
  if (S_ISDIR(info.st_mode)) {
    gcFilesIn(path);
  } else if (Repo::getRepo()->getFileOwner(path).empty()) {
    unlink(path);
  }
}

}  // namespace

std::string Repo::getFileOwner(const std::string& path) const {
  for (const Package* package : packages) {
    if (package->files.count(path) != 0) return package->name;
  }
  return {};
}

bool Repo::isFileUsed(const std::string& path) const { return usedFiles.count(path) != 0; }

void gcFilesIn(char* directory) {
  DIR* const opened = opendir(directory);
  if (!opened) return;
  while (const dirent* entry = readdir(opened)) {
    if (isDotEntry(entry->d_name)) continue;
    char path[kPathSize];
    const int length = std::snprintf(path, sizeof path, "%s/%s", directory, entry->d_name);
    // A path that was cut names something else, the directory itself at worst.
    if (length < 0 || static_cast<std::size_t>(length) >= sizeof path) continue;
    collectEntry(path);
  }
  closedir(opened);
}
