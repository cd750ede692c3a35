#include "tools/tpk/make/sources.h"

#include "stream/packformat.h"
#include "tools/tpk/host/failure.h"

#include <limits>

namespace {

enum : std::uint16_t { kAllPermissions = 07777 };

std::uint16_t keptOwner(std::int64_t id, const FileNode& node, const char* what) {
  if (id < 0 || id > std::numeric_limits<std::uint16_t>::max())
    throw Failure(node.origin + ": its " + what + " " + std::to_string(id) +
                  " does not fit 16 bits; give it another one, or leave out keep-owners");
  return static_cast<std::uint16_t>(id);
}

}  // namespace

bool Collection::excludes(const std::string& path) const {
  if (exclude.empty()) return false;
  for (std::size_t end = path.find('/');; end = path.find('/', end + 1)) {
    const std::string above = path.substr(0, end);
    for (const Glob& glob : exclude)
      if (glob.matches(above)) return true;
    if (end == std::string::npos) return false;
  }
}

void keepAttributes(const FileSource& source, const HostAttributes& found, FileNode& node) {
  if (source.keepModes && node.type() != ArchiveHeader::kSymlink)
    node.mode = static_cast<std::uint16_t>(node.type() | (found.mode & kAllPermissions));
  if (source.keepOwners) {
    node.user = keptOwner(found.user, node, "user");
    node.group = keptOwner(found.group, node, "group");
  }
  if (!source.keepTimes) return;
  if (found.time < 0)
    throw Failure(node.origin + ": its time is before 1970; touch it, or leave out keep-times");
  node.time = found.time;
}

std::uint16_t defaultPermissions(std::uint16_t type, bool executable) {
  enum : std::uint16_t {
    kFile = 0644,
    kProgram = 0755,
    kFolder = 0755,
    kLink = 0777,
    kNode = 0600
  };
  switch (type) {
    case ArchiveHeader::kDirectory:
      return kFolder;
    case ArchiveHeader::kSymlink:
      return kLink;
    case ArchiveHeader::kRegular:
      return executable ? kProgram : kFile;
    default:
      return kNode;
  }
}
