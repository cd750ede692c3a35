#include "tools/tpk/host/targetfolder.h"

#include "tools/tpk/host/failure.h"
#include "tools/tpk/host/hostfile.h"
#include "tools/tpk/host/printable.h"

#include <algorithm>
#include <cerrno>
#include <memory>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

enum : int { kFolderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC };

using Listing = std::unique_ptr<DIR, int (*)(DIR*)>;

// The descriptor stays the caller's.
Listing listingOf(int folder) {
  const int own = ::openat(folder, ".", kFolderFlags);
  DIR* const stream = own < 0 ? nullptr : ::fdopendir(own);
  if (!stream && own >= 0) ::close(own);
  return Listing(stream, ::closedir);
}

// The next name but "." and ".."; empty at the end.
std::string nextName(DIR* listing) {
  while (const dirent* const entry = ::readdir(listing)) {
    std::string name = entry->d_name;
    if (name != "." && name != "..") return name;
  }
  return std::string();
}

void removeContents(int folder) {
  const Listing listing = listingOf(folder);
  if (!listing) return;
  for (std::string name = nextName(listing.get()); !name.empty(); name = nextName(listing.get())) {
    const OwnedDescriptor inner(::openat(folder, name.c_str(), kFolderFlags));
    if (inner) removeContents(inner.get());
    ::unlinkat(folder, name.c_str(), inner ? AT_REMOVEDIR : 0);
  }
}

}  // namespace

TargetFolder::TargetFolder(const std::string& path) : path_(path) {
  made_ = makeHostDirectory(path);
  root_.reset(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!root_) failWithErrno(path, "cannot be opened");
  const Listing listing = listingOf(root_.get());
  if (!listing) failWithErrno(path, "cannot be read");
  if (!nextName(listing.get()).empty()) {
    kept_ = true;
    throw EnvironmentFailure(path + ": is not empty; name a folder that is new or empty");
  }
}

TargetFolder::~TargetFolder() {
  if (kept_ || !root_) return;
  removeContents(root_.get());
  if (made_) removeHostDirectory(path_);
}

int TargetFolder::makeFolder(const std::string& path) {
  std::string name;
  if (const int error = openParent(path, name)) return error;
  return ::mkdirat(parent_.get(), name.c_str(), 0755) == 0 ? 0 : judge(path);
}

int TargetFolder::makeLink(const std::string& path, const std::string& target) {
  std::string name;
  if (const int error = openParent(path, name)) return error;
  return ::symlinkat(target.c_str(), parent_.get(), name.c_str()) == 0 ? 0 : judge(path);
}

int TargetFolder::makeNode(const std::string& path, std::uint16_t mode, std::uint32_t device) {
  std::string name;
  if (const int error = openParent(path, name)) return error;
  return ::mknodat(parent_.get(), name.c_str(), mode, device) == 0 ? 0 : judge(path);
}

int TargetFolder::createFile(const std::string& path, OwnedDescriptor& file) {
  std::string name;
  if (const int error = openParent(path, name)) return error;
  file.reset(::openat(parent_.get(), name.c_str(),
                      O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  return file ? 0 : judge(path);
}

void TargetFolder::write(const OwnedDescriptor& file, const char* data, std::size_t count) const {
  if (!writeWhole(file.get(), data, count)) failWithErrno(path_, "cannot be written");
}

void TargetFolder::finishFile(const OwnedDescriptor& file, std::uint16_t permissions,
                              std::uint32_t time) const {
  const struct timespec times[2] = {{static_cast<time_t>(time), 0}, {static_cast<time_t>(time), 0}};
  if (::fchmod(file.get(), permissions) != 0 || ::futimens(file.get(), times) != 0)
    failWithErrno(path_, "cannot be written");
}

int TargetFolder::writeFile(const std::string& path, const std::string& contents,
                            std::uint16_t permissions) {
  OwnedDescriptor file;
  if (const int error = createFile(path, file)) return error;
  write(file, contents.data(), contents.size());
  if (::fchmod(file.get(), permissions) != 0) failWithErrno(path_, "cannot be written");
  return 0;
}

bool TargetFolder::hasFolder(const std::string& path) {
  std::string name;
  if (openParent(path, name) != 0) return false;
  struct stat status;
  return ::fstatat(parent_.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
         S_ISDIR(status.st_mode);
}

bool TargetFolder::takeImplied() {
  const bool implied = implied_;
  implied_ = false;
  return implied;
}

// Makes parent_ the folder of the path's last component.
int TargetFolder::openParent(const std::string& path, std::string& name) {
  const std::size_t slash = path.rfind('/');
  const std::string folder = slash == std::string::npos ? "" : path.substr(0, slash);
  name = slash == std::string::npos ? path : path.substr(slash + 1);
  if (parent_ && folder == parentPath_) return 0;
  if (static_cast<unsigned>(std::count(folder.begin(), folder.end(), '/')) >= kMostComponents)
    return ENAMETOOLONG;

  OwnedDescriptor at(::openat(root_.get(), ".", kFolderFlags));
  if (!at) fail(path);
  for (std::size_t begin = 0; begin < folder.size();) {
    const std::size_t end = std::min(folder.find('/', begin), folder.size());
    if (openStep(folder.substr(begin, end - begin), at) != 0) return judge(path);
    begin = end + 1;
  }
  parent_.reset(::openat(at.get(), ".", kFolderFlags));
  if (!parent_) fail(path);
  parentPath_ = folder;
  return 0;
}

// Goes down by one folder, which is made when it is missing. -1 with errno when that fails.
int TargetFolder::openStep(const std::string& name, OwnedDescriptor& folder) {
  int inner = ::openat(folder.get(), name.c_str(), kFolderFlags);
  if (inner < 0 && errno == ENOENT) {
    if (::mkdirat(folder.get(), name.c_str(), 0755) != 0) return -1;
    implied_ = true;
    inner = ::openat(folder.get(), name.c_str(), kFolderFlags);
  }
  if (inner < 0) return -1;
  folder.reset(inner);
  return 0;
}

int TargetFolder::judge(const std::string& path) const {
  switch (errno) {
    case ELOOP:  // O_NOFOLLOW says this of a link
      return ENOTDIR;
    case EEXIST:
    case ENOTDIR:
    case ENAMETOOLONG:
    case EINVAL:
    case EILSEQ:
      return errno;
    default:
      fail(path);
  }
}

void TargetFolder::fail(const std::string& path) const {
  failWithErrno(path_ + "/" + printable(path), "cannot be created");
}
