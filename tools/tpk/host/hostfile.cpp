#include "tools/tpk/host/hostfile.h"

#include "tools/tpk/host/descriptor.h"
#include "tools/tpk/host/failure.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr char kOpenFiles[] = "/proc/self/fd";

int openNamedTemporaryFile(std::string& path) {
  const std::string folder = temporaryFolder();
  path = folder + "/tpkXXXXXX";
  const int file = ::mkostemp(path.data(), O_CLOEXEC);
  if (file < 0) failWithErrno(folder, "a temporary file cannot be created");
  return file;
}

}  // namespace

void failWithErrno(const std::string& path, const std::string& what) {
  const int reason = errno;
  throw EnvironmentFailure(path + ": " + what + (reason ? ": " : "") +
                           (reason ? std::strerror(reason) : ""));
}

std::string readHostFile(const std::string& path) {
  const OwnedDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file) failWithErrno(path, "cannot be opened");
  struct stat status;
  // A device need not have an end.
  if (::fstat(file.get(), &status) == 0 && (S_ISCHR(status.st_mode) || S_ISBLK(status.st_mode)))
    throw EnvironmentFailure(path + ": is a device, not a file");
  std::string contents;
  char buffer[65536];
  for (;;) {
    const ssize_t got = readSome(file.get(), buffer, sizeof buffer);
    if (got < 0) failWithErrno(path, "cannot be read");
    if (got == 0) return contents;
    contents.append(buffer, static_cast<std::size_t>(got));
  }
}

bool hostFileExists(const std::string& path) {
  struct stat status;
  return ::lstat(path.c_str(), &status) == 0;
}

bool isHostDirectory(const std::string& path) {
  struct stat status;
  return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

void createHostFile(const std::string& path, const std::string& contents, unsigned mode) {
  OwnedDescriptor file(
      ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, static_cast<mode_t>(mode)));
  if (!file) failWithErrno(path, "cannot be created");
  if (!writeWhole(file.get(), contents.data(), contents.size()) || !file.close()) {
    const int reason = errno;
    removeHostFile(path);
    errno = reason;
    failWithErrno(path, "cannot be written");
  }
}

bool makeHostDirectory(const std::string& path) {
  if (::mkdir(path.c_str(), 0777) == 0) return true;
  if (errno != EEXIST) failWithErrno(path, "cannot be created");
  return false;
}

void keepPermissions(const std::string& from, const std::string& to) {
  enum : mode_t { kPermissions = 07777 };
  struct stat status;
  if (::stat(from.c_str(), &status) == 0 && S_ISREG(status.st_mode))
    ::chmod(to.c_str(), status.st_mode & kPermissions);
}

void removeHostFile(const std::string& path) { ::unlink(path.c_str()); }

void removeHostDirectory(const std::string& path) { ::rmdir(path.c_str()); }

std::string temporaryFolder() {
  const char* const set = std::getenv("TMPDIR");
  return set && *set ? set : "/tmp";
}

int openTemporaryFile() {
  const std::string folder = temporaryFolder();
  const int file = ::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
  if (file >= 0) return file;
  // Not every file system has files that never had a name.
  std::string path;
  const int named = openNamedTemporaryFile(path);
  ::unlink(path.c_str());
  return named;
}

bool canReopenFiles() { return isHostDirectory(kOpenFiles); }

std::string pathOfOpenFile(int descriptor, const std::string& name) {
  return canReopenFiles() ? kOpenFiles + ("/" + std::to_string(descriptor)) : name;
}

TemporaryFile::TemporaryFile()
    : descriptor_(canReopenFiles() ? openTemporaryFile() : openNamedTemporaryFile(name_)) {}

TemporaryFile::~TemporaryFile() {
  if (!name_.empty()) removeHostFile(name_);
  ::close(descriptor_);
}
