// What the sub-commands do.
#ifndef PRIMFIT_CLI_COMMANDS_H_
#define PRIMFIT_CLI_COMMANDS_H_

#include "cli/fit_commands.h"
#include "cli/host.h"
#include "cli/options.h"
#include "io/readers.h"

namespace primfit::cli {

/// Reads, fits and reports.
/// @return an ExitStatus
/// @throws UsageError, io::ReadError, std::runtime_error (output)
int RunFit(const FitCommand& command, const Options& options, const Host& host, const io::Readers& readers);

/// Tells how the points of a file lie about a shape that is given, without a fit.
/// @throws as RunFit, and for a shape that cannot be read
int RunCheck(Options options, const Host& host, const io::Readers& readers);

/// Tells what a point file holds.
int RunInfo(const Options& options, const Host& host, const io::Readers& readers);

/// Tells a result that is stored in a file, as the run told it.
/// @throws io::ReadError, report::ResultError, std::runtime_error (output)
int RunShow(const Options& options, const Host& host);

}  // namespace primfit::cli

#endif  // PRIMFIT_CLI_COMMANDS_H_
