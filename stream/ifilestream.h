// Input from a file or an open descriptor. The standard library's file buffer throws when a read
// fails (a bad flash block, a directory), which a program built without exceptions does not
// survive: here a failed read is the end of the data.
#pragma once

#include <istream>
#include <streambuf>
#include <string>

class ifilebuf : public std::streambuf {
 public:
  ifilebuf() = default;
  ~ifilebuf() override;
  ifilebuf(const ifilebuf&) = delete;
  ifilebuf& operator=(const ifilebuf&) = delete;

  // Opens the file for reading; false, with errno, when that fails.
  [[nodiscard]] bool open(const char* path);
  // Reads from a descriptor that stays the caller's.
  void attach(int descriptor);
  bool isOpen() const { return descriptor_ >= 0; }
  void close();

 protected:
  int_type underflow() override;
  std::streamsize xsgetn(char* out, std::streamsize count) override;
  std::streamsize showmanyc() override;
  pos_type seekoff(off_type offset, std::ios_base::seekdir way,
                   std::ios_base::openmode which) override;
  pos_type seekpos(pos_type target, std::ios_base::openmode which) override;

 private:
  enum : unsigned { kBufferSize = 4096 };

  int descriptor_ = -1;
  bool owned_ = false;
  char buffer_[1 + kBufferSize];  // the first keeps the last character delivered, for a put-back
};

class ifilestream : public std::istream {
 public:
  // Failed from the start when the file cannot be opened.
  explicit ifilestream(const char* path);
  explicit ifilestream(const std::string& path) : ifilestream(path.c_str()) {}
  explicit ifilestream(int descriptor);

  bool isOpen() const { return file_.isOpen(); }

 private:
  ifilebuf file_;
};
