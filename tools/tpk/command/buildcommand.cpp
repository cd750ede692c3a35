#include "tools/tpk/command/commands.h"
#include "tools/tpk/host/pendingfile.h"
#include "tools/tpk/host/printable.h"
#include "tools/tpk/make/build.h"
#include "tools/tpk/make/manifest.h"
#include "tools/tpk/product/signingset.h"

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace {

struct BuildOptions {
  std::string manifest;
  std::string output;  // "-": standard output; empty: NAME-VERSION.tpk
  std::string key;     // product data folder to sign with
};

void warn(const std::vector<std::string>& warnings) {
  for (const std::string& warning : warnings)
    std::fprintf(stderr, "tpk: warning: %s\n", consoleText(warning).c_str());
}

ExitStatus build(const BuildOptions& options) {
  const Manifest manifest = readManifest(options.manifest);
  warn(manifest.warnings);
  const std::string output = options.output.empty() ? packageFileName(manifest) : options.output;
  if (options.key.empty()) {
    warn(buildPackage(manifest, nullptr, output));
  } else {
    const SigningSet set(options.key);
    warn(buildPackage(manifest, &set.signer(), output));
  }
  // Not into the package, should standard output be where it goes.
  std::FILE* const console = PendingFile(output).isReplaced() ? stdout : stderr;
  std::fprintf(console, "%s: %s\n", consoleText(output).c_str(),
               options.key.empty() ? "unsigned" : "signed");
  return kGood;
}

}  // namespace

void addBuild(CLI::App& app, Action& action) {
  const auto options = std::make_shared<BuildOptions>();
  CLI::App* const command = app.add_subcommand("build", "build a package or a bundle");
  command->add_option("MANIFEST", options->manifest, "package.toml or its folder")->required();
  command->add_option("-o,--output", options->output,
                      "the file to write (NAME-VERSION.tpk); - for standard output");
  command->add_option("--key", options->key, "product data folder to sign with");
  command->callback([&action, options] { action = [options] { return build(*options); }; });
}
