#include "tools/tpk/host/removetree.h"

#include <cerrno>
#include <memory>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

struct CloseFolder {
  void operator()(DIR* folder) const { ::closedir(folder); }
};

using Folder = std::unique_ptr<DIR, CloseFolder>;

// A folder that its owner may not enter can still be opened up by the owner.
Folder openFolder(int parent, const char* name) {
  const int descriptor = ::openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (descriptor < 0) return nullptr;
  Folder folder(::fdopendir(descriptor));
  if (!folder) ::close(descriptor);
  return folder;
}

// Folders in folders are moved up beside the one on top before they are emptied: a path, or a chain
// of open folders, could become longer than the system allows.
class Removal {
 public:
  explicit Removal(int top) : top_(top) {}

  // Of everything in the folder of that name in the top folder. New names appear there.
  bool empty(const char* name);

 private:
  bool remove(int parent, const dirent& entry);
  bool moveUp(int parent, const char* name);

  int top_;
  unsigned long moved_ = 0;
};

bool Removal::moveUp(int parent, const char* name) {
  ::fchmodat(parent, name, S_IRWXU, 0);
  for (;;) {
    const std::string free = ".moved" + std::to_string(++moved_);
    // Onto a folder that is not empty it fails, and onto an empty one the number of folders
    // shrinks.
    if (::renameat(parent, name, top_, free.c_str()) == 0) return true;
    if (errno != EEXIST && errno != ENOTEMPTY && errno != ENOTDIR) return false;
  }
}

bool Removal::remove(int parent, const dirent& entry) {
  struct stat status;
  if (::fstatat(parent, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) return errno == ENOENT;
  if (!S_ISDIR(status.st_mode)) return ::unlinkat(parent, entry.d_name, 0) == 0;
  return ::unlinkat(parent, entry.d_name, AT_REMOVEDIR) == 0 || moveUp(parent, entry.d_name);
}

bool Removal::empty(const char* name) {
  ::fchmodat(top_, name, S_IRWXU, 0);
  const Folder folder = openFolder(top_, name);
  if (!folder) return false;
  bool good = true;
  while (const dirent* const entry = ::readdir(folder.get())) {
    const std::string child = entry->d_name;
    if (child != "." && child != "..") good = remove(::dirfd(folder.get()), *entry) && good;
  }
  return good;
}

// One round over the folders of the top folder; what they held in folders is there for the next.
bool removeFoldersOnce(int top, Removal& removal, bool& any) {
  const Folder folder = openFolder(top, ".");
  if (!folder) return false;
  any = false;
  while (const dirent* const entry = ::readdir(folder.get())) {
    const std::string name = entry->d_name;
    struct stat status;
    if (name == "." || name == ".." ||
        ::fstatat(top, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
      continue;
    }
    any = true;
    if (!S_ISDIR(status.st_mode)) {
      if (::unlinkat(top, name.c_str(), 0) != 0) return false;
      continue;
    }
    if (!removal.empty(name.c_str())) return false;
    if (::unlinkat(top, name.c_str(), AT_REMOVEDIR) != 0) return false;
  }
  return true;
}

}  // namespace

bool removeHostTree(const std::string& path) {
  struct stat status;
  if (::lstat(path.c_str(), &status) != 0) return errno == ENOENT;
  if (!S_ISDIR(status.st_mode)) return ::unlink(path.c_str()) == 0;
  ::chmod(path.c_str(), S_IRWXU);
  const int top = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (top < 0) return false;
  Removal removal(top);
  bool any = true;
  bool good = true;
  while (any && good) good = removeFoldersOnce(top, removal, any);
  const int reason = errno;
  ::close(top);
  errno = reason;
  return good && ::rmdir(path.c_str()) == 0;
}
