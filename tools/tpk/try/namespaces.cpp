#include "tools/tpk/try/namespaces.h"

#include "tools/tpk/host/descriptor.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <filesystem>

#include <fcntl.h>
#include <linux/capability.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

// What a program and its libraries are loaded from. Links among them are made anew.
constexpr const char* kLibraries[] = {"/usr", "/lib", "/lib32", "/lib64", "/libx32"};
constexpr char kLibraryCache[] = "/etc/ld.so.cache";

bool writeText(const char* path, const std::string& text) {
  const OwnedDescriptor file(::open(path, O_WRONLY | O_CLOEXEC));
  return file && writeWhole(file.get(), text.data(), text.size());
}

bool mountAt(const char* from, const std::string& to, const char* type, unsigned long flags,
             const char* options = nullptr) {
  return ::mount(from, to.c_str(), type, flags, options) == 0;
}

// With all that is mounted below it: a part could not be left out.
bool bind(const std::string& from, const std::string& to, bool writable) {
  if (!mountAt(from.c_str(), to, nullptr, MS_BIND | MS_REC)) return false;
  struct mount_attr attributes = {};
  attributes.attr_set = MOUNT_ATTR_NOSUID | MOUNT_ATTR_NODEV;
  if (!writable) attributes.attr_set |= MOUNT_ATTR_RDONLY;
  return ::mount_setattr(AT_FDCWD, to.c_str(), AT_RECURSIVE, &attributes, sizeof attributes) == 0;
}

bool makeFile(const std::string& path) {
  const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0755);
  return file >= 0 && ::close(file) == 0;
}

bool bindFile(const std::string& from, const std::string& to) {
  return makeFile(to) && bind(from, to, false);
}

bool bindFolder(const std::string& from, const std::string& to, bool writable) {
  return ::mkdir(to.c_str(), 0755) == 0 && bind(from, to, writable);
}

bool copyLink(const char* from, const std::string& to) {
  std::error_code error;
  std::filesystem::copy_symlink(from, to, error);
  errno = error.value();
  return !error;
}

bool bindLibraries(const std::string& root) {
  for (const char* const folder : kLibraries) {
    struct stat status;
    if (::lstat(folder, &status) != 0) continue;
    const std::string place = root + folder;
    const bool good =
        S_ISLNK(status.st_mode) ? copyLink(folder, place) : bindFolder(folder, place, false);
    if (!good) return false;
  }
  if (::access(kLibraryCache, R_OK) != 0) return true;
  return ::mkdir((root + "/etc").c_str(), 0755) == 0 &&
         bindFile(kLibraryCache, root + kLibraryCache);
}

bool enterRoot(const std::string& root) {
  return ::chdir(root.c_str()) == 0 && ::syscall(SYS_pivot_root, ".", ".") == 0 &&
         ::umount2(".", MNT_DETACH) == 0 && ::chdir("/") == 0;
}

bool isKept(unsigned long capability) {
  constexpr unsigned long kept[] = {CAP_CHOWN,  CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH, CAP_FOWNER,
                                    CAP_FSETID, CAP_KILL,         CAP_SETGID,          CAP_SETUID,
                                    CAP_MKNOD,  CAP_SYS_CHROOT};
  return std::find(std::begin(kept), std::end(kept), capability) != std::end(kept);
}

}  // namespace

pid_t forkIntoNamespaces() {
  const unsigned long flags = CLONE_NEWUSER | CLONE_NEWNS | CLONE_NEWPID | CLONE_NEWNET |
                              CLONE_NEWIPC | CLONE_NEWUTS | SIGCHLD;
  return static_cast<pid_t>(::syscall(SYS_clone, flags, nullptr, nullptr, nullptr, nullptr));
}

bool becomeRootOfNamespace(uid_t user, gid_t group, const char*& step) {
  step = "a user namespace";
  // Without it the kernel takes a map of groups from nobody but root.
  return writeText("/proc/self/setgroups", "deny") &&
         writeText("/proc/self/uid_map", "0 " + std::to_string(user) + " 1") &&
         writeText("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
}

bool leaveMachine(const std::string& mountPoint, const std::string& router,
                  const std::string& program, const char*& step) {
  step = "mounts of its own";
  if (!mountAt(nullptr, "/", nullptr, MS_REC | MS_PRIVATE)) return false;
  if (!mountAt("tpk", mountPoint, "tmpfs", MS_NOSUID | MS_NODEV, "size=256k,mode=0755"))
    return false;
  step = "mounting the scratch root";
  if (!bindFolder(router, mountPoint + "/router", true)) return false;
  step = "mounting the machine's libraries";
  if (!bindLibraries(mountPoint)) return false;
  step = "mounting the installer";
  if (!program.empty() && !bindFile(program, mountPoint + "/installer")) return false;
  step = "changing the root";
  if (!enterRoot(mountPoint)) return false;
  return mountAt(nullptr, "/", nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY | MS_NOSUID | MS_NODEV);
}

bool giveUpPowers(const char*& step) {
  step = "giving up capabilities";
  // Out of the bounding set: the next program that is started does not get them.
  for (unsigned long capability = 0; ::prctl(PR_CAPBSET_READ, capability, 0, 0, 0) >= 0;
       ++capability) {
    if (isKept(capability) || capability == CAP_SETPCAP) continue;
    if (::prctl(PR_CAPBSET_DROP, capability, 0, 0, 0) != 0) return false;
  }
  return ::prctl(PR_CAPBSET_DROP, CAP_SETPCAP, 0, 0, 0) == 0;
}
