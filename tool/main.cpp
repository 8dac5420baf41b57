// The primfit program: one sub-command a primitive, and info.
#include <signal.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <new>
#include <span>
#include <sstream>
#include <string>
#include <system_error>

#include "cli/commands.h"
#include "cli/errors.h"
#include "cli/progress.h"
#include "cli/usage.h"
#include "io/read_error.h"
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

// A mapped file that another program cuts short raises SIGBUS; only functions safe in a handler may follow.
void FileShrank(int) {
  constexpr char kText[] =
      "primfit: the input became shorter while it was read; try again when it is complete\n";
  const ssize_t ignored = ::write(STDERR_FILENO, kText, sizeof kText - 1);
  static_cast<void>(ignored);
  ::_exit(kTrouble);
}

int Run(int argc, char** argv) {
  CLI::App app("Fits analytic primitives to clouds of 3-D points and tells how good each fit is.", "primfit");
  Options options;
  const Primitive* primitive = nullptr;
  app.require_subcommand(1);
  app.set_version_flag("--version", "primfit " PRIMFIT_VERSION);
  app.footer(Footer());
  for (const Primitive& p : Primitives()) {
    CLI::App* command = app.add_subcommand(std::string(p.name), std::string(p.summary));
    AddInputOptions(*command, options);
    AddFitOptions(*command, p, options);
    command->footer(Footer());
    command->callback([&primitive, &p] { primitive = &p; });
  }
  AddInputOptions(*app.add_subcommand("info", "Tell what a point file holds"), options);

  const std::span<char* const> arguments(argv + 1, argv + std::max(argc, 1));
  RefuseEmptyValues(arguments);
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& help) {
    std::ostringstream text;
    app.exit(help, text, text);
    WriteOutput(text.str().ends_with('\n') ? text.str() : text.str() + '\n');
    return kFitted;
  } catch (const CLI::ParseError& error) {
    throw UsageError(Explain(app, error, arguments));
  }
  return primitive != nullptr ? RunFit(*primitive, options) : RunInfo(options);
}

}  // namespace

}  // namespace primfit::cli

int main(int argc, char** argv) {
  using primfit::cli::Complain;
  signal(SIGPIPE, SIG_IGN);  // so that a closed pipe is an error like any other
  signal(SIGBUS, primfit::cli::FileShrank);
  primfit::cli::EndOnInterrupt();
  try {
    return primfit::cli::Run(argc, argv);
  } catch (const std::system_error& error) {
    Complain(std::string("the result could not be written: ") + error.code().message());
  } catch (const std::bad_alloc&) {
    Complain("not enough memory for these points; choose some with another program first");
  } catch (const std::exception& error) {
    Complain(error.what());
  }
  return primfit::cli::kTrouble;
}
