// The options of the sub-commands: their names, help texts and the values as typed. What the values mean is
// read in requests.h.
#ifndef PRIMFIT_CLI_OPTIONS_H_
#define PRIMFIT_CLI_OPTIONS_H_

#include <CLI/CLI.hpp>
#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "cli/fit_commands.h"
#include "cli/output_options.h"
#include "cli/point_choice.h"
#include "io/readers.h"
#include "primfit/fit/fit_constraints.h"
#include "primfit/fit/fit_input_params.h"
#include "report/limits.h"
#include "report/run.h"
#include "report/units.h"

namespace primfit::cli {

// The fixed pipeline clamps to these; metres, as all lengths here.
inline constexpr double kSmallestTolerance = 0.001;
inline constexpr double kLargestScannerError = 1.0;
inline constexpr double kLargestOutliers = 0.9;
inline constexpr double kLargestProbability = 0.99;

/// What the fixed pipeline takes unless told otherwise: but for the sample size the same for every shape.
inline FitInputParams<FitConstraintsPlane> ClassicDefaults() { return FitInputParams<FitConstraintsPlane>(); }

/// What a --fix option without a value says: the part is that of --start.
inline constexpr std::string_view kOfStart = "true";

/// The options as given; one command runs, so one set serves all of them.
struct Options {
  std::vector<std::string> arguments;  ///< all that the program was given
  std::string path;  ///< the host's before options are read: empty where a file has to be named
  std::optional<std::string> unit;
  PointChoice choice;
  bool json = false;

  std::optional<double> tolerance;
  std::optional<double> outliers;
  std::optional<std::string> start;
  std::optional<double> startMetres;  ///< metres in the unit of --start; none: it is in the file's unit
  std::optional<std::string> shape;   ///< of check
  std::array<std::optional<std::string>, 8> fixed;  ///< by part: its value, or kOfStart
  std::optional<std::string> through;
  std::optional<std::string> pick;
  std::optional<double> radiusHint;

  bool allPoints = false;
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

  OutputOptions outputs;

  std::optional<std::string> seed;
  bool quiet = false;
  std::optional<std::string> accept;

  // What only one method has, of all commands.
  std::vector<const CLI::Option*> ofAdaptive;
  std::vector<const CLI::Option*> ofClassic;
};

/// A --fix option may stand alone, so that the parser gives it no value unless it follows a "=". Joins it
/// with the numbers behind it.
std::vector<std::string> WithHeldValues(std::span<const std::string> arguments);

/// Options of every command that reads points.
void AddInputOptions(CLI::App& command, const io::Readers& readers, Options& options);
/// Options of the command that shows a stored result.
void AddShowOptions(CLI::App& command, Options& options);
/// Options of the command that checks a given shape.
void AddCheckOptions(CLI::App& command, Options& options);
/// Options of a fit.
void AddFitOptions(CLI::App& command, const FitCommand& fit, Options& options);

}  // namespace primfit::cli

#endif  // PRIMFIT_CLI_OPTIONS_H_
