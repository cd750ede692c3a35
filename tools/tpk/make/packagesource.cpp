#include "tools/tpk/make/packagesource.h"

#include "model/packagefile.h"
#include "tools/tpk/host/hostfile.h"
#include "tools/tpk/make/build.h"
#include "tools/tpk/make/manifest.h"
#include "tools/tpk/read/inputfile.h"

bool isManifest(const std::string& path) {
  return hasPostfix(path, ".toml") || isHostDirectory(path);
}

std::unique_ptr<InputFile> openPackage(const std::string& path) {
  if (!isManifest(path)) return std::make_unique<InputFile>(path);
  const Manifest manifest = readManifest(path);
  auto built = std::make_unique<TemporaryFile>();
  buildPackage(manifest, nullptr, built->path());
  return std::make_unique<InputFile>(std::move(built));
}
