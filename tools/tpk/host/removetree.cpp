#include "tools/tpk/host/removetree.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

namespace fs = std::filesystem;

namespace {

// A folder that its owner may not enter can still be opened up by the owner. When that fails, so
// will what comes next, if it matters at all.
void openUp(const fs::path& folder) {
  std::error_code ignored;
  fs::permissions(folder, fs::perms::owner_all, ignored);
}

bool isFolder(const fs::path& path) { return fs::is_directory(fs::symlink_status(path)); }

// Folders in folders are moved up beside the one on top before they are emptied: a path, or a chain
// of open folders, could become longer than the system allows. All of them throw
// fs::filesystem_error.
class Removal {
 public:
  explicit Removal(const fs::path& top) : top_(top) {}

  // Of everything in the top folder.
  void empty();

 private:
  void empty(const fs::path& folder);
  void moveUp(const fs::path& folder);

  const fs::path& top_;
  unsigned long moved_ = 0;
};

// What the folders held in folders is there for the next round.
void Removal::empty() {
  while (!fs::is_empty(top_)) {
    for (const fs::directory_entry& entry : fs::directory_iterator(top_)) {
      if (isFolder(entry)) empty(entry);
      fs::remove(entry);
    }
  }
}

void Removal::empty(const fs::path& folder) {
  openUp(folder);
  for (const fs::directory_entry& entry : fs::directory_iterator(folder))
    isFolder(entry) ? moveUp(entry) : static_cast<void>(fs::remove(entry));
}

void Removal::moveUp(const fs::path& folder) {
  openUp(folder);
  fs::path free;
  do {
    free = top_ / (".moved" + std::to_string(++moved_));
  } while (fs::exists(fs::symlink_status(free)));
  fs::rename(folder, free);
}

}  // namespace

bool removeHostTree(const std::string& path) {
  try {
    if (isFolder(path)) {
      openUp(path);
      Removal(path).empty();
    }
    fs::remove(path);
    return true;
  } catch (const fs::filesystem_error& failure) {
    errno = failure.code().value();
    return false;
  }
}
