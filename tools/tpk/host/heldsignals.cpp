#include "tools/tpk/host/heldsignals.h"

#include "tools/tpk/host/failure.h"

#include <sys/signalfd.h>
#include <unistd.h>

HeldSignals::HeldSignals() {
  sigemptyset(&held_);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) sigaddset(&held_, signal);
  sigprocmask(SIG_BLOCK, &held_, &former_);
  descriptor_ = ::signalfd(-1, &held_, SFD_CLOEXEC);
}

HeldSignals::~HeldSignals() {
  if (descriptor_ >= 0) ::close(descriptor_);
  sigprocmask(SIG_SETMASK, &former_, nullptr);
}

void HeldSignals::check() const {
  sigset_t pending;
  sigpending(&pending);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
    if (sigismember(&pending, signal) && sigismember(&held_, signal))
      throw EnvironmentFailure("interrupted");
  }
}
