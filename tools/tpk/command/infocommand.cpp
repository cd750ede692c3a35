#include "tools/tpk/command/commands.h"
#include "tools/tpk/command/productchoice.h"
#include "tools/tpk/host/failure.h"
#include "tools/tpk/host/output.h"
#include "tools/tpk/host/printable.h"
#include "tools/tpk/read/inputfile.h"
#include "tools/tpk/read/jsontext.h"
#include "tools/tpk/read/packreader.h"
#include "tools/tpk/show/info.h"

#include <cstdio>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace {

struct InfoOptions {
  std::string product;
  std::vector<std::string> files;
  bool json = false;
};

// False when it is no package, or a broken one; in JSON there is an object for it all the same.
bool infoOf(std::ostream& out, const std::string& path, bool json) {
  std::string name = path;
  try {
    const InputFile file(path);
    name = file.name();
    const PackedFile contents = readPackedFile(file);
    return json ? writeInfoJson(out, file, contents) : writeInfo(out, file, contents);
  } catch (const EnvironmentFailure&) {
    throw;
  } catch (const Failure& failure) {
    std::fprintf(stderr, "tpk: %s\n", consoleText(failure.what()).c_str());
    if (json) {
      Json object;
      putText(object, "file", name);
      putText(object, "error", failure.what());
      out << jsonText(object);
    }
    return false;
  }
}

// One file after the other. What is no package is said on standard error, and in JSON in its place;
// then, and for a broken archive, the status is kBad.
ExitStatus info(const InfoOptions& options) {
  const ProductChoice product(options.product);
  std::ostream& out = std::cout;
  ExitStatus status = kGood;
  if (options.json) out << "[\n";
  for (std::size_t i = 0; i < options.files.size(); ++i) {
    if (i > 0) out << (options.json ? ",\n" : "\n");
    if (!infoOf(out, options.files[i], options.json)) status = kBad;
  }
  if (options.json) out << "\n]\n";
  finishOutput(out);
  return status;
}

}  // namespace

void addInfo(CLI::App& app, Action& action) {
  const auto options = std::make_shared<InfoOptions>();
  CLI::App* const command = app.add_subcommand("info", "say what the headers of packages say");
  addProductOption(*command, options->product);
  command->add_flag("--json", options->json, "print an array with an object for each file");
  command->add_option("FILE", options->files, "package files, - for standard input")->required();
  command->callback([&action, options] { action = [options] { return info(*options); }; });
}
