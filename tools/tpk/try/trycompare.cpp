#include "tools/tpk/read/deptext.h"
#include "tools/tpk/try/tryreport.h"

#include <algorithm>
#include <set>

namespace {

// The only architecture that the installer takes (plan/candidates.cpp); an empty one fits all.
constexpr char kArchitecture[] = "mipsel";

using Messages = std::vector<std::string>;

bool startsWith(const std::string& text, const std::string& start) {
  return text.compare(0, start.size(), start) == 0;
}

std::string withoutLevel(const std::string& message) {
  for (const std::string level : {"WARNING: ", "ERROR: "}) {
    if (startsWith(message, level)) return message.substr(level.size());
  }
  return message;
}

// Says something of the package's files, before the message that says whose they are.
bool isAboutAFile(const std::string& text) {
  return startsWith(text, "ghost file ") ||
         (startsWith(text, "file ") && text.find(" collides with ") != std::string::npos);
}

bool isAboutPackage(const std::string& text, const GivenPackage& package) {
  const std::string& name = package.fullName;
  return startsWith(text, "omitting package " + name + ":") ||
         startsWith(text, "can not install " + name + ":") ||
         startsWith(text, "installation of " + name + " failed") ||
         startsWith(text, "package " + name + " ") ||
         startsWith(text, "package " + package.name + " image ") || text == "installed " + name ||
         text == "installed (disabled) " + name;
}

bool isAbout(const std::string& text, const GivenFile& file) {
  if (text == "verified " + file.dropName || text == "broken package " + file.dropName) return true;
  return std::any_of(
      file.packages.begin(), file.packages.end(),
      [&text](const GivenPackage& package) { return isAboutPackage(text, package); });
}

Messages messagesOf(const GivenFile& file, const Messages& all) {
  Messages result;
  Messages aboutFiles;
  for (const std::string& message : all) {
    const std::string text = withoutLevel(message);
    if (isAboutAFile(text)) {
      aboutFiles.push_back(message);
      continue;
    }
    if (isAbout(text, file)) {
      result.insert(result.end(), aboutFiles.begin(), aboutFiles.end());
      result.push_back(message);
    }
    aboutFiles.clear();
  }
  return result;
}

bool isProblem(const std::string& message) { return withoutLevel(message) != message; }

bool isVersionOf(const Package& record, const GivenPackage& given) {
  return record.version == given.version && record.buildTime == given.buildTime;
}

// Whether it stood like that before the run.
bool isUntouched(const SnapshotPackage& after, const SnapshotPackage* before) {
  return before && before->record.version == after.record.version &&
         before->record.buildTime == after.record.buildTime &&
         before->record.files == after.record.files;
}

class Comparison {
 public:
  Comparison(const std::vector<GivenFile>& given, const TryResult& result)
      : given_(given), result_(result) {}

  TryReport report() const;

 private:
  TriedFile triedFile(const GivenFile& given) const;
  TriedPackage triedPackage(const GivenFile& file, const GivenPackage& given, bool taken) const;
  void decide(TriedPackage& tried, bool taken) const;
  std::string refusal(const GivenPackage& given) const;
  std::string fileRefusal(const TriedFile& file) const;
  bool hasTwin(const GivenFile& file) const;
  std::vector<SideEffect> sideEffects() const;
  void addUse(TryReport& report) const;

