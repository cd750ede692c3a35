#include "package/files.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include <sys/stat.h>

namespace {

constexpr mode_t kDirectoryMode = 0770;

bool makeDir(const std::string& path) {
  return mkdir(path.c_str(), kDirectoryMode) == 0 || errno == EEXIST;
}

}  // namespace

bool makeDirs(const std::string& path, bool parentsOnly) {
  std::size_t length = path.size();
  while (length > 0 && path[length - 1] == '/') --length;
  std::string made = path.substr(0, length);
  // Each parent is the path cut at a slash for a moment: a name of 64 KiB has tens of thousands of
  // parents, and their texts together would be a gigabyte.
  for (std::size_t i = 1; i < made.size(); ++i) {
    if (made[i] != '/' || made[i - 1] == '/') continue;
    if (i == 1 && made[0] == '.') continue;
    made[i] = '\0';
    if (!makeDir(made)) return false;
    made[i] = '/';
  }
  return parentsOnly || made.empty() || made == "." || makeDir(made);
}

bool hasParentComponent(const std::string& path) {
  for (std::size_t at = 0; at < path.size();) {
    const std::size_t slash = std::min(path.find('/', at), path.size());
    if (slash - at == 2 && path[at] == '.' && path[at + 1] == '.') return true;
    at = slash + 1;
  }
  return false;
}

PathGuard::PathGuard(const char* root) {
  char real[PATH_MAX];
  root_ = root;
  realRoot_ = realpath(root, real) ? real : root;
  // What follows brings its own slash.
  if (root_ == "/") root_.clear();
  if (realRoot_ == "/") realRoot_.clear();
}

bool PathGuard::below(const std::string& real) const {
  return std::strncmp(real.c_str(), realRoot_.c_str(), realRoot_.size()) == 0 &&
         (real.size() == realRoot_.size() || real[realRoot_.size()] == '/');
}

bool PathGuard::step(const std::string& component) {
  if (component.empty() || component == ".") return true;
  real_ += "/";
  real_ += component;
  // Reached through a link, by a path that is shorter: the system can go on from here, this cannot.
  if (real_.size() >= PATH_MAX) return false;
  struct stat info;
  if (lstat(real_.c_str(), &info) != 0 || !S_ISLNK(info.st_mode)) return true;
  char target[PATH_MAX];
  // Nothing can be made below a link that leads nowhere. One that the system might still follow,
  // though realpath() gave up, is not followed blindly.
  if (!realpath(real_.c_str(), target)) return errno == ENOENT || errno == ENOTDIR;
  real_ = target;
  return below(real_);
}

bool PathGuard::follow(const std::string& folder) {
  real_ = realRoot_;
  for (std::size_t at = 0; at < folder.size();) {
    const std::size_t slash = std::min(folder.find('/', at), folder.size());
    // Behind the longest path that the system takes nothing can be made.
    if (root_.size() + slash >= PATH_MAX) return true;
    if (!step(folder.substr(at, slash - at))) return false;
    at = slash + 1;
  }
  return true;
}

bool PathGuard::stays(const std::string& path) {
  const char* const slash = std::strrchr(path.c_str(), '/');
  if (!slash || slash < path.c_str() + root_.size()) return false;
  const std::string folder =
      path.substr(root_.size(), static_cast<std::size_t>(slash - path.c_str()) - root_.size());
  sameFolder_ = known_ && folder == folder_;
  if (!sameFolder_) {
    inside_ = !hasParentComponent(folder) && follow(folder);
    folder_ = folder;
  }
  const char* const last = slash + 1;
  // With nothing behind the last slash, folder is the path itself and not its parent.
  known_ = *last != '\0';
  if (!inside_ || std::strcmp(last, "..") == 0) return false;
  resolved_ = real_.c_str() + realRoot_.size();
  resolved_ += "/";
  resolved_ += last;
  return true;
}
