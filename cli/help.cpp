// The parser's own layout breaks no lines and leaves no room for tables, so the help is laid out here:
// entries, a name with a text beside it, under headings.
#include "cli/help.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <vector>

#include "report/verdicts.h"

namespace primfit::cli {

namespace {

constexpr std::size_t kIndent = 2;
constexpr std::size_t kTextColumn = 28;
constexpr std::size_t kStatusColumn = 8;

std::size_t WidthFor(int columns) { return static_cast<std::size_t>(std::clamp(columns, 60, 100)); }

/// A text in lines of a width; all but the first are indented.
std::string Wrapped(std::string_view text, std::size_t width, std::size_t indent) {
  std::string lines;
  const std::size_t room = width - indent;
  while (text.size() > room) {
    std::size_t end = text.rfind(' ', room);
    if (end == std::string_view::npos || end == 0) end = std::min(text.find(' '), text.size());
    lines.append(text.substr(0, end)).append("\n").append(indent, ' ');
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines.append(text) + "\n";
}

/// A name and its text beside it, or below it where the name is long.
std::string Entry(std::string_view name, std::string_view text, std::size_t column, std::size_t width) {
  std::string entry = std::string(kIndent, ' ').append(name);
  if (entry.size() + 2 > column) entry += "\n";
  const std::size_t last = entry.rfind('\n');
  const std::size_t used = last == std::string::npos ? entry.size() : 0;
  return entry + std::string(column - used, ' ') + Wrapped(text, width, column);
}

std::string Paragraph(std::string_view text, std::size_t width) {
  return std::string(kIndent, ' ') + Wrapped(text, width, kIndent);
}

/// "-h, --help" or "--noise LENGTH".
std::string NameOf(const CLI::Option& option) {
  std::string name;
  for (const std::string& letter : option.get_snames()) name += "-" + letter + ", ";
  for (const std::string& word : option.get_lnames()) name += "--" + word + ", ";
  name.resize(name.size() - 2);
  const std::string value = !option.get_option_text().empty() || option.get_type_size() == 0
                                ? option.get_option_text()
                                : option.get_type_name();
  return name + (value.empty() ? "" : " ") + value;
}

std::vector<const CLI::Option*> OptionsIn(const CLI::App& app, const std::string& group) {
  return app.get_options(
      [&](const CLI::Option* option) { return option->nonpositional() && option->get_group() == group; });
}

std::vector<const CLI::App*> CommandsOf(const CLI::App& app) {
  return app.get_subcommands([](const CLI::App*) { return true; });
}

bool ReadsFile(const CLI::App& command) { return command.get_option_no_throw("FILE") != nullptr; }

std::string OptionsText(const CLI::App& app, std::size_t width) {
  std::string text;
  for (const std::string& group : app.get_groups()) {
    const auto options = OptionsIn(app, group);
    if (group.empty() || options.empty()) continue;
    text += fmt::format("\n{}:\n", group);
    for (const CLI::Option* option : options)
      text += Entry(NameOf(*option), option->get_description(), kTextColumn, width);
  }
  return text;
}

std::string CommandsText(const CLI::App& app, std::size_t width) {
  std::string text = "\nCommands:\n";
  for (const CLI::App* command : CommandsOf(app))
    text += Entry(command->get_name(), command->get_description(), kTextColumn, width);
  return text;
}

std::string StatusText(std::size_t width) {
  const std::pair<const char*, std::string> statuses[] = {
      {"0", "fitted, with the verdict good or one that --accept names, or with --classic; read, by info"},
      {"1", "nothing was found"},
      {"2", "wrong usage, unreadable input, or output that could not be written"},
      {"3", fmt::format("fitted with another verdict: {}", report::DoubtfulVerdicts())},
      {"130", "stopped by Ctrl-C, after which the best fit so far, if there is one, has been printed"},
  };
  std::string text = "\nExit status:\n";
  for (const auto& [status, meaning] : statuses) text += Entry(status, meaning, kStatusColumn, width);
  return text +
         Paragraph("With --json the \"status\" is fitted, nothing (the \"reason\" says why) or stopped.",
                   width);
}

std::string FilesText(std::size_t width) {
  return "\nFiles:\n" +
         Paragraph(
             "In text, columns named x, y, z are used, else the first three; a comma is a decimal comma "
             "only between semicolons. The viewpoint of PCD is not applied. Points that are not finite "
             "are left out.",
             width);
}

std::string HelpOfCommand(const CLI::App& command, std::size_t width) {
  std::string usage =
      fmt::format("{}\n\nUsage: primfit {} [OPTIONS]", command.get_description(), command.get_name());
  std::string arguments;
  for (const CLI::Option* option : command.get_options([](auto* o) { return o->get_positional(); })) {
    usage += " " + option->get_name(true);
    arguments += "\n" + Entry(option->get_name(true), option->get_description(), kTextColumn, width);
  }
  const std::string text = usage + "\n" + arguments + OptionsText(command, width);
  return ReadsFile(command) ? text + StatusText(width) + FilesText(width) : text;
}

std::string Head(const CLI::App& app, std::size_t width) {
  return Wrapped(app.get_description(), width, 0) + "\nUsage: primfit COMMAND [OPTIONS] FILE\n" +
         "  or:  primfit help COMMAND\n" + CommandsText(app, width);
}

/// An option as several commands have it.
struct SharedOption {
  std::string name, text, group;
  std::vector<std::string> commands;
};

/// The different options of all commands, in the order in which they come first.
std::vector<SharedOption> DifferentOptions(const std::vector<const CLI::App*>& commands) {
  std::vector<SharedOption> different;
  for (const CLI::App* command : commands) {
    for (const std::string& group : command->get_groups()) {
      for (const CLI::Option* option : OptionsIn(*command, group)) {
        if (group.empty()) continue;
        SharedOption shared{NameOf(*option), option->get_description(), group, {}};
        auto same = std::find_if(different.begin(), different.end(), [&](const SharedOption& other) {
          return other.name == shared.name && other.text == shared.text;
        });
        if (same == different.end()) same = different.insert(different.end(), std::move(shared));
        same->commands.push_back(command->get_name());
      }
    }
  }
  return different;
}

/// The commands that have an option, or the few that have it not; nothing when all have it.
std::string Having(const SharedOption& option, const std::vector<const CLI::App*>& commands) {
  std::vector<std::string> lacking;
  for (const CLI::App* command : commands) {
    if (std::find(option.commands.begin(), option.commands.end(), command->get_name()) ==
        option.commands.end())
      lacking.push_back(command->get_name());
  }
  if (lacking.empty()) return "";
  return lacking.size() < option.commands.size() ? fmt::format(" [all but {}]", fmt::join(lacking, ", "))
                                                 : fmt::format(" [{}]", fmt::join(option.commands, ", "));
}

}  // namespace

HelpFormatter::HelpFormatter(int columns) : width_(WidthFor(columns)) {}

std::string HelpFormatter::make_help(const CLI::App* app, std::string /*name*/,
                                     CLI::AppFormatMode /*mode*/) const {
  if (app->get_parent() != nullptr) return HelpOfCommand(*app, width_);
  return Head(*app, width_) + OptionsText(*app, width_) + StatusText(width_) + FilesText(width_);
}

std::string HelpOfAll(const CLI::App& app, int columns) {
  const std::size_t width = WidthFor(columns);
  const std::vector<const CLI::App*> commands = CommandsOf(app);
  const std::vector<SharedOption> options = DifferentOptions(commands);
  std::string text = Head(app, width);
  std::vector<std::string> groups;
  for (const SharedOption& option : options) {
    if (std::find(groups.begin(), groups.end(), option.group) == groups.end()) groups.push_back(option.group);
  }
  for (const std::string& group : groups) {
    text += fmt::format("\n{}:\n", group);
    for (const SharedOption& option : options) {
      if (option.group == group)
        text += Entry(option.name, option.text + Having(option, commands), kTextColumn, width);
    }
  }
  return text + StatusText(width) + FilesText(width);
}

}  // namespace primfit::cli
