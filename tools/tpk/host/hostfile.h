// Files of the machine that packages are made on. What fails throws
// EnvironmentFailure, naming the file.
#pragma once

#include <string>

std::string readHostFile(const std::string& path);

bool hostFileExists(const std::string& path);
bool isHostDirectory(const std::string& path);

// The file must not exist yet; the process's umask applies to the mode. Nothing is left when
// writing fails.
void createHostFile(const std::string& path, const std::string& contents, unsigned mode);

// False when it exists already.
bool makeHostDirectory(const std::string& path);

// Gives a file that is to replace another one its permissions; what cannot be changed stays.
void keepPermissions(const std::string& from, const std::string& to);

// What cannot be removed stays.
void removeHostFile(const std::string& path);
void removeHostDirectory(const std::string& path);

// TMPDIR, or /tmp when it is not set.
std::string temporaryFolder();

// A file below it without a name, open for reading and writing; the descriptor is the caller's.
int openTemporaryFile();

// The same for whom a path is needed: it leads to the file while the object lives. Whatever ends
// the process, nothing is left.
class TemporaryFile {
 public:
  TemporaryFile() : descriptor_(openTemporaryFile()) {}
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

 private:
  int descriptor_;
};

// "path: what: the system's text for errno"
[[noreturn]] void failWithErrno(const std::string& path, const std::string& what);