  const std::vector<GivenFile>& given_;
  const TryResult& result_;
};

void Comparison::decide(TriedPackage& tried, bool taken) const {
  const SnapshotPackage* const before = result_.before.find(tried.given.name);
  const SnapshotPackage* const after = result_.after.find(tried.given.name);
  if (before) tried.from = before->record.version;
  if (!after || after->damaged || !isVersionOf(after->record, tried.given)) return;
  tried.disabled = after->record.disabled;
  if (!before || before->damaged) {
    tried.outcome = TryOutcome::kInstalled;
  } else if (isVersionOf(before->record, tried.given)) {
    if (taken) tried.outcome = TryOutcome::kUnchanged;
  } else {
    const int better = after->record.hasBetter(before->record);
    tried.outcome = better < 0 ? TryOutcome::kDowngraded : TryOutcome::kUpgraded;
  }
}

TriedPackage Comparison::triedPackage(const GivenFile& file, const GivenPackage& given,
                                      bool taken) const {
  TriedPackage tried;
  tried.given = given;
  if (file.leavesRecord) {
    decide(tried, taken);
  } else if (taken) {
    tried.outcome = TryOutcome::kUnpacked;
  }
  return tried;
}

// The installer is silent about packages that a bundle carries. This is what it asks of each, in
// its order, as far as the database afterwards tells.
std::string Comparison::refusal(const GivenPackage& given) const {
  if (const SnapshotPackage* const after = result_.after.find(given.name)) {
    if (!isVersionOf(after->record, given)) return after->record.getFullName() + " is installed";
  }
  if (!given.arch.empty() && given.arch != kArchitecture) return "it is made for " + given.arch;
  for (const PackageDep& dep : given.deps) {
    if (!result_.after.satisfies(dep)) return depText(dep) + " is required";
  }
  return "the installer does not say why";
}

bool Comparison::hasTwin(const GivenFile& file) const {
  return std::any_of(given_.begin(), given_.end(), [&file](const GivenFile& other) {
    return &other != &file && !other.packages.empty() && !file.packages.empty() &&
           other.packages[0].fullName == file.packages[0].fullName &&
           other.packages[0].buildTime == file.packages[0].buildTime;
  });
}

std::string Comparison::fileRefusal(const TriedFile& file) const {
  const auto said = [&file](const auto& matches) {
    return std::any_of(file.messages.begin(), file.messages.end(), matches);
  };
  const auto isBroken = [](const std::string& message) {
    return startsWith(withoutLevel(message), "broken package ");
  };
  // Of a package that it takes for broken the installer does not say what is wrong. It may be one
  // product's, and this program another's: then there is nothing wrong with what it takes.
  if (!file.given.fault.empty() && (said(isBroken) || !said(isProblem))) return file.given.fault;
  if (said(isProblem)) return std::string();
  return "the installer does not say why";
}

TriedFile Comparison::triedFile(const GivenFile& given) const {
  TriedFile tried;
  tried.given = given;
  const auto& dropped = result_.dropped;
  tried.taken = std::find(dropped.begin(), dropped.end(), given.dropName) == dropped.end();
  tried.messages = messagesOf(given, result_.messages);
  for (const GivenPackage& package : given.packages)
    tried.packages.push_back(triedPackage(given, package, tried.taken));
  if (!tried.taken) {
    tried.reason =
        hasTwin(given) ? "it is given twice, and the installer takes neither" : fileRefusal(tried);
    return tried;
  }
  for (TriedPackage& package : tried.packages) {
    if (package.outcome == TryOutcome::kRefused) package.reason = refusal(package.given);
  }
  return tried;
}

std::vector<SideEffect> Comparison::sideEffects() const {
  using Change = SideEffect::Change;
  std::set<std::string> standing;  // names that were given and count as such
  for (const GivenFile& file : given_) {
    for (const GivenPackage& package : file.packages) {
      const SnapshotPackage* const after = result_.after.find(package.name);
      if (after && isVersionOf(after->record, package)) standing.insert(package.name);
    }
  }
  std::vector<SideEffect> effects;
  for (const auto& [name, before] : result_.before.packages()) {
    if (standing.count(name) != 0) continue;
    const SnapshotPackage* const after = result_.after.find(name);
    const std::string fullName = before->record.getFullName();
    if (!after) {
      effects.push_back({Change::kUninstalled, fullName});
    } else if (after->record.disabled != before->record.disabled) {
      const Change change = after->record.disabled ? Change::kDisabled : Change::kEnabled;
      effects.push_back({change, fullName});
    }
  }
  return effects;
}

void Comparison::addUse(TryReport& report) const {
  for (const auto& [name, after] : result_.after.packages()) {
    if (!isUntouched(*after, result_.before.find(name))) report.added += after->use;
  }
  for (const auto& [name, before] : result_.before.packages()) {
    const SnapshotPackage* const after = result_.after.find(name);
    if (!after || !isUntouched(*before, after)) report.removed += before->use;
  }
}

TryReport Comparison::report() const {
  TryReport report;
  for (const GivenFile& file : given_) report.files.push_back(triedFile(file));
  report.sideEffects = sideEffects();
  report.after = &result_.after;
  addUse(report);
  report.messages = result_.messages;
  report.routerLost = result_.routerLost;
  return report;
}

}  // namespace

bool TriedFile::good() const {
  return taken && std::none_of(packages.begin(), packages.end(), [](const TriedPackage& package) {
           return package.outcome == TryOutcome::kRefused;
         });
}

bool TryReport::good() const {
  return !routerLost &&
         std::all_of(files.begin(), files.end(), [](const TriedFile& file) { return file.good(); });
}

TryReport compareTry(const std::vector<GivenFile>& given, const TryResult& result) {
  return Comparison(given, result).report();
}
