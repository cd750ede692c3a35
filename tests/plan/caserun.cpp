#include "tests/plan/caserun.h"

#include "tests/plan/consoleevents.h"
#include "tests/plan/fakeflash.h"
#include "tests/plan/flashfiles.h"
#include "tests/support/repoaccess.h"
#include "tests/support/tree.h"

#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <sstream>

namespace {

constexpr char kEmptyName[] = "''";
constexpr char kNone[] = "none";

std::string nameFrom(Words& words) {
  const std::string name = words.take("a name");
  return name == kEmptyName ? std::string() : name;
}

// Standard output as long as the object lives.
class CapturedOutput {
 public:
  CapturedOutput() : real_(std::cout.rdbuf(captured_.rdbuf())) {}
  ~CapturedOutput() { std::cout.rdbuf(real_); }
  CapturedOutput(const CapturedOutput&) = delete;
  CapturedOutput& operator=(const CapturedOutput&) = delete;

  std::string text() const { return captured_.str(); }

 private:
  std::ostringstream captured_;
  std::streambuf* real_;
};

class CaseRun {
 public:
  CaseRun() : repo_(RepoAccess::fresh()) {}
  ~CaseRun() { RepoAccess::fresh(); }
  CaseRun(const CaseRun&) = delete;
  CaseRun& operator=(const CaseRun&) = delete;

  std::string run(const CaseText& one);

 private:
  void take(const CaseLine& line);
  bool takesWorld(const std::string& keyword, Words& words);
  void takePackage(Words& words);
  void takeCandidate(Words& words);
  void takeCarried(Words& words);
  std::string takeLabel(Words& words);
  void takeDescription(PackageInfo& info, Words& words);
  bool takesWord(PackageInfo& info, Words& words);
  bool takesState(Package& package, Words& words);
  PackageDep takeDep(Words& words);
  void takeFlash(Words& words);

  void carryOut(Words& words);
  Lines perform(const std::string& operation, Words& words);
  Lines check(Words& words);
  Lines select(Words& words);
  Lines plan(Words& words);
  Lines execute(Words& words, bool cleanUp);
  Lines provider(Words& words);
  Lines satisfying(Words& words);
  Lines find(Words& words);
  void compare();

  const PackageInfo& labelled(Words& words) const;
  std::string labelOf(const PackageInfo* package) const;
  template <typename List>
  std::string labelsOf(const List& list) const;
  std::string stateOf(const Package& package) const;

  Repo* const repo_;
  std::vector<std::unique_ptr<PackageInfo>> ownCandidates_;
  std::vector<PackageInfo*> candidates_;
  std::map<std::string, const PackageInfo*> labels_;
  PackageInfo* current_ = nullptr;  // that the next list entry belongs to
  std::optional<FakeFlash> flash_;
  std::unique_ptr<FlashFiles> files_;

