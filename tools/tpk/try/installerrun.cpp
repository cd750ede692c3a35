#include "tools/tpk/try/installerrun.h"

#include "model/packagefile.h"
#include "tools/tpk/host/childprocess.h"
#include "tools/tpk/host/failure.h"
#include "tools/tpk/host/heldsignals.h"
#include "tools/tpk/host/hostfile.h"
#include "tools/tpk/host/printable.h"
#include "tools/tpk/try/consoletext.h"
#include "tools/tpk/try/sandbox.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>

#include <poll.h>
#include <sys/auxv.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// In a build folder, beside it, and where distributions put what only root runs.
constexpr const char* kPlaces[] = {"/../../installer", "/installer", "/../sbin/installer",
                                   "/../../sbin/installer"};
constexpr char kRouterLost[] = "\nERROR: router installation failed!!!\nPlease, reinstall.\n";
constexpr char kUsage[] = "usage: installer ";

// Status lines of hundreds of packages are far less.
enum : std::size_t { kLongestOutput = 256u << 20, kLongestReason = 1000 };

bool endsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

class Output {
 public:
  // Until the process ends, or has said its last word.
  void readAll(Pipe& pipe, const HeldSignals& signals);
  const std::string& text() const { return text_; }
  bool routerLost() const { return endsWith(text_, kRouterLost); }

 private:
  bool read(int from);

  std::string text_;
};

bool Output::read(int from) {
  std::array<char, 65536> chunk;
  const ssize_t got = readSome(from, chunk.data(), chunk.size());
  if (got <= 0) return false;
  text_.append(chunk.data(), static_cast<std::size_t>(got));
  if (text_.size() > kLongestOutput)
    throw EnvironmentFailure("the installer does not stop writing to its console");
  return true;
}

void Output::readAll(Pipe& pipe, const HeldSignals& signals) {
  pipe.to.reset();
  for (;;) {
    pollfd waiting[] = {{pipe.from.get(), POLLIN, 0}, {signals.descriptor(), POLLIN, 0}};
    if (::poll(waiting, 2, -1) < 0 && errno != EINTR) failWithErrno("poll", "fails");
    signals.check();
    if (waiting[0].revents != 0 && !read(pipe.from.get())) return;
    if (routerLost()) return;
  }
}

// What the system or a library said of the program itself; the begin, without line ends behind.
std::string reasonIn(const OwnedDescriptor& errors) {
  std::string begin = beginOf(errors.get(), kLongestReason);
  begin.erase(begin.find_last_not_of('\n') + 1);
  return begin;
}

std::string howItEnded(int status) {
  return WIFSIGNALED(status) ? "signal " + std::to_string(WTERMSIG(status))
                             : "exit status " + std::to_string(WEXITSTATUS(status));
}

std::string realPath(const char* path) {
  char* const found = ::realpath(path, nullptr);
  std::string result = found ? found : "";
  std::free(found);
  return result;
}

// This program; empty when nobody knows. Where /proc is not mounted it is what execve() was told.
std::string ownPath() {
  std::string path = realPath("/proc/self/exe");
  if (!path.empty()) return path;
  // NOLINTNEXTLINE: the kernel hands addresses over as numbers
  const char* const told = reinterpret_cast<const char*>(::getauxval(AT_EXECFN));
  return told ? realPath(told) : std::string();
}

}  // namespace

std::string findInstaller() {
  const std::string program = ownPath();
  if (!program.empty()) {
    const std::string folder = program.substr(0, program.rfind('/'));
    for (const char* const place : kPlaces) {
      std::string candidate = folder + place;
      if (!isHostDirectory(candidate) && ::access(candidate.c_str(), X_OK) == 0) return candidate;
    }
  }
  throw EnvironmentFailure("no installer beside this program: name one with --installer");
}

void checkInstallerOptions(const std::vector<std::string>& options) {
  const auto leadsElsewhere = [](const std::string& option) {
    return option == "-" || option == "-r" || option == "--show" || option == "--filegc" ||
           option == "--cleanup" || hasPostfix(option, kPackageSuffix);
  };
  const auto found = std::find_if(options.begin(), options.end(), leadsElsewhere);
  if (found != options.end())
    throw UsageFailure(*found +
                       ": the installer is tried on files that were dropped, without this");
}

InstallerRun runInstaller(const Sandbox& sandbox, const std::string& program,
                          const std::vector<std::string>& options, bool scripts,
                          const HeldSignals& signals) {
  Pipe pipe;
  const OwnedDescriptor errors(openTemporaryFile());
  Sandbox::Start start;
  start.program = program;
  start.arguments = options;
  start.scripts = scripts;
  start.output = pipe.to.get();
  start.errors = errors.get();
  start.signals = signals.former();
  ChildProcess process = sandbox.start(start);
  Output output;
  output.readAll(pipe, signals);
  InstallerRun run;
  run.routerLost = output.routerLost();
  run.messages = consoleLines(output.text());
  const int status = run.routerLost ? process.end() : process.wait();
  if (output.text().find(kUsage) == 0)
    throw UsageFailure(program + ": does not know these options");
  if (!run.routerLost && status != 0) {
    const std::string text = reasonIn(errors);
    throw EnvironmentFailure(program + ": ended with " + howItEnded(status) +
                             (text.empty() ? "" : ": " + printable(text)));
  }
  return run;
}
