#include "stream/packformat.h"
#include "tools/tpk/host/failure.h"
#include "tools/tpk/host/hostfile.h"
#include "tools/tpk/make/sources.h"
#include "tools/tpk/read/entrypath.h"

#include <cerrno>
#include <climits>
#include <limits>
#include <memory>
#include <utility>

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::vector<std::string> namesIn(const std::string& folder) {
  const std::unique_ptr<DIR, int (*)(DIR*)> stream(::opendir(folder.c_str()), ::closedir);
  if (!stream) failWithErrno(folder, "cannot be opened");
  std::vector<std::string> names;
  for (;;) {
    errno = 0;
    const dirent* const entry = ::readdir(stream.get());
    if (!entry) break;
    const std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(name);
  }
  if (errno != 0) failWithErrno(folder, "cannot be read");
  return names;
}

std::string linkTarget(const std::string& path) {
  char target[PATH_MAX];
  const ssize_t length = ::readlink(path.c_str(), target, sizeof target);
  if (length < 0) failWithErrno(path, "cannot be read");
  return std::string(target, static_cast<std::size_t>(length));
}

std::uint32_t deviceNumber(const std::string& path, dev_t number) {
  if (number > std::numeric_limits<std::uint32_t>::max())
    throw Failure(path + ": its device number has more than 32 bits, which the router cannot make");
  return static_cast<std::uint32_t>(number);
}

class FolderSource {
 public:
  FolderSource(Collection& collection, const FileSource& source)
      : collection_(collection), source_(source) {}

  void add();

 private:
  void addContents(const std::string& folder, const std::string& into, const struct stat& status);
  void addEntry(const std::string& path, const std::string& name);
  FileNode nodeFor(const std::string& path, const struct stat& status) const;

  Collection& collection_;
  const FileSource& source_;
};

void FolderSource::add() {
  struct stat status;
  if (::stat(source_.path.c_str(), &status) != 0) failWithErrno(source_.path, "cannot be opened");
  addContents(source_.path, source_.into, status);
}

void FolderSource::addContents(const std::string& folder, const std::string& into,
                               const struct stat& status) {
  collection_.inputs.noteFolder(folder, status, [&](const std::string& name) {
    return collection_.excludes(joinPaths(into, name));
  });
  for (const std::string& name : namesIn(folder)) {
    const std::string inside = joinPaths(into, name);
    if (!collection_.excludes(inside)) addEntry(joinPaths(folder, name), inside);
  }
}

void FolderSource::addEntry(const std::string& path, const std::string& name) {
  struct stat status;
  if (::lstat(path.c_str(), &status) != 0) failWithErrno(path, "cannot be read");
  const std::string clean = cleanPath(name);
  collection_.tree.put(clean, nodeFor(path, status));
  if (S_ISDIR(status.st_mode)) {
    addContents(path, clean, status);
  } else {
    collection_.inputs.note(path, status);
  }
}

FileNode FolderSource::nodeFor(const std::string& path, const struct stat& status) const {
  FileNode node;
  node.origin = path;
  const auto type = static_cast<std::uint16_t>(status.st_mode & ArchiveHeader::kTypeMask);
  switch (type) {
    case ArchiveHeader::kRegular:
      node.data.path = path;
      node.data.size = static_cast<std::uint64_t>(status.st_size);
      break;
    case ArchiveHeader::kSymlink:
      node.target = linkTarget(path);
      break;
    case ArchiveHeader::kCharDevice:
    case ArchiveHeader::kBlockDevice:
      node.device = deviceNumber(path, status.st_rdev);
      break;
    case ArchiveHeader::kDirectory:
    case ArchiveHeader::kFifo:
      break;
    default:
      throw Failure(path + ": is a socket, which a package cannot hold; remove it or exclude it");
  }
  const bool executable = (status.st_mode & S_IXUSR) != 0;
  node.mode = static_cast<std::uint16_t>(type | defaultPermissions(type, executable));
  keepAttributes(source_, {status.st_mode, status.st_uid, status.st_gid, status.st_mtime}, node);
  return node;
}

}  // namespace

void addFolder(Collection& collection, const FileSource& source) {
  FolderSource(collection, source).add();
}
