#include "main/modes.h"
#include "main/options.h"
#include "repo/repo.h"

#include <csignal>

#include <fcntl.h>
#include <unistd.h>

namespace {

// A caller may have closed some of the three: what is opened next must not take the place of the
// console.
void holdStandardDescriptors() {
  int descriptor;
  do {
    descriptor = open("/dev/null", O_RDWR);
  } while (descriptor >= 0 && descriptor <= 2);
  if (descriptor > 2) close(descriptor);
}

}  // namespace

int main(int argc, char** argv) {
  holdStandardDescriptors();
  // A console that is gone is no reason to stop in the middle of an installation.
  std::signal(SIGPIPE, SIG_IGN);
  Repo::getRepo();
  Options options;
  if (!parseOptions(argc, argv, options)) {
    printUsage();
    return 0;
  }
  return run(options);
}
