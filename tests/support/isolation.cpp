#include "tests/support/isolation.h"

#include "tests/support/privilege.h"
#include "tests/support/tree.h"

#include <cerrno>
#include <csignal>
#include <cstring>

#include <fcntl.h>
#include <linux/capability.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

struct Obstacle {
  const char* step;  // a literal: the child has the same
  int reason;
};

bool moveAway(const std::string& folder, uid_t user, gid_t group, const char*& step) {
  step = "a user namespace";
  if (!mapUser(0, user, group)) return false;
  step = "mounts of its own";
  if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return false;
  if (mount("ram", folder.c_str(), "tmpfs", MS_NOSUID | MS_NODEV, "size=64k") != 0) return false;
  step = "mounting the scratch root";
  const std::string usr = folder + "/usr";
  struct mount_attr attributes = {};
  attributes.attr_set = MOUNT_ATTR_NOSUID | MOUNT_ATTR_NODEV | MOUNT_ATTR_RDONLY;
  if (mkdir(usr.c_str(), 0755) != 0 ||
      mount("/usr", usr.c_str(), nullptr, MS_BIND | MS_REC, nullptr) != 0 ||
      mount_setattr(AT_FDCWD, usr.c_str(), AT_RECURSIVE, &attributes, sizeof attributes) != 0) {
    return false;
  }
  step = "changing the root";
  if (chdir(folder.c_str()) != 0 || syscall(SYS_pivot_root, ".", ".") != 0 ||
      umount2(".", MNT_DETACH) != 0) {
    return false;
  }
  step = "giving up capabilities";
  return prctl(PR_CAPBSET_DROP, CAP_SYS_ADMIN, 0, 0, 0) == 0;
}

[[noreturn]] void report(int to, const char* step) {
  const Obstacle obstacle = {step, errno};
  _exit(write(to, &obstacle, sizeof obstacle) == sizeof obstacle ? 1 : 2);
}

std::string text(const Obstacle& obstacle) {
  return std::string(obstacle.step) + ": " + std::strerror(obstacle.reason);
}

std::string findObstacle() {
  becomeRoot();
  const TempFolder folder;
  const uid_t user = geteuid();
  const gid_t group = getegid();
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return "no pipe";
  const unsigned long flags = CLONE_NEWUSER | CLONE_NEWNS | CLONE_NEWPID | CLONE_NEWNET |
                              CLONE_NEWIPC | CLONE_NEWUTS | SIGCHLD;
  const pid_t child =
      static_cast<pid_t>(syscall(SYS_clone, flags, nullptr, nullptr, nullptr, nullptr));
  if (child == 0) {
    const char* step = "";
    if (!moveAway(folder.path(), user, group, step)) report(ends[1], step);
    _exit(0);
  }
  Obstacle obstacle = {"namespaces", errno};
  close(ends[1]);
  const bool failed = child < 0 || read(ends[0], &obstacle, sizeof obstacle) == sizeof obstacle;
  close(ends[0]);
  int status = 0;
  while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) continue;
  return failed ? text(obstacle) : "";
}

}  // namespace

const std::string& obstacleToIsolation() {
  static const std::string obstacle = findObstacle();
  return obstacle;
}

std::string noteOfIsolation() {
  const std::string& obstacle = obstacleToIsolation();
  return obstacle.empty()
             ? ""
             : "this machine permits no namespaces (" + obstacle + "): only the root was changed";
}
