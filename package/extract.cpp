#include "package/files.h"
#include "package/package.h"
#include "repo/console.h"
#include "repo/fileowners.h"
#include "stream/icstream.h"
#include "stream/ipackstream.h"
#include "stream/outputfile.h"
#include "stream/packformat.h"
#include "stream/readbytes.h"
#include "stream/text.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <list>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr char kRelativeRoot[] = ".";
constexpr char kDatabaseOnFlash[] = "/var/pdb/";  // as a logical path
constexpr char kDisabledDir[] = "/x/";            // logical; holds the files of disabled packages

enum : std::size_t { kCopySize = 16384 };

// What became of an entry.
enum class Outcome {
  kPlaced,
  kPassedOver,
  kEnd,     // there was no further entry
  kFailed,  // and was reported
};

// One pass over an archive.
class Extraction {
 public:
  Extraction(Package& package, std::istream& source, ipackstream& pack, bool force, bool relative)
      : package_(package),
        source_(source),
        pack_(pack),
        force_(force),
        relative_(relative),
        root_(relative ? kRelativeRoot : kFlashRoot),
        guard_(root_),
        database_(databaseFolder()) {}

  bool run();

 private:
  // What stands at the path of an entry.
  enum class Existing { kNothing, kDirectory, kOther };

  std::string databaseFolder();
  Outcome extractNext();
  bool readHeader();
  bool isPlaceable() const;
  bool mayLand();
  bool isForeignRecord() const;
  Existing existing() const;
  std::string owner() const;
  bool makeRoom();
  Outcome create();
  Outcome createLink();
  Outcome createFile();
  bool copyData(OutputFile& file);
  Outcome createDirectory();
  Outcome createDevice();
  Outcome createFifo();
  Outcome createNode(int result);
  void setAttributes();
  Outcome passOver();
  Outcome broken() const;
  Outcome notCreated() const;
  void setTimes(const std::string& path, std::uint32_t time) const;
  void setDirectoryTimes();

  Package& package_;
  std::istream& source_;
  ipackstream& pack_;
  const bool force_;
  const bool relative_;
  const char* const root_;
  PathGuard guard_;
  const std::string database_;  // where the database really lies below the root; may be elsewhere

  // The current entry.
  ArchiveHeader header_;
  std::string name_;     // as the archive has it
  std::string logical_;  // as the package lists it
  std::string real_;     // where it goes

  // Directories that were created, in that order, with their times: files placed in one change it.
  std::list<std::pair<std::string, std::uint32_t>> directoryTimes_;
};

std::string Extraction::databaseFolder() {
  const bool inside = guard_.stays(formatted("%s%s", root_, kDatabaseOnFlash));
  guard_.forget();
  return inside ? guard_.resolved() : std::string();
}

bool Extraction::run() {
  for (;;) {
    switch (extractNext()) {
      case Outcome::kPlaced:
        package_.showInstallProgress(pack_);
        break;
      case Outcome::kPassedOver:
        break;
      case Outcome::kEnd:
        setDirectoryTimes();
        return true;
      case Outcome::kFailed:
        return false;
    }
  }
}

Outcome Extraction::extractNext() {
  // The archive has no end mark: it ends with its data.
  if (source_.fail() || !readHeader()) return Outcome::kEnd;
  name_.clear();
  if (!readBytes(source_, header_.nameLength(), name_) || !isPlaceable()) return broken();
  logical_ = relative_ ? kRelativeRoot : "";
  if (package_.disabled) {
    logical_ += kDisabledDir;
    logical_ += package_.name;
  }
  if (name_[0] != '/') logical_ += "/";
  logical_ += name_;
  real_ = relative_ ? "" : kFlashRoot;
  real_ += logical_;
  if (!mayLand()) return broken();
  // Entries come folder by folder: the parents of most are there already.
  if (!guard_.sameFolder()) makeDirs(real_, true);
  if (header_.skip()) return passOver();
  return makeRoom() ? create() : passOver();
}

bool Extraction::readHeader() {
  return static_cast<bool>(
      source_.read(reinterpret_cast<char*>(header_.bytes), sizeof header_.bytes));
}

// The file list has one path a line, and system calls end a path at its first NUL: such a name
// would be recorded as another than the one created.
bool Extraction::isPlaceable() const {
  return name_.find('\n') == std::string::npos && name_.find('\0') == std::string::npos &&
         !hasParentComponent(name_);
}

// Nothing may be placed by way of a link that leads off the flash, nor into the record of another
// package: the signature is only known to be good after the last file.
bool Extraction::mayLand() { return guard_.stays(real_) && !isForeignRecord(); }

bool Extraction::isForeignRecord() const {
  const std::string& path = guard_.resolved();
  if (database_.empty() || std::strncmp(path.c_str(), database_.c_str(), database_.size()) != 0)
    return false;
  const std::string& own = package_.name;
  const char* const entry = path.c_str() + database_.size();
  const bool isOwn = std::strncmp(entry, own.c_str(), own.size()) == 0 &&
                     (entry[own.size()] == '/' || entry[own.size()] == '\0');
  return *entry != '\0' && !isOwn;
}

Extraction::Existing Extraction::existing() const {
  struct stat info;
  if (stat(real_.c_str(), &info) == 0) {
    return S_ISDIR(info.st_mode) ? Existing::kDirectory : Existing::kOther;
  }
  // A link may lead nowhere here and still be in the way: it is meant for programs that see the
  // flash as their root.
  return lstat(real_.c_str(), &info) == 0 ? Existing::kOther : Existing::kNothing;
}

