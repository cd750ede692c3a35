#include "tests/support/systemcalls.h"

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <utility>

#include <dlfcn.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

struct Failure {
  int error = 0;
  unsigned working = 0;  // calls before the first that fails
  unsigned count = 0;    // calls that fail
};

Failure failures[static_cast<std::size_t>(SystemCall::kCount)];

std::function<void()>& syncAction() {
  static std::function<void()> action;
  return action;
}

Failure& failureOf(SystemCall call) { return failures[static_cast<std::size_t>(call)]; }

// Whether this call is to fail; sets errno when it is.
bool fails(SystemCall call) {
  Failure& failure = failureOf(call);
  if (failure.count == 0) return false;
  if (failure.working > 0) {
    --failure.working;
    return false;
  }
  --failure.count;
  errno = failure.error;
  return true;
}

bool isRegular(int file) {
  struct stat info;
  return file > STDERR_FILENO && fstat(file, &info) == 0 && S_ISREG(info.st_mode);
}

// The system's own.
template <typename Function>
Function* real(const char* name) {
  void* const found = dlsym(RTLD_NEXT, name);
  if (!found) std::abort();
  return reinterpret_cast<Function*>(found);
}

}  // namespace

void failCall(SystemCall call, int error, unsigned working) {
  failureOf(call) = {error, working, 1};
}

void failCalls(SystemCall call, int error, unsigned count) { failureOf(call) = {error, 0, count}; }

bool healCalls() {
  bool came = true;
  for (Failure& failure : failures) {
    came = came && failure.count == 0;
    failure = Failure();
  }
  onSync(nullptr);
  return came;
}

void onSync(std::function<void()> action) { syncAction() = std::move(action); }

extern "C" {

ssize_t write(int file, const void* data, size_t count) {
  static const auto call = real<ssize_t(int, const void*, size_t)>("write");
  if (failureOf(SystemCall::kWrite).count > 0 && isRegular(file) && fails(SystemCall::kWrite))
    return -1;
  return call(file, data, count);
}

// A close that fails has closed the file all the same.
int close(int file) {
  static const auto call = real<int(int)>("close");
  const bool failing =
      failureOf(SystemCall::kClose).count > 0 && isRegular(file) && fails(SystemCall::kClose);
  const int error = errno;
  const int result = call(file);
  if (failing) errno = error;
  return failing ? -1 : result;
}

int chmod(const char* path, mode_t mode) noexcept {
  static const auto call = real<int(const char*, mode_t)>("chmod");
  return fails(SystemCall::kChmod) ? -1 : call(path, mode);
}

pid_t fork() noexcept {
  static const auto call = real<pid_t()>("fork");
  return fails(SystemCall::kFork) ? -1 : call();
}

pid_t waitpid(pid_t child, int* status, int options) {
  static const auto call = real<pid_t(pid_t, int*, int)>("waitpid");
  return fails(SystemCall::kWaitpid) ? -1 : call(child, status, options);
}

void sync() noexcept {
  if (syncAction()) syncAction()();
}
}
