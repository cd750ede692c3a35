#include "tools/tpk/command/commands.h"
#include "tools/tpk/host/hostfile.h"
#include "tools/tpk/host/pendingfile.h"
#include "tools/tpk/host/printable.h"
#include "tools/tpk/product/sign.h"
#include "tools/tpk/product/signingset.h"
#include "tools/tpk/read/inputfile.h"

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace {

struct SignOptions {
  std::vector<std::string> files;  // "-" is standard input, and standard output as its own place
  std::string key;                 // product data folder to sign with
  std::string output;              // of the one file; empty: in its own place
};

const char kStream[] = "-";

// Says what was done, but not into the package, should standard output be where it goes.
void rewrite(const std::string& file, const Signer* signer, const std::string& output) {
  const InputFile in(file);
  PendingFile pending(output);
  rewriteSignatures(in, signer, pending.workPath());
  if (file == output && pending.isReplaced()) keepPermissions(file, pending.workPath());
  pending.commit();
  if (output != kStream) {
    std::fprintf(pending.isReplaced() ? stdout : stderr, "%s: %s\n", consoleText(output).c_str(),
                 signer ? "signed" : "unsigned");
  }
}

ExitStatus rewriteAll(const SignOptions& options, const Signer* signer) {
  if (options.files.size() > 1 && !options.output.empty()) {
    std::fputs("tpk: --output takes one package file\n", stderr);
    return kUsage;
  }
  for (const std::string& file : options.files)
    rewrite(file, signer, options.output.empty() ? file : options.output);
  return kGood;
}

ExitStatus sign(const SignOptions& options) {
  const SigningSet set(options.key);
  return rewriteAll(options, &set.signer());
}

ExitStatus unsignFiles(const SignOptions& options) { return rewriteAll(options, nullptr); }

void addFiles(CLI::App& command, SignOptions& options) {
  command.add_option("-o,--output", options.output, "the file to write (the file itself)");
  command.add_option("FILE", options.files, "package files, - for standard input")->required();
}

}  // namespace

void addSign(CLI::App& app, Action& action) {
  const auto options = std::make_shared<SignOptions>();
  CLI::App* const command =
      app.add_subcommand("sign", "add or replace the signature of every package");
  command->add_option("--key", options->key, "product data folder to sign with")->required();
  addFiles(*command, *options);
  command->callback([&action, options] { action = [options] { return sign(*options); }; });
}

void addUnsign(CLI::App& app, Action& action) {
  const auto options = std::make_shared<SignOptions>();
  CLI::App* const command = app.add_subcommand("unsign", "take the signatures of packages away");
  addFiles(*command, *options);
  command->callback([&action, options] { action = [options] { return unsignFiles(*options); }; });
}
