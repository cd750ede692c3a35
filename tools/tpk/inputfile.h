// A package file that a command reads, as often and in whatever order it likes.
#pragma once

#include "stream/ifilestream.h"

#include <cstdint>
#include <memory>
#include <string>

class InputFile {
 public:
  // "-" is standard input, which is first copied into a temporary file without a name. Throws
  // EnvironmentFailure, also for what is not a regular file (a pipe is copied like standard input).
  explicit InputFile(const std::string& path);
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
  std::string name_;
  int descriptor_ = -1;
  std::uint64_t size_ = 0;
};
