#include "stream/packformat.h"
#include "tools/tpk/host/failure.h"
#include "tools/tpk/host/hostfile.h"
#include "tools/tpk/make/sources.h"
#include "tools/tpk/read/entrypath.h"

#include <cerrno>
#include <filesystem>
#include <limits>
#include <utility>

#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

[[noreturn]] void failToRead(const std::string& path, const std::error_code& error) {
  errno = error.value();
  failWithErrno(path, "cannot be read");
}

std::vector<std::string> namesIn(const std::string& folder) {
  std::vector<std::string> names;
  std::error_code error;
  for (fs::directory_iterator at(folder, error); !error && at != end(at); at.increment(error))
    names.push_back(at->path().filename());
  if (error) failToRead(folder, error);
  return names;
}

std::string linkTarget(const std::string& path) {
  std::error_code error;
  std::string target = fs::read_symlink(path, error);
  if (error) failToRead(path, error);
  return target;
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
