#include "package/package.h"
#include "repo/console.h"
#include "stream/ipackstream.h"
#include "stream/outputfile.h"
#include "stream/readbytes.h"
#include "stream/text.h"

#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr char kShell[] = "/bin/bash";
constexpr char kPrologue[] =
    "#!/bin/bash\n"
    "\n"
    ". /tarn/lib/install/profile.sh\n"
    "\n";
constexpr mode_t kScriptMode = 0755;
enum : int { kExecFailed = 127 };

void onChildExit(int) {}

// A child can only be waited for when its end is not ignored, as whoever started this process may
// have asked for.
void watchChildren() {
  struct sigaction action = {};
  action.sa_handler = onChildExit;
  sigemptyset(&action.sa_mask);
  action.sa_flags = static_cast<int>(SA_RESETHAND | SA_RESTART);
  sigaction(SIGCHLD, &action, nullptr);
}

// A package may be coming in through standard input: it is not the script's to read. An empty pipe
// needs no device, which a root for trying things out may lack.
void detachInput() {
  int none[2];
  if (pipe(none) != 0) return;
  close(none[1]);
  dup2(none[0], STDIN_FILENO);
  if (none[0] != STDIN_FILENO) close(none[0]);
}

// What the shell itself has to say is no more for the console than what the script says: it starts
// in a working directory that it cannot see from its root, and complains.
void detachOutput() {
  const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (null < 0) return;
  dup2(null, STDOUT_FILENO);
  dup2(null, STDERR_FILENO);
}

// In the child; the flash file system is what the script sees as its root.
[[noreturn]] void execOnFlash(const std::string& command) {
  detachInput();
  detachOutput();
  [[maybe_unused]] const int ignored = chroot(kFlashRoot);
  // Ignored by the installer for its own sake; scripts expect pipes to end them.
  std::signal(SIGPIPE, SIG_DFL);
  execl(kShell, "bash", "-c", command.c_str(), static_cast<char*>(nullptr));
  _exit(kExecFailed);
}

bool waitForSuccess(pid_t child) {
  int status = 0;
  pid_t done;
  do {
    done = waitpid(child, &status, 0);
  } while (done < 0 && errno == EINTR);
  return done == child && status == 0;
}

bool runOnFlash(const std::string& command) {
  watchChildren();
  const pid_t child = fork();
  if (child == 0) execOnFlash(command);
  return child > 0 && waitForSuccess(child);
}

bool makeScript(const std::string& path, const std::string& contents) {
  OutputFile file(path, OutputFile::kNoFollow);
  file.write(kPrologue, sizeof kPrologue - 1);
  file.write(contents);
  return file.close() && chmod(path.c_str(), kScriptMode) == 0;
}

}  // namespace

bool Package::writeScript(ipackstream& in, std::uint32_t size, const char* scriptName,
                          bool relative) const {
  std::string contents;
  if (!readBytes(in, size, contents)) {
    reportBrokenPackage();
    // The reason that the caller's own report will give.
    errno = EBADMSG;
    return false;
  }
  if (makeScript(getMetaFile(relative, scriptName), contents)) return true;
  reportInstallError(scriptName);
  return false;
}

bool Package::runScript(const char* scriptName) const {
  struct stat info;
  if (stat(getMetaFile(false, scriptName).c_str(), &info) != 0) return true;
  if (runOnFlash(formatted("/var/pdb/%s/%s >/dev/null 2>&1", name.c_str(), scriptName)))
    return true;
  Reporter::getReporter()->warn("package %s %s script failed", getFullName().c_str(), scriptName);
  return false;
}
