#include "tools/tpk/command/commands.h"
#include "tools/tpk/command/productchoice.h"
#include "tools/tpk/host/output.h"
#include "tools/tpk/read/inputfile.h"
#include "tools/tpk/show/dump.h"

#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>

#include <CLI/CLI.hpp>
#include <unistd.h>

namespace {

struct DumpOptions {
  std::string product;
  std::string file;
  bool full = false;
};

bool wantsColour() {
  const char* const refused = std::getenv("NO_COLOR");
  return (!refused || *refused == '\0') && ::isatty(STDOUT_FILENO) == 1;
}

ExitStatus dump(const DumpOptions& options) {
  const ProductChoice product(options.product);
  DumpStyle style;
  style.full = options.full;
  style.colour = wantsColour();
  const InputFile input(options.file);
  const bool good = dumpFile(input, style, std::cout);
  finishOutput(std::cout);
  return good ? kGood : kBad;
}

}  // namespace

void addDump(CLI::App& app, Action& action) {
  const auto options = std::make_shared<DumpOptions>();
  CLI::App* const command = app.add_subcommand("dump", "show every field of a package");
  addProductOption(*command, options->product);
  command->add_flag("--full", options->full, "do not cut what is long");
  command->add_option("FILE", options->file, "the package file, - for standard input")->required();
  command->callback([&action, options] { action = [options] { return dump(*options); }; });
}
