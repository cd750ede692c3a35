#include "tests/support/process.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

struct Pipe {
  Pipe() {
    if (pipe2(ends, O_CLOEXEC) != 0) std::abort();
  }
  int ends[2];
};

std::vector<char*> pointersTo(const std::vector<std::string>& words) {
  std::vector<char*> pointers;
  // execve() takes pointers to non-const characters and does not write to them.
  for (const std::string& word : words) pointers.push_back(const_cast<char*>(word.c_str()));
  pointers.push_back(nullptr);
  return pointers;
}

[[noreturn]] void failChild(const char* what) {
  std::fprintf(stderr, "test harness: %s: %s\n", what, std::strerror(errno));
  std::fflush(stderr);
  _exit(126);
}

struct Ends {
  int in;
  int out;
  int err;
};

// In the child. Signals that a test executable ignores are not to be ignored by the program.
[[noreturn]] void runChild(const Command& command, char* const* words, char* const* environment,
                           const Ends& ends) {
  setpgid(0, 0);
  if (dup2(ends.in, 0) < 0 || dup2(ends.out, 1) < 0 || dup2(ends.err, 2) < 0) failChild("dup2");
  std::signal(SIGPIPE, SIG_DFL);
  if (command.mask) umask(*command.mask);
  if (!command.folder.empty() && chdir(command.folder.c_str()) != 0) failChild("chdir");
  if (command.prepare && !command.prepare()) failChild("preparing the child");
  execve(words[0], words, environment);
  failChild(words[0]);
}

// To copy what a sanitized test executable has mapped takes as long as many a program runs. The
// copy is needed only where the child does what the test says; the rest are calls that change the
// child alone, and nothing in the memory that it then shares with the test.
pid_t startChild(const Command& command, const Ends& ends) {
  const std::vector<char*> words = pointersTo(command.words);
  const std::vector<char*> environment = pointersTo(command.environment);
  const pid_t id = command.prepare ? fork() : vfork();
  if (id == 0) runChild(command, words.data(), environment.data(), ends);
  return id;
}

void closeEnd(int& descriptor) {
  if (descriptor >= 0) close(descriptor);
  descriptor = -1;
}

}  // namespace

std::string visible(const std::string& text) {
  std::string result;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    char code[8];
    if (c == '\r') {
      result += "\\r";
    } else if (c == '\n' || (byte >= 32 && byte < 127)) {
      result += c;
    } else {
      std::snprintf(code, sizeof code, "\\x%02x", static_cast<unsigned>(byte));
      result += code;
    }
  }
  return result;
}

std::ostream& operator<<(std::ostream& out, const ProcessResult& result) {
  if (result.timedOut) {
    out << "took too long";
  } else if (result.signal != 0) {
    out << "ended by signal " << result.signal;
  } else {
    out << "exit status " << result.status;
  }
  return out << "\nstandard output:\n"
             << visible(result.out) << "\nstandard error:\n"
             << visible(result.err);
}

Process::Process(const Command& command) : input_(command.input) {
  std::signal(SIGPIPE, SIG_IGN);
  Pipe in;
  Pipe out;
  Pipe err;
  id_ = startChild(command, {in.ends[0], out.ends[1], err.ends[1]});
  close(in.ends[0]);
  close(out.ends[1]);
  close(err.ends[1]);
  in_ = in.ends[1];
  out_ = out.ends[0];
  err_ = err.ends[0];
  if (id_ < 0) std::abort();
  // Both do it: the group exists before either goes on.
  setpgid(id_, id_);
  fcntl(in_, F_SETFL, O_NONBLOCK);
  fcntl(out_, F_SETFL, O_NONBLOCK);
  fcntl(err_, F_SETFL, O_NONBLOCK);
}

Process::~Process() {
  reap(true);
  closeEnd(in_);
  closeEnd(out_);
  closeEnd(err_);
}

void Process::reap(bool killFirst) {
  if (id_ < 0) return;
  if (killFirst) kill(-id_, SIGKILL);
  int status = 0;
  while (waitpid(id_, &status, 0) < 0 && errno == EINTR) {
  }
  // What the program left running must not outlive the test.
  kill(-id_, SIGKILL);
  id_ = -1;
  if (WIFEXITED(status)) result_.status = WEXITSTATUS(status);
  if (WIFSIGNALED(status)) result_.signal = WTERMSIG(status);
}

void Process::feed() {
  while (fed_ < input_.size()) {
    const ssize_t written = write(in_, input_.data() + fed_, input_.size() - fed_);
    if (written < 0 && errno == EAGAIN) return;
    if (written < 0) break;  // the program reads no further
    fed_ += static_cast<std::size_t>(written);
  }
  closeEnd(in_);
}

void Process::drain(int& from, std::string& to) {
  char chunk[16384];
  for (;;) {
    const ssize_t got = read(from, chunk, sizeof chunk);
    if (got > 0) {
      to.append(chunk, static_cast<std::size_t>(got));
    } else if (got < 0 && (errno == EAGAIN || errno == EINTR)) {
      return;
    } else {
      closeEnd(from);
      return;
    }
  }
}

// One round of input and output; false at the end of both outputs, or when the time is over.
bool Process::pump(std::chrono::steady_clock::time_point deadline) {
  if (out_ < 0 && err_ < 0) return false;
  const auto left =
      std::chrono::duration_cast<Milliseconds>(deadline - std::chrono::steady_clock::now());
  if (left.count() <= 0) return false;
  // poll() passes over descriptors below 0.
  pollfd ends[] = {{in_, POLLOUT, 0}, {out_, POLLIN, 0}, {err_, POLLIN, 0}};
  if (poll(ends, 3, static_cast<int>(left.count())) <= 0) return true;
  if (ends[0].revents != 0) feed();
  if (ends[1].revents != 0) drain(out_, result_.out);
  if (ends[2].revents != 0) drain(err_, result_.err);
  return true;
}

bool Process::waitForOutput(const std::string& text, Milliseconds limit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (result_.out.find(text) == std::string::npos) {
    if (!pump(deadline)) return false;
  }
  return true;
}

ProcessResult Process::wait(Milliseconds limit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (pump(deadline)) {
  }
  result_.timedOut = out_ >= 0 || err_ >= 0;
  reap(result_.timedOut);
  return result_;
}

// Not from /proc, which need not be there.
std::chrono::nanoseconds Process::processorTime() const {
  clockid_t clock = 0;
  timespec time = {};
  if (clock_getcpuclockid(id_, &clock) != 0 || clock_gettime(clock, &time) != 0)
    return std::chrono::nanoseconds(-1);
  return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}
