// Checks of package scripts. The installer stores them for bash, behind a few lines of its own.
#include "tools/tpk/lint/bashcheck.h"
#include "tools/tpk/lint/lintchecks.h"

namespace {

constexpr char kInstall[] = "oninstall";
constexpr char kUninstall[] = "onuninstall";

template <typename Check>
void eachScript(const LintPackage& package, Check check) {
  if (package.packed->onInstall) check(kInstall, *package.packed->onInstall);
  if (package.packed->onUninstall) check(kUninstall, *package.packed->onUninstall);
}

void syntax(const LintPackage& package, LintSink& sink) {
  const std::string bash = findBash();
  if (bash.empty()) return;
  eachScript(package, [&](const char* name, const std::string& script) {
    if (const auto message = checkSyntax(bash, script))
      sink.about(package, std::string(name) + ": " + *message);
  });
}

void unchecked(const LintPackage& package, LintSink& sink) {
  if (!findBash().empty()) return;
  eachScript(package, [&](const char* name, const std::string&) {
    sink.about(package, std::string(name) + " was not checked");
  });
}

void empty(const LintPackage& package, LintSink& sink) {
  eachScript(package, [&](const char* name, const std::string& script) {
    if (script.find_first_not_of(" \t\n") == std::string::npos)
      sink.about(package, std::string(name) + " is empty");
  });
}

void carriageReturns(const LintPackage& package, LintSink& sink) {
  eachScript(package, [&](const char* name, const std::string& script) {
    if (script.find("\r\n") != std::string::npos)
      sink.about(package, std::string(name) + " has lines that end in CR LF");
  });
}

void interpreter(const LintPackage& package, LintSink& sink) {
  eachScript(package, [&](const char* name, const std::string& script) {
    if (script.compare(0, 2, "#!") != 0) return;
    const std::string line = script.substr(0, script.find('\n'));
    // "bash" or "sh", with or without options behind it.
    const std::string word = line.substr(0, line.find(' ', line.find_first_not_of("#! ")));
    if (line.find("bash") == std::string::npos &&
        (word.size() < 3 || word.compare(word.size() - 3, 3, "/sh") != 0))
      sink.about(package, std::string(name) + " begins with \"" + line + '"');
  });
}

void imageDropsScript(const LintPackage& package, LintSink& sink) {
  if (package.info().hasImage && package.packed->onInstall)
    sink.about(package, "has an image marker and an oninstall script");
}

void turnedOffScript(const LintPackage& package, LintSink& sink) {
  if (package.turnedOff && package.packed->onInstall)
    sink.about(package, "is turned off and has an oninstall script");
}

void uninstallScript(const LintPackage& package, LintSink& sink) {
  if (package.packed->onUninstall) sink.about(package, "has an onuninstall script");
}

const std::vector<PackageCheck> kScriptChecks = {
    {{"script-syntax", Severity::kError, "Bash does not understand the script.",
      "Correct the script until bash -n has nothing to say."},
     syntax},
    {{"script-unchecked", Severity::kNote,
      "There is no bash in PATH: nobody looked at the syntax of the scripts.", "Install bash."},
     unchecked},
    {{"script-empty", Severity::kNote, "There is nothing in the script.", "Drop the script."},
     empty},
    {{"script-line-ends", Severity::kError,
      "Bash takes the CR before a line end for a part of the last word of the line.",
      "Save the script with line ends of LF alone."},
     carriageReturns},
    {{"script-interpreter", Severity::kWarning,
      "The script names an interpreter, but the installer always runs scripts with bash.",
      "Write it for bash, or let it start the other program."},
     interpreter},
    {{"image-drops-script", Severity::kError,
      "A package with an image marker keeps no oninstall script: it is never run.",
      "Drop the script or the image marker."},
     imageDropsScript},
    {{"turned-off-script", Severity::kWarning,
      "A package that is installed disabled does not run its oninstall script, not even when it is "
      "enabled later.",
      "Let the program itself set up what it needs."},
     turnedOffScript},
    {{"uninstall-script", Severity::kNote,
      "The onuninstall script is only stored: the installer never runs it.", "Do not count on it."},
     uninstallScript},
};

}  // namespace

const std::vector<PackageCheck>& scriptChecks() { return kScriptChecks; }
