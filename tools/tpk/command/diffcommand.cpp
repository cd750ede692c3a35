#include "tools/tpk/command/commands.h"
#include "tools/tpk/host/output.h"
#include "tools/tpk/show/diff.h"

#include <iostream>
#include <memory>

#include <CLI/CLI.hpp>

namespace {

ExitStatus diff(const DiffOptions& options) {
  const bool same = writeDiff(std::cout, options);
  finishOutput(std::cout);
  return same ? kGood : kBad;
}

}  // namespace

void addDiff(CLI::App& app, Action& action) {
  const auto options = std::make_shared<DiffOptions>();
  CLI::App* const command = app.add_subcommand("diff", "say what changed between two packages");
  command->footer("The exit status is 0 when the files are the same, and 1 when they are not.");
  command->add_option("A", options->before, "the package file before")->required();
  command->add_option("B", options->after, "the package file after")->required();
  command->callback([&action, options] { action = [options] { return diff(*options); }; });
}
