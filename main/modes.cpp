#include "main/modes.h"

#include "main/options.h"
#include "package/package.h"
#include "repo/console.h"
#include "repo/repo.h"
#include "stream/ifilestream.h"
#include "stream/outputfile.h"

#include <cstdio>
#include <map>
#include <streambuf>
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

// The copy of a package that arrives as a stream. One of which bytes are missing, because they
// could not be written or never came, is worse than none.
class ImageFile : public std::streambuf {
 public:
  ImageFile() : file_(kStreamImage) {}

  bool isOpen() const { return file_.good(); }
  // Closes the file. Whether the whole package is in it.
  bool complete() { return file_.close() && whole_; }

 protected:
  std::streamsize xsputn(const char* data, std::streamsize count) override {
    return file_.write(data, static_cast<std::size_t>(count)) ? count : 0;
  }
  // Called when the package came whole.
  int sync() override {
    whole_ = true;
    return 0;
  }

 private:
  OutputFile file_;
  bool whole_ = false;
};

int notSaved() {
  print("ERROR: could not save package image\n");
  return kFailed;
}

// metaDir is empty for a package without the image marker; the link then lands in the working
// directory.
int linkImage(const char* from, const std::string& metaDir) {
  if (link(from, (metaDir + kImageName).c_str()) == 0) return 0;
  return notSaved();
}

int saveStreamImage(bool complete, const std::string& metaDir) {
  const int result = complete ? linkImage(kStreamImage, metaDir) : notSaved();
  unlink(kStreamImage);
  return result;
}

int installStream(ImageFile& image, unsigned flags) {
  ifilestream in(STDIN_FILENO);
  std::map<std::string, bool> choices;
  std::string metaDir;
  const int result = Repo::getRepo()->installFrom(in, flags, choices, &image, &metaDir);
  const bool complete = image.complete();
  // After a failure the image stays where it is, as far as it came.
  return result == 0 ? saveStreamImage(complete, metaDir) : result;
}

int installFile(const std::string& path, unsigned flags) {
  ifilestream in(path);
  if (!in.isOpen()) return kNotOpened;
  std::map<std::string, bool> choices;
  std::string metaDir;
  const int result = Repo::getRepo()->installFrom(in, flags, choices, nullptr, &metaDir);
  return result == 0 ? linkImage(path.c_str(), metaDir) : result;
}

void markChanged() {
  const int marker = open(kChangeMarker, O_WRONLY | O_CREAT | O_TRUNC, 0600);
  if (marker >= 0) close(marker);
}

void installAll(unsigned flags, bool changed) {
  if (Repo::getRepo()->installAllPackages(flags)) changed = true;
  if (changed) markChanged();
  if (flags & kReinstall) print("\n");
}

int install(const Options& options) {
  Repo* const repo = Repo::getRepo();
  const bool changed = repo->scheduleAndExec(1) != 0;
  const unsigned flags = options.installFlags | kAllowUpgrade;
  int result = 0;
  if (options.imageFromStdin) {
    ImageFile image;
    if (!image.isOpen()) {
      print("ERROR: could not open image\n");
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
