#include "tools/tpk/try/scratchroot.h"

#include "tools/tpk/host/descriptor.h"
#include "tools/tpk/host/failure.h"
#include "tools/tpk/host/hostfile.h"
#include "tools/tpk/host/printable.h"
#include "tools/tpk/host/removetree.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

enum : mode_t { kFolderMode = 0755, kPlaceholderMode = 0644 };

// The folders between the root, which is there, and the last component.
bool makeParents(const std::string& root, const std::string& inside) {
  for (std::size_t end = inside.find('/', 1); end != std::string::npos;
       end = inside.find('/', end + 1)) {
    const std::string folder = root + inside.substr(0, end);
    if (::mkdir(folder.c_str(), kFolderMode) == 0) continue;
    if (errno != EEXIST || !isHostDirectory(folder)) return false;
  }
  return true;
}

// Two paths that exclude each other, or one that is too long, are their giver's fault.
[[noreturn]] void failPlacing(const std::string& inside) {
  const int reason = errno;
  if (reason == EEXIST || reason == ENOTDIR || reason == EISDIR || reason == ENAMETOOLONG)
    throw Failure(printable(inside) + ": has no place on a router: " + std::strerror(reason));
  failWithErrno(printable(inside), "cannot be created");
}

}  // namespace

ScratchRoot::ScratchRoot(const std::string& keep) : keep_(!keep.empty()) {
  makeTop(keep);
  root_ = top_ + "/router";
  // Others may read them, as on a router; strangers are kept out further up.
  for (const std::string& made : {root_, mountPoint()}) {
    if (::mkdir(made.c_str(), kFolderMode) != 0) failWithErrno(made, "cannot be created");
  }
  for (const char* inside : {"/dev", "/proc", "/tmp", "/ram/pdb", "/rw/pckg", "/flash/var/pdb",
                             "/flash/var/pckg", "/flash/rw/pckg"}) {
    folder(inside);
  }
}

void ScratchRoot::makeTop(const std::string& keep) {
  if (keep_) {
    top_ = std::filesystem::absolute(keep);
    if (::mkdir(top_.c_str(), S_IRWXU) != 0) failWithErrno(keep, "cannot be created");
    return;
  }
  top_ = std::filesystem::absolute(temporaryFolder() + "/tpk-try-XXXXXX");
  if (!::mkdtemp(&top_[0])) failWithErrno(top_, "cannot be created");
}

ScratchRoot::~ScratchRoot() { remove(); }

bool ScratchRoot::remove() {
  if (keep_) {
    ::rmdir(mountPoint().c_str());
    return true;
  }
  return removeHostTree(top_);
}

void ScratchRoot::folder(const std::string& inside) const {
  const std::string made = path(inside);
  if (makeParents(root_, inside) &&
      (::mkdir(made.c_str(), kFolderMode) == 0 || (errno == EEXIST && isHostDirectory(made)))) {
    return;
  }
  failPlacing(inside);
}

void ScratchRoot::put(const std::string& inside, const std::string& contents, unsigned mode) const {
  const std::string file = path(inside);
  if (!makeParents(root_, inside)) failPlacing(inside);
  removeHostFile(file);
  createHostFile(file, contents, mode);
  ::chmod(file.c_str(), static_cast<mode_t>(mode));
}

bool ScratchRoot::placeholder(const std::string& inside, std::uint64_t size) const {
  if (!makeParents(root_, inside)) return false;
  const OwnedDescriptor file(::open(path(inside).c_str(),
                                    O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                                    kPlaceholderMode));
  // A hole: it takes no room. A size that no file system takes is nobody's.
  return file && ::ftruncate(file.get(), static_cast<off_t>(size)) == 0;
}

bool ScratchRoot::unsizedPlaceholder(const std::string& inside) {
  if (!placeholder(inside, 0)) return false;
  unsized_.insert(inside);
  return true;
}
