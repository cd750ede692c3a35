#include "tools/tpk/lint/lint.h"

#include "tools/tpk/lint/lintchecks.h"

#include <algorithm>

namespace {

template <typename Subject>
void runChecks(const std::vector<LintCheck<Subject>>& checks, const Subject& subject,
               std::vector<LintFinding>& findings) {
  for (const LintCheck<Subject>& check : checks) {
    LintSink sink(check.rule, findings);
    check.run(subject, sink);
  }
}

template <typename Subject>
void appendRules(const std::vector<LintCheck<Subject>>& checks, std::vector<LintRule>& rules) {
  for (const LintCheck<Subject>& check : checks) rules.push_back(check.rule);
}

}  // namespace

void LintSink::about(const LintPackage& package, const std::string& text) {
  add(package.file->name, package.info().getFullName(), "", text);
}

void LintSink::about(const LintPackage& package, const LintEntry& entry, const std::string& text) {
  add(package.file->name, package.info().getFullName(), entry.archived.name, text);
}

void LintSink::add(const std::string& file, const std::string& package, const std::string& entry,
                   const std::string& text) {
  findings_.push_back({&rule_, file, package, entry, text});
}

std::vector<LintFinding> lintFiles(const std::vector<std::string>& files,
                                   const LintOptions& options) {
  LintSet set;
  set.options = options;
  std::vector<LintFinding> findings;
  for (const std::string& name : files) {
    set.files.push_back(readLintFile(name, set.options));
    const LintFile& file = *set.files.back();
    runChecks(fileChecks(), file, findings);
    for (const auto& package : file.packages) {
      runChecks(containerChecks(), *package, findings);
      runChecks(headerChecks(), *package, findings);
      runChecks(archiveChecks(), *package, findings);
      runChecks(pathChecks(), *package, findings);
      runChecks(scriptChecks(), *package, findings);
    }
  }
  runChecks(setChecks(), set, findings);
  return findings;
}

std::size_t countFindings(const std::vector<LintFinding>& findings, Severity severity) {
  return static_cast<std::size_t>(std::count_if(
      findings.begin(), findings.end(),
      [severity](const LintFinding& finding) { return finding.rule->severity == severity; }));
}

std::vector<LintRule> allLintRules() {
  std::vector<LintRule> rules;
  appendRules(fileChecks(), rules);
  appendRules(containerChecks(), rules);
  appendRules(headerChecks(), rules);
  appendRules(archiveChecks(), rules);
  appendRules(pathChecks(), rules);
  appendRules(scriptChecks(), rules);
  appendRules(setChecks(), rules);
  return rules;
}
