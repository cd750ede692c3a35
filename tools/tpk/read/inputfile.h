// A package file that a command reads, as often and in whatever order it likes.
#pragma once

#include "stream/ifilestream.h"
#include "tools/tpk/host/descriptor.h"

#include <cstdint>
#include <memory>
#include <string>

class TemporaryFile;

class InputFile {
 public:
  // "-" is standard input, which is first copied into a temporary file, and so is what comes
  // through a pipe, and everything where open files cannot be opened again. Throws
  // EnvironmentFailure, also for what is no file at all.
  explicit InputFile(const std::string& path);
  // What was written into it.
  explicit InputFile(std::unique_ptr<TemporaryFile> file);
  ~InputFile();
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  // For messages: the path, or "standard input".
  const std::string& name() const { return name_; }
  std::uint64_t size() const { return size_; }
  // A stream of its own position at the first byte; the object must outlive it.
  std::unique_ptr<std::istream> open() const;
  // A path under which the same bytes can be opened while the object lives: for readers that take
  // one (PackageFile::readFrom).
  std::string path() const;

 private:
  void openAt(const std::string& place);
  void takeWhatCannotBeReopened();
  void copy(int from);
  void takeSize();

  std::string name_;
  std::string place_;  // where it was opened
  std::unique_ptr<TemporaryFile> temporary_;
  OwnedDescriptor descriptor_;
  std::uint64_t size_ = 0;
};
