#include "stream/packformat.h"
#include "tools/tpk/host/failure.h"
#include "tools/tpk/host/hostfile.h"
#include "tools/tpk/host/text.h"
#include "tools/tpk/make/sources.h"
#include "tools/tpk/read/entrypath.h"

#include <memory>
#include <unordered_map>

#include <archive.h>
#include <archive_entry.h>
#include <sys/sysmacros.h>

namespace {

enum : std::size_t { kReadSize = 65536 };
enum : std::uint16_t { kPermissions = 0777 };
enum : std::uint64_t { kMostData = 0xFFFFFFFF };
enum : unsigned { kMostMajor = 0xFFF, kMostMinor = 0xFFFFF };

std::string textOf(const char* text) { return text ? text : ""; }

// The process never leaves the C locale, so that the bytes do not depend on the environment.
std::string nameOf(struct archive_entry* entry) {
  const char* const plain = ::archive_entry_pathname(entry);
  return textOf(plain ? plain : ::archive_entry_pathname_utf8(entry));
}

std::string hardLinkOf(struct archive_entry* entry) {
  const char* const plain = ::archive_entry_hardlink(entry);
  return textOf(plain ? plain : ::archive_entry_hardlink_utf8(entry));
}

std::string targetOf(struct archive_entry* entry) {
  const char* const plain = ::archive_entry_symlink(entry);
  return textOf(plain ? plain : ::archive_entry_symlink_utf8(entry));
}

class TarSource {
 public:
  TarSource(Collection& collection, const FileSource& source)
      : collection_(collection),
        source_(source),
        archive_(::archive_read_new(), ::archive_read_free) {}

  void add();

 private:
  void open();
  bool next(struct archive_entry*& entry);
  void addEntry(struct archive_entry* entry);
  void addHardLink(const std::string& path, const std::string& to);
  FileNode nodeFor(struct archive_entry* entry, const std::string& origin);
  std::uint16_t typeOf(struct archive_entry* entry, const std::string& origin) const;
  std::uint32_t deviceOf(struct archive_entry* entry, const std::string& origin) const;
  FileData spoolData(struct archive_entry* entry, const std::string& origin);
  void warnOfExtras(struct archive_entry* entry, const std::string& origin);
  std::string cleanName(const std::string& name) const;
  [[noreturn]] void failAs(const std::string& what) const;

