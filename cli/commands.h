// What the sub-commands do.
#ifndef PRIMFIT_CLI_COMMANDS_H_
#define PRIMFIT_CLI_COMMANDS_H_

#include <string_view>

#include "cli/options.h"
#include "cli/primitives.h"

namespace primfit::cli {

/// Reads, fits and reports.
/// @return an ExitStatus
/// @throws UsageError, io::ReadError, std::system_error (output)
int RunFit(const Primitive& primitive, const Options& options);

/// Tells what a point file holds.
int RunInfo(const Options& options);

/// Writes text to standard output, to the last byte.
/// @throws std::system_error when it does not take it
void WriteOutput(std::string_view text);

/// Writes one line to standard error.
void Complain(std::string_view text);

}  // namespace primfit::cli

#endif  // PRIMFIT_CLI_COMMANDS_H_
