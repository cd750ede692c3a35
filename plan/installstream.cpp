// Installation of what one package stream holds: a single package, or a bundle of several.
#include "package/package.h"
#include "repo/repo.h"
#include "stream/ipackstream.h"

#include <memory>
#include <utility>

namespace {

enum : int { kInstalled = 0, kNotInstalled = 1, kRefused = 2, kNoMember = 3 };

constexpr std::size_t kStatusWidth = 78;

// Steps to the next package's header, or to the end. start is the offset of the header with which
// the package before it began: the stream may still stand on that.
void skipToNextPackage(ipackstream& in, std::uint32_t start) {
  while (in.type() != kNoPart && (in.type() != kPartPackage || in.offset() == start)) in.next();
}

// Whether the stream was read to its end, behind which there may be too few bytes for another part.
bool cameToItsEnd(const ipackstream& in) {
  return in.remaining() == 0 && in.position() + PartHeader::kSize > in.totalSize();
}

// The image holds the package as it arrived, also what there was no need to look at. The length in
// the file header is under no signature: a single package that was installed came whole, whatever
// is announced, and one that stood there already is what its header says. How many members a bundle
// has, only that length tells.
void completeImage(ipackstream& in, bool bundle, std::streambuf& image) {
  while (in.next() != kNoPart) continue;
  if (!bundle || cameToItsEnd(in)) image.pubsync();
}

// The installation from one stream. Scheduled actions are carried out in its course, and each of
// them may take any package away: no pointer into the repository is kept over them unchecked.
class StreamInstall {
 public:
  StreamInstall(Repo& repo, ipackstream& in, std::map<std::string, bool>& choices,
                std::string* imageDir)
      : repo_(repo), in_(in), choices_(choices), imageDir_(imageDir) {}

  // The package that now stands installed under the name, or nullptr. bundle is nullptr for a
  // package that came alone.
  Package* installPackage(unsigned flags, const PackageDep* bundle);
  int installBundle(unsigned flags);

 private:
  using Owned = std::unique_ptr<Package>;

  void keepImageDir(const Package& package);
  void applyChoice(Package& package) const;
  Package* skipPackage(const Package& package, unsigned flags, unsigned result,
                       const PackageDep* bundle, std::uint32_t start);
  bool makeWay(Owned& package);
  Package* keep(Owned package);
  bool recordBundle(Owned bundle);
  std::set<std::string> membersOf(const std::string& bundleName) const;
  void readTurnOffList();
  std::set<std::string> installMembers(unsigned flags, const PackageDep& bundle);
  void dropFormerMembers(const std::set<std::string>& former,
                         const std::set<std::string>& installed);
  void clearStatus();

