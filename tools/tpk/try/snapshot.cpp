#include "tools/tpk/try/snapshot.h"

#include "tools/tpk/host/descriptor.h"
#include "tools/tpk/try/scratchroot.h"

#include <algorithm>
#include <filesystem>
#include <vector>

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

// Of a record's file; package files that were kept are not read.
enum : off_t { kLongestRecordFile = 16 << 20 };

constexpr char kImage[] = "image";

// Follows links as the router does, for which the scratch root is all there is.
class RootFiles {
 public:
  explicit RootFiles(const ScratchRoot& root)
      : root_(::open(root.path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)) {}

  // False when there is nothing, or the path leads through something that cannot be passed.
  bool status(const std::string& inside, struct stat& status) const {
    struct open_how how = {};
    how.flags = O_PATH | O_NOFOLLOW | O_CLOEXEC;
    how.resolve = RESOLVE_IN_ROOT | RESOLVE_NO_MAGICLINKS;
    const OwnedDescriptor file(
        static_cast<int>(::syscall(SYS_openat2, root_.get(), inside.c_str(), &how, sizeof how)));
    return file && ::fstat(file.get(), &status) == 0;
  }

 private:
  OwnedDescriptor root_;
};

std::vector<std::string> namesIn(const std::string& folder) {
  std::vector<std::string> names;
  // A folder that cannot be read, or not to its end, has what was found.
  std::error_code error;
  for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string name = entry->path().filename();
    if (name[0] != '.') names.push_back(name);
  }
  return names;
}

bool isPlainFolder(const std::string& path) {
  struct stat status;
  return ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool isReadable(const std::string& path) {
  struct stat status;
  return ::lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
         status.st_size <= kLongestRecordFile;
}

bool isReadableRecord(const std::string& meta) {
  if (!isPlainFolder(meta)) return false;
  const std::vector<std::string> files = namesIn(meta);
  return std::all_of(files.begin(), files.end(), [&meta](const std::string& file) {
    return file == kImage || isReadable(meta + file);
  });
}

FlashUse useOf(const ScratchRoot& root, const RootFiles& files, const std::string& inside) {
  FlashUse use;
  struct stat status;
  if (root.isUnsized(inside)) {
    ++use.unsized;
  } else if (files.status(inside, status) && S_ISREG(status.st_mode)) {
    use.bytes = static_cast<std::uint64_t>(status.st_size);
  }
  return use;
}

}  // namespace

Snapshot::Snapshot(const ScratchRoot& root) {
  // A folder among those that lead there could have become a link, too.
  for (const char* const folder : {"/flash", "/flash/var", "/flash/var/pdb"}) {
    if (!isPlainFolder(root.path(folder))) return;
  }
  const RootFiles files(root);
  for (const std::string& name : namesIn(root.path(kDatabase))) {
    auto package = std::make_unique<SnapshotPackage>();
    package->record.name = name;
    const std::string meta = root.path(kDatabase + name + "/");
    package->damaged = !isReadableRecord(meta);
    if (!package->damaged) {
      package->record.readRecord(meta);
      package->damaged = package->record.scheduledAction != kActionNone;
      const std::string inside = kDatabase + name + "/";
      for (const std::string& file : namesIn(meta))
        package->use += useOf(root, files, inside + file);
    }
    for (const std::string& file : package->record.files)
      package->use += useOf(root, files, kFlashRoot + file);
    packages_[name] = std::move(package);
  }
}

const SnapshotPackage* Snapshot::find(const std::string& name) const {
  const auto found = packages_.find(name);
  return found == packages_.end() ? nullptr : found->second.get();
}

bool Snapshot::satisfies(const PackageDep& dep) const {
  return std::any_of(packages_.begin(), packages_.end(), [&dep](const auto& entry) {
    return !entry.second->record.disabled && entry.second->record.satisfies(dep);
  });
}
