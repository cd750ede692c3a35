#include "tools/tpk/host/pendingfile.h"

#include "tools/tpk/host/descriptor.h"
#include "tools/tpk/host/failure.h"
#include "tools/tpk/host/hostfile.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const char kStandardOutput[] = "-";
const char kStandardOutputName[] = "standard output";
const char kProcesses[] = "/proc/";
const char kDescriptors[] = "/dev/fd/";

enum : int { kMostLinks = 40 };

const int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP};

bool begins(const std::string& text, const std::string& with) {
  return text.compare(0, with.size(), with) == 0;
}

std::string folderOf(const std::string& path) {
  const auto slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

std::string nameOf(const std::string& path) {
  const auto slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

// What the link at the path says, as a path of the process; empty when there is no link.
std::string linkedPath(const std::string& path) {
  std::error_code none;
  const std::string target = std::filesystem::read_symlink(path, none);
  return target.empty() || target[0] == '/' ? target : folderOf(path) + "/" + target;
}

// A descriptor that the process inherited is no place for another file, even if it is one: who
// opened it waits for the bytes there.
bool isDescriptor(const std::string& path) {
  if (begins(path, kDescriptors)) return true;
  std::error_code none;
  return begins(std::filesystem::canonical(folderOf(path), none), kProcesses);
}

mode_t currentUmask() {
  const mode_t mask = ::umask(0);
  ::umask(mask);
  return mask;
}

// Signals that arrive meanwhile come when the object goes.
class SignalsHeld {
 public:
  SignalsHeld() {
    sigset_t held;
    sigemptyset(&held);
    for (const int signal : kEndingSignals) sigaddset(&held, signal);
    sigprocmask(SIG_BLOCK, &held, &before_);
  }
  ~SignalsHeld() { sigprocmask(SIG_SETMASK, &before_, nullptr); }
  SignalsHeld(const SignalsHeld&) = delete;
  SignalsHeld& operator=(const SignalsHeld&) = delete;

 private:
  sigset_t before_ = {};
};

}  // namespace

std::atomic<PendingFile*> PendingFile::first_{nullptr};

PendingFile::PendingFile(const std::string& path) : path_(path), place_(path) {
  if (path == kStandardOutput) {
    how_ = How::kStandardOutput;
  } else {
    resolve();
  }
}

PendingFile::~PendingFile() { removeWork(); }

void PendingFile::resolve() {
  if (isDescriptor(place_)) how_ = How::kWriteInto;
  for (int links = 0; how_ == How::kReplace; ++links) {
    const std::string next = linkedPath(place_);
    if (next.empty()) break;
    if (links == kMostLinks) {
      errno = ELOOP;
      failWithErrno(path_, "cannot be created");
    }
    place_ = next;
    if (isDescriptor(place_)) how_ = How::kWriteInto;
  }
  struct stat status;
  if (how_ != How::kReplace || ::stat(place_.c_str(), &status) != 0) return;
  if (S_ISDIR(status.st_mode)) throw EnvironmentFailure(path_ + ": is a folder; name a file in it");
  if (!S_ISREG(status.st_mode)) how_ = How::kWriteInto;
}

std::string PendingFile::folderPath() const { return folderOf(place_); }

std::string PendingFile::name() const { return nameOf(place_); }

FileIdentity PendingFile::folder() const {
  struct stat status;
  if (::stat(folderPath().c_str(), &status) != 0) failWithErrno(path_, "cannot be created");
  return {status.st_dev, status.st_ino};
}

bool PendingFile::replaces(const FileIdentity& file) const {
  struct stat status;
  return isReplaced() && ::stat(place_.c_str(), &status) == 0 &&
         FileIdentity{status.st_dev, status.st_ino} == file;
}

const std::string& PendingFile::workPath() {
  if (!workPath_.empty()) return workPath_;
  std::string path = (isReplaced() ? folderPath() : temporaryFolder()) + "/.tpk-XXXXXX";
  const SignalsHeld held;
  const OwnedDescriptor file(::mkostemp(&path[0], O_CLOEXEC));
  if (!file) failWithErrno(path_, "cannot be created");
  workPath_ = path;
  enlist();
  // A temporary file is its owner's alone; a package is a file like any other.
  enum : mode_t { kPlainFile = 0666 };
  if (isReplaced()) ::fchmod(file.get(), kPlainFile & ~currentUmask());
  return workPath_;
}

void PendingFile::commit() {
  if (!isReplaced()) {
    copyWork();
    return;
  }
  if (::rename(workPath().c_str(), place_.c_str()) != 0) failWithErrno(path_, "cannot be created");
  delist();
  workPath_.clear();
}

void PendingFile::copyWork() {
  const OwnedDescriptor in(::open(workPath().c_str(), O_RDONLY | O_CLOEXEC));
  if (!in) failWithErrno(workPath_, "cannot be opened");
  // Before anything is written: a reader that goes away ends this process.
  removeWork();
  const bool isStandard = how_ == How::kStandardOutput;
  const std::string name = isStandard ? kStandardOutputName : path_;
  const OwnedDescriptor opened(isStandard ? -1 : ::open(path_.c_str(), O_WRONLY | O_CLOEXEC));
  if (!isStandard && !opened) failWithErrno(name, "cannot be opened");
  const int out = isStandard ? STDOUT_FILENO : opened.get();
  char buffer[65536];
  for (;;) {
    const ssize_t got = readSome(in.get(), buffer, sizeof buffer);
    if (got < 0) failWithErrno(path_, "its work file cannot be read");
    if (got == 0) return;
    if (!writeWhole(out, buffer, static_cast<std::size_t>(got)))
      failWithErrno(name, "cannot be written");
  }
}

void PendingFile::removeWork() {
  if (workPath_.empty()) return;
  removeHostFile(workPath_);
  delist();
  workPath_.clear();
}

void PendingFile::enlist() {
  next_ = first_.load();
  first_ = this;
  static const bool handled = [] {
    for (const int signal : kEndingSignals) {
      struct sigaction action = {};
      // Who started the process may have wished it to outlive a signal.
      if (sigaction(signal, nullptr, &action) != 0 || action.sa_handler != SIG_DFL) continue;
      action.sa_handler = endOn;
      sigaction(signal, &action, nullptr);
    }
    return true;
  }();
  static_cast<void>(handled);
}

void PendingFile::delist() {
  std::atomic<PendingFile*>* place = &first_;
  while (place->load() && place->load() != this) place = &place->load()->next_;
  if (place->load()) *place = next_.load();
}

void PendingFile::endOn(int signal) {
  for (const PendingFile* file = first_; file; file = file->next_)
    ::unlink(file->workPath_.c_str());
  std::signal(signal, SIG_DFL);
  std::raise(signal);
}