// Of the path as the entry has it, or of the one that it comes to by way of links and empty
// components.
std::string Extraction::owner() const {
  const std::string name = fileOwner(logical_);
  return name.empty() ? fileOwner(guard_.resolved()) : name;
}

// False when what stands there stays.
bool Extraction::makeRoom() {
  const Existing found = existing();
  if (found == Existing::kNothing) return true;
  if (found == Existing::kDirectory && header_.type() == ArchiveHeader::kDirectory) return false;
  if (!force_) {
    Reporter* const reporter = Reporter::getReporter();
    const std::string name = owner();
    if (!name.empty()) {
      reporter->warn("file %s collides with %s package", logical_.c_str(), name.c_str());
      return false;
    }
    reporter->warn("ghost file %s", logical_.c_str());
  }
  unlink(real_.c_str());
  guard_.forget();
  return true;
}

Outcome Extraction::create() {
  switch (header_.type()) {
    case ArchiveHeader::kSymlink:
      return createLink();
    case ArchiveHeader::kRegular:
      return createFile();
    case ArchiveHeader::kDirectory:
      return createDirectory();
    case ArchiveHeader::kCharDevice:
    case ArchiveHeader::kBlockDevice:
      return createDevice();
    case ArchiveHeader::kFifo:
      return createFifo();
    default:
      return broken();
  }
}

Outcome Extraction::createLink() {
  if (header_.dataSize() >= PATH_MAX) {
    errno = ENAMETOOLONG;
    return notCreated();
  }
  std::string target;
  if (!readBytes(source_, header_.dataSize(), target)) return broken();
  if (symlink(target.c_str(), real_.c_str()) != 0) return notCreated();
  guard_.forget();
  package_.files.insert(logical_);
  [[maybe_unused]] const int ignored = lchown(real_.c_str(), header_.user(), header_.group());
  return Outcome::kPlaced;
}

Outcome Extraction::createFile() {
  OutputFile file(real_, OutputFile::kNoFollow);
  if (!file.good()) return notCreated();
  // Before any data, so that a file cut short is still removed when the installation is undone.
  package_.files.insert(logical_);
  if (!copyData(file)) return file.good() ? broken() : notCreated();
  if (!file.close()) return notCreated();
  setAttributes();
  return Outcome::kPlaced;
}

bool Extraction::copyData(OutputFile& file) {
  char chunk[kCopySize];
  for (std::uint32_t left = header_.dataSize(); left > 0;) {
    const std::uint32_t wanted = std::min<std::uint32_t>(left, kCopySize);
    source_.read(chunk, static_cast<std::streamsize>(wanted));
    if (source_.gcount() > 0) package_.showInstallProgress(pack_);
    if (source_.fail()) return false;
    if (!file.write(chunk, wanted)) return false;
    left -= wanted;
  }
  return true;
}

Outcome Extraction::createDirectory() {
  skipBytes(source_, header_.dataSize());
  if (mkdir(real_.c_str(), header_.mode()) != 0) return notCreated();
  directoryTimes_.emplace_back(real_, header_.time());
  setAttributes();
  return Outcome::kPlaced;
}

Outcome Extraction::createDevice() {
  unsigned char number[ArchiveHeader::kDeviceNumberSize];
  if (header_.dataSize() != sizeof number ||
      !source_.read(reinterpret_cast<char*>(number), sizeof number)) {
    return broken();
  }
  return createNode(mknod(real_.c_str(), header_.mode(), get32(number)));
}

Outcome Extraction::createFifo() {
  skipBytes(source_, header_.dataSize());
  return createNode(mkfifo(real_.c_str(), header_.mode()));
}

Outcome Extraction::createNode(int result) {
  if (result != 0) return notCreated();
  package_.files.insert(logical_);
  setAttributes();
  return Outcome::kPlaced;
}

// A file system without owners or modes is no reason to give up: the results do not count.
void Extraction::setAttributes() {
  [[maybe_unused]] int ignored = chown(real_.c_str(), header_.user(), header_.group());
  ignored = chmod(real_.c_str(), header_.mode());
  setTimes(real_, header_.time());
}

void Extraction::setTimes(const std::string& path, std::uint32_t time) const {
  struct timespec times[2] = {};
  times[0].tv_sec = times[1].tv_sec = static_cast<time_t>(time);
  utimensat(AT_FDCWD, path.c_str(), times, 0);
}

void Extraction::setDirectoryTimes() {
  for (const auto& directory : directoryTimes_) {
    // A later entry may have put a link in the way to it.
    if (guard_.stays(directory.first)) setTimes(directory.first, directory.second);
  }
}

// Data that end early show when the next header is read.
Outcome Extraction::passOver() {
  skipBytes(source_, header_.dataSize());
  return Outcome::kPassedOver;
}

Outcome Extraction::broken() const {
  package_.reportBrokenPackage();
  return Outcome::kFailed;
}

Outcome Extraction::notCreated() const {
  package_.reportInstallError(name_.c_str());
  return Outcome::kFailed;
}

}  // namespace

bool Package::extractFiles(icstream& source, ipackstream& in, bool force, bool relative) {
  if (disabled) {
    makeDirs(formatted("%s%s%s", kFlashRoot, kDisabledDir, name.c_str()), false);
    makeDirs(formatted("%s%s%s%s%s", kFlashRoot, kDisabledDir, name.c_str(), kDatabaseOnFlash,
                       name.c_str()),
             false);
  }
  return Extraction(*this, source, in, force, relative).run();
}
