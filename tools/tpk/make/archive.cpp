#include "tools/tpk/make/archive.h"

#include "stream/packformat.h"

#include <string>

namespace {

std::uint32_t dataSize(const FileNode& node) {
  switch (node.type()) {
    case ArchiveHeader::kRegular:
      return static_cast<std::uint32_t>(node.data.size);
    case ArchiveHeader::kSymlink:
      return static_cast<std::uint32_t>(node.target.size());
    case ArchiveHeader::kCharDevice:
    case ArchiveHeader::kBlockDevice:
      return ArchiveHeader::kDeviceNumberSize;
    default:
      return 0;
  }
}

void writeHeader(std::ostream& out, const std::string& path, const FileNode& node) {
  ArchiveHeader header;
  header.setMode(node.mode);
  header.setUser(node.user);
  header.setGroup(node.group);
  header.setTime(static_cast<std::uint32_t>(node.time.value_or(0)));
  header.setSkip(node.skip);
  header.setDataSize(dataSize(node));
  header.setNameLength(static_cast<std::uint16_t>(path.size()));
  out.write(reinterpret_cast<const char*>(header.bytes), sizeof header.bytes);
  out.write(path.data(), static_cast<std::streamsize>(path.size()));
}

void writeData(std::ostream& out, const FileNode& node, const Spool& spool,
               const std::function<void(std::size_t)>& written) {
  if (node.type() == ArchiveHeader::kRegular) {
    readData(node.data, spool, [&](const char* data, std::size_t count) {
      out.write(data, static_cast<std::streamsize>(count));
      written(count);
    });
    return;
  }
  out.write(node.target.data(), static_cast<std::streamsize>(node.target.size()));
  if (node.type() != ArchiveHeader::kCharDevice && node.type() != ArchiveHeader::kBlockDevice)
    return;
  unsigned char number[ArchiveHeader::kDeviceNumberSize];
  put32(number, node.device);
  out.write(reinterpret_cast<const char*>(number), sizeof number);
}

}  // namespace

void writeArchive(std::ostream& out, const FileTree& tree, const Spool& spool,
                  const std::function<void(std::size_t)>& written) {
  for (const auto& [path, node] : tree.nodes()) {
    writeHeader(out, path, node);
    writeData(out, node, spool, written);
    written(0);
  }
}
