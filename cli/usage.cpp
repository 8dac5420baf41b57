// What is said of a command line that cannot be understood. The parser's own messages name neither the likely
// option nor what to do.
#include "cli/usage.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>
#include <string_view>
#include <vector>

#include "cli/errors.h"
#include "cli/numbers.h"

namespace primfit::cli {

namespace {

/// Insertions, deletions and replacements of a character that turn one text into the other (Levenshtein 1966;
/// the table is filled row by row as by Wagner and Fischer, 1974).
std::size_t EditDistance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::size_t diagonal = row[0]++;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t replaced = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
      diagonal = row[j];
      row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
    }
  }
  return row.back();
}

/// "; did you mean ...?" with the name that a mistyped one is nearest to, or nothing.
std::string Suggestion(std::string_view typed, const std::vector<std::string>& names) {
  std::size_t least = std::max<std::size_t>(2, typed.size() / 4) + 1;  // a third wrong is another word
  std::string nearest;
  for (const std::string& name : names) {
    const bool begun = typed.find_first_not_of('-') + 1 < typed.size() && name.starts_with(typed);
    const std::size_t distance = begun ? 1 : EditDistance(typed, name);
    if (distance >= std::min(least, name.size())) continue;
    least = distance;
    nearest = name;
  }
  return nearest.empty() ? "" : fmt::format("; did you mean {}?", nearest);
}

/// The options that the help of a command shows.
std::vector<std::string> OptionsOf(const CLI::App& command) {
  std::vector<std::string> names;
  for (const CLI::Option* option : command.get_options()) {
    if (option->get_group().empty()) continue;
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
  return names;
}

std::vector<std::string> CommandsOf(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; }))
    names.push_back(command->get_name());
  return names;
}

/// Where to read on, behind a sentence that may have ended with a question.
std::string SeeHelp(const std::string& sentence, const std::string& command = {}) {
  return fmt::format("{}{} primfit {}--help", sentence, sentence.ends_with('?') ? " See" : "; see",
                     command.empty() ? "" : command + " ");
}

bool IsOption(std::string_view argument) {
  return argument.size() > 1 && argument.front() == '-' && argument != "--";
}

/// What is wrong with an option that a command, or the program before its command, does not have.
std::string UnknownOption(const CLI::App& command, const std::string& argument) {
  const bool before = command.get_parent() == nullptr;
  const std::string suggestion = Suggestion(argument.substr(0, argument.find('=')), OptionsOf(command));
  return fmt::format("\"{}\" is no option of {}{}", argument,
                     before ? "this program" : "primfit " + command.get_name(),
                     before && suggestion.empty() ? "; those of a command follow it" : suggestion);
}

/// What is wrong with the arguments that a command could not place, empty for nothing.
std::string Misplaced(const CLI::App& command) {
  std::vector<std::string> left = command.remaining();
  std::erase(left, "--");
  const auto option = std::find_if(left.begin(), left.end(), [](const std::string& argument) {
    return IsOption(argument) && !StartsWithNumber(argument);
  });
  if (option != left.end()) return UnknownOption(command, *option);
  const auto number = std::find_if(left.begin(), left.end(), StartsWithNumber);
  if (number != left.end()) {
    return fmt::format(
        "\"{}\" was not expected: the numbers of an option stand between commas, without blanks", *number);
  }
  return left.empty() ? "" : fmt::format("\"{}\" was not expected: a command takes one file", left.front());
}

/// What is wrong with an option that got no value or several; empty for other errors. The parser tells these
/// apart in its texts alone, "--seed: At Most 1 required ..." and "--seed: 1 required NUMBER missing".
std::string WrongCount(const CLI::ParseError& error) {
  const std::string text = error.what();
  const std::size_t colon = text.find(':');
  if (error.get_name() != "ArgumentMismatch" || colon == std::string::npos) return "";
  const std::string option = text.substr(0, colon);
  if (text.find("At Most 1") != std::string::npos)
    return fmt::format("{} stands there more than once", option);
  constexpr std::string_view kBefore = "1 required ", kBehind = " missing";
  const std::size_t type = text.find(kBefore, colon);
  if (type == std::string::npos || !text.ends_with(kBehind)) return "";
  const std::size_t start = type + kBefore.size();
  return fmt::format("{} needs a value: {}", option,
                     text.substr(start, text.size() - kBehind.size() - start));
}

}  // namespace

void RefuseEmptyValues(std::span<const std::string> arguments) {
  for (const std::string_view argument : arguments) {
    if (argument == "--") return;
    if (argument.starts_with("--") && argument.find('=') == argument.size() - 1)
      throw UsageError(fmt::format("\"{}\" has no value after the =; give one", argument));
  }
}

std::string UnknownCommand(const CLI::App& app, const std::string& name) {
  const std::vector<std::string> commands = CommandsOf(app);
  const std::string suggestion = Suggestion(name, commands);
  return SeeHelp(fmt::format(
      "\"{}\" is no command of this program{}", name,
      suggestion.empty() ? fmt::format(": those are {}", fmt::join(commands, ", ")) : suggestion));
}

std::string Explain(const CLI::App& app, const CLI::ParseError& error,
                    std::span<const std::string> arguments) {
  const auto chosen = app.get_subcommands();
  if (chosen.empty() && !arguments.empty()) {
    const std::string& first = arguments[0];
    return IsOption(first) ? SeeHelp(UnknownOption(app, first)) : UnknownCommand(app, first);
  }
  std::string what = Misplaced(app);
  if (what.empty() && !chosen.empty()) what = Misplaced(*chosen[0]);
  if (what.empty()) what = WrongCount(error);
  // A file may be missing because an option that does not exist has left its value in its place.
  return SeeHelp(what.empty() ? error.what() : what, chosen.empty() ? "" : chosen[0]->get_name());
}

}  // namespace primfit::cli
