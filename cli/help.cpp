// The parser's own layout breaks no lines and leaves no room for tables, so the help is laid out here:
// entries, a name with a text beside it, under headings.
#include "cli/help.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

#include "cli/examples.h"
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

std::string EntryOf(const CLI::Option& option, std::size_t width) {
  return Entry(NameOf(option), option.get_description(), kTextColumn, width);
}

/// The options that help shows, group by group.
std::vector<const CLI::Option*> VisibleOptions(const CLI::App& app) {
  std::vector<const CLI::Option*> all;
  for (const std::string& group : app.get_groups()) {
    const auto members = app.get_options([&](const CLI::Option* option) {
      return !group.empty() && option->nonpositional() && option->get_group() == group;
    });
    all.insert(all.end(), members.begin(), members.end());
  }
  return all;
}

std::vector<const CLI::App*> CommandsOf(const CLI::App& app) {
  return app.get_subcommands([](const CLI::App*) { return true; });
}

bool ReadsFile(const CLI::App& command) { return command.get_option_no_throw("FILE") != nullptr; }

std::string OptionsText(const CLI::App& app, std::size_t width) {
  std::string text, heading;
  for (const CLI::Option* option : VisibleOptions(app)) {
    if (option->get_group() != heading) text += fmt::format("\n{}:\n", heading = option->get_group());
    text += EntryOf(*option, width);
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
      {"1", "nothing was found; with --json the status is \"nothing\", and the reason stands beside it"},
      {"2", "wrong usage, unreadable input, or output that could not be written"},
      {"3", fmt::format("fitted with another verdict: {}", report::DoubtfulVerdicts())},
      {"130",
       "stopped by Ctrl-C, after which the best fit so far, if there is one, has been printed; with --json "
       "the "
       "status is \"stopped\""},
  };
  std::string text = "\nExit status:\n";
  for (const auto& [status, meaning] : statuses) text += Entry(status, meaning, kStatusColumn, width);
  return text;
}

std::string FilesText(std::size_t width) {
  return "\nFiles:\n" +
         Paragraph(
             "In text, columns named x, y, z are used, else the first three; a comma is a decimal comma "
             "only between semicolons. The viewpoint of PCD is not applied. Points that are not finite "
             "are left out.",
             width);
}

/// A line of a shell, broken so that it can still be copied into one.
std::string WrappedCommand(std::string_view line, std::size_t width) {
  constexpr std::size_t kContinued = 2 * kIndent + 2;
  std::string lines(kIndent, ' ');
  std::size_t used = kIndent;
  while (used + line.size() > width) {
    // A value stays beside its option where there is room for both.
    std::size_t end = line.rfind(" --", width - used - 2);
    if (end == std::string_view::npos) end = line.rfind(' ', width - used - 2);
    if (end == std::string_view::npos) break;
    lines.append(line.substr(0, end)).append(" \\\n").append(kContinued, ' ');
    line.remove_prefix(end + 1);
    used = kContinued;
  }
  return lines.append(line) + "\n";
}

std::string ExamplesOf(std::string_view command, std::size_t width) {
  constexpr std::size_t kTextIndent = 3 * kIndent;
  std::string text;
  for (const Example& example : Examples()) {
    if (example.command != command) continue;
    const std::string_view blank = command.empty() ? "" : " ";
    text += WrappedCommand(fmt::format("$ primfit {}{}{}", command, blank, example.arguments), width);
    text += std::string(kTextIndent, ' ') + Wrapped(example.text, width, kTextIndent);
  }
  return text;
}

