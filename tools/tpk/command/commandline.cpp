#include "tools/tpk/command/commandline.h"

#include "tools/tpk/command/commands.h"
#include "tools/tpk/command/usage.h"

#include <cstdio>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace {

// In the order in which --help lists them.
void addCommands(CLI::App& app, Action& action, const std::vector<std::string>& installerOptions) {
  addProduct(app, action);
  addBuild(app, action);
  addVerify(app, action);
  addSign(app, action);
  addUnsign(app, action);
  addDigest(app, action);
  addInfo(app, action);
  addList(app, action);
  addDump(app, action);
  addExtract(app, action);
  addDiff(app, action);
  addLint(app, action);
  addGraph(app, action);
  addTry(app, action, installerOptions);
}

}  // namespace

int runCommandLine(int argc, char** argv) {
  CLI::App app("makes, signs and verifies packages", "tpk");
  app.require_subcommand(1);
  app.set_version_flag("--version", "tpk " TPK_VERSION);
  Action action;
  std::vector<std::string> installerOptions;
  addCommands(app, action, installerOptions);
  try {
    app.parse(takeInstallerOptions(argc, argv, installerOptions), argv);
  } catch (const CLI::ParseError& error) {
    // Help, or the version.
    if (error.get_exit_code() == 0) return static_cast<ExitStatus>(app.exit(error));
    std::fputs(usageText(app, argc, argv, error).c_str(), stderr);
    return kUsage;
  }
  return action();
}
