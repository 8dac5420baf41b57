// The options of the commands and their help. An option that only one of the two methods has is known to
// both, so that it can be refused with the reason instead of as an unknown one.
#include "cli/options.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <type_traits>

#include "cli/numbers.h"
#include "report/verdicts.h"

namespace primfit::cli {

using report::DoubtfulVerdicts;
using report::kLimits;
using report::kSectionParts;

namespace {

/// What the help shows for the numbers of parts, such as "x,y,z,within".
std::string TypeOf(std::span<const Part> parts) {
  std::string text;
  for (const Part& part : parts) {
    text += text.empty() ? "" : ",";
    text += part.Size() == 3 ? "x,y,z" : part.name;
  }
  return text;
}

/// What the help shows for the value of a part.
const char* ValueOf(const Part& part) {
  if (part.Size() == 3) return "x,y,z";
  return QuantityOf(part) == Quantity::kAngle ? "DEGREES" : "LENGTH";
}

/// What has to be known of a part to give its value.
const char* MeaningOf(const Part& part, const FitCommand& fit) {
  const bool hasApex = std::any_of(fit.parts.begin(), fit.parts.end(),
                                   [](const Part& other) { return other.kind == PartKind::kHalfAngle; });
  return hasApex && part.kind == PartKind::kDirection ? ", from the apex into the cone," : "";
}

/// Adds an option that takes a value of a type. Numbers are read here: the parser of the command line would
/// take hexadecimal ones too, and octal ones with a leading 0.
auto OptionsTo(CLI::App& command) {
  return [&command](const char* name, auto& value, const std::string& type, std::string_view help) {
    using Value = std::remove_reference_t<decltype(value)>;
    CLI::Option* option = nullptr;
    if constexpr (std::is_same_v<Value, int>) {
      option = command.add_option_function<std::string>(
          name, [&value, name](const std::string& text) { value = CountOf(name, text); });
    } else if constexpr (std::is_assignable_v<Value&, double> && !std::is_assignable_v<Value&, std::string>) {
      option = command.add_option_function<std::string>(
          name, [&value, name](const std::string& text) { value = DecimalOf(name, text); });
    } else {
      option = command.add_option(name, value);
    }
    return option->description(std::string(help))->type_name(type);
  };
}
auto FlagsTo(CLI::App& command) {
  return [&command](const std::string& name, bool& value, std::string_view help) {
    return command.add_flag(name, value, std::string(help));
  };
}

/// Options of a fit that can begin at a shape or hold parts of one.
void AddStartOptions(CLI::App& command, const FitCommand& fit, Options& options) {
  const auto option = OptionsTo(command);
  option(
      "--start", options.start, "NUMBERS",
      fmt::format("The {} to start from or to hold parts of: {}; lengths in the file's unit (default: none)",
                  fit.name, NamesOf(fit.parts, fit.StartSize())));
  ForEachPart(fit.parts, fit.StartSize(), [&](const Part& part, std::size_t i, std::size_t) {
    if (!part.CanBeHeld()) return;
    command.add_flag("--fix-" + std::string(part.name), options.fixed.at(i))
        ->description(fmt::format("Hold the {}{} at this value, or at that of --start (default: free)",
                                  part.name, MeaningOf(part, fit)))
        ->option_text(fmt::format("[{}]", ValueOf(part)))
        ->multi_option_policy(CLI::MultiOptionPolicy::Throw);
  });
  if (fit.fitThrough != nullptr) {
    option("--through", options.through, "NUMBERS",
           fmt::format("A circle that the tube passes through: {}; lengths in the file's unit. Only the bend "
                       "radius and its direction are fitted (default: none)",
                       NamesOf(kSectionParts, 7)));
  }
}

/// Options that only the adaptive method has.
template <class Add, class AddFlag>
void AddAdaptiveOptions(const FitCommand& fit, Options& options, const Add& option, const AddFlag& flag) {
  const FitOptionsBase defaults;
  if (!fit.picked)
    flag("--all-points", options.allPoints,
         "Take every point as one of the shape: plain least squares without a search for outliers (default: "
         "search)");
  option("--noise", options.noise, "LENGTH",
         "Standard deviation of the points from the shape, in the file's unit (default: from the points)");
  option("--confidence", options.confidence, "SHARE",
         fmt::format("Confidence that no better shape was missed, at which the search ends (default {})",
                     defaults.confidence));
  option("--most-draws", options.mostDraws, "COUNT",
         fmt::format("Random samples at the most (default {})", defaults.mostDraws));
  option("--time-limit", options.timeLimit, "SECONDS",
         fmt::format("After so long the best shape found until then counts (default{})",
                     std::isinf(defaults.timeLimit) ? ": no limit" : fmt::format(" {}", defaults.timeLimit)));
  option("--accept", options.accept, DoubtfulVerdicts("|"),
         "Verdicts, one or more between commas, with which a fit ends with exit status 0 as a good one does "
         "(default: none)");
  for (std::size_t i = 0; i < kLimits.size(); ++i) {
    const bool isPick = fit.picked && i == report::kPasses;  // told by --pick
    if (fit.Has(kLimits[i]) && !isPick)
      option(kLimits[i].option, options.limits[i], TypeOf(kLimits[i].parts), kLimits[i].help);
  }
}

/// Options that only the fixed pipeline has.
template <class Add, class AddFlag>
void AddClassicOptions(const FitCommand& fit, Options& options, const Add& option, const AddFlag& flag) {
  const auto defaults = ClassicDefaults();
  option("--scanner-error", options.scannerError, "LENGTH",
         fmt::format("Distance error of the scanner, in the file's unit. It scales the histogram and the "
                     "quality test: half of the inliers must be nearer than this, four fifths nearer than "
                     "twice this (default {} m, at most {} m)",
                     defaults.ScannerError(), kLargestScannerError));
  option("--probability", options.probability, "SHARE",
         fmt::format("Probability with which the search is to draw a sample without outliers, 0 to {} "
                     "(default {})",
                     kLargestProbability, defaults.SuccessProbability()));
  option("--sample-size", options.sampleSize, "COUNT",
         fmt::format(
             "Points in a random sample, or \"all\" to fit all points at once without a search (default {})",
             fit.sampleSize));
  if (!fit.picked) {
    flag("--skip-search", options.skipSearch, "Only refine the shape of --start (default: search)");
    flag("--refine-once", options.refineOnce,
         "Refine once, after the search and without the worst fifth of the points (default: every candidate, "
         "a plane or sphere only with a held part)");
  }
  flag("--any-quality", options.anyQuality,
       "Accept a fit that fails the quality test (default: exit status 1)");
}

/// Options that both methods have, with defaults of their own.
template <class Add>
void AddSharedOptions(bool both, Options& options, const Add& option) {
  const auto defaults = ClassicDefaults();
  option(
      "--tolerance", options.tolerance, "LENGTH",
      fmt::format("Distance within which a point is an inlier, in the file's unit (default{} {} m, at least "
                  "{} m)",
                  both ? ": three times the noise; with --classic" : "", defaults.InlierDistanceThreshold(),
                  kSmallestTolerance));
  option("--outliers", options.outliers, "SHARE",
         fmt::format("Share of points that are not on the shape, for which enough samples are drawn "
                     "(default{} {}, at most {})",
                     both ? ": from the points; with --classic" : "", defaults.OutlierPercentage(),
                     kLargestOutliers));
}

}  // namespace

std::vector<std::string> WithHeldValues(std::span<const std::string> arguments) {
  std::vector<std::string> joined;
  bool areOptions = true;
  for (const std::string& argument : arguments) {
    const bool isValue = areOptions && !joined.empty() && joined.back().starts_with("--fix-") &&
                         joined.back().find('=') == std::string::npos && StartsWithNumber(argument);
    areOptions = areOptions && argument != "--";
    if (isValue)
      joined.back() += "=" + argument;
    else
      joined.push_back(argument);
  }
  return joined;
}

void AddInputOptions(CLI::App& command, const io::Readers& readers, Options& options) {
  CLI::Option* file = command.add_option("FILE", options.path)->type_name("");
  file->description(
      fmt::format("Point file ({}); - is standard input, which is also read without FILE when "
                  "it comes from a file or a pipe",
                  readers.Names()));
  file->required(options.path.empty());
  const auto option = OptionsTo(command);
  option(
      "--unit", options.unit, "m|mm|cm|ft|ft-us|in",
      "Unit of the lengths in the file, on the command line and in the result (default: what the file says, "
      "else m)");
  AddPointChoice(command, options.choice);
  command.add_flag("--json", options.json, "Print one JSON object (default: text)");
  AddResultOption(command, options.outputs);
}

void AddShowOptions(CLI::App& command, Options& options) {
  command.get_formatter()->column_width(30);
  command.add_option("RESULT", options.path, "JSON that --json has printed; - reads standard input")
      ->required()
      ->type_name("");
  command.add_flag("--json", options.json, "Print JSON (default: text)");
}

void AddCheckOptions(CLI::App& command, Options& options) {
  const auto option = OptionsTo(command);
  option("--shape", options.shape, "SHAPE",
         "The shape: a primitive and its numbers in the order of --start, such as "
         "cylinder:0,0,0,0.05,0,0,1 in the file's unit, or the file of a stored result (required)");
  FlagsTo(command)("--quiet", options.quiet, "No progress bar and no notes (default: a bar on terminals)");
  AddPointOptions(command, options.outputs);
}

void AddFitOptions(CLI::App& command, const FitCommand& fit, Options& options) {
  const auto option = OptionsTo(command);
  const auto flag = FlagsTo(command);
  const bool both = fit.classic != nullptr;
  AddSharedOptions(both, options, option);
  if (fit.picked) {
    option("--pick", options.pick, "x,y,z", "A point on the pipe, in the file's unit (required)");
    option("--radius-hint", options.radiusHint, "LENGTH",
           fmt::format("About the radius of the pipe, in the file's unit; more than {} times it is rejected "
                       "(default: any; with --classic required)",
                       report::kMostOfRadiusHint));
  } else {
    AddStartOptions(command, fit, options);
  }
  AddPointOptions(command, options.outputs);
  option("--seed", options.seed, "NUMBER",
         "Seed of the random choices; the same seed gives the same result (default: from the clock)");
  flag("--quiet", options.quiet, "No progress bar and no notes (default: a bar on terminals)");
  const auto to = [&](std::vector<const CLI::Option*>& those, const char* group, const auto& add) {
    return [&those, group, &add](auto&&... arguments) { those.push_back(add(arguments...)->group(group)); };
  };
  const char* const adaptive = both ? "Adaptive method" : "Options";
  AddAdaptiveOptions(fit, options, to(options.ofAdaptive, adaptive, option),
                     to(options.ofAdaptive, adaptive, flag));
  if (!both) return;
  flag("--classic", options.classic,
       "Take the fixed pipeline, whose bounds are not those of the points (default: the adaptive method)");
  AddClassicOptions(fit, options, to(options.ofClassic, "Fixed pipeline, with --classic", option),
                    to(options.ofClassic, "Fixed pipeline, with --classic", flag));
}

}  // namespace primfit::cli
