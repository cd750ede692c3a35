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

// Whether what is open can be opened once more, whatever became of its name: not where /proc is not
// mounted, as in a root that only chroot(1) made.
bool canReopenFiles();
// The path for it; the name where it cannot be done.
std::string pathOfOpenFile(int descriptor, const std::string& name);

// A temporary file for whom a path is needed: it leads to the file while the object lives. Whatever
// ends the process, nothing is left; but where files cannot be opened again it has a name, which a
// signal leaves behind.
class TemporaryFile {
 public:
  TemporaryFile();
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  int descriptor() const { return descriptor_; }
  std::string path() const { return pathOfOpenFile(descriptor_, name_); }

 private:
  std::string name_;
  int descriptor_;
};

// "path: what: the system's text for errno"
[[noreturn]] void failWithErrno(const std::string& path, const std::string& what);
