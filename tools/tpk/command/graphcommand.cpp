#include "tools/tpk/command/commands.h"
#include "tools/tpk/host/hostfile.h"
#include "tools/tpk/host/output.h"
#include "tools/tpk/host/pendingfile.h"
#include "tools/tpk/show/graph.h"

#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace {

struct GraphOptions {
  std::vector<std::string> files;
  std::string output;  // "-" or empty: standard output
};

void writeFile(const std::string& path, const std::string& text) {
  PendingFile pending(path);
  std::ofstream file(pending.workPath(), std::ios_base::binary);
  file << text;
  file.close();
  if (!file) failWithErrno(path, "cannot be written");
  pending.commit();
}

ExitStatus graph(const GraphOptions& options) {
  const std::string text = packageGraph(options.files);
  if (options.output.empty() || options.output == "-")
    printOutput(text);
  else
    writeFile(options.output, text);
  return kGood;
}

}  // namespace

void addGraph(CLI::App& app, Action& action) {
  const auto options = std::make_shared<GraphOptions>();
  CLI::App* const command =
      app.add_subcommand("graph", "draw the relations between packages as Graphviz DOT");
  command->add_option("-o,--output", options->output, "the file to write (standard output)");
  command->add_option("FILE", options->files, "package files, package.toml or its folder")
      ->required();
  command->callback([&action, options] { action = [options] { return graph(*options); }; });
}
