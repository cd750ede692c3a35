#include "stream/outputfile.h"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace {

int openFlags(unsigned flags) {
  int result = O_WRONLY | O_CREAT | O_CLOEXEC;
  result |= (flags & OutputFile::kAppend) ? O_APPEND : O_TRUNC;
  if (flags & OutputFile::kNoFollow) result |= O_NOFOLLOW;
  return result;
}

}  // namespace

OutputFile::OutputFile(const char* path, unsigned flags)
    : descriptor_(::open(path, openFlags(flags), 0666)) {
  if (descriptor_ < 0) fail();
}

OutputFile::~OutputFile() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

void OutputFile::fail() {
  // A call that fails without a reason still has to count as failed.
  if (error_ == 0) error_ = errno != 0 ? errno : EIO;
}

bool OutputFile::good() const {
  if (error_ != 0) errno = error_;
  return error_ == 0;
}

bool OutputFile::write(const char* data, std::size_t count) {
  if (pending_.empty() && count >= kPageSize) return writeOut(data, count);
  pending_.append(data, count);
  return pending_.size() < kPageSize ? good() : writePending();
}

bool OutputFile::writePending() {
  const bool written = writeOut(pending_.data(), pending_.size());
  pending_.clear();
  return written;
}

bool OutputFile::writeOut(const char* data, std::size_t count) {
  while (good() && count > 0) {
    const ssize_t written = ::write(descriptor_, data, count);
    if (written > 0) {
      data += written;
      count -= static_cast<std::size_t>(written);
    } else if (written == 0 || errno != EINTR) {
      if (written == 0) errno = EIO;
      fail();
    }
  }
  return good();
}

bool OutputFile::close() {
  writePending();
  // After EINTR the descriptor is gone and the data are with the system: not a failure, and nothing
  // to repeat.
  if (descriptor_ >= 0 && ::close(descriptor_) != 0 && errno != EINTR) fail();
  descriptor_ = -1;
  return good();
}

bool writeTextFile(const std::string& path, const std::string& text) {
  OutputFile file(path, OutputFile::kNoFollow);
  file.write(text);
  return file.close();
}
