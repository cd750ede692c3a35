#include "tools/tpk/command/commands.h"
#include "tools/tpk/command/productchoice.h"
#include "tools/tpk/show/verdicts.h"

#include <memory>
#include <string>

#include <CLI/CLI.hpp>

namespace {

struct VerifyArguments {
  std::string product;
  VerifyOptions verify;
};

ExitStatus verify(const VerifyArguments& arguments) {
  const ProductChoice product(arguments.product);
  return showVerdicts(arguments.verify);
}

}  // namespace

void addVerify(CLI::App& app, Action& action) {
  const auto arguments = std::make_shared<VerifyArguments>();
  VerifyOptions& options = arguments->verify;
  CLI::App* const command =
      app.add_subcommand("verify", "say what the installer says of packages, and why");
  addProductOption(*command, arguments->product);
  command->add_option("FILE", options.files, "package files, - for standard input")->required();
  command->add_flag("-q,--quiet", options.quiet, "print refusals only");
  command->add_flag("--json", options.json, "print the verdicts as JSON");
  command->callback([&action, arguments] { action = [arguments] { return verify(*arguments); }; });
}
