#include "tests/tpk/make/filesworld.h"

#include "stream/packformat.h"
#include "tools/tpk/make/inputs.h"
#include "tools/tpk/make/packagefiles.h"

#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace {

std::string octal(unsigned number) {
  char text[16];
  std::snprintf(text, sizeof text, "%04o", number);
  return text;
}

std::string typeWord(std::uint16_t type) {
  switch (type) {
    case ArchiveHeader::kRegular:
      return "file";
    case ArchiveHeader::kDirectory:
      return "dir";
    case ArchiveHeader::kSymlink:
      return "link";
    case ArchiveHeader::kCharDevice:
      return "char";
    case ArchiveHeader::kBlockDevice:
      return "block";
    case ArchiveHeader::kFifo:
      return "fifo";
    default:
      return "type " + std::to_string(type);
  }
}

std::string lineOf(const std::string& path, const FileNode& node, std::uint32_t buildTime) {
  std::string line = path + " " + typeWord(node.type());
  const unsigned permissions = node.mode & 07777U;
  if (node.type() == ArchiveHeader::kSymlink) {
    // What the mode of a link is has no effect, but is always the same.
    EXPECT_EQ(permissions, 0777U) << path;
    line += " -> " + node.target;
  } else {
    line += " " + octal(permissions);
  }
  if (node.type() != ArchiveHeader::kSymlink || node.user != 0 || node.group != 0)
    line += " " + std::to_string(node.user) + ":" + std::to_string(node.group);
  if (!node.time) {
    line += " time=none";
  } else if (*node.time != buildTime) {
    line += " time=" + std::to_string(*node.time);
  } else if (node.type() != ArchiveHeader::kSymlink) {
    line += " time=build";
  }
  if (node.type() == ArchiveHeader::kRegular) line += " size=" + std::to_string(node.data.size);
  if (node.type() == ArchiveHeader::kCharDevice || node.type() == ArchiveHeader::kBlockDevice)
    line +=
        " device=" + std::to_string(major(node.device)) + ":" + std::to_string(minor(node.device));
  return line + (node.skip ? " skip\n" : "\n");
}

}  // namespace

void FilesWorld::setTime(const std::string& name, time_t seconds) const {
  const timespec times[] = {{seconds, 0}, {seconds, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, path(name).c_str(), times, AT_SYMLINK_NOFOLLOW), 0);
}

Manifest FilesWorld::read(const std::string& description) {
  put("package.toml", "name = \"one\"\nversion = \"1.0\"\nbuild-time = " +
                          std::to_string(std::uint32_t{kBuildTime}) + "\n" + description);
  return readManifest(path("package.toml"));
}

void FilesWorld::make(const std::string& description) {
  const Manifest manifest = read(description);
  warnings_.clear();
  Inputs inputs(nullptr);
  tree_ = collectFiles(manifest, spool_, inputs, warnings_);
  settleFiles(manifest, *manifest.buildTime, tree_);
}

std::string FilesWorld::files(const std::string& description) {
  make(description);
  std::string text;
  for (const auto& [path, node] : tree_.nodes()) text += lineOf(path, node, kBuildTime);
  return text;
}

std::string FilesWorld::paths(const std::string& description) {
  make(description);
  std::string text;
  for (const auto& [path, node] : tree_.nodes()) text += path + " ";
  return text;
}

std::string FilesWorld::failure(const std::string& description) {
  std::string text = failureOf([&] { make(description); });
  const std::string folder = temp_.path() + "/";
  for (auto at = text.find(folder); at != std::string::npos; at = text.find(folder))
    text.erase(at, folder.size());
  return text;
}

std::string FilesWorld::contents(const std::string& file) const {
  std::string text;
  readData(tree_.nodes().at(file).data, spool_,
           [&](const char* data, std::size_t count) { text.append(data, count); });
  return text;
}
