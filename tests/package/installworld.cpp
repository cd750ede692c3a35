#include "tests/package/installworld.h"

#include "stream/icstream.h"
#include "stream/ipackstream.h"
#include "stream/sha1.h"
#include "tests/support/sign.h"
#include "tests/support/systemcalls.h"

#include <sstream>

namespace {

// What an installation takes from a stream.
void acceptAll(ipackstream& in) {
  for (const std::uint32_t type :
       {kPartPackage, kPartBundle, kPartTurnOff, kPartArchitecture, kPartRequires, kPartProvides,
        kPartConflicts, kPartImage, kPartArchive, kPartOnInstall, kPartOnUninstall,
        kPartSignature}) {
    in.accept(type);
  }
}

}  // namespace

void InstallWorld::SetUp() {
  // The signer reads its key with the first signature, which must not happen in the root.
  const unsigned char digest[SHA1::kDigestSize] = {};
  static const std::string signature = signatureFor(digest);
  InRoot::SetUp();
  restart();
}

void InstallWorld::TearDown() {
  EXPECT_TRUE(healCalls()) << "a failure that was asked for did not come";
  InRoot::TearDown();
}

void InstallWorld::restart() {
  package_ = std::make_unique<Package>();
  package_->name = "tool";
  package_->version = kOne;
}

PackBuilder InstallWorld::pack(bool dumb) { return PackBuilder(dumb).header("tool", kOne); }

PackBuilder InstallWorld::signedPack(const ArchiveBuilder& archive, bool dumb) {
  return pack(dumb).archive(archive).sign();
}

bool InstallWorld::extract(const ArchiveBuilder& archive, bool force, bool relative) {
  return extractPart(archive.deflated(), force, relative);
}

bool InstallWorld::extractPart(const std::string& contents, bool force, bool relative) {
  std::istringstream file(PackBuilder().part(kPartArchive, contents).finish());
  ipackstream in(file, true);
  acceptAll(in);
  EXPECT_EQ(in.next(), static_cast<std::uint32_t>(kPartArchive));
  icstream source(in, false);
  return package_->extractFiles(source, in, force, relative);
}

bool InstallWorld::install(const PackBuilder& file, bool relative) {
  return installBytes(file.finish(), relative);
}

bool InstallWorld::installBytes(const std::string& bytes, bool relative) {
  std::istringstream file(bytes);
  ipackstream in(file, true);
  acceptAll(in);
  in.next();
  const bool installed = package_->readFrom(in) && package_->install(in, relative);
  leftAt_ = in.type();
  return installed;
}

Package* InstallWorld::addInstalled(const std::string& name, const std::set<std::string>& files) {
  auto* const package = new Package;
  package->name = name;
  package->files = files;
  repo_->addPackage(package);
  return package;
}

std::string InstallWorld::messages() {
  const std::vector<std::string> lines = RepoAccess::logLines();
  std::string text;
  for (; messagesTaken_ < lines.size(); ++messagesTaken_) text += lines[messagesTaken_] + '\n';
  return text;
}

std::string InstallWorld::flash(unsigned fields) {
  return listTree("/flash", fields, {"/rw", "/var"});
}

std::string InstallWorld::listed() const {
  std::string text;
  for (const std::string& path : package_->files) text += path + '\n';
  return text;
}
