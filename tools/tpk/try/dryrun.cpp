#include "tools/tpk/try/dryrun.h"

#include "tools/tpk/host/failure.h"
#include "tools/tpk/host/heldsignals.h"
#include "tools/tpk/host/hostfile.h"
#include "tools/tpk/host/output.h"
#include "tools/tpk/try/backup.h"
#include "tools/tpk/try/givenfile.h"
#include "tools/tpk/try/installerrun.h"
#include "tools/tpk/try/sandbox.h"
#include "tools/tpk/try/scratchroot.h"
#include "tools/tpk/try/tryreport.h"

#include <algorithm>
#include <cstdio>
#include <iostream>

#include <unistd.h>

namespace {

constexpr char kScriptFailed[] = " oninstall script failed";

bool startsWith(const std::string& text, const std::string& start) {
  return text.compare(0, start.size(), start) == 0;
}

bool endsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

std::string installerOf(const TryOptions& options) {
  if (options.installer.empty()) return findInstaller();
  if (isHostDirectory(options.installer) || ::access(options.installer.c_str(), X_OK) != 0)
    throw EnvironmentFailure(options.installer + ": is no program");
  return options.installer;
}

// Where a record lists a file there is one on the router.
void layOutListedFiles(const Snapshot& database, ScratchRoot& root, unsigned& unplaced) {
  for (const auto& [name, package] : database.packages()) {
    for (const std::string& file : package->record.files) {
      const std::string inside = kFlashRoot + file;
      const bool isSafe = file.find("/../") == std::string::npos && !endsWith(file, "/..") &&
                          !startsWith(file, "/var/pdb/") && !startsWith(file, "/rw/pckg/") &&
                          !startsWith(file, "/var/pckg/");
      if (isSafe && hostFileExists(root.path(inside))) continue;
      if (!isSafe || !root.unsizedPlaceholder(inside)) ++unplaced;
    }
  }
}

// Scripts write to it. A device would need the machine's own root.
void layOutNull(const ScratchRoot& root, bool scripts) {
  root.put("/dev/null", "", 0666);
  if (scripts) root.put("/flash/dev/null", "", 0666);
}

// That it failed to run a script that could not run here says nothing of a router.
void forgetScripts(std::vector<std::string>& messages) {
  const auto isFailure = [](const std::string& message) {
    return startsWith(message, "WARNING: package ") && endsWith(message, kScriptFailed);
  };
  messages.erase(std::remove_if(messages.begin(), messages.end(), isFailure), messages.end());
}

std::vector<std::string> namesOfScripts(const TryReport& report) {
  std::vector<std::string> names;
  for (const TriedFile& file : report.files) {
    for (const TriedPackage& package : file.packages) {
      const bool isNew = package.outcome != TryOutcome::kRefused &&
                         package.outcome != TryOutcome::kUnchanged && !package.disabled;
      if (isNew && package.given.hasInstallScript) names.push_back(package.given.fullName);
    }
  }
  return names;
}

class Trial {
 public:
  Trial(const TryOptions& options, const HeldSignals& signals)
      : options_(options),
        signals_(signals),
        installer_(installerOf(options)),
        root_(options.keep) {}

  ExitStatus run();

 private:
  TryReport report(const InstallerRun& run, const Snapshot& before, const Snapshot& after) const;
  std::vector<std::string> dropped() const;
  void addNotes(TryReport& report) const;
  void cleanUp();

  const TryOptions& options_;
  const HeldSignals& signals_;
  const std::string installer_;
  ScratchRoot root_;
  std::vector<GivenFile> given_;
  unsigned unplaced_ = 0;
  bool scripts_ = false;
  std::string obstacle_;
};

ExitStatus Trial::run() {
  layOutBackup(options_.router, root_, signals_);
  layOutListedFiles(Snapshot(root_), root_, unplaced_);
  const Snapshot before(root_);
  for (const std::string& file : options_.files) {
    signals_.check();
    given_.push_back(dropFile(file, root_));
  }
  const Sandbox sandbox(root_);
  obstacle_ = sandbox.obstacle();
  scripts_ = sandbox.canRunScripts();
  layOutNull(root_, scripts_);
  InstallerRun run = runInstaller(sandbox, installer_, options_.options, scripts_, signals_);
  if (!scripts_) forgetScripts(run.messages);
  const Snapshot after(root_);
  const TryReport result = report(run, before, after);
  cleanUp();
  std::cout << (options_.json ? tryJson(result) : tryText(result));
  finishOutput(std::cout);
  return result.good() ? kGood : kBad;
}

std::vector<std::string> Trial::dropped() const {
  std::vector<std::string> names;
  for (const GivenFile& file : given_) {
    if (hostFileExists(root_.path("/flash/rw/pckg/" + file.dropName)))
      names.push_back(file.dropName);
  }
  return names;
}

TryReport Trial::report(const InstallerRun& run, const Snapshot& before,
                        const Snapshot& after) const {
  const std::vector<std::string> left = dropped();
  TryReport report = compareTry(given_, {before, after, left, run.messages, run.routerLost});
  addNotes(report);
  return report;
}

void Trial::addNotes(TryReport& report) const {
  if (!scripts_) {
    std::string names;
    for (const std::string& name : namesOfScripts(report))
      names += (names.empty() ? "" : ", ") + name;
    if (!names.empty())
      report.notes.push_back("no scripts were run; a router runs those of " + names);
  }
  if (!obstacle_.empty())
    report.notes.push_back("this machine permits no namespaces (" + obstacle_ +
                           "): only the root was changed");
  if (unplaced_ != 0)
    report.notes.push_back(std::to_string(unplaced_) +
                           " listed files have no place in the scratch root");
  if (!options_.keep.empty()) report.notes.push_back("the scratch root is " + root_.path());
}

// Before anything is printed: a reader that has gone away would end the process.
void Trial::cleanUp() {
  if (!root_.remove())
    throw EnvironmentFailure("the scratch root " + root_.path() + " cannot be removed");
}

}  // namespace

ExitStatus tryPackages(const TryOptions& options) {
  checkInstallerOptions(options.options);
  const HeldSignals signals;
  return Trial(options, signals).run();
}
