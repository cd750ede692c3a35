// What to say of a command line that is wrong.
#pragma once

#include <string>

namespace CLI {
class App;
class ParseError;
}  // namespace CLI

// Which word it is, with the one that was probably meant, and whose --help to read.
std::string usageText(const CLI::App& app, int argc, char** argv, const CLI::ParseError& error);
