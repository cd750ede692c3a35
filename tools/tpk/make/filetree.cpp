#include "tools/tpk/make/filetree.h"

#include "stream/ifilestream.h"
#include "stream/packformat.h"
#include "tools/tpk/host/failure.h"
#include "tools/tpk/host/hostfile.h"
#include "tools/tpk/host/text.h"

#include <algorithm>
#include <cerrno>
#include <utility>
#include <vector>

#include <unistd.h>

namespace {

enum : std::size_t { kCopySize = 65536 };

const char kSpoolName[] = "the temporary file for contents of archives";

const char* typeName(std::uint16_t type) {
  switch (type) {
    case ArchiveHeader::kRegular:
      return "a file";
    case ArchiveHeader::kSymlink:
      return "a link";
    case ArchiveHeader::kFifo:
      return "a FIFO";
    default:
      return "a device";
  }
}

FileNode plainFolder(const std::string& origin) {
  enum : std::uint16_t { kPlainFolder = ArchiveHeader::kDirectory | 0755 };
  FileNode node;
  node.mode = kPlainFolder;
  node.origin = origin;
  return node;
}

std::string parentOf(const std::string& path) {
  const auto slash = path.rfind('/');
  return slash == std::string::npos ? "" : path.substr(0, slash);
}

void readHostData(const FileData& data, const std::function<void(const char*, std::size_t)>& take) {
  ifilestream in(data.path);
  if (!in.isOpen()) failWithErrno(data.path, "cannot be opened");
  std::vector<char> buffer(kCopySize);
  for (std::uint64_t left = data.size; left > 0;) {
    const auto wanted = static_cast<std::streamsize>(std::min<std::uint64_t>(left, kCopySize));
    in.read(buffer.data(), wanted);
    if (in.gcount() != wanted)
      throw EnvironmentFailure(data.path + ": became shorter while it was read, or cannot be read");
    take(buffer.data(), static_cast<std::size_t>(wanted));
    left -= static_cast<std::uint64_t>(wanted);
  }
  if (in.get() != std::char_traits<char>::eof())
    throw EnvironmentFailure(data.path + ": became longer while it was read");
}

}  // namespace

void Spool::append(const char* data, std::size_t count) {
  if (!descriptor_) descriptor_.reset(openTemporaryFile());
  if (!writeWhole(descriptor_.get(), data, count)) failWithErrno(kSpoolName, "cannot be written");
  size_ += count;
}

void Spool::read(std::uint64_t offset, char* out, std::size_t count) const {
  for (std::size_t done = 0; done < count;) {
    errno = 0;
    const ssize_t got =
        ::pread(descriptor_.get(), out + done, count - done, static_cast<off_t>(offset + done));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) failWithErrno(kSpoolName, "cannot be read");
    done += static_cast<std::size_t>(got);
  }
}

std::uint16_t FileNode::type() const { return mode & ArchiveHeader::kTypeMask; }

// "/" comes before every other byte of a path, so that nothing gets between a folder and what is in
// it.
bool PathOrder::operator()(const std::string& a, const std::string& b) const {
  const auto rank = [](char c) { return c == '/' ? 0 : static_cast<unsigned char>(c); };
  return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(),
                                      [&](char x, char y) { return rank(x) < rank(y); });
}

FileNode* FileTree::find(const std::string& path) {
  const auto found = nodes_.find(path);
  return found == nodes_.end() ? nullptr : &found->second;
}

void FileTree::addMissingParents() {
  std::vector<std::pair<std::string, std::string>> missing;  // with the origin of what needs it
  for (const auto& [path, node] : nodes_) {
    for (std::string parent = parentOf(path); !parent.empty(); parent = parentOf(parent)) {
      const FileNode* const above = find(parent);
      if (!above) {
        missing.emplace_back(parent, node.origin);
      } else if (above->type() != ArchiveHeader::kDirectory) {
        throw Failure(node.origin + ": " + quoted(path) + " lies below " + quoted(parent) +
                      ", which is " + typeName(above->type()) + " (" + above->origin +
                      "); leave one of them out");
      } else {
        break;  // its own parents are looked at when its turn comes
      }
    }
  }
  for (const auto& [path, origin] : missing) nodes_.emplace(path, plainFolder(origin));
}

std::uint64_t FileTree::dataSize() const {
  std::uint64_t sum = 0;
  for (const auto& [path, node] : nodes_) sum += node.data.size;
  return sum;
}

void readData(const FileData& data, const Spool& spool,
              const std::function<void(const char*, std::size_t)>& take) {
  if (!data.path.empty()) {
    readHostData(data, take);
    return;
  }
  std::vector<char> buffer(kCopySize);
  for (std::uint64_t done = 0; done < data.size;) {
    const auto count =
        static_cast<std::size_t>(std::min<std::uint64_t>(data.size - done, kCopySize));
    spool.read(data.offset + done, buffer.data(), count);
    take(buffer.data(), count);
    done += count;
  }
}
