#include "tools/tpk/try/sandbox.h"

#include "tools/tpk/host/failure.h"
#include "tools/tpk/host/hostfile.h"
#include "tools/tpk/try/backup.h"
#include "tools/tpk/try/callfilter.h"
#include "tools/tpk/try/namespaces.h"
#include "tools/tpk/try/scratchroot.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr char kRootInside[] = "/router";
constexpr char kFlashInside[] = "/router/flash";
constexpr char kInstallerInside[] = "/installer";

// What went wrong in a child before it became another program.
struct SetupFailure {
  const char* step;  // a literal: the child has the same
  int reason;
};

class Pipe {
 public:
  Pipe() {
    if (::pipe2(ends_, O_CLOEXEC) != 0) failWithErrno("pipe", "cannot be made");
  }
  ~Pipe() {
    close(0);
    close(1);
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  void close(int end) {
    if (ends_[end] >= 0) ::close(ends_[end]);
    ends_[end] = -1;
  }
  int from() const { return ends_[0]; }
  int to() const { return ends_[1]; }

 private:
  int ends_[2] = {-1, -1};
};

struct Identity {
  uid_t user = ::geteuid();
  gid_t group = ::getegid();
};

[[noreturn]] void giveUp(int report, const char* step) {
  const SetupFailure failure = {step, errno};
  [[maybe_unused]] const ssize_t ignored = ::write(report, &failure, sizeof failure);
  ::_exit(127);
}

// In the child, which dies with its parent.
void moveAway(const Identity& outside, const ScratchRoot& root, const std::string& program,
              int report) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  const char* step = "";
  if (!becomeRootOfNamespace(outside.user, outside.group, step) ||
      !leaveMachine(root.mountPoint(), root.path(), program, step) || !giveUpPowers(step)) {
    giveUp(report, step);
  }
}

[[noreturn]] void execute(const char* program, const std::vector<std::string>& arguments,
                          int report) {
  std::vector<char*> words;
  words.reserve(arguments.size() + 1);
  for (const std::string& argument : arguments)
    words.push_back(const_cast<char*>(argument.c_str()));
  words.push_back(nullptr);
  char path[] = "PATH=/usr/bin:/bin";
  char locale[] = "LC_ALL=C";
  char* environment[] = {path, locale, nullptr};
  ::execve(program, words.data(), environment);
  giveUp(report, "starting the program");
}

// Nothing of this process stays open in the other.
void redirect(int input, int output, int errors) {
  ::dup2(input, STDIN_FILENO);
  ::dup2(output, STDOUT_FILENO);
  ::dup2(errors, STDERR_FILENO);
  ::close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);
}

int waitFor(pid_t child) {
  int status = 0;
  while (::waitpid(child, &status, 0) < 0 && errno == EINTR) continue;
  return status;
}

// Nothing arrives when the child became another program, or ended of its own will.
bool setupFailed(Pipe& pipe, SetupFailure& failure) {
  pipe.close(1);
  ssize_t got;
  do {
    got = ::read(pipe.from(), &failure, sizeof failure);
  } while (got < 0 && errno == EINTR);
  return got == static_cast<ssize_t>(sizeof failure);
}

std::string text(const SetupFailure& failure) {
  return std::string(failure.step) + ": " + std::strerror(failure.reason);
}

// Empty when the machine permits it.
std::string obstacleToNamespaces(const ScratchRoot& root) {
  const Identity outside;
  Pipe pipe;
  const pid_t child = forkIntoNamespaces();
  if (child < 0) return std::string("namespaces: ") + std::strerror(errno);
  if (child == 0) {
    moveAway(outside, root, {}, pipe.to());
    ::_exit(0);
  }
  SetupFailure failure = {};
  const bool failed = setupFailed(pipe, failure);
  waitFor(child);
  return failed ? text(failure) : "";
}

// The installer would go on in the machine's own root if it could not change it.
bool canChangeRoot(const ScratchRoot& root) {
  if (::geteuid() != 0) return false;
  const pid_t child = ::fork();
  if (child == 0) ::_exit(::chroot(root.path().c_str()) == 0 ? 0 : 1);
  return child > 0 && waitFor(child) == 0;
}

}  // namespace

Sandbox::Sandbox(const ScratchRoot& root) : root_(root), obstacle_(obstacleToNamespaces(root)) {
  if (obstacle_.empty()) return;
  if (!canChangeRoot(root)) {
    throw EnvironmentFailure(
        "the installer needs namespaces of its own, which this machine does "
        "not permit (" +
        obstacle_ + "), or root");
  }
  isolation_ = Isolation::kChangedRoot;
}

bool Sandbox::canRunScripts() const {
  if (isolation_ != Isolation::kNamespaces || !hostFileExists(root_.path(kScriptShell)))
    return false;
  const Identity outside;
  Pipe pipe;
  const pid_t child = forkIntoNamespaces();
  if (child == 0) {
    moveAway(outside, root_, {}, pipe.to());
    if (::chroot(kFlashInside) != 0 || ::chdir("/") != 0) ::_exit(1);
    redirect(pipe.from(), pipe.to(), pipe.to());
    if (!filterSystemCalls(false)) ::_exit(1);
    execute("/bin/bash", {"bash", "-c", ":"}, STDERR_FILENO);
  }
  return child > 0 && waitFor(child) == 0;
}

pid_t Sandbox::start(const Start& what) const {
  const bool isolated = isolation_ == Isolation::kNamespaces;
  const Identity outside;
  Pipe input;
  Pipe report;
  const pid_t child = isolated ? forkIntoNamespaces() : ::fork();
  if (child < 0) failWithErrno(what.program, "cannot be started");
  if (child == 0) {
    ::setsid();
    if (isolated) moveAway(outside, root_, what.program, report.to());
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    redirect(input.from(), what.output, what.errors);
    std::vector<std::string> words = {"installer", "-r", isolated ? kRootInside : root_.path()};
    words.insert(words.end(), what.arguments.begin(), what.arguments.end());
    sigprocmask(SIG_SETMASK, &what.signals, nullptr);
    if (!filterSystemCalls(isolated && what.scripts)) giveUp(report.to(), "a filter of calls");
    execute(isolated ? kInstallerInside : what.program.c_str(), words, report.to());
  }
  SetupFailure failure = {};
  if (!setupFailed(report, failure)) return child;
  waitFor(child);
  throw EnvironmentFailure(what.program + ": cannot be started: " + text(failure));
}
