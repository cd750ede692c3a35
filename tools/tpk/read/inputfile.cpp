#include "tools/tpk/read/inputfile.h"

#include "stream/packformat.h"
#include "tools/tpk/host/descriptor.h"
#include "tools/tpk/host/failure.h"
#include "tools/tpk/host/hostfile.h"

#include <cstdlib>
#include <limits>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Longer than its header can say: no package, and no reason to fill the disk.
constexpr std::uint64_t kLongestFile =
    std::uint64_t{FileHeader::kSize} + std::numeric_limits<std::uint32_t>::max();

enum : std::size_t { kCopySize = 65536 };

void copyAll(int from, int to, const std::string& name) {
  std::vector<char> buffer(kCopySize);
  std::uint64_t total = 0;
  for (;;) {
    const ssize_t got = readSome(from, buffer.data(), buffer.size());
    if (got < 0) failWithErrno(name, "cannot be read");
    if (got == 0) return;
    total += static_cast<std::uint64_t>(got);
    if (total > kLongestFile) throw Failure(name + ": is longer than a package can be");
    if (!writeWhole(to, buffer.data(), static_cast<std::size_t>(got)))
      failWithErrno("temporary file", "cannot be written");
  }
}

struct stat statusOf(int descriptor, const std::string& name) {
  struct stat status;
  if (::fstat(descriptor, &status) != 0) failWithErrno(name, "cannot be read");
  return status;
}

}  // namespace

InputFile::InputFile(const std::string& path) : name_(path == "-" ? "standard input" : path) {
  if (path == "-") {
    copy(STDIN_FILENO);
  } else {
    openAt(path);
    takeWhatCannotBeReopened();
  }
  takeSize();
}

InputFile::InputFile(std::unique_ptr<TemporaryFile> file)
    : name_(file->path()), temporary_(std::move(file)) {
  openAt(name_);
  takeSize();
}

InputFile::~InputFile() = default;

void InputFile::openAt(const std::string& place) {
  place_ = place;
  descriptor_.reset(::open(place.c_str(), O_RDONLY | O_CLOEXEC));
  if (!descriptor_) failWithErrno(name_, "cannot be opened");
}

void InputFile::takeWhatCannotBeReopened() {
  const mode_t mode = statusOf(descriptor_.get(), name_).st_mode;
  if (S_ISREG(mode) && canReopenFiles()) return;
  if (S_ISDIR(mode)) throw EnvironmentFailure(name_ + ": is a folder, not a package file");
  if (!S_ISREG(mode) && !S_ISFIFO(mode) && !S_ISSOCK(mode))
    throw EnvironmentFailure(name_ + ": is not a file");
  const OwnedDescriptor given(std::move(descriptor_));
  copy(given.get());
}

void InputFile::copy(int from) {
  temporary_ = std::make_unique<TemporaryFile>();
  copyAll(from, temporary_->descriptor(), name_);
  openAt(temporary_->path());
}

void InputFile::takeSize() {
  size_ = static_cast<std::uint64_t>(statusOf(descriptor_.get(), name_).st_size);
}

// A second open() of a descriptor has a position of its own, which dup() has not.
std::string InputFile::path() const { return pathOfOpenFile(descriptor_.get(), place_); }

std::unique_ptr<std::istream> InputFile::open() const {
  auto stream = std::make_unique<ifilestream>(path());
  if (!stream->isOpen()) failWithErrno(name_, "cannot be opened again");
  return stream;
}
