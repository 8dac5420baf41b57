// The options of the sub-commands, and what they mean.
#ifndef PRIMFIT_CLI_OPTIONS_H_
#define PRIMFIT_CLI_OPTIONS_H_

#include <CLI/CLI.hpp>
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/fit_commands.h"
#include "io/readers.h"
#include "primfit/fit/fit_constraints.h"
#include "primfit/fit/fit_input_params.h"
#include "report/limits.h"
#include "report/run.h"
#include "report/units.h"

namespace primfit::cli {

/// What the fixed pipeline takes unless told otherwise: but for the sample size the same for every shape.
inline FitInputParams<FitConstraintsPlane> ClassicDefaults() { return FitInputParams<FitConstraintsPlane>(); }

/// The options as given; one command runs, so one set serves all of them.
struct Options {
  std::string path;
  std::string unit = "m";
  std::optional<std::string> near;
  std::optional<std::string> box;
  bool json = false;

  std::optional<double> tolerance;
  std::optional<double> outliers;
  std::optional<std::string> start;
  std::array<bool, 8> fixed{};  // by part
  std::optional<std::string> through;
  std::optional<std::string> pick;
  std::optional<double> radiusHint;

  std::optional<double> noise;
  double confidence = FitOptionsBase().confidence;
  int mostDraws = FitOptionsBase().mostDraws;
  std::optional<double> timeLimit;
  std::array<std::optional<std::string>, report::kLimits.size()> limits;

  bool classic = false;
  std::optional<double> scannerError;
  double probability = ClassicDefaults().SuccessProbability();
  std::optional<std::string> sampleSize;
  bool skipSearch = false;
  bool refineOnce = false;
  bool anyQuality = false;

  std::optional<std::string> seed;
  bool quiet = false;
  std::optional<std::string> accept;

  // What only one method has, of all commands.
  std::vector<const CLI::Option*> ofAdaptive;
  std::vector<const CLI::Option*> ofClassic;
};

/// Options of every command that reads points.
void AddInputOptions(CLI::App& command, const io::Readers& readers, Options& options);
/// Options of a fit.
void AddFitOptions(CLI::App& command, const FitCommand& fit, Options& options);

/// @throws UsageError for numbers that make no sense
report::Input InputOf(const Options& options);
/// In the units that the user sees; without the sample size, which may depend on the points.
/// @throws UsageError for numbers that make no sense, for options that the method of the fit has not, and for
///         parts held in ways that no fit can have
report::FitRequest RequestOf(const Options& options, const FitCommand& fit, const report::Unit& unit);
/// @throws UsageError for a size that is no number, below what the shape needs or above the number of points
int SampleSizeOf(const Options& options, const FitCommand& fit, std::size_t points);
/// The verdicts beside a good one with which a fit succeeds.
/// @throws UsageError for what is no verdict
std::vector<Verdict> AcceptedOf(const Options& options);
/// @return nothing when the user left the choice to the program
/// @throws UsageError for what is no number of 64 bits
std::optional<std::uint64_t> SeedOf(const Options& options);

}  // namespace primfit::cli

#endif  // PRIMFIT_CLI_OPTIONS_H_
