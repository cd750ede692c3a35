#include "tools/tpk/lint/bashcheck.h"

#include "tools/tpk/host/childprocess.h"
#include "tools/tpk/host/hostfile.h"

#include <cstdlib>

#include <sys/resource.h>
#include <unistd.h>

namespace {

enum : int { kCannotRun = 127 };
enum : rlim_t { kSeconds = 10, kMemory = rlim_t{512} << 20 };
// The beginning of what bash says is enough.
enum : std::size_t { kMaxMessage = 2000 };

// In the child. A script is somebody else's: neither time nor memory is without bounds, and nothing
// in the environment tells bash to read something else first.
[[noreturn]] void becomeBash(const std::string& bash, int script, int messages) {
  const struct rlimit seconds = {kSeconds, kSeconds};
  const struct rlimit memory = {kMemory, kMemory};
  ::setrlimit(RLIMIT_CPU, &seconds);
  ::setrlimit(RLIMIT_AS, &memory);
  become({bash, {"bash", "-n"}, {"LC_ALL=C"}, script, messages, messages});
  ::_exit(kCannotRun);
}

// The first line, without the name under which bash speaks.
std::string firstLine(const std::string& text) {
  const std::string line = text.substr(0, text.find('\n'));
  const std::string speaker = "bash: ";
  return line.compare(0, speaker.size(), speaker) == 0 ? line.substr(speaker.size()) : line;
}

}  // namespace

std::string findBash() {
  const char* const path = std::getenv("PATH");
  std::string rest = path ? path : "";
  while (!rest.empty()) {
    const std::size_t end = rest.find(':');
    std::string candidate = rest.substr(0, end) + "/bash";
    rest = end == std::string::npos ? "" : rest.substr(end + 1);
    if (candidate[0] == '/' && ::access(candidate.c_str(), X_OK) == 0) return candidate;
  }
  return std::string();
}

std::optional<std::string> checkSyntax(const std::string& bash, const std::string& script) {
  const OwnedDescriptor input(openTemporaryFile());
  const OwnedDescriptor messages(openTemporaryFile());
  if (!writeWhole(input.get(), script.data(), script.size()) ||
      ::lseek(input.get(), 0, SEEK_SET) != 0)
    failWithErrno("temporary file", "cannot be written");
  const pid_t child = ::fork();
  if (child < 0) failWithErrno(bash, "cannot be started");
  if (child == 0) becomeBash(bash, input.get(), messages.get());
  if (ChildProcess(child).wait() == 0) return std::nullopt;
  const std::string said = firstLine(beginOf(messages.get(), kMaxMessage));
  return said.empty() ? "bash gave up on it" : said;
}
