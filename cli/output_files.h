// Writes the files that a fit was asked for.
#ifndef PRIMFIT_CLI_OUTPUT_FILES_H_
#define PRIMFIT_CLI_OUTPUT_FILES_H_

#include "cli/output_options.h"
#include "report/result.h"
#include "report/run.h"

namespace primfit::cli {

/// Writes the result as JSON where that was asked for. @throws io::WriteError
void WriteResultFile(const OutputOptions& options, const report::Result& result);

/// Writes the files of points that were asked for; none when the fit has found nothing. Each is complete or
/// not there.
/// @throws io::WriteError
void WritePointFiles(const OutputOptions& options, const report::FitRun& run, const report::Result& result);

}  // namespace primfit::cli

#endif  // PRIMFIT_CLI_OUTPUT_FILES_H_
