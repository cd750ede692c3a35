#include "tools/tpk/command/commands.h"
#include "tools/tpk/host/output.h"
#include "tools/tpk/show/list.h"

#include <iostream>
#include <memory>

#include <CLI/CLI.hpp>

namespace {

ExitStatus list(const ListOptions& options) {
  writeList(std::cout, options);
  finishOutput(std::cout);
  return kGood;
}

}  // namespace

void addList(CLI::App& app, Action& action) {
  const auto options = std::make_shared<ListOptions>();
  CLI::App* const command = app.add_subcommand("list", "list the files of a package");
  command->add_flag("--json", options->json, "print an array with an object for each package");
  command->add_option("FILE", options->file, "the package file, - for standard input")->required();
  command->callback([&action, options] { action = [options] { return list(*options); }; });
}