  Collection& collection_;
  const FileSource& source_;
  std::unique_ptr<struct archive, int (*)(struct archive*)> archive_;
  // Every file of the tar, excluded ones too: a hard link names one of them.
  std::unordered_map<std::string, FileNode> files_;
  bool warned_ = false;
};

void TarSource::failAs(const std::string& what) const { throw Failure(source_.path + ": " + what); }

void TarSource::open() {
  struct archive* const archive = archive_.get();
  if (!archive) throw EnvironmentFailure("libarchive: out of memory");
  // Compressions that need no other program.
  ::archive_read_support_filter_gzip(archive);
  ::archive_read_support_filter_bzip2(archive);
  ::archive_read_support_filter_xz(archive);
  ::archive_read_support_filter_lzma(archive);
  ::archive_read_support_filter_zstd(archive);
  ::archive_read_support_filter_lz4(archive);
  ::archive_read_support_format_tar(archive);
  if (::archive_read_open_filename(archive, source_.path.c_str(), kReadSize) != ARCHIVE_OK)
    failAs("is no tar that can be read: " + textOf(::archive_error_string(archive)));
}

void TarSource::add() {
  collection_.inputs.note(source_.path);
  open();
  struct archive_entry* entry = nullptr;
  while (next(entry)) addEntry(entry);
}

bool TarSource::next(struct archive_entry*& entry) {
  const int result = ::archive_read_next_header(archive_.get(), &entry);
  if (result == ARCHIVE_EOF) return false;
  if (result == ARCHIVE_OK) return true;
  // A warning, too, means that something is not what it was when the tar was made. The one
  // exception is a name that the C locale cannot express: its bytes are there all the same.
  const bool unnamed = result == ARCHIVE_WARN && !nameOf(entry).empty() &&
                       textOf(::archive_error_string(archive_.get())).find("can't be converted") !=
                           std::string::npos;
  if (!unnamed) failAs("is damaged: " + textOf(::archive_error_string(archive_.get())));
  return true;
}

std::string TarSource::cleanName(const std::string& name) const {
  try {
    return cleanPath(name);
  } catch (const Failure& failure) {
    failAs(failure.what());
  }
}

void TarSource::addEntry(struct archive_entry* entry) {
  const std::string name = cleanName(nameOf(entry));
  if (name.empty()) return;  // the root itself
  const std::string path = joinPaths(source_.into, name);
  const std::string link = hardLinkOf(entry);
  if (!link.empty()) {
    addHardLink(name, cleanName(link));
    return;
  }
  const std::string origin = source_.path + ": " + quoted(name);
  FileNode node = nodeFor(entry, origin);
  warnOfExtras(entry, origin);
  if (node.type() == ArchiveHeader::kRegular) files_[name] = node;
  if (!collection_.excludes(path)) collection_.tree.put(path, std::move(node));
}

void TarSource::addHardLink(const std::string& name, const std::string& to) {
  const auto found = files_.find(to);
  if (found == files_.end())
    failAs(quoted(name) + " is a hard link to " + quoted(to) + ", which is no file before it");
  const FileNode node = found->second;
  files_[name] = node;
  const std::string path = joinPaths(source_.into, name);
  if (!collection_.excludes(path)) collection_.tree.put(path, node);
}

std::uint16_t TarSource::typeOf(struct archive_entry* entry, const std::string& origin) const {
  const auto type = static_cast<std::uint16_t>(::archive_entry_filetype(entry));
  switch (type) {
    case ArchiveHeader::kRegular:
    case ArchiveHeader::kSymlink:
    case ArchiveHeader::kDirectory:
    case ArchiveHeader::kCharDevice:
    case ArchiveHeader::kBlockDevice:
    case ArchiveHeader::kFifo:
      return type;
    default:
      throw Failure(origin + " is of a kind that a package cannot hold; leave it out of the tar");
  }
}

// Modes are in the tar, and so the same for everybody who builds from it.
FileNode TarSource::nodeFor(struct archive_entry* entry, const std::string& origin) {
  FileNode node;
  node.origin = origin;
  const std::uint16_t type = typeOf(entry, origin);
  const auto mode = static_cast<std::uint32_t>(::archive_entry_perm(entry));
  node.mode = static_cast<std::uint16_t>(type | (mode & kPermissions));
  if (type == ArchiveHeader::kSymlink) {
    node.mode = static_cast<std::uint16_t>(type | defaultPermissions(type, false));
    node.target = targetOf(entry);
    if (node.target.empty()) throw Failure(origin + " is a link without a target");
  }
  if (type == ArchiveHeader::kCharDevice || type == ArchiveHeader::kBlockDevice)
    node.device = deviceOf(entry, origin);
  if (type == ArchiveHeader::kRegular) node.data = spoolData(entry, origin);
  keepAttributes(
      source_,
      {mode, ::archive_entry_uid(entry), ::archive_entry_gid(entry), ::archive_entry_mtime(entry)},
      node);
  return node;
}

std::uint32_t TarSource::deviceOf(struct archive_entry* entry, const std::string& origin) const {
  const auto major = static_cast<std::uint64_t>(::archive_entry_rdevmajor(entry));
  const auto minor = static_cast<std::uint64_t>(::archive_entry_rdevminor(entry));
  if (major > kMostMajor || minor > kMostMinor)
    throw Failure(origin + " has a device number of more than 32 bits");
  return static_cast<std::uint32_t>(
      makedev(static_cast<unsigned>(major), static_cast<unsigned>(minor)));
}

FileData TarSource::spoolData(struct archive_entry* entry, const std::string& origin) {
  if (::archive_entry_sparse_count(entry) > 0)
    throw Failure(origin + " is a sparse file; make the tar without --sparse");
  FileData data;
  data.offset = collection_.spool.size();
  char buffer[kReadSize];
  for (;;) {
    const la_ssize_t got = ::archive_read_data(archive_.get(), buffer, sizeof buffer);
    if (got == 0) return data;
    if (got < 0) failAs("is damaged: " + textOf(::archive_error_string(archive_.get())));
    data.size += static_cast<std::uint64_t>(got);
    if (data.size > kMostData) throw Failure(origin + ": is larger than 4 GiB");
    collection_.spool.append(buffer, static_cast<std::size_t>(got));
  }
}

void TarSource::warnOfExtras(struct archive_entry* entry, const std::string& origin) {
  if (warned_) return;
  warned_ = ::archive_entry_xattr_count(entry) > 0 || ::archive_entry_acl_types(entry) != 0;
  if (warned_)
    collection_.warnings.push_back(
        origin +
        " has extended attributes or an access list, which no package holds; they, and "
        "those of further files, are left out");
}

}  // namespace

void addTar(Collection& collection, const FileSource& source) {
  TarSource(collection, source).add();
}
