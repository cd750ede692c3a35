// What the test process may do. Router roots need chroot(): an ordinary user gets a user namespace
// of its own, in which it is root.
#pragma once

#include <functional>

#include <sys/types.h>

constexpr char kStrace[] = "/usr/bin/strace";

// Whether a child process succeeds with something that would change this one.
bool childCan(const std::function<bool()>& attempt);

// Makes the process root of a user namespace when it is not root already; only the first call does
// anything. To be called while the process has one thread. False when the system forbids it.
bool becomeRoot();

// In a user namespace that has nobody yet: user and group, as they are outside, have this number.
bool mapUser(unsigned inside, uid_t user, gid_t group);

// All of these call becomeRoot() first.
bool canChroot();
// Whether files can be given to other users: not in a user namespace with one user.
bool canChown();
// Whether device nodes can be made.
bool canMknod();
// Whether a child process can have mounts of its own.
bool canMount();

// Whether a process may look into another one.
bool canBeTraced();

// Whether strace is there and may do its work.
bool canTrace();

// Whether open files have paths: not in a root that only chroot made, where /proc is empty.
bool hasProc();
// Whether there are terminals to be had: they are mounted, too.
bool hasTerminals();

// Gives the process mounts of its own, so that what it mounts is gone when it ends; only the first
// call does anything. False when that is forbidden.
bool separateMounts();

// Skip the running test, saying why; only in the body of a test.
#define NEEDS_CHROOT() \
  if (!canChroot()) GTEST_SKIP() << "chroot is not permitted, and no user namespace either"
#define NEEDS_CHOWN() \
  if (!canChown()) GTEST_SKIP() << "files cannot be given to other users here"
#define NEEDS_MKNOD() \
  if (!canMknod()) GTEST_SKIP() << "device nodes cannot be made here"
#define NEEDS_MOUNT() \
  if (!canMount()) GTEST_SKIP() << "mounts are not permitted here"
#define NEEDS_PROC() \
  if (!hasProc()) GTEST_SKIP() << "/proc is not mounted here"
#define NEEDS_TERMINALS() \
  if (!hasTerminals()) GTEST_SKIP() << "no terminal can be opened here"
#define NEEDS_TRACING() \
  if (!canBeTraced()) GTEST_SKIP() << "processes may not be traced here"
