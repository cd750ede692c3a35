#include "tools/tpk/command/commands.h"
#include "tools/tpk/show/extract.h"

#include <memory>

#include <CLI/CLI.hpp>

namespace {

ExitStatus extract(const ExtractOptions& options) { return extractFile(options) ? kGood : kBad; }

}  // namespace

void addExtract(CLI::App& app, Action& action) {
  const auto options = std::make_shared<ExtractOptions>();
  CLI::App* const command = app.add_subcommand("extract", "unpack a package without installing it");
  command->add_option("FILE", options->file, "the package file, - for standard input")->required();
  command->add_option("-C,--directory", options->folder, "a new or an empty folder")->required();
  command->add_flag("--devices", options->devices, "make device nodes and FIFOs too");
  command->callback([&action, options] { action = [options] { return extract(*options); }; });
}
