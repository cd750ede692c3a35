// A backup entry by entry: a folder or a tar, through libarchive. Nothing is followed: a link is an
// entry of its own.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

struct archive;
struct archive_entry;

struct BackupEntry {
  enum class Type { kFile, kFolder, kOther };

  std::string path;  // components with single "/" between them, none of them "." or ".."
  Type type = Type::kOther;
  std::uint64_t size = 0;  // of a file, as the backup claims
};

class BackupReader {
 public:
  // Plain tar, or one that gzip, bzip2, xz or zstd packed. Throws EnvironmentFailure when there is
  // nothing that can be read.
  explicit BackupReader(const std::string& path);
  ~BackupReader();
  BackupReader(const BackupReader&) = delete;
  BackupReader& operator=(const BackupReader&) = delete;

  // The next entry; the backup's own top folder is none. False at the end. Throws Failure for what
  // is no tar, is cut short, has a path with "..", or more entries than a router can have files.
  bool next(BackupEntry& entry);
  // The contents of the current entry; throws Failure when they have more bytes than limit.
  std::string contents(std::size_t limit);

 private:
  struct Close {
    void operator()(archive* opened) const;
  };

  void openFolder();
  void openTar();
  bool nextHeader(archive_entry*& header);
  [[noreturn]] void failReading() const;

  std::string name_;
  bool isFolder_;
  std::string top_;  // what paths of a folder begin with
  std::unique_ptr<archive, Close> archive_;
  std::string current_;
  unsigned entries_ = 0;
};
