#include "tools/tpk/command/commands.h"
#include "tools/tpk/product/digestline.h"
#include "tools/tpk/read/inputfile.h"

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace {

// One line of a digest list for every package: its digest, and as a comment its name and version.
ExitStatus digest(const std::vector<std::string>& files) {
  for (const std::string& file : files) {
    const PackedFile packages = readPackedFile(InputFile(file));
    for (const auto& package : packages.packages) std::puts(digestLine(*package).c_str());
  }
  return kGood;
}

}  // namespace

void addDigest(CLI::App& app, Action& action) {
  const auto files = std::make_shared<std::vector<std::string>>();
  CLI::App* const command =
      app.add_subcommand("digest", "print packages as lines of a list of digests");
  command->add_option("FILE", *files, "package files, - for standard input")->required();
  command->callback([&action, files] { action = [files] { return digest(*files); }; });
}
