#include "tests/plan/planworld.h"

#include "tests/plan/flashfiles.h"

#include <sstream>

namespace {

// Signed, and then one byte of the signature is not as it was.
void appendForgedSignature(PackBuilder& file) {
  PackBuilder other;
  other.header("other", k1_0).sign();
  const std::string bytes = other.finish();
  file.part(kPartSignature, bytes.substr(bytes.size() - SignatureRecord::kSize));
}

void appendLists(PackBuilder& file, const PackContents& pack) {
  if (!pack.arch.empty()) file.part(kPartArchitecture, pack.arch);
  if (!pack.deps.empty()) file.list(kPartRequires, pack.deps);
  if (!pack.provides.empty()) file.list(kPartProvides, pack.provides);
  if (!pack.conflicts.empty()) file.list(kPartConflicts, pack.conflicts);
  if (pack.image) file.image();
}

}  // namespace

void appendPackage(PackBuilder& file, const PackContents& pack) {
  file.header(pack.name, pack.version);
  appendLists(file, pack);
  file.archive(ArchiveBuilder().regular("opt/" + pack.name, versionString(pack.version)));
  if (pack.genuine) {
    file.sign();
  } else {
    appendForgedSignature(file);
  }
}

std::string packageFile(const PackContents& pack, bool dumb) {
  PackBuilder file(dumb);
  appendPackage(file, pack);
  return file.finish();
}

std::string bundleFile(const PackContents& bundle, const std::vector<PackContents>& members,
                       const std::vector<PackageDep>& turnedOff) {
  PackBuilder file;
  file.bundleHeader(bundle.name, bundle.version);
  appendLists(file, bundle);
  if (!turnedOff.empty()) file.list(kPartTurnOff, turnedOff);
  for (const PackContents& member : members) appendPackage(file, member);
  return file.finish();
}

// The signing key is read with the first signature, and out of reach in the root.
void PlanWorld::SetUp() {
  PackBuilder().header("any", k1_0).sign();
  InRoot::SetUp();
}

Package* PlanWorld::add(const std::string& name, std::uint32_t version) {
  auto* const package = new Package;
  package->name = name;
  package->version = version;
  package->files = {"/opt/" + name};
  writeFile("/flash/opt/" + name, versionString(version));
  repo_->addPackage(package);
  save(package);
  return package;
}

Package* PlanWorld::addBundle(const std::string& name, std::uint32_t version) {
  auto* const package = new Package;
  package->name = name;
  package->version = version;
  package->isBundle = true;
  repo_->addPackage(package);
  save(package);
  return package;
}

void PlanWorld::save(Package* package) {
  ASSERT_TRUE(package->makeMetaDir(false));
  ASSERT_TRUE(package->writeMeta(false));
}

int PlanWorld::install(const std::string& file, unsigned flags) {
  std::istringstream in(file);
  return repo_->installFrom(in, flags, choices_, nullptr, &imageDir_);
}

Lines PlanWorld::installed() const {
  Lines names;
  for (const Package* package : repo_->installed()) {
    names.push_back(package->getFullName() + (package->disabled ? "(disabled)" : ""));
  }
  return names;
}

Lines PlanWorld::flash() const { return filesOnFlash(); }
