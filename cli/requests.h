// What the options of a command ask for. Here they are checked against each other and against the shape,
// before a file is read: a mistake costs no waiting.
#ifndef PRIMFIT_CLI_REQUESTS_H_
#define PRIMFIT_CLI_REQUESTS_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "cli/fit_commands.h"
#include "cli/options.h"
#include "report/run.h"
#include "report/units.h"

namespace primfit::cli {

/// @throws UsageError for numbers that make no sense
report::Input InputOf(const Options& options);
/// In the units that the user sees; without the sample size, which may depend on the points.
/// @throws UsageError for numbers that make no sense, for options that the method of the fit has not, and for
///         parts held in ways that no fit can have
report::FitRequest RequestOf(const Options& options, const FitCommand& fit, const report::Unit& unit);
/// Compares lengths with the bounds of the fixed pipeline, which are metres.
/// @throws UsageError for one outside
void CheckLengths(const report::FitRequest& request, const report::Unit& unit);
/// @throws UsageError for a size that is no number, below what the shape needs or above the number of points
int SampleSizeOf(const Options& options, const FitCommand& fit, std::size_t points);
/// The verdicts beside a good one with which a fit succeeds.
/// @throws UsageError for what is no verdict
std::vector<Verdict> AcceptedOf(const Options& options);
/// @return nothing when the user left the choice to the program
/// @throws UsageError for what is no number of 64 bits
std::optional<std::uint64_t> SeedOf(const Options& options);

}  // namespace primfit::cli

#endif  // PRIMFIT_CLI_REQUESTS_H_
