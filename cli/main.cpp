// The program from its arguments to its exit status. It touches nothing of the process but through the host,
// so that an interpreter can run the same program.
#include "cli/main.h"

#include <CLI/CLI.hpp>
#include <exception>
#include <memory>
#include <new>
#include <optional>
#include <sstream>
#include <utility>
#include <vector>

#include "cli/commands.h"
#include "cli/errors.h"
#include "cli/help.h"
#include "cli/usage.h"

namespace primfit::cli {

namespace {

constexpr const char* kVersion = "primfit " PRIMFIT_VERSION;

/// The parser of the command line, and where it leaves what it has read.
struct Parser {
  Parser(const Host& host, const io::Readers& readers);

  CLI::App app{"Fits analytic primitives to clouds of 3-D points and tells how good each fit is.", "primfit"};
  Options options;
  std::string topic;  ///< the command that help is asked about
  const FitCommand* chosen = nullptr;
  CLI::App* check = nullptr;
  CLI::App* show = nullptr;
  CLI::App* help = nullptr;
  bool wholeHelp = false;
};

Parser::Parser(const Host& host, const io::Readers& readers) {
  if (host.inputIsRedirected) options.path = "-";
  app.formatter(std::make_shared<HelpFormatter>(host.columns));
  app.require_subcommand(1);
  app.set_help_flag("-h,--help", "Print this help");
  app.set_version_flag("-v,--version", kVersion, "Print the version");
  app.add_flag("--help-all", wholeHelp, "Print the help of all commands in one")->trigger_on_parse();
  const auto add = [&](std::string_view name, std::string_view summary) {
    CLI::App* command = app.add_subcommand(std::string(name), std::string(summary));
    command->set_version_flag("-v,--version", kVersion)->group("");
    return command;
  };
  for (const FitCommand& fit : FitCommands()) {
    CLI::App* command = add(fit.name, fit.summary);
    AddInputOptions(*command, readers, options);
    AddFitOptions(*command, fit, options);
    command->callback([this, &fit] { chosen = &fit; });
  }
  AddInputOptions(*add("info", "Tell what a point file holds"), readers, options);
  check = add("check", "Tell how the points of a file lie about a given shape, without a fit");
  AddInputOptions(*check, readers, options);
  AddCheckOptions(*check, options);
  show = add("show", "Print a stored result as its run did");
  AddShowOptions(*show, options);
  help = add("help", "Tell about the program or about one of its commands");
  help->add_option("COMMAND", topic, "What to tell about (default: the program)")->type_name("");
}

/// The help of the program alone; that of App::help would be of the command that was parsed.
std::string HelpOfProgram(const CLI::App& app) {
  return app.get_formatter()->make_help(&app, "", CLI::AppFormatMode::Normal);
}

/// The help of a command by its name, or of the program where the name is empty.
std::string HelpAbout(const std::string& name, const CLI::App& app) {
  if (name.empty()) return HelpOfProgram(app);
  for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
    if (command->get_name() == name) return command->help();
  }
  throw UsageError(UnknownCommand(app, name));
}

/// Reads the command line. @return what there is to print instead of running a command; else nothing
std::optional<std::string> Parse(std::span<const std::string> arguments, const Host& host, Parser& parser) {
  CLI::App& app = parser.app;
  try {
    // The parser takes arguments from the end of the list.
    app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
  } catch (const CLI::Success& asked) {
    std::ostringstream text;
    app.exit(asked, text, text);
    return text.str();
  } catch (const CLI::ParseError& error) {
    if (parser.wholeHelp) return HelpOfAll(app, host.columns);
    throw UsageError(Explain(app, error, arguments));
  }
  if (parser.wholeHelp) return HelpOfAll(app, host.columns);
  if (parser.help->parsed()) return HelpAbout(parser.topic, app);
  return std::nullopt;
}

int Run(std::span<const std::string> arguments, const Host& host, const io::Readers& readers) {
  Parser parser(host, readers);
  if (arguments.empty()) {
    host.err << HelpOfProgram(parser.app) << std::flush;
    return kTrouble;
  }
  RefuseEmptyValues(arguments);
  if (const std::optional<std::string> text = Parse(WithHeldValues(arguments), host, parser)) {
    WriteOutput(host, *text);
    return kFitted;
  }
  parser.options.arguments.assign(arguments.begin(), arguments.end());
  if (parser.check->parsed()) return RunCheck(parser.options, host, readers);
  if (parser.show->parsed()) return RunShow(parser.options, host);
  return parser.chosen != nullptr ? RunFit(*parser.chosen, parser.options, host, readers)
                                  : RunInfo(parser.options, host, readers);
}

}  // namespace

int Main(std::span<const std::string> arguments, const Host& host, const io::Readers& readers) {
  try {
    return Run(arguments, host, readers);
  } catch (const std::bad_alloc&) {
    Complain(host, "not enough memory for these points; choose some with another program first");
  } catch (const std::exception& error) {
    Complain(host, error.what());
  }
  return kTrouble;
}

}  // namespace primfit::cli
