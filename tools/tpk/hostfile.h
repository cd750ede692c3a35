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

// What cannot be removed stays.
void removeHostFile(const std::string& path);
void removeHostDirectory(const std::string& path);

// A file that is written beside its final place and appears there whole or not at all.
class PendingFile {
 public:
  explicit PendingFile(const std::string& path);
  ~PendingFile();
  PendingFile(const PendingFile&) = delete;
  PendingFile& operator=(const PendingFile&) = delete;

  // Where to write.
  const std::string& workPath() const { return workPath_; }
  // Puts the file into its place.
  void commit();

 private:
  std::string path_;
  std::string workPath_;
  bool committed_ = false;
};

// "path: what: the system's text for errno"
[[noreturn]] void failWithErrno(const std::string& path, const std::string& what);
