#include "tools/tpk/host/descriptor.h"

#include <algorithm>
#include <cerrno>

#include <unistd.h>

void OwnedDescriptor::reset(int number) {
  if (number_ >= 0) ::close(number_);
  number_ = number;
}

bool OwnedDescriptor::close() { return ::close(release()) == 0; }

bool writeWhole(int descriptor, const char* data, std::size_t count) {
  while (count > 0) {
    errno = 0;
    const ssize_t written = ::write(descriptor, data, count);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    data += written;
    count -= static_cast<std::size_t>(written);
  }
  return true;
}

ssize_t readSome(int descriptor, char* out, std::size_t count) {
  ssize_t got;
  do {
    got = ::read(descriptor, out, count);
  } while (got < 0 && errno == EINTR);
  return got;
}

std::string beginOf(int file, std::size_t most) {
  std::string bytes(most, '\0');
  const ssize_t got = ::pread(file, bytes.data(), most, 0);
  bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
  return bytes;
}
