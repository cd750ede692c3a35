// A piece of a file as a stream of its own, which ends where the piece ends.
#pragma once

#include <cstdint>
#include <istream>
#include <memory>
#include <streambuf>

class filerangebuf : public std::streambuf {
 public:
  // size bytes from where source stands; source must outlive the object.
  filerangebuf(std::streambuf* source, std::uint64_t size) : source_(source), left_(size) {}

 protected:
  int_type underflow() override;
  std::streamsize xsgetn(char* out, std::streamsize count) override;

 private:
  enum : unsigned { kBufferSize = 4096 };

  std::streambuf* source_;
  std::uint64_t left_;
  char buffer_[kBufferSize];
};

class FileRange : public std::istream {
 public:
  FileRange(std::unique_ptr<std::istream> file, std::uint64_t offset, std::uint64_t size);

 private:
  std::unique_ptr<std::istream> file_;
  filerangebuf buffer_;
};