  Repo& repo_;
  ipackstream& in_;
  std::map<std::string, bool>& choices_;
  std::string* imageDir_;
};

void StreamInstall::keepImageDir(const Package& package) {
  if (!package.hasImage || !imageDir_) return;
  const std::string metaDir = package.getMetaDir(false);
  *imageDir_ = metaDir;
}

void StreamInstall::applyChoice(Package& package) const {
  const auto choice = choices_.find(package.name);
  if (choice == choices_.end()) return;
  package.disabled = choice->second;
  package.userForced = true;
}

Package* StreamInstall::installPackage(unsigned flags, const PackageDep* bundle) {
  const std::uint32_t start = in_.offset();
  Owned package(new Package);
  if (!package->readFrom(in_)) return nullptr;
  if (!bundle) keepImageDir(*package);
  unsigned result =
      repo_.checkCandidate(*package, bundle ? kAllInstallFlags : flags | kQuietConflicts);
  applyChoice(*package);
  if (result & kConflict) {
    // Beside the other it can only stand disabled.
    result &= ~static_cast<unsigned>(kConflict);
    package->disabled = true;
  }
  if ((result & ~flags) != 0 || (result & kIsSame) != 0) {
    return skipPackage(*package, flags, result, bundle, start);
  }
  if (bundle) package->bundle = *bundle;
  if (!in_.isDumb() && !makeWay(package)) return nullptr;
  if (!package->install(in_, false)) return nullptr;
  return keep(std::move(package));
}

Package* StreamInstall::skipPackage(const Package& package, unsigned flags, unsigned result,
                                    const PackageDep* bundle, std::uint32_t start) {
  if (bundle) {
    skipToNextPackage(in_, start);
    return repo_.findPackage(package.name);
  }
  if (!(flags & kReinstall) || result != kIsSame) return nullptr;
  clearStatus();
  repo_.log("installed %s%s", package.disabled ? "(disabled) " : "", package.getFullName().c_str());
  return repo_.findPackage(package.name);
}

// Lets the rest of the system take notice of the package before its files land, and takes the old
// version away. False when that took the new one away as well.
bool StreamInstall::makeWay(Owned& package) {
  Package* const next = package.get();
  Owned old(repo_.findPackage(next->name));
  if (old) repo_.takePackage(old.get());
  repo_.addPackage(package.release());
  repo_.scheduleAndExec(1);
  if (old) old->uninstall();
  if (!repo_.takePackage(next)) return false;
  package.reset(next);
  return true;
}

Package* StreamInstall::keep(Owned package) {
  Package* const installed = package.release();
  repo_.addPackage(installed);
  repo_.scheduleAndExec(0);
  return repo_.holds(installed) ? installed : nullptr;
}

int StreamInstall::installBundle(unsigned flags) {
  Owned bundle(new Package);
  if (!bundle->readFrom(in_)) return kNotInstalled;
  if (in_.type() == kPartImage) in_.next();
  keepImageDir(*bundle);
  flags |= kReinstall;
  if ((repo_.checkCandidate(*bundle, flags) & ~flags) != 0) return kRefused;
  PackageDep identity;
  identity.assign(bundle.get());
  if (!recordBundle(std::move(bundle))) return kNotInstalled;
  const std::set<std::string> former = membersOf(identity.name);
  if (in_.type() == kPartTurnOff) {
    readTurnOffList();
    in_.next();
  }
  const std::set<std::string> installed = installMembers(flags, identity);
  if (installed.empty()) return kNoMember;
  // Of a stream that was cut short nobody knows what else it carried.
  if (cameToItsEnd(in_)) dropFormerMembers(former, installed);
  repo_.scheduleAndExec(0);
  clearStatus();
  repo_.log("installed %s", identity.getFullName().c_str());
  return kInstalled;
}

bool StreamInstall::recordBundle(Owned bundle) {
  while (Package* const old = repo_.findPackage(bundle->name)) {
    old->uninstall();
    repo_.takePackage(old);
    delete old;
  }
  if (!bundle->installVoid()) return false;
  repo_.addPackage(bundle.release());
  return true;
}

std::set<std::string> StreamInstall::membersOf(const std::string& bundleName) const {
  std::set<std::string> names;
  for (const Package* package : repo_.installed()) {
    if (package->bundle.name == bundleName) names.insert(package->name);
  }
  return names;
}

// Placeholders that conflict with every version of the names: the members of these names are
// installed disabled.
void StreamInstall::readTurnOffList() {
  std::vector<PackageDep> list;
  // A list that is cut short counts as far as it came.
  [[maybe_unused]] const bool complete = readDeps(in_, list);
  for (const PackageDep& dep : list) {
    if (choices_.count(dep.name) != 0) continue;
    Owned placeholder(new Package);
    placeholder->addConflict(dep.name, 0);
    repo_.addPackage(placeholder.release());
  }
}

// The names of the members that stand installed.
std::set<std::string> StreamInstall::installMembers(unsigned flags, const PackageDep& bundle) {
  std::set<std::string> names;
  while (in_.type() == kPartPackage) {
    const std::uint32_t start = in_.offset();
    if (const Package* const member = installPackage(flags, &bundle)) {
      names.insert(member->name);
    } else {
      // A member that failed leaves the stream somewhere inside itself.
      skipToNextPackage(in_, start);
    }
  }
  return names;
}

void StreamInstall::dropFormerMembers(const std::set<std::string>& former,
                                      const std::set<std::string>& installed) {
  for (Package* package : repo_.installed()) {
    if (former.count(package->name) != 0 && installed.count(package->name) == 0) {
      package->scheduledAction = kActionUninstall;
    }
  }
}

// A full line of blanks first: whatever stood there is gone, whoever wrote it.
void StreamInstall::clearStatus() {
  repo_.setStatus(std::string(kStatusWidth, ' '));
  repo_.setStatus(std::string());
}

}  // namespace

int Repo::installFrom(std::istream& in, unsigned flags, std::map<std::string, bool>& choices,
                      std::streambuf* image, std::string* imageDir) {
  ipackstream pack(in, true, image);
  for (const std::uint32_t type :
       {kPartPackage, kPartBundle, kPartTurnOff, kPartArchitecture, kPartRequires, kPartProvides,
        kPartConflicts, kPartImage, kPartArchive, kPartOnInstall, kPartOnUninstall,
        kPartSignature}) {
    pack.accept(type);
  }
  StreamInstall install(*this, pack, choices, imageDir);
  const bool bundle = pack.next() == kPartBundle;
  const int result = bundle                                   ? install.installBundle(flags)
                     : install.installPackage(flags, nullptr) ? kInstalled
                                                              : kNotInstalled;
  if (result == kInstalled && image) completeImage(pack, bundle, *image);
  return result;
}
