#include "tools/tpk/try/backupreader.h"

#include "tools/tpk/host/failure.h"
#include "tools/tpk/host/hostfile.h"
#include "tools/tpk/host/printable.h"

#include <algorithm>
#include <cstdlib>

#include <archive.h>
#include <archive_entry.h>
#include <unistd.h>

namespace {

enum : unsigned { kMostEntries = 200000 };
enum : std::size_t { kReadSize = 65536 };

std::string reasonOf(archive* opened) {
  const char* const text = archive_error_string(opened);
  return text ? text : "unknown reason";
}

// An archive may come from a machine with another locale, and so may this process's own be another.
const char* pathOf(archive_entry* header) {
  const char* const path = archive_entry_pathname(header);
  return path ? path : archive_entry_pathname_utf8(header);
}

// Without "." and empty components; false when one is "..".
bool normalize(const std::string& path, std::string& normal) {
  normal.clear();
  for (std::size_t begin = 0; begin < path.size();) {
    const std::size_t end = std::min(path.find('/', begin), path.size());
    const std::string component = path.substr(begin, end - begin);
    begin = end + 1;
    if (component == "..") return false;
    if (component.empty() || component == ".") continue;
    if (!normal.empty()) normal += '/';
    normal += component;
  }
  return true;
}

BackupEntry::Type typeOf(archive_entry* header) {
  if (archive_entry_hardlink(header)) return BackupEntry::Type::kOther;
  switch (archive_entry_filetype(header)) {
    case AE_IFREG:
      return BackupEntry::Type::kFile;
    case AE_IFDIR:
      return BackupEntry::Type::kFolder;
    default:
      return BackupEntry::Type::kOther;
  }
}

}  // namespace

void BackupReader::Close::operator()(archive* opened) const { archive_read_free(opened); }

BackupReader::BackupReader(const std::string& path)
    : name_(path), isFolder_(isHostDirectory(path)) {
  isFolder_ ? openFolder() : openTar();
}

BackupReader::~BackupReader() = default;

void BackupReader::openFolder() {
  archive_.reset(archive_read_disk_new());
  archive_read_disk_set_symlink_physical(archive_.get());
  archive_read_disk_set_behavior(
      archive_.get(), ARCHIVE_READDISK_NO_ACL | ARCHIVE_READDISK_NO_XATTR |
                          ARCHIVE_READDISK_NO_FFLAGS | ARCHIVE_READDISK_NO_TRAVERSE_MOUNTS);
  // The folder itself may be reached through a link.
  const std::unique_ptr<char, decltype(&std::free)> real(::realpath(name_.c_str(), nullptr),
                                                         &std::free);
  if (!real) failWithErrno(name_, "cannot be opened");
  top_ = real.get();
  if (archive_read_disk_open(archive_.get(), top_.c_str()) != ARCHIVE_OK)
    throw EnvironmentFailure(name_ + ": cannot be opened: " + reasonOf(archive_.get()));
}

void BackupReader::openTar() {
  if (::access(name_.c_str(), R_OK) != 0) failWithErrno(name_, "cannot be opened");
  archive_.reset(archive_read_new());
  archive_read_support_format_tar(archive_.get());
  // Not all filters: some are programs that would be looked for and started.
  archive_read_support_filter_gzip(archive_.get());
  archive_read_support_filter_bzip2(archive_.get());
  archive_read_support_filter_xz(archive_.get());
  archive_read_support_filter_zstd(archive_.get());
  if (archive_read_open_filename(archive_.get(), name_.c_str(), kReadSize) != ARCHIVE_OK)
    failReading();
}

void BackupReader::failReading() const {
  const std::string where = current_.empty() ? "" : ": at " + printable(current_);
  throw Failure(name_ + where + ": the backup cannot be read: " + reasonOf(archive_.get()));
}

bool BackupReader::nextHeader(archive_entry*& header) {
  if (isFolder_ && entries_ > 0) archive_read_disk_descend(archive_.get());
  for (;;) {
    const int result = archive_read_next_header(archive_.get(), &header);
    if (result == ARCHIVE_EOF) return false;
    if (result == ARCHIVE_OK || result == ARCHIVE_WARN) return true;
    if (result != ARCHIVE_RETRY) failReading();
  }
}

bool BackupReader::next(BackupEntry& entry) {
  archive_entry* header = nullptr;
  while (nextHeader(header)) {
    if (++entries_ > kMostEntries)
      throw Failure(name_ + ": has more than " + std::to_string(kMostEntries) + " entries");
    const char* const path = pathOf(header);
    if (!path) continue;
    current_ = path;
    current_.erase(0, std::min(top_.size(), current_.size()));
    if (!normalize(current_, entry.path))
      throw Failure(name_ + ": " + printable(current_) + ": a path with \"..\" in it");
    if (entry.path.empty()) continue;
    entry.type = typeOf(header);
    const auto size = archive_entry_size(header);
    entry.size = size > 0 ? static_cast<std::uint64_t>(size) : 0;
    return true;
  }
  return false;
}

std::string BackupReader::contents(std::size_t limit) {
  std::string result;
  std::string chunk(kReadSize, '\0');
  for (;;) {
    const auto got = archive_read_data(archive_.get(), &chunk[0], chunk.size());
    if (got == 0) return result;
    if (got < 0) failReading();
    result.append(chunk, 0, static_cast<std::size_t>(got));
    if (result.size() > limit)
      throw Failure(name_ + ": " + printable(current_) + ": has more than " +
                    std::to_string(limit) + " bytes");
  }
}
