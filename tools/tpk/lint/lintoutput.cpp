#include "tools/tpk/host/printable.h"
#include "tools/tpk/lint/lint.h"
#include "tools/tpk/read/jsontext.h"

namespace {

const Severity kSeverities[] = {Severity::kError, Severity::kWarning, Severity::kNote};

std::string countText(std::size_t count, Severity severity) {
  return std::to_string(count) + " " + severityWord(severity) + (count == 1 ? "" : "s");
}

std::string findingText(const LintFinding& finding) {
  std::string text;
  for (const std::string* place : {&finding.file, &finding.package, &finding.entry})
    if (!place->empty()) text += printable(*place) + ": ";
  return text + severityWord(finding.rule->severity) + ": " + printable(finding.text) + " [" +
         finding.rule->id + "]\n    " + finding.rule->meaning + "\n    " + finding.rule->remedy +
         "\n";
}

Json jsonOf(const LintFinding& finding) {
  Json json = {{"severity", severityWord(finding.rule->severity)}, {"id", finding.rule->id}};
  putText(json, "file", finding.file);
  putText(json, "package", finding.package);
  putText(json, "entry", finding.entry);
  putText(json, "text", finding.text);
  json["meaning"] = finding.rule->meaning;
  json["remedy"] = finding.rule->remedy;
  return json;
}

}  // namespace

const char* severityWord(Severity severity) {
  switch (severity) {
    case Severity::kError:
      return "error";
    case Severity::kWarning:
      return "warning";
    default:
      return "note";
  }
}

std::string lintText(const std::vector<LintFinding>& findings) {
  if (findings.empty()) return std::string();
  std::string text;
  for (const LintFinding& finding : findings) text += findingText(finding);
  std::string counts;
  for (const Severity severity : kSeverities)
    counts += (counts.empty() ? "" : ", ") + countText(countFindings(findings, severity), severity);
  return text + counts + "\n";
}

std::string lintJson(const std::vector<LintFinding>& findings) {
  Json list = Json::array();
  for (const LintFinding& finding : findings) list.push_back(jsonOf(finding));
  Json object = {{"findings", list}};
  for (const Severity severity : kSeverities)
    object[std::string(severityWord(severity)) + "s"] = countFindings(findings, severity);
  return jsonText(object) + "\n";
}

std::string lintRuleTable() {
  std::string table = "| id | severity | what it finds | remedy |\n|---|---|---|---|\n";
  for (const LintRule& rule : allLintRules())
    table += std::string("| `") + rule.id + "` | " + severityWord(rule.severity) + " | " +
             rule.meaning + " | " + rule.remedy + " |\n";
  return table;
}
