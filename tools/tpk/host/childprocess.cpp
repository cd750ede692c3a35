#include "tools/tpk/host/childprocess.h"

#include "tools/tpk/host/hostfile.h"

#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

std::vector<char*> pointersTo(const std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (const std::string& text : texts) pointers.push_back(const_cast<char*>(text.c_str()));
  pointers.push_back(nullptr);
  return pointers;
}

}  // namespace

Pipe::Pipe() {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) failWithErrno("pipe", "cannot be made");
  from.reset(ends[0]);
  to.reset(ends[1]);
}

ChildProcess::ChildProcess(ChildProcess&& other) noexcept : id_(other.id_) { other.id_ = 0; }

ChildProcess::~ChildProcess() {
  if (id_ <= 0) return;
  ::kill(id_, SIGKILL);
  while (::waitpid(id_, nullptr, 0) < 0 && errno == EINTR) continue;
}

int ChildProcess::wait() {
  int status = 0;
  while (::waitpid(id_, &status, 0) < 0)
    if (errno != EINTR) failWithErrno("a child process", "cannot be waited for");
  id_ = 0;
  return status;
}

int ChildProcess::end() {
  ::kill(id_, SIGKILL);
  return wait();
}

void become(const NewProgram& program) {
  if (::dup2(program.input, STDIN_FILENO) < 0 || ::dup2(program.output, STDOUT_FILENO) < 0 ||
      ::dup2(program.errors, STDERR_FILENO) < 0)
    return;
  // What others left open; a kernel that does not know the call leaves it so.
  ::close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);
  ::execve(program.path.c_str(), pointersTo(program.words).data(),
           pointersTo(program.environment).data());
}
