#include "tests/support/privilege.h"

#include "tests/support/tree.h"

#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

bool writeProcFile(const char* path, const std::string& text) {
  const int file = open(path, O_WRONLY | O_CLOEXEC);
  if (file < 0) return false;
  const bool written = write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  close(file);
  return written;
}

bool enterUserNamespace() {
  const uid_t user = geteuid();
  const gid_t group = getegid();
  return unshare(CLONE_NEWUSER) == 0 && mapUser(0, user, group);
}

bool tryChroot() { return chroot("/") == 0; }

bool leaveMounts() {
  return unshare(CLONE_NEWNS) == 0 &&
         mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

// All kinds of mounts that tests make: one may be permitted and another one not.
bool tryMounts(const std::string& folder) {
  return leaveMounts() && mount("ram", folder.c_str(), "tmpfs", 0, "size=64k") == 0 &&
         mount(folder.c_str(), folder.c_str(), nullptr, MS_BIND, nullptr) == 0;
}

}  // namespace

bool childCan(const std::function<bool()>& attempt) {
  const pid_t child = fork();
  if (child == 0) _exit(attempt() ? 0 : 1);
  int status = 0;
  return child > 0 && waitpid(child, &status, 0) == child && status == 0;
}

bool mapUser(unsigned inside, uid_t user, gid_t group) {
  const std::string begin = std::to_string(inside) + " ";
  // Without it the kernel does not take a map of groups from an ordinary user.
  return writeProcFile("/proc/self/setgroups", "deny") &&
         writeProcFile("/proc/self/uid_map", begin + std::to_string(user) + " 1") &&
         writeProcFile("/proc/self/gid_map", begin + std::to_string(group) + " 1");
}

bool becomeRoot() {
  // A child tries it first: half of the way there would be no user at all.
  static const bool isRoot =
      geteuid() == 0 || (childCan(enterUserNamespace) && enterUserNamespace());
  return isRoot;
}

bool canChroot() {
  static const bool can = becomeRoot() && childCan(tryChroot);
  return can;
}

bool canChown() {
  static const bool can = [] {
    if (!becomeRoot()) return false;
    const TempFolder folder;
    const std::string file = folder.path() + "/file";
    writeFile(file, "");
    return chown(file.c_str(), 12, 34) == 0;
  }();
  return can;
}

bool canMknod() {
  static const bool can = [] {
    if (!becomeRoot()) return false;
    const TempFolder folder;
    return mknod((folder.path() + "/null").c_str(), S_IFCHR | 0600, makedev(1, 3)) == 0;
  }();
  return can;
}

bool canMount() {
  static const bool can = [] {
    if (!becomeRoot()) return false;
    const TempFolder folder;
    return childCan([&folder] { return tryMounts(folder.path()); });
  }();
  return can;
}

bool canBeTraced() {
  return childCan([] { return ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0; });
}

bool canTrace() {
  static const bool can =
      becomeRoot() && childCan([] {
        execl(kStrace, "strace", "-o", "/dev/null", "/bin/true", static_cast<char*>(nullptr));
        return false;
      });
  return can;
}

bool hasProc() { return exists("/proc/self/fd"); }

bool hasTerminals() {
  const int screen = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  const char* const name = screen < 0 || unlockpt(screen) != 0 ? nullptr : ptsname(screen);
  const int terminal = name ? open(name, O_RDWR | O_NOCTTY | O_CLOEXEC) : -1;
  if (terminal >= 0) close(terminal);
  if (screen >= 0) close(screen);
  return terminal >= 0;
}

bool separateMounts() {
  static const bool taken = canMount() && leaveMounts();
  return taken;
}
