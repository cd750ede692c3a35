#include "tools/tpk/try/sandbox.h"

#include "tools/tpk/host/failure.h"
#include "tools/tpk/host/hostfile.h"
#include "tools/tpk/try/backup.h"
#include "tools/tpk/try/callfilter.h"
#include "tools/tpk/try/namespaces.h"
#include "tools/tpk/try/scratchroot.h"

#include <cerrno>
#include <cstring>

#include <sys/prctl.h>
#include <unistd.h>

namespace {

constexpr char kRootInside[] = "/router";
constexpr char kFlashInside[] = "/router/flash";
constexpr char kInstallerInside[] = "/installer";

const std::vector<std::string> kEnvironment = {"PATH=/usr/bin:/bin", "LC_ALL=C"};

// What went wrong in a child before it became another program.
struct SetupFailure {
  const char* step;  // a literal: the child has the same
  int reason;
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

// Nothing arrives when the child became another program, or ended of its own will.
bool setupFailed(Pipe& pipe, SetupFailure& failure) {
  pipe.to.reset();
  return readSome(pipe.from.get(), reinterpret_cast<char*>(&failure), sizeof failure) ==
         static_cast<ssize_t>(sizeof failure);
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
    moveAway(outside, root, {}, pipe.to.get());
    ::_exit(0);
  }
  const ChildProcess process(child);
  SetupFailure failure = {};
  return setupFailed(pipe, failure) ? text(failure) : "";
}

// The installer would go on in the machine's own root if it could not change it.
bool canChangeRoot(const ScratchRoot& root) {
  if (::geteuid() != 0) return false;
  const pid_t child = ::fork();
  if (child == 0) ::_exit(::chroot(root.path().c_str()) == 0 ? 0 : 1);
  return child > 0 && ChildProcess(child).wait() == 0;
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
    const int said = pipe.to.get();
    moveAway(outside, root_, {}, said);
    if (::chroot(kFlashInside) == 0 && ::chdir("/") == 0 && filterSystemCalls(false))
      become({"/bin/bash", {"bash", "-c", ":"}, kEnvironment, pipe.from.get(), said, said});
    ::_exit(1);
  }
  return child > 0 && ChildProcess(child).wait() == 0;
}

ChildProcess Sandbox::start(const Start& what) const {
  const bool isolated = isolation_ == Isolation::kNamespaces;
  const Identity outside;
  Pipe input;
  Pipe report;
  const pid_t child = isolated ? forkIntoNamespaces() : ::fork();
  if (child < 0) failWithErrno(what.program, "cannot be started");
  if (child == 0) {
    ::setsid();
    if (isolated) moveAway(outside, root_, what.program, report.to.get());
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    std::vector<std::string> words = {"installer", "-r", isolated ? kRootInside : root_.path()};
    words.insert(words.end(), what.arguments.begin(), what.arguments.end());
    sigprocmask(SIG_SETMASK, &what.signals, nullptr);
    if (!filterSystemCalls(isolated && what.scripts)) giveUp(report.to.get(), "a filter of calls");
    become({isolated ? kInstallerInside : what.program, words, kEnvironment, input.from.get(),
            what.output, what.errors});
    giveUp(report.to.get(), "starting the program");
  }
  ChildProcess process(child);
  SetupFailure failure = {};
  if (!setupFailed(report, failure)) return process;
  throw EnvironmentFailure(what.program + ": cannot be started: " + text(failure));
}
