// The program from its arguments to its exit status. It touches nothing of the process but through the host,
// so that an interpreter can run the same program.
#include "cli/main.h"

#include <CLI/CLI.hpp>
#include <exception>
#include <new>
#include <sstream>
#include <utility>
#include <vector>

#include "cli/commands.h"
#include "cli/errors.h"
#include "cli/usage.h"
#include "report/verdicts.h"

namespace primfit::cli {

namespace {

std::string Footer() {
  return "Exit status: 0 fitted, with the verdict good or one that --accept takes, or with --classic; 1 "
         "nothing\n"
         "found; 2 wrong usage, unreadable input, or output that could not be written; 3 fitted with another "
         "verdict\n"
         "(" +
         report::DoubtfulVerdicts() +
         "); 130 stopped by Ctrl-C, after which the best fit so far, if there is one, has\n"
         "been printed. With --json the \"status\" is fitted, nothing (the \"reason\" says why) or stopped.\n"
         "In text, columns named x, y, z are used, else the first three; a comma is a decimal comma only "
         "between\n"
         "semicolons. The viewpoint of PCD is not applied. Points that are not finite are left out.";
}

int Run(std::span<const std::string> arguments, const Host& host, const io::Readers& readers) {
  CLI::App app("Fits analytic primitives to clouds of 3-D points and tells how good each fit is.", "primfit");
  Options options;
  options.arguments.assign(arguments.begin(), arguments.end());
  const FitCommand* chosen = nullptr;
  app.require_subcommand(1);
  app.set_version_flag("--version", "primfit " PRIMFIT_VERSION);
  app.footer(Footer());
  for (const FitCommand& fit : FitCommands()) {
    CLI::App* command = app.add_subcommand(std::string(fit.name), std::string(fit.summary));
    AddInputOptions(*command, readers, options);
    AddFitOptions(*command, fit, options);
    command->footer(Footer());
    command->callback([&chosen, &fit] { chosen = &fit; });
  }
  AddInputOptions(*app.add_subcommand("info", "Tell what a point file holds"), readers, options);
  CLI::App* show = app.add_subcommand("show", "Print a stored result as its run did");
  AddShowOptions(*show, options);

  RefuseEmptyValues(arguments);
  try {
    // The parser takes arguments from the end of the list.
    app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
  } catch (const CLI::Success& help) {
    std::ostringstream text;
    app.exit(help, text, text);
    WriteOutput(host, text.str().ends_with('\n') ? text.str() : text.str() + '\n');
    return kFitted;
  } catch (const CLI::ParseError& error) {
    throw UsageError(Explain(app, error, arguments));
  }
  if (show->parsed()) return RunShow(options, host);
  return chosen != nullptr ? RunFit(*chosen, options, host, readers) : RunInfo(options, host, readers);
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
