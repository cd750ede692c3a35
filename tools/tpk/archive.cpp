#include "tools/tpk/archive.h"

#include "stream/ifilestream.h"
#include "stream/packformat.h"
#include "tools/tpk/failure.h"
#include "tools/tpk/hostfile.h"

#include <algorithm>
#include <climits>
#include <limits>
#include <vector>

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

enum : std::size_t { kCopySize = 65536 };

class ArchiveWriter {
 public:
  explicit ArchiveWriter(std::ostream& out) : out_(out) {}

  // What is in the directory; name is empty for the root, else it ends in "/".
  void addContents(const std::string& directory, const std::string& name);

 private:
  void addEntry(const std::string& path, const std::string& name);
  void addFile(const std::string& path, ArchiveHeader& header, const std::string& name,
               std::uint64_t size);
  void addSymlink(const std::string& path, ArchiveHeader& header, const std::string& name);
  void addDevice(const std::string& path, ArchiveHeader& header, const std::string& name,
                 std::uint64_t number);
  void writeHeader(ArchiveHeader& header, const std::string& name, std::uint32_t dataSize);

  std::ostream& out_;
};

std::vector<std::string> sortedNames(const std::string& directory) {
  DIR* const stream = ::opendir(directory.c_str());
  if (!stream) failWithErrno(directory, "cannot be opened");
  std::vector<std::string> names;
  errno = 0;
  while (const dirent* const entry = ::readdir(stream)) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(name);
    errno = 0;
  }
  const int reason = errno;
  ::closedir(stream);
  errno = reason;
  if (reason != 0) failWithErrno(directory, "cannot be read");
  std::sort(names.begin(), names.end());
  return names;
}

ArchiveHeader headerFor(const std::string& path, const struct stat& status) {
  if (status.st_mtime < 0 || status.st_mtime > std::numeric_limits<std::uint32_t>::max())
    throw Failure(path + ": its time is before 1970 or after 2106");
  ArchiveHeader header;
  header.setMode(static_cast<std::uint16_t>(status.st_mode));
  header.setTime(static_cast<std::uint32_t>(status.st_mtime));
  return header;
}

void ArchiveWriter::addContents(const std::string& directory, const std::string& name) {
  const std::string prefix = directory + "/";
  for (const std::string& entry : sortedNames(directory)) addEntry(prefix + entry, name + entry);
}

void ArchiveWriter::addEntry(const std::string& path, const std::string& name) {
  struct stat status;
  if (::lstat(path.c_str(), &status) != 0) failWithErrno(path, "cannot be read");
  if (name.size() > std::numeric_limits<std::uint16_t>::max())
    throw Failure(path + ": its name has more than 65535 bytes");
  ArchiveHeader header = headerFor(path, status);
  switch (header.type()) {
    case ArchiveHeader::kRegular:
      addFile(path, header, name, static_cast<std::uint64_t>(status.st_size));
      break;
    case ArchiveHeader::kDirectory:
      writeHeader(header, name, 0);
      addContents(path, name + "/");
      break;
    case ArchiveHeader::kSymlink:
      addSymlink(path, header, name);
      break;
    case ArchiveHeader::kCharDevice:
    case ArchiveHeader::kBlockDevice:
      addDevice(path, header, name, status.st_rdev);
      break;
    case ArchiveHeader::kFifo:
      writeHeader(header, name, 0);
      break;
    default:
      throw Failure(path + ": is a socket, which a package cannot hold");
  }
}

// The size is written before the bytes are read: a file that changes meanwhile must not shift what
// follows.
void ArchiveWriter::addFile(const std::string& path, ArchiveHeader& header, const std::string& name,
                            std::uint64_t size) {
  if (size > std::numeric_limits<std::uint32_t>::max())
    throw Failure(path + ": is larger than 4 GiB");
  ifilestream in(path);
  if (!in.isOpen()) failWithErrno(path, "cannot be opened");
  writeHeader(header, name, static_cast<std::uint32_t>(size));
  std::vector<char> buffer(kCopySize);
  while (size > 0) {
    const auto wanted = static_cast<std::streamsize>(std::min<std::uint64_t>(size, kCopySize));
    in.read(buffer.data(), wanted);
    if (in.gcount() != wanted) throw Failure(path + ": became shorter while it was read");
    out_.write(buffer.data(), wanted);
    size -= static_cast<std::uint64_t>(wanted);
  }
  if (in.get() != std::char_traits<char>::eof())
    throw Failure(path + ": became longer while it was read");
}

void ArchiveWriter::addSymlink(const std::string& path, ArchiveHeader& header,
                               const std::string& name) {
  char target[PATH_MAX];
  const ssize_t length = ::readlink(path.c_str(), target, sizeof target);
  if (length < 0) failWithErrno(path, "cannot be read");
  writeHeader(header, name, static_cast<std::uint32_t>(length));
  out_.write(target, length);
}

void ArchiveWriter::addDevice(const std::string& path, ArchiveHeader& header,
                              const std::string& name, std::uint64_t number) {
  if (number > std::numeric_limits<std::uint32_t>::max())
    throw Failure(path + ": its device number has more than 32 bits");
  writeHeader(header, name, ArchiveHeader::kDeviceNumberSize);
  unsigned char bytes[ArchiveHeader::kDeviceNumberSize];
  put32(bytes, static_cast<std::uint32_t>(number));
  out_.write(reinterpret_cast<const char*>(bytes), sizeof bytes);
}

void ArchiveWriter::writeHeader(ArchiveHeader& header, const std::string& name,
                                std::uint32_t dataSize) {
  header.setDataSize(dataSize);
  header.setNameLength(static_cast<std::uint16_t>(name.size()));
  out_.write(reinterpret_cast<const char*>(header.bytes), sizeof header.bytes);
  out_.write(name.data(), static_cast<std::streamsize>(name.size()));
}

}  // namespace

void writeArchive(std::ostream& out, const std::string& folder) {
  ArchiveWriter(out).addContents(folder, "");
}
