// Output to a file, with the reason of a failure kept: once something has failed nothing more is
// written, and every call returns false with errno as the first failure left it.
#pragma once

#include <cstddef>
#include <string>

class OutputFile {
 public:
  enum Flag : unsigned {
    kTruncate = 0,
    kAppend = 1,
    kNoFollow = 2,  // fail when the last component of the path is a symbolic link
  };

  // Creates the file with the default mode when it is missing.
  explicit OutputFile(const char* path, unsigned flags = kTruncate);
  explicit OutputFile(const std::string& path, unsigned flags = kTruncate)
      : OutputFile(path.c_str(), flags) {}
  // Closes the file without what was kept back: who gives a file up does not call close().
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  // The result of all calls so far.
  [[nodiscard]] bool good() const;
  // Writes all bytes; fewer than a page are kept back until the page is full or the file is closed.
  bool write(const char* data, std::size_t count);
  bool write(const std::string& text) { return write(text.data(), text.size()); }
  bool close();

 private:
  enum : std::size_t { kPageSize = 4096 };

  void fail();
  bool writeOut(const char* data, std::size_t count);
  bool writePending();

  int descriptor_;
  int error_ = 0;
  std::string pending_;
};

// Writes a small file anew, never through a link. False, with errno, when that failed.
bool writeTextFile(const std::string& path, const std::string& text);
