// File descriptors: closed whatever happens, read and written without regard to signals.
#pragma once

#include <string>

#include <sys/types.h>

// Closes what it holds.
class OwnedDescriptor {
 public:
  explicit OwnedDescriptor(int number = -1) : number_(number) {}
  ~OwnedDescriptor() { reset(); }
  OwnedDescriptor(OwnedDescriptor&& other) noexcept : number_(other.release()) {}
  OwnedDescriptor& operator=(OwnedDescriptor&& other) noexcept {
    reset(other.release());
    return *this;
  }

  int get() const { return number_; }
  explicit operator bool() const { return number_ >= 0; }
  void reset(int number = -1);
  // False, with errno, when what was written could not be kept.
  [[nodiscard]] bool close();

 private:
  int release() {
    const int number = number_;
    number_ = -1;
    return number;
  }

  int number_;
};

// All of the bytes. False when that fails, with errno, which is 0 when the system gives no reason.
[[nodiscard]] bool writeWhole(int descriptor, const char* data, std::size_t count);

// At least one byte; 0 at the end, and below 0, with errno, for a failure.
ssize_t readSome(int descriptor, char* out, std::size_t count);

// The first bytes of a file, at most so many, wherever it is being read or written.
std::string beginOf(int file, std::size_t most);
