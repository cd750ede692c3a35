#include "tools/tpk/packagesource.h"

#include "model/packagefile.h"
#include "tools/tpk/build.h"
#include "tools/tpk/hostfile.h"
#include "tools/tpk/inputfile.h"
#include "tools/tpk/manifest.h"

#include <cstdlib>
#include <filesystem>

namespace {

// A folder of its own: what is built appears under its name only when it is whole.
class BuildFolder {
 public:
  BuildFolder() {
    path_ = std::filesystem::temp_directory_path().string() + "/tpkXXXXXX";
    if (!::mkdtemp(path_.data())) failWithErrno(path_, "cannot be created");
  }
  ~BuildFolder() {
    removeHostFile(package());
    removeHostDirectory(path_);
  }
  BuildFolder(const BuildFolder&) = delete;
  BuildFolder& operator=(const BuildFolder&) = delete;

  std::string package() const { return path_ + "/built.tpk"; }

 private:
  std::string path_;
};

}  // namespace

bool isManifest(const std::string& path) {
  return hasPostfix(path, ".toml") || isHostDirectory(path);
}

std::unique_ptr<InputFile> openPackage(const std::string& path) {
  if (!isManifest(path)) return std::make_unique<InputFile>(path);
  const Manifest manifest = readManifest(path);
  const BuildFolder folder;
  buildPackage(manifest, nullptr, folder.package());
  return std::make_unique<InputFile>(folder.package());
}
