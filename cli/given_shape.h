// The shape that a command is given instead of looking for one.
#ifndef PRIMFIT_CLI_GIVEN_SHAPE_H_
#define PRIMFIT_CLI_GIVEN_SHAPE_H_

#include <string>

#include "cli/fit_commands.h"
#include "cli/options.h"

namespace primfit::cli {

/// Reads --shape: a primitive and its numbers, such as "cylinder:0,0,0,0.05,0,0,1", or the file of a stored
/// result, whose first shape counts.
/// @param options  takes the shape as one that is held whole
/// @return         the command of the primitive
/// @throws UsageError, io::ReadError, report::ResultError
const FitCommand& TakeGivenShape(const std::string& text, Options& options);

}  // namespace primfit::cli

#endif  // PRIMFIT_CLI_GIVEN_SHAPE_H_
