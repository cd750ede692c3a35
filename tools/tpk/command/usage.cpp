#include "tools/tpk/command/usage.h"

#include "tools/tpk/host/text.h"

#include <vector>

#include <CLI/CLI.hpp>

namespace {

using Words = std::vector<std::string>;

bool isOption(const std::string& word) { return word.size() > 1 && word[0] == '-'; }

std::vector<const CLI::App*> commandsOf(const CLI::App& command) {
  return command.get_subcommands([](const CLI::App*) { return true; });
}

Words namesOf(const std::vector<const CLI::App*>& commands) {
  Words names;
  for (const CLI::App* const command : commands) names.push_back(command->get_name());
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

// From the command on that the line names; words become its. What the parser made of the line is
// of no use for this: behind a word that it does not know it goes on looking for commands.
std::string problem(const CLI::App& command, const Words& line, std::size_t at, std::string& words,
                    const CLI::ParseError& error) {
  const std::vector<const CLI::App*> commands = commandsOf(command);
  words += (words.empty() ? "" : " ") + command.get_name();
  if (!commands.empty() && at < line.size() && !isOption(line[at])) {
    for (const CLI::App* const known : commands)
      if (known->get_name() == line[at]) return problem(*known, line, at + 1, words, error);
    return unknown("command", line[at], namesOf(commands));
  }
  for (const std::string& word : command.remaining())
    if (isOption(word)) return unknown("option", word, optionsOf(command));
  if (commands.empty()) return error.what();
  std::string list;
  for (const std::string& name : namesOf(commands)) list += (list.empty() ? "" : ", ") + name;
  return "a command is missing; there are " + list;
}

}  // namespace

std::string usageText(const CLI::App& app, int argc, char** argv, const CLI::ParseError& error) {
  std::string words;
  const std::string what = problem(app, Words(argv, argv + argc), 1, words, error);
  return words + ": " + what + "\nSee " + words + " --help.\n";
}
