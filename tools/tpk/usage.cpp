#include "tools/tpk/usage.h"

#include "tools/tpk/text.h"

#include <vector>

#include <CLI/CLI.hpp>

namespace {

using Words = std::vector<std::string>;

// The innermost of the commands that were named, and its words.
const CLI::App* namedCommand(const CLI::App* command, std::string& words) {
  words = command->get_name();
  while (!command->get_subcommands().empty()) {
    command = command->get_subcommands().back();
    words += " " + command->get_name();
  }
  return command;
}

Words commandsOf(const CLI::App& command) {
  Words names;
  for (const CLI::App* const known : command.get_subcommands([](const CLI::App*) { return true; }))
    names.push_back(known->get_name());
  return names;
}

Words optionsOf(const CLI::App& command) {
  Words names;
  for (const CLI::Option* const option : command.get_options())
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  return names;
}

std::string unknown(const char* kind, const std::string& word, const Words& known) {
  const std::string meant = nearestWord(word, known);
  return std::string("unknown ") + kind + " " + quoted(word) +
         (meant.empty() ? "" : "; did you mean " + quoted(meant) + "?");
}

std::string problem(const CLI::App& command, const CLI::ParseError& error) {
  const Words left = command.remaining();
  for (const std::string& word : left)
    if (word.size() > 1 && word[0] == '-') return unknown("option", word, optionsOf(command));
  const Words commands = commandsOf(command);
  if (commands.empty()) return error.what();
  if (!left.empty()) return unknown("command", left.front(), commands);
  std::string list;
  for (const std::string& name : commands) list += (list.empty() ? "" : ", ") + name;
  return "a command is missing; there are " + list;
}

}  // namespace

std::string usageText(const CLI::App& app, const CLI::ParseError& error) {
  std::string words;
  const CLI::App* const command = namedCommand(&app, words);
  return words + ": " + problem(*command, error) + "\nSee " + words + " --help.\n";
}
