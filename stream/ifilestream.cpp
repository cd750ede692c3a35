#include "stream/ifilestream.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Bytes read, 0 at the end of the data and after a failure.
std::size_t readSome(int descriptor, char* out, std::size_t count) {
  ssize_t got;
  do {
    got = read(descriptor, out, count);
  } while (got < 0 && errno == EINTR);
  return got > 0 ? static_cast<std::size_t>(got) : 0;
}

}  // namespace

ifilebuf::~ifilebuf() { close(); }

bool ifilebuf::open(const char* path) {
  close();
  do {
    descriptor_ = ::open(path, O_RDONLY | O_CLOEXEC);
  } while (descriptor_ < 0 && errno == EINTR);
  owned_ = descriptor_ >= 0;
  return owned_;
}

void ifilebuf::attach(int descriptor) {
  close();
  descriptor_ = descriptor;
}

void ifilebuf::close() {
  // Nothing was written, so a failure has nothing to tell; after EINTR the descriptor is gone too.
  if (owned_) ::close(descriptor_);
  descriptor_ = -1;
  owned_ = false;
  setg(nullptr, nullptr, nullptr);
}

ifilebuf::int_type ifilebuf::underflow() {
  if (gptr() < egptr()) return traits_type::to_int_type(*gptr());
  char* const data = buffer_ + 1;
  const bool kept = gptr() > eback();
  if (kept) buffer_[0] = gptr()[-1];
  const std::size_t got = readSome(descriptor_, data, kBufferSize);
  setg(kept ? buffer_ : data, data, data + got);
  return got > 0 ? traits_type::to_int_type(*data) : traits_type::eof();
}

// What the buffer holds first; then whole buffers' worth straight into the caller's memory, which
// saves the second copy of every byte of a package.
std::streamsize ifilebuf::xsgetn(char* out, std::streamsize count) {
  std::streamsize done = 0;
  while (done < count) {
    const std::streamsize wanted = count - done;
    const std::streamsize held = egptr() - gptr();
    if (held > 0) {
      const std::streamsize taken = std::min(held, wanted);
      std::memcpy(out + done, gptr(), static_cast<std::size_t>(taken));
      setg(eback(), gptr() + taken, egptr());
      done += taken;
    } else if (wanted >= static_cast<std::streamsize>(kBufferSize)) {
      const std::size_t got = readSome(descriptor_, out + done, static_cast<std::size_t>(wanted));
      if (got == 0) break;
      done += static_cast<std::streamsize>(got);
      buffer_[0] = out[done - 1];
      setg(buffer_, buffer_ + 1, buffer_ + 1);
    } else if (traits_type::eq_int_type(underflow(), traits_type::eof())) {
      break;
    }
  }
  return done;
}

// Only a regular file knows what is left; called with an empty buffer.
std::streamsize ifilebuf::showmanyc() {
  struct stat status;
  if (fstat(descriptor_, &status) != 0 || !S_ISREG(status.st_mode)) return 0;
  const off_type position = lseek(descriptor_, 0, SEEK_CUR);
  if (position < 0 || position >= status.st_size) return 0;
  const off_type most = std::numeric_limits<std::streamsize>::max();
  return static_cast<std::streamsize>(std::min<off_type>(status.st_size - position, most));
}

ifilebuf::pos_type ifilebuf::seekoff(off_type offset, std::ios_base::seekdir way,
                                     std::ios_base::openmode) {
  const off_type held = egptr() - gptr();
  int whence = SEEK_SET;
  if (way == std::ios_base::end) whence = SEEK_END;
  if (way == std::ios_base::cur) {
    if (offset == 0) {  // only asks for the position, the buffer stays good
      const off_type position = lseek(descriptor_, 0, SEEK_CUR);
      return position < 0 ? pos_type(off_type(-1)) : pos_type(position - held);
    }
    if (offset < std::numeric_limits<off_type>::min() + held) return pos_type(off_type(-1));
    whence = SEEK_CUR;
    offset -= held;
  }
  const off_type position = lseek(descriptor_, offset, whence);
  if (position < 0) return pos_type(off_type(-1));
  setg(nullptr, nullptr, nullptr);
  return pos_type(position);
}

ifilebuf::pos_type ifilebuf::seekpos(pos_type target, std::ios_base::openmode which) {
  return seekoff(off_type(target), std::ios_base::beg, which);
}

ifilestream::ifilestream(const char* path) : std::istream(nullptr) {
  rdbuf(&file_);
  if (!file_.open(path)) setstate(failbit);
}

ifilestream::ifilestream(int descriptor) : std::istream(nullptr) {
  rdbuf(&file_);
  file_.attach(descriptor);
}
