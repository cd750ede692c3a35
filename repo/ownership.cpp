#include "package/package.h"
#include "repo/fileowners.h"
#include "repo/repo.h"
#include "stream/text.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

enum : unsigned { kLongestPath = 511 };

bool isDotEntry(const char* name) {
  return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

// One entry of a directory that is being collected.
void collectEntry(std::string& path) {
  struct stat info;
  if (lstat(path.c_str(), &info) != 0) return;
  if (S_ISDIR(info.st_mode)) {
    gcFilesIn(&path[0]);
  } else if (fileOwner(path).empty()) {
    unlink(path.c_str());
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

std::string fileOwner(const std::string& path) { return Repo::getRepo()->getFileOwner(path); }

bool fileIsUsed(const std::string& path) { return Repo::getRepo()->isFileUsed(path); }

void gcFilesIn(char* directory) {
  DIR* const opened = opendir(directory);
  if (!opened) return;
  while (const dirent* entry = readdir(opened)) {
    if (isDotEntry(entry->d_name)) continue;
    std::string path = formatted("%s/%s", directory, entry->d_name);
    if (path.size() <= kLongestPath) collectEntry(path);
  }
  closedir(opened);
}
