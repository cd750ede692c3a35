// What will not work, or will hurt, on a router: findings about packages that are otherwise well
// formed. docs/lint.md has the list of all checks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

enum class Severity {
  kError,    // the package, or a piece of it, will not work
  kWarning,  // it works, and will hurt
  kNote,     // worth knowing
};

// "error", "warning", "note"
const char* severityWord(Severity severity);

// What one check looks for. The texts are the program's own and live as long as it runs.
struct LintRule {
  const char* id;  // lower-case words with "-" between them
  Severity severity;
  const char* meaning;  // what is wrong, in general
  const char* remedy;
};

struct LintFinding {
  const LintRule* rule;
  std::string file;     // as it was given
  std::string package;  // name and version; empty when it is about the file, or about all files
  std::string entry;    // of the archive; empty when it is about none
  std::string text;     // what is wrong, in particular
};

struct LintOptions {
  std::optional<std::uint64_t> flash;  // bytes that everything together may take
  std::uint32_t now = 0;               // seconds since 1970: what is later lies in the future
};

// Each file is a package file, or a description (a folder, or a name that ends in ".toml"), which
// is built and then looked at like a package file; that it is unsigned is then no finding.
// Signatures are checked against productData(). The findings come in the order of the files, those
// about several files last. Throws EnvironmentFailure.
std::vector<LintFinding> lintFiles(const std::vector<std::string>& files,
                                   const LintOptions& options);

std::size_t countFindings(const std::vector<LintFinding>& findings, Severity severity);

// For people: one line for each finding, its remedy below, and a last line with the counts; nothing
// when there are no findings.
std::string lintText(const std::vector<LintFinding>& findings);
// For programs: one object with the findings and their counts.
std::string lintJson(const std::vector<LintFinding>& findings);

// Every rule, in the order in which the checks run.
std::vector<LintRule> allLintRules();
// The same as a table in Markdown: the one of docs/lint.md.
std::string lintRuleTable();
