// What the kernel answers to a process behind the filter of calls. Each test asks in a child.
#include "tools/tpk/try/callfilter.h"

#include "tests/support/tree.h"

#include <cerrno>
#include <csignal>
#include <functional>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// Its wait status. An attempt that goes as it should returns true.
int inChild(const std::function<bool()>& attempt) {
  const pid_t child = fork();
  if (child == 0) _exit(attempt() ? 0 : 1);
  int status = -1;
  return child > 0 && waitpid(child, &status, 0) == child ? status : -1;
}

int filtered(bool allowForks, const std::function<bool()>& attempt) {
  return inChild([&] { return filterSystemCalls(allowForks) && attempt(); });
}

#define NEEDS_FILTERS()                         \
  if (filtered(true, [] { return true; }) != 0) \
  GTEST_SKIP() << "filters of system calls are not permitted here"

bool missing(const std::string& path) {
  struct stat status;
  return lstat(path.c_str(), &status) != 0 && errno == ENOENT;
}

TEST(CallFilter, DevicesArePretended) {
  NEEDS_FILTERS();
  const TempFolder temp;
  const std::string path = temp.path() + "/node";
  const auto pretends = [&](mode_t type) {
    bool good = mknod(path.c_str(), type | 0600, makedev(1, 3)) == 0 &&
                mknodat(AT_FDCWD, path.c_str(), type | 07777, 0) == 0;
#ifdef __NR_mknod
    good = good && syscall(__NR_mknod, path.c_str(), type | 0600, 0) == 0;
#endif
    return good && missing(path);
  };
  EXPECT_EQ(filtered(true, [&] { return pretends(S_IFCHR); }), 0);
  EXPECT_EQ(filtered(true, [&] { return pretends(S_IFBLK); }), 0);
}

TEST(CallFilter, OtherNodesAreMade) {
  NEEDS_FILTERS();
  const TempFolder temp;
  const std::string path = temp.path() + "/node";
  EXPECT_EQ(filtered(true,
                     [&] {
                       return mknod((path + "1").c_str(), S_IFIFO | 0600, 0) == 0 &&
                              mknodat(AT_FDCWD, (path + "2").c_str(), S_IFREG | 0600, 0) == 0 &&
                              mknodat(AT_FDCWD, (path + "3").c_str(), S_IFSOCK | 0600, 0) == 0;
                     }),
            0);
  EXPECT_EQ(listTree(temp.path(), 0), "/node1 fifo\n/node2 file\n/node3 socket\n");
}

TEST(CallFilter, ForksAreRefusedOnRequest) {
  NEEDS_FILTERS();
  const auto forks = [] {
    const pid_t child = fork();
    if (child == 0) _exit(0);
    return child > 0 && waitpid(child, nullptr, 0) == child;
  };
  EXPECT_EQ(filtered(true, forks), 0);
  EXPECT_EQ(filtered(false, [&] { return !forks() && errno == EPERM; }), 0);
  EXPECT_EQ(filtered(false, [] { return syscall(__NR_clone3, nullptr, 0) < 0 && errno == EPERM; }),
            0);
#ifdef __NR_vfork
  EXPECT_EQ(filtered(false, [] { return syscall(__NR_vfork) < 0 && errno == EPERM; }), 0);
#endif
}

TEST(CallFilter, IsInheritedAndGivesNoNewPrivileges) {
  NEEDS_FILTERS();
  const auto pretended = [] { return mknod("/", S_IFCHR, 0) == 0; };
  EXPECT_EQ(filtered(true, [&] { return inChild(pretended) == 0; }), 0);
  EXPECT_EQ(filtered(true, [] { return prctl(PR_GET_NO_NEW_PRIVS, 0, 0, 0, 0) == 1; }), 0);
}

#ifdef __x86_64__
// The same calls under other numbers would not be looked at.
TEST(CallFilter, CallsOfAnotherKindOfProgramEndIt) {
  NEEDS_FILTERS();
  enum : long { kOtherNumbers = 0x40000000 };
  const int status = filtered(true, [] { return syscall(kOtherNumbers | __NR_getpid) != 0; });
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGSYS) << status;
  const int compatible = filtered(true, [] {
    enum : long { kGetPid = 20 };  // of a 32-bit program
    long result = kGetPid;
    asm volatile("int $0x80" : "+a"(result) : : "memory");
    return true;
  });
  // SIGSEGV where the kernel knows no such programs.
  EXPECT_TRUE(WIFSIGNALED(compatible)) << compatible;
}
#endif

}  // namespace
