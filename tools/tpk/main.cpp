// tpk: makes, signs and inspects packages. Exit status: tools/tpk/host/exitstatus.h.
#include "tools/tpk/command/commandline.h"
#include "tools/tpk/host/exitstatus.h"
#include "tools/tpk/host/failure.h"
#include "tools/tpk/host/hostfile.h"
#include "tools/tpk/host/printable.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <iostream>

#include <fcntl.h>
#include <unistd.h>

namespace {

// A file that is opened in the place of a closed standard stream would get what is meant for that
// one. What stands in for it cannot be written, so that lost output is noticed.
void fillStandardStreams() {
  int opened = 0;
  while (opened >= 0 && opened <= STDERR_FILENO) opened = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
  if (opened >= 0) ::close(opened);
}

// Whoever started this may have ignored the end of children: none could be waited for.
void watchChildren() { std::signal(SIGCHLD, SIG_DFL); }

// Commands print as they go; what could not be printed shows here at the latest.
void finishStandardOutput() {
  errno = 0;
  if (!std::cout.flush() || std::fflush(stdout) != 0 || std::ferror(stdout))
    failWithErrno("standard output", "cannot be written");
}

int report(const std::exception& failure, ExitStatus status) {
  std::fprintf(stderr, "tpk: %s\n", consoleText(failure.what()).c_str());
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    fillStandardStreams();
    watchChildren();
    const int status = runCommandLine(argc, argv);
    finishStandardOutput();
    return status;
  } catch (const EnvironmentFailure& failure) {
    return report(failure, kEnvironment);
  } catch (const UsageFailure& failure) {
    return report(failure, kUsage);
  } catch (const Failure& failure) {
    return report(failure, kBad);
  } catch (const std::exception& failure) {
    return report(failure, kEnvironment);
  }
}
