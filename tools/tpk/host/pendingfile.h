// A file that a command makes: it appears in its place whole or not at all, and a signal that ends
// the process leaves nothing half-written behind.
#pragma once

#include <atomic>
#include <string>

#include <sys/types.h>

// What the file system knows a file by, whatever it is called.
struct FileIdentity {
  dev_t device = 0;
  ino_t number = 0;

  bool operator==(const FileIdentity& other) const {
    return device == other.device && number == other.number;
  }
};

class PendingFile {
 public:
  // A regular file, or none, is replaced by a work file beside it; of a symbolic link the file that
  // it leads to. Into anything else (a FIFO, a device, /dev/stdout, and "-" for standard output)
  // the finished work file is copied. Nothing is created yet. Throws EnvironmentFailure.
  explicit PendingFile(const std::string& path);
  ~PendingFile();
  PendingFile(const PendingFile&) = delete;
  PendingFile& operator=(const PendingFile&) = delete;

  // Where to write: a file, empty at first, that is created when this is first called.
  const std::string& workPath();
  // Puts the file into its place.
  void commit();

  // Whether it becomes a file of the file system.
  bool isReplaced() const { return how_ == How::kReplace; }
  // Of a file that is replaced: its folder and its name there.
  FileIdentity folder() const;
  std::string name() const;
  // Whether the file to be replaced is there already and is this one.
  bool replaces(const FileIdentity& file) const;

 private:
  enum class How { kReplace, kWriteInto, kStandardOutput };

  void resolve();
  std::string folderPath() const;
  void copyWork();
  void removeWork();
  void enlist();
  void delist();
  static void endOn(int signal);

  const std::string path_;  // as it was given
  std::string place_;       // the same without symbolic links, when it is replaced
  How how_ = How::kReplace;
  std::string workPath_;

  // All objects with a work file, for the signal handler.
  static std::atomic<PendingFile*> first_;
  std::atomic<PendingFile*> next_{nullptr};
};
