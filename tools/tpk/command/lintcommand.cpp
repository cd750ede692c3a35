#include "tools/tpk/command/lintcommand.h"

#include "tools/tpk/host/hostfile.h"
#include "tools/tpk/host/pendingfile.h"
#include "tools/tpk/show/graph.h"

#include <cstdio>
#include <ctime>
#include <fstream>

namespace {

void print(const std::string& text) {
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0)
    failWithErrno("standard output", "cannot be written");
}

void writeFile(const std::string& path, const std::string& text) {
  PendingFile pending(path);
  std::ofstream file(pending.workPath(), std::ios_base::binary);
  file << text;
  file.close();
  if (!file) failWithErrno(path, "cannot be written");
  pending.commit();
}

}  // namespace

ExitStatus lintCommand(const LintArguments& arguments) {
  if (arguments.rules) {
    print(lintRuleTable());
    return kGood;
  }
  LintOptions options;
  options.flash = arguments.flash;
  options.now = static_cast<std::uint32_t>(std::time(nullptr));
  const auto findings = lintFiles(arguments.files, options);
  print(arguments.json ? lintJson(findings) : lintText(findings));
  const bool warned = countFindings(findings, Severity::kWarning) > 0;
  const bool bad = countFindings(findings, Severity::kError) > 0 || (arguments.strict && warned);
  return bad ? kBad : kGood;
}

ExitStatus graphCommand(const GraphArguments& arguments) {
  const std::string text = packageGraph(arguments.files);
  if (arguments.output.empty() || arguments.output == "-")
    print(text);
  else
    writeFile(arguments.output, text);
  return kGood;
}
