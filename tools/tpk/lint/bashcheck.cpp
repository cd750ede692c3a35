#include "tools/tpk/lint/bashcheck.h"

#include "tools/tpk/host/hostfile.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

enum : int { kCannotRun = 127 };
enum : rlim_t { kSeconds = 10, kMemory = rlim_t{512} << 20 };
// The beginning of what bash says is enough.
enum : std::size_t { kMaxMessage = 2000 };

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

File temporaryFile() {
  File file(std::tmpfile());
  if (!file) failWithErrno("temporary file", "cannot be created");
  return file;
}

// In the child. A script is somebody else's: neither time nor memory is without bounds, and nothing
// in the environment tells bash to read something else first.
[[noreturn]] void execBash(const std::string& bash, int script, int messages) {
  const struct rlimit seconds = {kSeconds, kSeconds};
  const struct rlimit memory = {kMemory, kMemory};
  ::setrlimit(RLIMIT_CPU, &seconds);
  ::setrlimit(RLIMIT_AS, &memory);
  char* const environment[] = {const_cast<char*>("LC_ALL=C"), nullptr};
  char* const words[] = {const_cast<char*>("bash"), const_cast<char*>("-n"), nullptr};
  if (::dup2(script, STDIN_FILENO) >= 0 && ::dup2(messages, STDOUT_FILENO) >= 0 &&
      ::dup2(messages, STDERR_FILENO) >= 0)
    ::execve(bash.c_str(), words, environment);
  ::_exit(kCannotRun);
}

int waitFor(pid_t child, const std::string& bash) {
  int status = 0;
  while (::waitpid(child, &status, 0) < 0)
    if (errno != EINTR) failWithErrno(bash, "cannot be waited for");
  return status;
}

std::string contents(std::FILE* file) {
  std::rewind(file);
  std::string text(kMaxMessage, '\0');
  text.resize(std::fread(text.data(), 1, text.size(), file));
  return text;
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
  const File input = temporaryFile();
  const File messages = temporaryFile();
  if (std::fwrite(script.data(), 1, script.size(), input.get()) != script.size() ||
      std::fflush(input.get()) != 0)
    failWithErrno("temporary file", "cannot be written");
  std::rewind(input.get());
  const pid_t child = ::fork();
  if (child < 0) failWithErrno(bash, "cannot be started");
  if (child == 0) execBash(bash, ::fileno(input.get()), ::fileno(messages.get()));
  const int status = waitFor(child, bash);
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return std::nullopt;
  const std::string said = firstLine(contents(messages.get()));
  return said.empty() ? "bash gave up on it" : said;
}
