#include "main/modes.h"

#include "main/options.h"
#include "package/package.h"
#include "repo/repo.h"
#include "stream/ifilestream.h"
#include "stream/packformat.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <map>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int kFailed = -1;  // 255 to the shell
constexpr int kNotOpened = 1;
constexpr char kStreamImage[] = "/flash/var/pdb//image";
constexpr char kImageName[] = "image";
constexpr char kChangeMarker[] = "/flash/PCKGS_CHANGED";

// What the driver says itself goes past the run log, and past quiet mode.
void say(const char* text) { std::cout << text << std::endl; }

// The copy of a package that arrives as a stream. It knows when bytes are missing, because they
// could not be written or never came: such an image is worse than none.
class ImageFile : public std::filebuf {
 public:
  bool complete() const {
    return !lost_ && received_ >= std::uint64_t{header_.length()} + FileHeader::kSize;
  }

 protected:
  std::streamsize xsputn(const char* data, std::streamsize count) override {
    noteHeader(data, count);
    received_ += static_cast<std::uint64_t>(count);
    const std::streamsize written = std::filebuf::xsputn(data, count);
    if (written != count) lost_ = true;
    return written;
  }
  int_type overflow(int_type c) override {
    const int_type result = std::filebuf::overflow(c);
    if (traits_type::eq_int_type(result, traits_type::eof())) lost_ = true;
    return result;
  }

 private:
  // The file header comes first, and at once.
  void noteHeader(const char* data, std::streamsize count) {
    if (received_ == 0 && count == FileHeader::kSize)
      std::memcpy(header_.bytes, data, sizeof header_.bytes);
  }

  FileHeader header_;
  std::uint64_t received_ = 0;
  bool lost_ = false;
};

// metaDir is empty for a package without the image marker; the link then lands in the working
// directory.
int linkImage(const std::string& from, const std::string& metaDir) {
  if (link(from.c_str(), (metaDir + kImageName).c_str()) == 0) return 0;
  say("ERROR: could not save package image");
  return kFailed;
}

int saveStreamImage(bool complete, const std::string& metaDir) {
  int result = kFailed;
  if (complete) {
    result = linkImage(kStreamImage, metaDir);
  } else {
    say("ERROR: could not save package image");
  }
  unlink(kStreamImage);
  return result;
}

int installStream(ImageFile& image, unsigned flags) {
  ifilestream in(STDIN_FILENO);
  std::map<std::string, bool> choices;
  std::string metaDir;
  const int result = Repo::getRepo()->installFrom(in, flags, choices, &image, &metaDir);
  const bool closed = image.close() != nullptr;
  // After a failure the image stays where it is, as far as it came.
  return result == 0 ? saveStreamImage(closed && image.complete(), metaDir) : result;
}

int installFile(const std::string& path, unsigned flags) {
  ifilestream in(path);
  if (!in.isOpen()) return kNotOpened;
  std::map<std::string, bool> choices;
  std::string metaDir;
  const int result = Repo::getRepo()->installFrom(in, flags, choices, nullptr, &metaDir);
  return result == 0 ? linkImage(path, metaDir) : result;
}

void markChanged() {
  const int marker = creat(kChangeMarker, 0600);
  if (marker >= 0) close(marker);
}

void installAll(unsigned flags, bool changed) {
  if (Repo::getRepo()->installAllPackages(flags)) changed = true;
  if (changed) markChanged();
  if (flags & kReinstall) say("");
}

int install(const Options& options) {
  Repo* const repo = Repo::getRepo();
  const bool changed = repo->scheduleAndExec(1) != 0;
  const unsigned flags = options.installFlags | kAllowUpgrade;
  int result = 0;
  if (options.imageFromStdin) {
    ImageFile image;
    if (!image.open(kStreamImage, std::ios::out | std::ios::binary | std::ios::trunc)) {
      say("ERROR: could not open image");
      return kFailed;
    }
    result = installStream(image, flags);
  } else if (options.packagePath.empty()) {
    installAll(flags, changed);
  } else {
    result = installFile(options.packagePath, flags);
  }
  repo->writeLog();
  return result;
}

}  // namespace

int run(const Options& options) {
  if (!options.root.empty() && chroot(options.root.c_str()) != 0) std::perror("chroot");
  // A failure has no consequence: every path from here on is absolute.
  [[maybe_unused]] const int ignored = chdir("/");
  Repo* const repo = Repo::getRepo();
  repo->init(options.quiet);
  if (options.show) {
    repo->showPackages();
    return 0;
  }
  if (options.fileGc) {
    for (char* directory : options.gcDirectories) gcFilesIn(directory);
    return 0;
  }
  if (options.cleanUp) {
    repo->uninstallBadPackages();
    return 0;
  }
  return install(options);
}