std::string ExamplesText(std::string_view command, std::size_t width) {
  return "\nExamples:\n" + ExamplesOf(command, width) +
         Paragraph(
             "The scans are in examples/data of the sources, and with the documents where these are "
             "installed.",
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
  std::string text = usage + "\n" + arguments + OptionsText(command, width);
  if (!ReadsFile(command)) return text;
  return text + StatusText(width) + FilesText(width) + ExamplesText(command.get_name(), width);
}

std::string Head(const CLI::App& app, std::size_t width) {
  return Wrapped(app.get_description(), width, 0) + "\nUsage: primfit COMMAND [OPTIONS] FILE\n" +
         "  or:  primfit help COMMAND\n" + CommandsText(app, width);
}

/// An option as several commands have it.
struct SharedOption {
  const CLI::Option* option;
  std::vector<std::string> commands;
};

bool IsSame(const CLI::Option& a, const CLI::Option& b) {
  return NameOf(a) == NameOf(b) && a.get_description() == b.get_description();
}

/// The different options of commands, but for that of help, in the order in which they come first.
std::vector<SharedOption> DifferentOptions(const std::vector<const CLI::App*>& commands) {
  std::vector<SharedOption> different;
  for (const CLI::App* command : commands) {
    for (const CLI::Option* option : VisibleOptions(*command)) {
      if (option == command->get_help_ptr()) continue;
      auto same = std::find_if(different.begin(), different.end(),
                               [&](const SharedOption& other) { return IsSame(*other.option, *option); });
      if (same == different.end()) same = different.insert(same, {option, {}});
      same->commands.push_back(command->get_name());
    }
  }
  return different;
}

/// "--noise LENGTH" and its text, with the commands that have it not.
std::string CommonEntry(const SharedOption& option, const std::vector<const CLI::App*>& commands,
                        std::size_t width) {
  std::vector<std::string> lacking;
  for (const CLI::App* command : commands) {
    if (std::count(option.commands.begin(), option.commands.end(), command->get_name()) == 0)
      lacking.push_back(command->get_name());
  }
  const std::string but = lacking.empty() ? "" : fmt::format(" [not {}]", fmt::join(lacking, ", "));
  return Entry(NameOf(*option.option), option.option->get_description() + but, kTextColumn, width);
}

/// Options of the program and those that more than half of the commands have, by their groups.
std::string CommonOptionsText(const CLI::App& app, const std::vector<SharedOption>& options,
                              const std::vector<const CLI::App*>& commands, std::size_t width) {
  std::vector<std::pair<std::string, std::string>> groups;  // heading and entries
  const auto add = [&](const std::string& heading, const std::string& entry) {
    auto group = std::find_if(groups.begin(), groups.end(), [&](auto& g) { return g.first == heading; });
    if (group == groups.end()) group = groups.insert(group, {heading, ""});
    group->second += entry;
  };
  for (const CLI::Option* option : VisibleOptions(app)) add(option->get_group(), EntryOf(*option, width));
  for (const SharedOption& option : options) {
    if (option.commands.size() > commands.size() / 2)
      add(option.option->get_group(), CommonEntry(option, commands, width));
  }
  std::string text;
  for (const auto& [heading, entries] : groups) text += fmt::format("\n{}:\n{}", heading, entries);
  return text;
}

/// What a command has beside the common options.
std::string OwnText(const CLI::App& command, const std::vector<SharedOption>& options, std::size_t commands,
                    std::size_t width) {
  std::string text = fmt::format("\nprimfit {}:\n", command.get_name());
  for (const CLI::Option* option : VisibleOptions(command)) {
    const auto shared = std::find_if(options.begin(), options.end(), [&](const SharedOption& other) {
      return IsSame(*other.option, *option);
    });
    if (shared != options.end() && shared->commands.size() <= commands / 2) text += EntryOf(*option, width);
  }
  return text + "\n" + ExamplesOf(command.get_name(), width);
}

}  // namespace

HelpFormatter::HelpFormatter(int columns) : width_(WidthFor(columns)) {}

std::string HelpFormatter::make_help(const CLI::App* app, std::string /*name*/,
                                     CLI::AppFormatMode /*mode*/) const {
  if (app->get_parent() != nullptr) return HelpOfCommand(*app, width_);
  return Head(*app, width_) + OptionsText(*app, width_) + StatusText(width_) + FilesText(width_) +
         ExamplesText("", width_);
}

std::string HelpOfAll(const CLI::App& app, int columns) {
  const std::size_t width = WidthFor(columns);
  std::vector<const CLI::App*> commands = CommandsOf(app);
  std::erase_if(commands, [](const CLI::App* command) { return !ReadsFile(*command); });
  const std::vector<SharedOption> options = DifferentOptions(commands);
  std::string text = Head(app, width) + CommonOptionsText(app, options, commands, width);
  for (const CLI::App* command : commands) text += OwnText(*command, options, commands.size(), width);
  return text + StatusText(width) + FilesText(width) + ExamplesText("", width);
}

}  // namespace primfit::cli
