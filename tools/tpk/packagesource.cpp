#include "tools/tpk/packagesource.h"

#include "model/packagefile.h"
#include "tools/tpk/build.h"
#include "tools/tpk/hostfile.h"
#include "tools/tpk/inputfile.h"
#include "tools/tpk/manifest.h"

bool isManifest(const std::string& path) {
  return hasPostfix(path, ".toml") || isHostDirectory(path);
}

std::unique_ptr<InputFile> openPackage(const std::string& path) {
  if (!isManifest(path)) return std::make_unique<InputFile>(path);
  const Manifest manifest = readManifest(path);
  const TemporaryFile built;
  buildPackage(manifest, nullptr, built.path());
  return std::make_unique<InputFile>(built.path());
}
