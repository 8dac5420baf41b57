// What a user is told when a fit gives no shape.
#ifndef PRIMFIT_CLI_FAILURE_H_
#define PRIMFIT_CLI_FAILURE_H_

#include <string>

#include "cli/fit_commands.h"
#include "primfit/fit/fit_error.h"
#include "report/run.h"

namespace primfit::cli {

/// Numbers that only the library has found to be out of range, such as lengths that are 0 in metres.
/// @throws UsageError that names the option of the program instead of the library's
void RefuseOutOfRange(const FitError& error);

/// Why nothing was found, and what to try, in one line.
std::string FailureOf(const FitError& error, const FitCommand& command, const report::FitRun& run);

}  // namespace primfit::cli

#endif  // PRIMFIT_CLI_FAILURE_H_
