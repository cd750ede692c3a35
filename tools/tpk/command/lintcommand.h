// tpk lint and tpk graph: what packages will do on a router, and to each other.
#pragma once

#include "tools/tpk/command/command.h"
#include "tools/tpk/lint/lint.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct LintArguments {
  std::vector<std::string> files;
  std::optional<std::uint64_t> flash;  // bytes
  bool strict = false;                 // warnings count
  bool json = false;
  bool rules = false;  // print the table of all checks, and look at no file
};

// Checks against productData() and prints the findings. Throws EnvironmentFailure.
ExitStatus lintCommand(const LintArguments& arguments);

struct GraphArguments {
  std::vector<std::string> files;
  std::string output;  // "-" or empty: standard output
};

// Throws Failure.
ExitStatus graphCommand(const GraphArguments& arguments);
