#include "tests/support/tree.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace {

std::vector<std::string> entriesOf(const std::string& folder) {
  std::vector<std::string> names;
  DIR* const directory = opendir(folder.c_str());
  if (!directory) return names;
  while (const dirent* entry = readdir(directory)) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(name);
  }
  closedir(directory);
  std::sort(names.begin(), names.end());
  return names;
}

const char* typeName(mode_t mode) {
  switch (mode & S_IFMT) {
    case S_IFREG:
      return "file";
    case S_IFDIR:
      return "dir";
    case S_IFLNK:
      return "link";
    case S_IFCHR:
      return "char";
    case S_IFBLK:
      return "block";
    case S_IFIFO:
      return "fifo";
    default:
      return "socket";
  }
}

std::string octal(mode_t mode) {
  char text[16];
  std::snprintf(text, sizeof text, "%04o", static_cast<unsigned>(mode & 07777));
  return text;
}

// Two files that differ shall not look equal in a listing. The library's hash is optimized, as
// nothing here is, and there are shells of megabytes to be hashed.
std::string contentsHash(const std::string& path) {
  char text[32];
  std::snprintf(text, sizeof text, "%zx", std::hash<std::string>()(readFile(path)));
  return text;
}

std::string linkTarget(const std::string& path) {
  char target[4096];
  const ssize_t length = readlink(path.c_str(), target, sizeof target);
  return length < 0 ? std::string("?") : std::string(target, static_cast<std::size_t>(length));
}

std::string describeFile(const std::string& path, const struct stat& info, unsigned fields) {
  std::string text;
  if (fields & kTreeSize) text += " size=" + std::to_string(info.st_size);
  if (fields & kTreeContents) text += " contents=" + contentsHash(path);
  if (fields & kTreeLinks) text += " links=" + std::to_string(info.st_nlink);
  return text;
}

std::string describe(const std::string& path, const struct stat& info, unsigned fields) {
  std::string text = std::string(" ") + typeName(info.st_mode);
  const bool link = S_ISLNK(info.st_mode);
  if ((fields & kTreeMode) && !link) text += ' ' + octal(info.st_mode);
  if (fields & kTreeOwner) {
    text += ' ' + std::to_string(info.st_uid) + ':' + std::to_string(info.st_gid);
  }
  if (S_ISREG(info.st_mode)) text += describeFile(path, info, fields);
  if ((fields & kTreeTime) && !link) text += " time=" + std::to_string(info.st_mtim.tv_sec);
  if ((fields & kTreeTarget) && link) text += " -> " + linkTarget(path);
  if ((fields & kTreeDevice) && (S_ISCHR(info.st_mode) || S_ISBLK(info.st_mode))) {
    text += " device=" + std::to_string(major(info.st_rdev)) + ':' +
            std::to_string(minor(info.st_rdev));
  }
  return text;
}

// The entry at folder + path and what is below it.
void listEntry(std::string& listing, const std::string& folder, const std::string& path,
               unsigned fields, const std::set<std::string>& without) {
  struct stat info;
  if (without.count(path) != 0 || lstat((folder + path).c_str(), &info) != 0) return;
  listing += path + describe(folder + path, info, fields) + '\n';
  if (!S_ISDIR(info.st_mode)) return;
  for (const std::string& name : entriesOf(folder + path)) {
    listEntry(listing, folder, path + "/" + name, fields, without);
  }
}

}  // namespace

std::string listTree(const std::string& folder, unsigned fields,
                     const std::set<std::string>& without) {
  std::string listing;
  for (const std::string& name : entriesOf(folder)) {
    listEntry(listing, folder, "/" + name, fields, without);
  }
  return listing;
}

std::string listTreeAt(const std::string& folder, const std::string& path, unsigned fields,
                       const std::set<std::string>& without) {
  std::string listing;
  listEntry(listing, folder, path, fields, without);
  return listing;
}

bool exists(const std::string& path) {
  struct stat info;
  return lstat(path.c_str(), &info) == 0;
}

std::string readFile(const std::string& path) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) {
    ADD_FAILURE() << "cannot read " << path << ": " << std::strerror(errno);
    return {};
  }
  std::string contents;
  char chunk[16384];
  for (ssize_t got; (got = read(file, chunk, sizeof chunk)) > 0;) {
    contents.append(chunk, static_cast<std::size_t>(got));
  }
  close(file);
  return contents;
}

void writeFile(const std::string& path, const std::string& contents, mode_t mode) {
  makeFolders(path.substr(0, path.rfind('/')));
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode);
  ASSERT_GE(file, 0) << "cannot write " << path << ": " << std::strerror(errno);
  for (std::size_t done = 0; done < contents.size();) {
    const ssize_t written = write(file, contents.data() + done, contents.size() - done);
    ASSERT_GT(written, 0) << "cannot write " << path << ": " << std::strerror(errno);
    done += static_cast<std::size_t>(written);
  }
  // Whatever the process's mask is.
  fchmod(file, mode);
  close(file);
}

void makeFolders(const std::string& path) {
  for (std::size_t slash = 0; slash != std::string::npos;) {
    slash = path.find('/', slash + 1);
    mkdir(path.substr(0, slash).c_str(), 0755);
  }
}

void removeTree(const std::string& path) {
  struct stat info;
  if (lstat(path.c_str(), &info) != 0) return;
  if (!S_ISDIR(info.st_mode)) {
    unlink(path.c_str());
    return;
  }
  for (const std::string& name : entriesOf(path)) removeTree(path + "/" + name);
  rmdir(path.c_str());
}

TempFolder::TempFolder() {
  const char* const folder = std::getenv("TMPDIR");
  path_ = std::string(folder && *folder ? folder : "/tmp") + "/installer-test.XXXXXX";
  if (!mkdtemp(path_.data())) {
    std::fprintf(stderr, "cannot make a temp folder %s: %s\n", path_.c_str(), std::strerror(errno));
    std::abort();
  }
}

TempFolder::~TempFolder() { removeTree(path_); }
