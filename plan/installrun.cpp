// The batch run: what was dropped on flash is found, verified, chosen, and installed.
#include "model/packagefile.h"
#include "package/package.h"
#include "plan/memorybudget.h"
#include "plan/movefile.h"
#include "repo/console.h"
#include "repo/repo.h"
#include "stream/ifilestream.h"
#include "stream/text.h"

#include <algorithm>
#include <cstring>

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr char kDowngradeMarker[] = "/rw/DOWNGRADE";
constexpr char kRam[] = "/ram/";
constexpr char kDropDir[] = "/flash/rw/pckg/";
constexpr char kOtherDropDir[] = "/flash/var/pckg/";
constexpr char kMemoryReport[] = "/proc/meminfo";
constexpr char kImageStore[] = "/rw/pckg/.images";
constexpr mode_t kImageStoreMode = 0755;

// Of a path with a folder.
const char* baseName(const std::string& path) { return std::strrchr(path.c_str(), '/') + 1; }

bool isPackageName(const char* name) {
  return name[0] != '.' &&
         (hasPostfix(name, kPackageSuffix) || hasPostfix(name, kOtherPackageSuffix));
}

// A router without packages must not go on starting up.
[[noreturn]] void stopForGood() {
  print("\nERROR: router installation failed!!!\nPlease, reinstall.\n");
  for (;;) pause();
}

class InstallRun {
 public:
  InstallRun(Repo& repo, unsigned flags) : repo_(repo), flags_(flags) {}
  ~InstallRun();
  InstallRun(const InstallRun&) = delete;
  InstallRun& operator=(const InstallRun&) = delete;

  // Whether anything was there to install or was enabled again.
  bool run();

 private:
  void takeDowngradeMarker();
  void scanAll();
  void scan(const char* directory);
  void take(const std::string& path, const char* name);
  void select();
  void noteState();
  void moveToRam();
  void installEach();
  bool install(PackageFile& file);
  void keepImage(const PackageFile& file);
  bool enableAgain();

  Repo& repo_;
  unsigned flags_;
  // All are PackageFiles.
  std::vector<PackageInfo*> found_;      // owned
  std::vector<PackageInfo*> chosen_;     // in installation order
  std::map<std::string, bool> choices_;  // disabled state that the user chose, by package
  std::set<std::string> enabledNames_;  // of packages enabled before the run, and what they provide
};

PackageFile& fileOf(PackageInfo* info) { return static_cast<PackageFile&>(*info); }

InstallRun::~InstallRun() {
  for (const PackageInfo* file : found_) delete file;
}

bool InstallRun::run() {
  takeDowngradeMarker();
  scanAll();
  select();
  noteState();
  moveToRam();
  sync();
  if (!chosen_.empty()) repo_.takeOverLog();
  installEach();
  const bool enabled = enableAgain();
  if (repo_.installed().empty()) stopForGood();
  return !chosen_.empty() || enabled;
}

// The marker counts for one run, whatever becomes of it.
void InstallRun::takeDowngradeMarker() {
  struct stat info;
  if (stat(kDowngradeMarker, &info) != 0) return;
  unlink(kDowngradeMarker);
  flags_ |= kAllowDowngrade;
}

void InstallRun::scanAll() {
  // An interrupted run may have left there what it had moved.
  if (flags_ & kReinstall) scan(kRam);
  scan(kDropDir);
  if (found_.empty()) scan(kOtherDropDir);
}

void InstallRun::scan(const char* directory) {
  DIR* const opened = opendir(directory);
  if (!opened) return;
  bool any = false;
  while (const dirent* entry = readdir(opened)) {
    if (!isPackageName(entry->d_name)) continue;
    // The status lines of the verification begin on a line of their own, and what follows them too.
    if (!any) print("\n");
    any = true;
    take(formatted("%s%s", directory, entry->d_name), entry->d_name);
  }
  closedir(opened);
  if (any) print("\n");
}

void InstallRun::take(const std::string& path, const char* name) {
  if (!repo_.verifyFile(path, name)) return;
  auto* const file = new PackageFile;
  if (!file->readFrom(path)) {
    delete file;
    repo_.error("broken package %s", name);
    return;
  }
  PackageInfo* const info = file;
  found_.push_back(info);
}

void InstallRun::select() {
  for (PackageInfo* file : found_) chosen_.push_back(file);
  repo_.selectCandidates(chosen_, (flags_ & kAllowDowngrade) != 0, true);
}

void InstallRun::noteState() {
  for (const Package* package : repo_.installed()) {
    if (package->userForced) choices_.emplace(package->name, package->disabled);
    if (package->disabled) continue;
    enabledNames_.insert(package->name);
    for (const PackageDep& provided : package->provides) enabledNames_.insert(provided.name);
  }
}

// Flash that the files do not occupy any more is there for what they install.
void InstallRun::moveToRam() {
  ifilestream report(kMemoryReport);
  std::uint32_t budget = memoryBudget(report);
  for (PackageInfo* info : chosen_) {
    PackageFile& file = fileOf(info);
    // An image is kept by a link, which has to be on the same file system.
    if (file.hasImage || (flags_ & kReinstall) || file.size >= budget) continue;
    const std::string target = formatted("%s%s", kRam, baseName(file.path));
    if (!moveFile(file.path, target)) continue;
    file.path = target;
    budget -= file.size;
  }
}

void InstallRun::installEach() {
  for (PackageInfo* info : chosen_) {
    PackageFile& file = fileOf(info);
    if (install(file)) {
      if (file.hasImage) keepImage(file);
      unlink(file.path.c_str());
    } else if (file.path != file.foundPath && moveFile(file.path, file.foundPath)) {
      file.path = file.foundPath;
    }
  }
}

bool InstallRun::install(PackageFile& file) {
  ifilestream in(file.path);
  return in.isOpen() && repo_.installFrom(in, flags_, choices_, nullptr, nullptr) == 0;
}

void InstallRun::keepImage(const PackageFile& file) {
  const std::string image = formatted("%s%s/image", kDatabase, file.name.c_str());
  unlink(image.c_str());
  if (link(file.path.c_str(), image.c_str()) == 0) return;
  mkdir(kImageStore, kImageStoreMode);
  const std::string stored = formatted("%s/%s", kImageStore, file.name.c_str());
  if (link(file.path.c_str(), stored.c_str()) == 0) return;
  repo_.warn("package %s image could not be installed", file.name.c_str());
}

bool InstallRun::enableAgain() {
  std::vector<Package*> list;
  for (const std::string& name : enabledNames_) {
    Package* const package = repo_.findProvider(name);
    if (!package || !package->disabled) continue;
    if (std::find(list.begin(), list.end(), package) == list.end()) list.push_back(package);
  }
  repo_.enableAndReport(list, true);
  return !list.empty();
}

}  // namespace

bool Repo::installAllPackages(unsigned flags) { return InstallRun(*this, flags).run(); }
