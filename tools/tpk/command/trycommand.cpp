#include "tools/tpk/command/commands.h"
#include "tools/tpk/try/dryrun.h"

#include <algorithm>
#include <memory>

#include <CLI/CLI.hpp>

void addTry(CLI::App& app, Action& action, const std::vector<std::string>& installerOptions) {
  const auto options = std::make_shared<TryOptions>();
  CLI::App* const command =
      app.add_subcommand("try", "show what the installer would do with packages on a router");
  command->add_option("--router", options->router, "backup of the router: a folder or a tar")
      ->required();
  command->add_option("--installer", options->installer, "the program (the one of this build)");
  command->add_option("--keep", options->keep, "folder to make, in which the tried router stays");
  command->add_flag("--json", options->json, "print an object");
  command->add_option("FILE", options->files, "package files, - for standard input")->required();
  command->footer("What stands behind -- are options for the installer.");
  command->callback([&action, &installerOptions, options] {
    action = [&installerOptions, options] {
      options->options = installerOptions;
      return tryPackages(*options);
    };
  });
}

int takeInstallerOptions(int argc, char** argv, std::vector<std::string>& options) {
  if (argc < 2 || std::string(argv[1]) != "try") return argc;
  char** const end = argv + argc;
  char** const mark = std::find(argv, end, std::string("--"));
  if (mark != end) options.assign(mark + 1, end);
  return static_cast<int>(mark - argv);
}