  std::string operation_;  // the last one, with its place
  Lines happened_;
  Lines expected_;
  std::string difference_;
};

std::string CaseRun::run(const CaseText& one) {
  for (const CaseLine& line : one.lines) take(line);
  if (operation_.empty()) throw CaseError(one.place + ": the case does nothing");
  compare();
  return difference_;
}

void CaseRun::take(const CaseLine& line) {
  Words words(line);
  const std::string keyword = words.take("a keyword");
  if (keyword == "do") {
    if (!operation_.empty()) compare();
    operation_ = line.place + ": " + line.text;
    carryOut(words);
  } else if (!operation_.empty()) {
    expected_.push_back(line.text);
  } else if (takesWorld(keyword, words)) {
    words.end();
  } else {
    words.fail("\"" + keyword + "\" is not understood");
  }
}

bool CaseRun::takesWorld(const std::string& keyword, Words& words) {
  if (keyword == "package") {
    takePackage(words);
  } else if (keyword == "candidate") {
    takeCandidate(words);
  } else if (keyword == "flash") {
    takeFlash(words);
  } else if (!current_) {
    return false;
  } else if (keyword == "carries") {
    takeCarried(words);
  } else if (keyword == "requires") {
    current_->deps.push_back(takeDep(words));
  } else if (keyword == "provides") {
    current_->provides.push_back(takeDep(words));
  } else if (keyword == "conflicts") {
    current_->conflicts.push_back(takeDep(words));
  } else {
    return false;
  }
  return true;
}

void CaseRun::takePackage(Words& words) {
  auto* const package = new Package;
  repo_->addPackage(package);
  package->arch = "mipsel";
  labels_[takeLabel(words)] = package;
  takeDescription(*package, words);
  while (words.left() && (takesWord(*package, words) || takesState(*package, words))) {
  }
}

void CaseRun::takeCandidate(Words& words) {
  auto candidate = std::make_unique<PackageInfo>();
  candidate->arch = "mipsel";
  labels_[takeLabel(words)] = candidate.get();
  takeDescription(*candidate, words);
  while (words.left() && takesWord(*candidate, words)) {
  }
  candidates_.push_back(candidate.get());
  ownCandidates_.push_back(std::move(candidate));
}

void CaseRun::takeCarried(Words& words) {
  if (candidates_.empty()) words.fail("only candidates carry others");
  auto* const carried = new PackageInfo;
  candidates_.back()->subPackages.push_back(carried);
  takeDescription(*carried, words);
  while (words.left() && takesWord(*carried, words)) {
  }
}

// Of "LABEL = NAME", or the name.
std::string CaseRun::takeLabel(Words& words) {
  Words ahead = words;
  const std::string label = ahead.take("a name");
  if (ahead.took("=")) words = ahead;
  if (label == kEmptyName || label == kNone) words.fail("it needs another label");
  if (labels_.count(label) != 0) words.fail("the label " + label + " is taken");
  return label;
}

void CaseRun::takeDescription(PackageInfo& info, Words& words) {
  info.name = nameFrom(words);
  info.version = words.takeVersion();
  current_ = &info;
}

bool CaseRun::takesWord(PackageInfo& info, Words& words) {
  if (words.took("built")) {
    info.buildTime = words.takeNumber("a build time");
  } else if (words.took("arch")) {
    info.arch = nameFrom(words);
  } else if (words.took("bundle")) {
    info.isBundle = true;
  } else {
    return false;
  }
  return true;
}

bool CaseRun::takesState(Package& package, Words& words) {
  if (words.took("in")) {
    package.bundle.name = words.take("the name of a bundle");
  } else if (words.took("disabled")) {
    package.disabled = true;
  } else if (words.took("user")) {
    package.userForced = true;
  } else if (words.took("uninstall")) {
    package.scheduledAction = kActionUninstall;
  } else if (words.took("enable")) {
    package.scheduledAction = kActionEnable;
  } else if (words.took("disable")) {
    package.scheduledAction = kActionDisable;
  } else {
    return false;
  }
  return true;
}

PackageDep CaseRun::takeDep(Words& words) {
  PackageDep dep;
  dep.name = nameFrom(words);
  if (words.left() && !words.nextIs("weight")) {
    if (!words.nextIs("..")) dep.minVersion = words.takeVersion();
    if (!words.took("..")) words.fail("\"..\" is missing");
    if (words.left() && !words.nextIs("weight")) dep.maxVersion = words.takeVersion();
  }
  if (words.took("weight")) dep.weight = static_cast<std::int32_t>(words.takeNumber("a weight"));
  return dep;
}

void CaseRun::takeFlash(Words& words) {
  writeFile("/dev/mtd0", std::string());
  if (words.took("silent")) {
    flash_.emplace(std::nullopt);
  } else {
    flash_.emplace(words.takeNumber("an erase size"));
  }
}

// Everything that is said and changed, in the words of the cases.
void CaseRun::carryOut(Words& words) {
  const std::string operation = words.take("an operation");
  const std::size_t logged = RepoAccess::logLines().size();
  Lines results;
  {
    const CapturedOutput output;
    results = perform(operation, words);
    happened_ = consoleEvents(output.text());
  }
  words.end();
  const Lines log = RepoAccess::logLines();
  const auto firstLine = log.begin() + static_cast<std::ptrdiff_t>(logged);
  if (messagesOf(happened_) != Lines(firstLine, log.end())) {
    happened_.push_back("the run log differs from the console");
  }
  happened_.insert(happened_.end(), results.begin(), results.end());
}

Lines CaseRun::perform(const std::string& operation, Words& words) {
  if (operation == "check") return check(words);
  if (operation == "select") return select(words);
  if (operation == "plan") return plan(words);
  if (operation == "exec") return execute(words, false);
  if (operation == "cleanup") return execute(words, true);
  if (operation == "provider") return provider(words);
  if (operation == "conflicting") {
    return {"result " + labelOf(repo_->findConflicting(labelled(words)))};
  }
  if (operation == "satisfying") return satisfying(words);
  if (operation == "find") return find(words);
  words.fail("there is no operation \"" + operation + "\"");
}

Lines CaseRun::check(Words& words) {
  static const std::map<std::string, unsigned> flagOf = {{"downgrade", kAllowDowngrade},
                                                         {"reinstall", kReinstall},
                                                         {"quiet-unusable", kQuietUnusable},
                                                         {"quiet-conflicts", kQuietConflicts}};
  static const std::vector<std::pair<unsigned, std::string>> bits = {{kIsUpgrade, "upgrade"},
                                                                     {kIsDowngrade, "downgrade"},
                                                                     {kIsSame, "same"},
                                                                     {kUnusable, "unusable"},
                                                                     {kConflict, "conflict"}};
  const PackageInfo& candidate = labelled(words);
  unsigned flags = kAllowUpgrade;
  if (words.took("with")) {
    do {
      const auto flag = flagOf.find(words.take("a flag"));
      if (flag == flagOf.end()) words.fail("there is no such flag");
      flags |= flag->second;
    } while (words.left());
  }
  unsigned result = repo_->checkCandidate(candidate, flags);
  Lines found;
  for (const auto& bit : bits) {
    if (result & bit.first) found.push_back(bit.second);
    result &= ~bit.first;
  }
  if (result != 0) found.push_back(std::to_string(result));
  return {"result " + (found.empty() ? "fresh" : joined(found, " "))};
}

Lines CaseRun::select(Words& words) {
  const bool reverse = words.took("reverse");
  const bool verbose = words.took("verbose");
  repo_->selectCandidates(candidates_, reverse, verbose);
  return {"order " + labelsOf(candidates_)};
}

Lines CaseRun::plan(Words& words) {
  const int verbose = words.took("verbose") ? 1 : 0;
  std::vector<Package*> removals;
  std::vector<Package*> enables;
  repo_->planRequests(removals, enables, verbose);
  Lines actions;
  for (const Package* package : repo_->installed()) {
    if (package->scheduledAction == kActionNone) continue;
    actions.push_back(labelOf(package) + "=" + actionVerb(package->scheduledAction));
  }
  Lines results;
  if (!removals.empty()) results.push_back("remove " + labelsOf(removals));
  if (!enables.empty()) results.push_back("enable " + labelsOf(enables));
  if (!actions.empty()) results.push_back("actions " + joined(actions, " "));
  if (results.empty()) results.emplace_back("nothing");
  return results;
}

Lines CaseRun::execute(Words& words, bool cleanUp) {
  int verbose = 0;
  if (!cleanUp && words.took("verbose")) {
    verbose = words.left() ? static_cast<int>(words.takeNumber("a level")) : 1;
  }
  if (!files_) files_ = std::make_unique<FlashFiles>(repo_->installed());
  const unsigned returned =
      cleanUp ? repo_->uninstallBadPackages() : repo_->scheduleAndExec(verbose);
  Lines states;
  for (const Package* package : repo_->installed()) states.push_back(stateOf(*package));
  Lines results = files_->differences(repo_->installed());
  results.push_back("returned " + std::to_string(returned));
  results.push_back("left " + (states.empty() ? kNone : joined(states, " ")));
  return results;
}

Lines CaseRun::provider(Words& words) {
  return {"result " + labelOf(repo_->findProvider(nameFrom(words)))};
}

Lines CaseRun::satisfying(Words& words) {
  const bool withDisabled = words.took("with-disabled");
  std::vector<Package*> list;
  repo_->collectSatisfying(takeDep(words), list, withDisabled);
  return {"result " + labelsOf(list)};
}

Lines CaseRun::find(Words& words) {
  const std::string name = nameFrom(words);
  return {"result " + std::to_string(repo_->findPackageIndex(name)) + " " +
          labelOf(repo_->findPackage(name))};
}

void CaseRun::compare() {
  if (happened_ != expected_ && difference_.empty()) {
    difference_ = operation_ + "\nexpected:\n  " + joined(expected_, "\n  ") + "\nhappened:\n  " +
                  joined(happened_, "\n  ") + "\n";
  }
  if (expected_.empty()) throw CaseError(operation_ + ": nothing is expected of this");
  expected_.clear();
}

const PackageInfo& CaseRun::labelled(Words& words) const {
  const auto found = labels_.find(words.take("a label"));
  if (found == labels_.end()) words.fail("nothing has this label");
  return *found->second;
}

std::string CaseRun::labelOf(const PackageInfo* package) const {
  if (!package) return kNone;
  for (const auto& label : labels_) {
    if (label.second == package) return label.first;
  }
  return "unknown";
}

template <typename List>
std::string CaseRun::labelsOf(const List& list) const {
  Lines labels;
  for (const PackageInfo* package : list) labels.push_back(labelOf(package));
  return labels.empty() ? kNone : joined(labels, " ");
}

// The label, and behind it what is not as with most packages.
std::string CaseRun::stateOf(const Package& package) const {
  Lines words;
  if (package.disabled) words.emplace_back("disabled");
  if (package.scheduledAction != kActionNone)
    words.emplace_back(actionVerb(package.scheduledAction));
  const std::string label = labelOf(&package);
  return words.empty() ? label : label + "(" + joined(words, ",") + ")";
}

}  // namespace

bool needsRoot(const CaseText& one) {
  for (const CaseLine& line : one.lines) {
    Words words(line);
    if (words.took("flash")) return true;
    if (words.took("do") && (words.took("exec") || words.took("cleanup"))) return true;
  }
  return false;
}

std::string runCase(const CaseText& one) { return CaseRun().run(one); }
