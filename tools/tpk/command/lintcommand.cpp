#include "tools/tpk/command/commands.h"
#include "tools/tpk/command/productchoice.h"
#include "tools/tpk/host/output.h"
#include "tools/tpk/lint/lint.h"

#include <cstdint>
#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace {

struct LintArguments {
  std::string product;
  std::vector<std::string> files;
  std::optional<std::uint64_t> flash;  // bytes
  bool strict = false;                 // warnings count
  bool json = false;
  bool rules = false;  // print the table of all checks, and look at no file
};

ExitStatus lint(const LintArguments& arguments) {
  const ProductChoice product(arguments.product);
  if (arguments.rules) {
    printOutput(lintRuleTable());
    return kGood;
  }
  LintOptions options;
  options.flash = arguments.flash;
  options.now = static_cast<std::uint32_t>(std::time(nullptr));
  const auto findings = lintFiles(arguments.files, options);
  printOutput(arguments.json ? lintJson(findings) : lintText(findings));
  const bool warned = countFindings(findings, Severity::kWarning) > 0;
  const bool bad = countFindings(findings, Severity::kError) > 0 || (arguments.strict && warned);
  return bad ? kBad : kGood;
}

}  // namespace

void addLint(CLI::App& app, Action& action) {
  const auto arguments = std::make_shared<LintArguments>();
  CLI::App* const command =
      app.add_subcommand("lint", "say what will not work, or will hurt, on a router");
  addProductOption(*command, arguments->product);
  command
      ->add_option_function<std::uint64_t>(
          "--flash", [arguments](std::uint64_t bytes) { arguments->flash = bytes; },
          "bytes of flash that everything may take; 512K, 4M")
      ->transform(CLI::AsSizeValue(false));
  command->add_flag("--strict", arguments->strict, "warnings count as errors");
  command->add_flag("--json", arguments->json, "print the findings as JSON");
  command->add_flag("--rules", arguments->rules, "print the table of all checks");
  command->add_option("FILE", arguments->files, "package files, package.toml or its folder");
  command->callback([&action, arguments] {
    if (arguments->files.empty() && !arguments->rules) throw CLI::RequiredError("FILE");
    action = [arguments] { return lint(*arguments); };
  });
}
