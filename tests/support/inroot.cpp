#include "tests/support/inroot.h"

#include <cstdio>
#include <cstdlib>
#include <iostream>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

enum : unsigned { kRootSize = 64 * 1024 };  // KiB

int realRoot = -1;

// Outside nothing can be put right any more.
void must(bool good, const char* what) {
  if (good) return;
  std::perror(what);
  std::abort();
}

int openHere() { return open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC); }

void flushOutput() {
  std::cout.flush();
  std::fflush(stdout);
}

std::string readAll(int file) {
  std::string contents;
  char chunk[16384];
  for (ssize_t got;
       (got = pread(file, chunk, sizeof chunk, static_cast<off_t>(contents.size()))) > 0;) {
    contents.append(chunk, static_cast<std::size_t>(got));
  }
  return contents;
}

}  // namespace

void InRoot::SetUp() {
  NEEDS_CHROOT();
  // These try things out in the temp folder, which is out of reach later.
  canChown();
  canMknod();
  folder_ = std::make_unique<TempFolder>();
  // Where it is possible the root is a RAM disk: quicker, and gone whatever a test left there. It
  // has to come before the descriptors: those of before would lead back to the old mounts.
  if (separateMounts()) mountRamDisk(folder_->path(), kRootSize);
  mask_ = umask(022);
  openDescriptors();
  enter();
  repo_ = RepoAccess::fresh();
}

void InRoot::openDescriptors() {
  realFolder_ = openHere();
  // Not by its name: an emulator that was told where the libraries are opens that folder as "/".
  if (realRoot < 0) {
    must(chdir("/") == 0, "chdir");
    realRoot = openHere();
    must(fchdir(realFolder_) == 0, "fchdir");
  }
  realOutput_ = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
  console_ = memfd_create("console", MFD_CLOEXEC);
  must(realRoot >= 0 && realFolder_ >= 0 && realOutput_ >= 0 && console_ >= 0, "descriptors");
}

void InRoot::enter() {
  for (const char* folder : {"/flash/var/pdb", "/flash/rw/pckg", "/ram/pdb", "/rw/pckg", "/tmp"}) {
    makeFolders(folder_->path() + folder);
  }
  flushOutput();
  must(chroot(folder_->path().c_str()) == 0 && chdir("/") == 0, "chroot");
  must(dup2(console_, STDOUT_FILENO) == STDOUT_FILENO, "dup2");
  consoleTaken_ = 0;
  entered_ = true;
}

void InRoot::leave() {
  RepoAccess::fresh();
  flushOutput();
  must(dup2(realOutput_, STDOUT_FILENO) == STDOUT_FILENO, "dup2");
  must(fchdir(realRoot) == 0 && chroot(".") == 0 && fchdir(realFolder_) == 0, "chroot");
  // With what is mounted below.
  if (isRamDisk_) umount2(folder_->path().c_str(), MNT_DETACH);
  umask(mask_);
}

void InRoot::TearDown() {
  if (!entered_) return;
  leave();
  if (HasFailure() || IsSkipped()) showConsole();
  for (const int descriptor : {realFolder_, realOutput_, console_}) close(descriptor);
  folder_.reset();
}

// What the tests' own library said of the failure is in there too, and would be hard to find
// between hundreds of status lines.
void InRoot::showConsole() const {
  std::string text = readAll(console_);
  for (std::size_t begin; (begin = text.find("\033[?25l")) != std::string::npos;) {
    const std::size_t end = text.find("\033[?25h", begin);
    text.erase(begin, end == std::string::npos ? end : end + 6 - begin);
  }
  std::cout << text << std::endl;
}

std::string InRoot::takeConsole() {
  flushOutput();
  const std::string text = readAll(console_).substr(consoleTaken_);
  consoleTaken_ += text.size();
  return text;
}

std::string InRoot::hostFile(const std::string& path) {
  const int file = openat(realRoot, path.c_str() + 1, O_RDONLY | O_CLOEXEC);
  if (file < 0) return {};
  const std::string contents = readAll(file);
  close(file);
  return contents;
}

int InRoot::nextDescriptor() {
  const int next = open("/", O_RDONLY | O_CLOEXEC);
  close(next);
  return next;
}

void InRoot::mountRamDisk(const std::string& path, unsigned kilobytes) {
  makeFolders(path);
  const std::string options = "mode=0755,size=" + std::to_string(kilobytes) + "k";
  must(mount("ram", path.c_str(), "tmpfs", 0, options.c_str()) == 0, "mount");
  isRamDisk_ = true;
}
