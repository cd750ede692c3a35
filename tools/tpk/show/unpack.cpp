#include "tools/tpk/show/unpack.h"

#include "tools/tpk/host/failure.h"
#include "tools/tpk/host/printable.h"
#include "tools/tpk/make/filetree.h"
#include "tools/tpk/make/sources.h"
#include "tools/tpk/make/tomltext.h"
#include "tools/tpk/read/archiveindex.h"
#include "tools/tpk/read/entrypath.h"
#include "tools/tpk/read/entrytext.h"
#include "tools/tpk/read/partnames.h"

#include <cerrno>
#include <cstring>
#include <utility>
#include <vector>

namespace {

enum : std::size_t { kCopySize = 65536 };
enum : std::uint16_t { kPlainBits = 0777, kOwnerReads = 0400, kOwnerExecutes = 0100 };

// Not made as files but declared.
bool isNode(std::uint16_t type) {
  return type == ArchiveHeader::kCharDevice || type == ArchiveHeader::kBlockDevice ||
         type == ArchiveHeader::kFifo;
}

}  // namespace

Unpacker::Unpacker(const UnpackTarget& target, std::function<void(const std::string&)> take,
                   std::function<void(const std::string&)> problem)
    : target_(target), take_(std::move(take)), problem_(std::move(problem)) {}

void Unpacker::unpackAll(ArchiveReader& archive) {
  ArchiveEntry entry;
  ArchiveBudget budget;
  while (archive.next(entry)) {
    budget.take(entry, archive);
    unpack(entry, archive);
  }
}

void Unpacker::unpack(const ArchiveEntry& entry, ArchiveReader& archive) {
  try {
    path_ = cleanPath(entry.name);
  } catch (const Failure&) {
    refuse(entry, "the router refuses such a path");
    return;
  }
  if (path_.empty()) {
    refuse(entry, "it stands for the router's root");
    return;
  }
  if (!canBe(entry, archive)) return;
  const int error = place(entry, target_.root + "/" + path_, archive);
  if (error == EEXIST) {
    refuse(entry, "there is an entry with this path already");
  } else if (error == ENOTDIR) {
    refuse(entry, "its path leads through what is no folder");
  } else if (error != 0) {
    refuse(entry, std::strerror(error));
  } else {
    describe(entry);
  }
}

bool Unpacker::canBe(const ArchiveEntry& entry, const ArchiveReader& archive) {
  const std::uint16_t type = entry.header.type();
  const bool isWhole = type == ArchiveHeader::kRegular || archive.remaining() == 0;
  if (std::strcmp(entryTypeName(type), "unknown") == 0) {
    refuse(entry, "it is of no known type");
  } else if (type == ArchiveHeader::kSymlink &&
             (entry.target.empty() || entry.target.find('\0') != std::string::npos)) {
    refuse(entry, "no link has such a target");
  } else if (!isWhole && type != ArchiveHeader::kDirectory && type != ArchiveHeader::kFifo) {
    refuse(entry, "its data are none of its type");
  } else {
    return true;
  }
  return false;
}

int Unpacker::place(const ArchiveEntry& entry, const std::string& path, ArchiveReader& archive) {
  switch (entry.header.type()) {
    case ArchiveHeader::kRegular:
      return placeFile(entry, path, archive);
    case ArchiveHeader::kDirectory:
      return placeFolder(path);
    case ArchiveHeader::kSymlink:
      return target_.folder.makeLink(path, entry.target);
    default:
      return target_.devices ? target_.folder.makeNode(path, entry.header.mode(), entry.device) : 0;
  }
}

int Unpacker::placeFile(const ArchiveEntry& entry, const std::string& path,
                        ArchiveReader& archive) {
  OwnedDescriptor file;
  if (const int error = target_.folder.createFile(path, file)) return error;
  std::vector<char> buffer(kCopySize);
  while (const std::size_t got = archive.read(buffer.data(), buffer.size()))
    target_.folder.write(file, buffer.data(), got);
  // Whoever unpacks it must be able to read it again, and gets no program that runs as another
  // user.
  const auto permissions =
      static_cast<std::uint16_t>((entry.header.mode() & kPlainBits) | kOwnerReads);
  target_.folder.finishFile(file, permissions, entry.header.time());
  return 0;
}

// A folder that is there already is as good: one that had to be made for what came before it.
int Unpacker::placeFolder(const std::string& path) {
  const int error = target_.folder.makeFolder(path);
  return error == EEXIST && target_.folder.hasFolder(path) ? 0 : error;
}

void Unpacker::describe(const ArchiveEntry& entry) {
  const std::uint16_t type = entry.header.type();
  std::string text = attributes(entry);
  if (!isNode(type) && text.empty()) return;
  if (!isUtf8(path_)) {
    problem_("\"" + printable(path_) +
             "\" cannot be in a description: its name is not UTF-8; its owner, mode and time are "
             "lost");
    return;
  }
  if (!isNode(type)) {
    take_("\n[[rule]]\nmatch = " + tomlText(literalPattern(path_)) + "\n" + text);
    return;
  }
  std::string entryText = "\n[[entry]]\npath = " + tomlText(path_) + "\ntype = \"" +
                          entryTypeName(entry.header.mode()) + "\"\n";
  if (type != ArchiveHeader::kFifo) {
    entryText += "major = " + std::to_string(deviceMajor(entry.device)) + "\n";
    entryText += "minor = " + std::to_string(deviceMinor(entry.device)) + "\n";
  }
  take_(entryText + text);
}

// What differs from that with which tpk build would pack the file.
std::string Unpacker::attributes(const ArchiveEntry& entry) const {
  const ArchiveHeader& header = entry.header;
  const auto number = [](const char* key, std::uint32_t value) {
    return std::string(key) + " = " + std::to_string(value) + "\n";
  };
  const bool executable = (header.mode() & kOwnerExecutes) != 0;
  const auto permissions = static_cast<std::uint16_t>(header.mode() & ~ArchiveHeader::kTypeMask);
  std::string text;
  if (header.user() != 0) text += number("owner", header.user());
  if (header.group() != 0) text += number("group", header.group());
  if (permissions != defaultPermissions(header.type(), executable) &&
      header.type() != ArchiveHeader::kSymlink)
    text += "mode = \"" + octalText(header.mode()) + "\"\n";
  if (header.time() != target_.buildTime) text += number("time", header.time());
  if (header.skip()) text += "skip = true\n";
  return text;
}

void Unpacker::refuse(const ArchiveEntry& entry, const std::string& why) {
  problem_("\"" + printable(entry.name) + "\" is left out: " + why);
}
