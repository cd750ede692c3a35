#include "package/metafiles.h"
#include "package/package.h"
#include "repo/console.h"
#include "stream/icstream.h"
#include "stream/ipackstream.h"
#include "stream/text.h"
#include "stream/verification.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <unistd.h>

void Package::showInstallProgress(ipackstream& in) const {
  // Two spaces before the mark: the line is what it is on consoles that scripts watch.
  const char* const mark = disabled && bundle.name.empty() ? " (disabled) " : "";
  Reporter::getReporter()->showProgress(
      in, formatted("installing %s%s", mark, getContainerName().c_str()));
}

void Package::reportInstallError(const char* what) const {
  const int reason = errno;
  Reporter* const reporter = Reporter::getReporter();
  const std::string package = getContainerName();
  if (reason == ENOSPC) {
    reporter->error("installation of %s failed: disk is too small", package.c_str());
  } else if (reason == EIO) {
    reporter->error("installation of %s failed: disk error", package.c_str());
  } else {
    reporter->error("installation of %s failed: could not create %s: %s", package.c_str(), what,
                    std::strerror(reason));
  }
  errno = reason;
}

void Package::reportBrokenPackage() const {
  Reporter::getReporter()->error("installation of %s failed: broken package",
                                 getContainerName().c_str());
}

bool Package::install(ipackstream& in, bool relative) {
  // A dumb package leaves no record, so an older record of its name is not its own to remove.
  const bool hasRecord = !in.isDumb();
  showInstallProgress(in);
  if (hasRecord && !makeMetaDir(relative)) return false;
  std::vector<const char*> stored;
  if (!installParts(in, relative, stored) || (hasRecord && !writeMeta(relative))) {
    rollBack(hasRecord, relative, stored);
    return false;
  }
  sync();
  // A script that fails leaves the package installed: it has said so.
  if (!disabled) runScript(kInstallScript);
  if (!bundle.name.empty()) return true;
  Reporter* const reporter = Reporter::getReporter();
  reporter->setStatus(std::string());
  reporter->log("installed %s%s", disabled ? "(disabled) " : "", getFullName().c_str());
  return true;
}

// Parts are taken in this order only; one that stands elsewhere ends the package.
bool Package::installParts(ipackstream& in, bool relative, std::vector<const char*>& stored) {
  if (in.type() == kPartImage) {
    skipImage(in);
    in.next();
  }
  if (in.type() == kPartOnInstall) {
    // A package with an image is not set up by a script.
    if (!hasImage) {
      stored.push_back(kInstallScript);
      if (!installScript(in, kInstallScript, relative)) return false;
    }
    in.next();
  }
  if (in.type() == kPartOnUninstall) {
    stored.push_back(kUninstallScript);
    if (!installScript(in, kUninstallScript, relative)) return false;
    in.next();
  }
  if (in.type() == kPartArchive) {
    icstream source(in, false);
    if (!extractFiles(source, in, in.isDumb(), relative)) return false;
    in.next();
  }
  if (packageIsGenuine(in)) return true;
  reportBrokenPackage();
  return false;
}

bool Package::installScript(ipackstream& in, const char* scriptName, bool relative) const {
  if (writeScript(in, in.size(), scriptName, relative)) return true;
  // The second report of one failure: the first told what was wrong, this one which script it cost.
  reportInstallError(scriptName);
  return false;
}

void Package::skipImage(ipackstream& in) const {
  char chunk[4096];
  while (in.remaining() > 0 && in.good()) {
    showInstallProgress(in);
    const auto step = std::min<std::uint32_t>(in.remaining(), sizeof chunk);
    in.read(chunk, static_cast<std::streamsize>(step));
  }
}

void Package::rollBack(bool hasRecord, bool relative, const std::vector<const char*>& scripts) {
  if (hasRecord) {
    uninstall();
    return;
  }
  removeFiles();
  // They stand in a record that is another's, and nobody knows who wrote them.
  for (const char* script : scripts) unlink(getMetaFile(relative, script).c_str());
}

bool Package::installVoid() {
  if (!makeMetaDir(false)) return false;
  if (writeMeta(false)) return true;
  uninstall();
  return false;
}
