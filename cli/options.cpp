#include "cli/options.h"

#include <fmt/format.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <type_traits>

#include "cli/errors.h"
#include "io/rows.h"
#include "io/words.h"
#include "report/verdicts.h"

namespace primfit::cli {

using report::DoubtfulVerdicts;
using report::FitRequest;
using report::Input;
using report::kLimits;
using report::kSectionParts;
using report::kUnits;
using report::kVerdicts;
using report::Limit;
using report::Method;
using report::Unit;
using report::VerdictName;

namespace {

// The fixed pipeline clamps to these; metres, as all lengths here.
constexpr double kSmallestTolerance = 0.001;
constexpr double kLargestScannerError = 1.0;
constexpr double kLargestOutliers = 0.9;
constexpr double kLargestProbability = 0.99;

/// @throws UsageError for what is no decimal number; nan and inf are left to the checks of the option
double DecimalOf(const char* option, const std::string& text) {
  double number = 0;
  if (io::ParseNumber(text, number)) return number;
  throw UsageError(fmt::format("{} \"{}\" is not a number", option, text));
}

/// @throws UsageError for what is no whole number above 0
int CountOf(const char* option, const std::string& text) {
  const std::optional<std::uint64_t> count = io::ParseCount(text);
  if (count && *count > 0 && *count <= INT_MAX) return static_cast<int>(*count);
  throw UsageError(fmt::format("{} \"{}\" is not a whole number from 1 to {}", option, text, INT_MAX));
}

/// So many finite numbers between commas.
/// @param names  of the numbers, for the error
std::vector<double> ParseNumbers(const char* option, const std::string& text, std::size_t count,
                                 const std::string& names) {
  std::vector<double> numbers;
  io::FieldCursor fields(text, io::Separator::kComma);
  double number = 0;
  bool good = true;
  for (std::string_view field; fields.Next(field); numbers.push_back(number)) {
    good = good && io::ParseNumber(field, number) && std::isfinite(number);
  }
  if (good && numbers.size() == count) return numbers;
  throw UsageError(
      fmt::format("{} needs {} numbers between commas ({}), not \"{}\"", option, count, names, text));
}

/// @param high  infinite when there is no upper bound
void CheckRange(const char* option, double value, double low, double high, std::string_view unit = "") {
  if (value >= low && value <= high && std::isfinite(value)) return;  // false for NaN
  throw UsageError(std::isinf(high)
                       ? fmt::format("{} {} is not a number of at least {}{}", option, value, low, unit)
                       : fmt::format("{} {} is not within {} to {}{}", option, value, low, high, unit));
}

/// Descriptions wrap, so that the help fits a terminal.
std::string Wrapped(std::string_view text) {
  constexpr std::size_t kWidth = 68;
  std::string wrapped;
  while (text.size() > kWidth) {
    const std::size_t end = text.rfind(' ', kWidth);
    wrapped.append(text.substr(0, end)) += '\n';
    text.remove_prefix(end + 1);
  }
  return wrapped.append(text);
}

std::string NumbersOf(std::span<const Part> parts, std::size_t numbers) {
  std::string text;
  ForEachPart(parts, numbers, [&](const Part& part, std::size_t, std::size_t) {
    text += text.empty() ? "" : ", ";
    text += part.name;
    if (part.Size() == 3) text += " x,y,z";
    if (QuantityOf(part) == Quantity::kAngle) text += " in degrees";
  });
  return text;
}

/// What the help shows for the numbers of parts, such as "x,y,z,within".
std::string TypeOf(std::span<const Part> parts) {
  std::string text;
  for (const Part& part : parts) {
    text += text.empty() ? "" : ",";
    text += part.Size() == 3 ? "x,y,z" : part.name;
  }
  return text;
}

/// The numbers of the first parts, so many of them.
std::vector<double> ParseParts(const char* option, const std::string& text, std::span<const Part> parts,
                               std::size_t count) {
  std::vector<double> numbers = ParseNumbers(option, text, count, NumbersOf(parts, count));
  ForEachPart(parts, count, [&](const Part& part, std::size_t, std::size_t offset) {
    if (QuantityOf(part) != Quantity::kDirection) return;
    const double length = Eigen::Vector3d(numbers.data() + offset).norm();  // very small ones count as 0
    if (length > 0 && std::isfinite(length)) return;
    throw UsageError(
        fmt::format("{} has {} of length {}; give a direction", option, io::WithArticle(part.name), length));
  });
  return numbers;
}

/// @param valid  false for NaN
void Require(bool valid, const char* option, double value, std::string_view what) {
  if (!valid) throw UsageError(fmt::format("{} {} is not {}", option, value, what));
}
void RequireLength(const char* option, const std::optional<double>& value, const Unit& unit) {
  if (value)
    Require(*value > 0 && std::isfinite(*value), option, *value,
            fmt::format("a length above 0 {}", unit.name));
}

Method MethodOf(const Options& options, const FitCommand& fit) {
  const bool adaptive = !options.classic && !options.through && fit.adaptive != nullptr;
  return adaptive ? Method::kAdaptive : Method::kClassic;
}

/// Refuses what only the other method has.
void CheckMethod(const Options& options, const FitCommand& fit) {
  const bool adaptive = MethodOf(options, fit) == Method::kAdaptive;
  for (const CLI::Option* option : adaptive ? options.ofClassic : options.ofAdaptive) {
    if (option->count() == 0) continue;
    const std::string name = "--" + option->get_lnames().front();  // hidden ones have no other name
    if (adaptive) throw UsageError(name + " is an option of the fixed pipeline: add --classic");
    const std::string why =
        fit.adaptive == nullptr
            ? fmt::format("; {} always takes the fixed pipeline", io::WithArticle(fit.name))
        : options.through ? "; a fit --through a cross-section always takes the fixed pipeline"
                          : ": leave --classic out";
    throw UsageError(fmt::format("{} is an option of the adaptive method{}", name, why));
  }
}

/// A held part needs its value, and a value that nothing uses is a mistake.
void CheckHolds(const Options& options, const FitCommand& fit) {
  const bool adaptive = MethodOf(options, fit) == Method::kAdaptive;
  std::size_t held = 0;
  std::size_t fixable = 0;
  ForEachPart(fit.parts, fit.StartSize(), [&](const Part& part, std::size_t i, std::size_t) {
    held += options.fixed[i] ? 1 : 0;
    // The fixed pipeline has no fit for an arc of which only the direction is free.
    fixable += adaptive || part.CanBeHeld() ? 1 : 0;
  });
  const bool usesStart = held > 0 || options.skipSearch;
  if (usesStart && !options.start) {
    throw UsageError(fmt::format("{} needs --start with the {} to take the value from",
                                 options.skipSearch ? "--skip-search" : "a --fix option", fit.name));
  }
  if (options.through && options.start)
    throw UsageError("--through and --start exclude each other: a cross-section leaves nothing else to hold");
  if (!usesStart && !adaptive && options.start) {
    throw UsageError("--start alone changes nothing: add --skip-search to begin there, or a --fix option");
  }
  if (held > 0 && held == fixable)
    throw UsageError(fmt::format("every part of the {} is held; leave one free", fit.name));
}

/// Sizes that no shape has. What is neither held nor all that a fit begins with may be a mere placeholder.
void CheckSizes(const Options& options, const FitCommand& fit, const std::vector<double>& start) {
  ForEachPart(fit.parts, start.size(), [&](const Part& part, std::size_t i, std::size_t offset) {
    const double size = start[offset];
    const bool counts = options.fixed[i] || options.skipSearch;
    if (QuantityOf(part) == Quantity::kLength && size < 0)
      throw UsageError(fmt::format("--start has a negative {}, {}", part.name, size));
    if (QuantityOf(part) == Quantity::kAngle && counts && !(size > 0 && size < 90))
      throw UsageError(fmt::format("--start has {} of {} degrees, which is not between 0 and 90",
                                   io::WithArticle(part.name), size));
  });
}

std::vector<double> PickOf(const Options& options, const Unit& unit) {
  if (!options.pick || !options.radiusHint)
    throw UsageError("a pipe needs --pick with a point on it and --radius-hint with about its radius");
  std::vector<double> pick = ParseNumbers("--pick", *options.pick, 3, "x,y,z");
  RequireLength("--radius-hint", options.radiusHint, unit);
  pick.push_back(*options.radiusHint);
  return pick;
}

std::vector<double> SectionOf(const std::string& text) {
  std::vector<double> section = ParseParts("--through", text, kSectionParts, 7);
  if (section[3] > 0) return section;
  throw UsageError(fmt::format("--through \"{}\" has no radius above 0 as its fourth number", text));
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
    return option->description(Wrapped(help))->type_name(type);
  };
}
auto FlagsTo(CLI::App& command) {
  return [&command](const std::string& name, bool& value, std::string_view help) {
    return command.add_flag(name, value, Wrapped(help));
  };
}

/// Options of a fit that can begin at a shape or hold parts of one.
void AddStartOptions(CLI::App& command, const FitCommand& fit, Options& options) {
  const auto option = OptionsTo(command);
  const auto flag = FlagsTo(command);
  option(
      "--start", options.start, "NUMBERS",
      fmt::format("The {} to start from or to hold parts of: {}; lengths in the file's unit (default: none)",
                  fit.name, NumbersOf(fit.parts, fit.StartSize())));
  ForEachPart(fit.parts, fit.StartSize(), [&](const Part& part, std::size_t i, std::size_t) {
    if (!part.CanBeHeld()) return;
    flag(fmt::format("--fix-{}", part.name), options.fixed.at(i),
         fmt::format("Hold the {} of --start (default: free)", part.name));
  });
  if (fit.fitThrough != nullptr) {
    option("--through", options.through, "NUMBERS",
           fmt::format("A circle that the tube passes through: {}; lengths in the file's unit. Only the bend "
                       "radius and its direction are fitted (default: none)",
                       NumbersOf(kSectionParts, 7)));
  }
}

/// Options that only the adaptive method has.
template <class Add>
void AddAdaptiveOptions(const FitCommand& fit, Options& options, const Add& option) {
  const FitOptionsBase defaults;
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
  option(
      "--accept", options.accept, "VERDICTS",
      fmt::format("Verdicts with which a fit ends with exit status 0 as a good one does, between commas: {} "
                  "(default: none)",
                  DoubtfulVerdicts()));
  for (std::size_t i = 0; i < kLimits.size(); ++i) {
    if (fit.Has(kLimits[i]))
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

void AddInputOptions(CLI::App& command, const io::Readers& readers, Options& options) {
  command.get_formatter()->column_width(30);
  command
      .add_option("FILE", options.path,
                  Wrapped(fmt::format("Point file ({}); - reads standard input", readers.Names())))
      ->required()
      ->type_name("");
  const auto option = OptionsTo(command);
  option("--unit", options.unit, "m|mm|cm|ft|in",
         "Unit of the lengths in the file, on the command line and in the result (default m)");
  option("--near", options.near, "x,y,z,r",
         "Use only the points within r of x,y,z, in the file's unit (default: all)");
  option("--box", options.box, "x0,y0,z0,x1,y1,z1",
         "Use only the points in this box, in the file's unit (default: all)");
  command.add_flag("--json", options.json, "Print one JSON object (default: text)");
}

void AddFitOptions(CLI::App& command, const FitCommand& fit, Options& options) {
  const auto option = OptionsTo(command);
  const auto flag = FlagsTo(command);
  const bool both = fit.adaptive != nullptr;
  AddSharedOptions(both, options, option);
  if (fit.picked) {
    option("--pick", options.pick, "x,y,z", "A point on the pipe, in the file's unit (required)");
    option(
        "--radius-hint", options.radiusHint, "LENGTH",
        "About the radius of the pipe, in the file's unit; more than four times it is rejected (required)");
  } else {
    AddStartOptions(command, fit, options);
  }
  option("--seed", options.seed, "NUMBER",
         "Seed of the random choices; the same seed gives the same result (default: from the clock)");
  flag("--quiet", options.quiet, "No progress bar and no notes (default: a bar on terminals)");
  flag(
      "--classic", options.classic,
      both
          ? "Take the fixed pipeline, whose bounds are not those of the points (default: the adaptive method)"
          : "Take the fixed pipeline (default for this command)");

  // An option of the method that a command never takes is known, so that it can be refused with the reason,
  // but its help does not show it.
  const auto to = [&](std::vector<const CLI::Option*>& those, const char* group, const auto& add) {
    return [&those, group, &add](auto&&... arguments) { those.push_back(add(arguments...)->group(group)); };
  };
  AddAdaptiveOptions(fit, options, to(options.ofAdaptive, both ? "Adaptive method" : "", option));
  const char* classic = both ? "Fixed pipeline, with --classic" : "Options";
  AddClassicOptions(fit, options, to(options.ofClassic, classic, option),
                    to(options.ofClassic, classic, flag));
}

Input InputOf(const Options& options) {
  Input input;
  input.path = options.path;
  input.unit =
      std::find_if(kUnits.begin(), kUnits.end(), [&](const Unit& u) { return u.name == options.unit; });
  if (input.unit == kUnits.end()) {
    throw UsageError(fmt::format("--unit \"{}\" is none of m, mm, cm, ft, in", options.unit));
  }
  if (options.near) {
    input.region.ball = ParseNumbers("--near", *options.near, 4, "x,y,z,r");
    if (!(input.region.ball[3] > 0)) throw UsageError("--near needs a radius above 0 as its fourth number");
  }
  if (options.box) {
    input.region.box = ParseNumbers("--box", *options.box, 6, "x0,y0,z0,x1,y1,z1");
    for (std::size_t axis = 0; axis < 3; ++axis) {
      if (input.region.box[axis] <= input.region.box[axis + 3]) continue;
      throw UsageError("--box needs the smallest x, y, z first and the largest after them");
    }
  }
  return input;
}

namespace {

void ReadAdaptive(const Options& options, const Unit& unit, FitRequest& request) {
  RequireLength("--tolerance", options.tolerance, unit);
  RequireLength("--noise", options.noise, unit);
  request.tolerance = options.tolerance;
  request.noise = options.noise;
  request.outliers = options.outliers;
  request.confidence = options.confidence;
  request.mostDraws = options.mostDraws;
  request.timeLimit = options.timeLimit;
  if (request.outliers)
    Require(*request.outliers >= 0 && *request.outliers < 1, "--outliers", *request.outliers,
            "a share of at least 0 and below 1");
  Require(request.confidence > 0 && request.confidence < 1, "--confidence", request.confidence,
          "a share above 0 and below 1");
  if (request.timeLimit)
    Require(*request.timeLimit > 0, "--time-limit", *request.timeLimit, "a number of seconds above 0");
  for (std::size_t i = 0; i < kLimits.size(); ++i) {
    if (!options.limits[i]) continue;
    const Limit& limit = kLimits[i];
    const std::string& text = *options.limits[i];
    std::vector<double>& numbers = request.limits[i];
    numbers = ParseParts(limit.option, text, limit.parts, NumbersIn(limit.parts));
    if (!limit.makesSense(numbers))
      throw UsageError(fmt::format("{} \"{}\" is to have {}", limit.option, text, limit.sense));
  }
}

void ReadClassic(const Options& options, const FitCommand& fit, const Unit& unit, FitRequest& request) {
  const auto defaults = ClassicDefaults();
  const double tolerance = options.tolerance.value_or(defaults.InlierDistanceThreshold() / unit.metres);
  const double outliers = options.outliers.value_or(defaults.OutlierPercentage());
  request.scannerError = options.scannerError.value_or(defaults.ScannerError() / unit.metres);
  request.probability = options.probability;
  const std::string lengths = fmt::format(" {}", unit.name);
  CheckRange("--tolerance", tolerance, kSmallestTolerance / unit.metres, HUGE_VAL, lengths);
  CheckRange("--scanner-error", request.scannerError, 0.0, kLargestScannerError / unit.metres, lengths);
  CheckRange("--outliers", outliers, 0.0, kLargestOutliers);
  CheckRange("--probability", request.probability, 0.0, kLargestProbability);
  request.tolerance = tolerance;
  // At 0 the library would draw no sample: it would be sure of any.
  request.outliers = std::max(0.01, outliers);
  if (options.through) request.section = SectionOf(*options.through);
  if (fit.picked) request.pick = PickOf(options, unit);
  request.skipSearch = options.skipSearch;
  request.refineOnce = options.refineOnce;
  request.anyQuality = options.anyQuality;
}

}  // namespace

FitRequest RequestOf(const Options& options, const FitCommand& fit, const Unit& unit) {
  CheckMethod(options, fit);
  CheckHolds(options, fit);
  FitRequest request;
  request.method = MethodOf(options, fit);
  if (request.method == Method::kAdaptive)
    ReadAdaptive(options, unit, request);
  else
    ReadClassic(options, fit, unit, request);
  if (options.start) request.start = ParseParts("--start", *options.start, fit.parts, fit.StartSize());
  CheckSizes(options, fit, request.start);
  request.fixed.assign(options.fixed.begin(),
                       options.fixed.begin() + static_cast<std::ptrdiff_t>(fit.parts.size()));
  return request;
}

int SampleSizeOf(const Options& options, const FitCommand& fit, std::size_t points) {
  if (!options.sampleSize) return fit.sampleSize;
  if (*options.sampleSize == "all") return static_cast<int>(points);
  const std::optional<std::uint64_t> size = io::ParseCount(*options.sampleSize);
  if (size && *size >= static_cast<std::uint64_t>(fit.minimumPoints) && *size <= points) {
    return static_cast<int>(*size);
  }
  throw UsageError(
      fmt::format("--sample-size \"{}\" is neither \"all\" nor a number from {} to the {} points used",
                  *options.sampleSize, fit.minimumPoints, points));
}

std::vector<Verdict> AcceptedOf(const Options& options) {
  std::vector<Verdict> accepted = {Verdict::kGood};
  if (!options.accept) return accepted;
  const auto refuse = [](std::string_view name) {
    return UsageError(
        fmt::format("--accept \"{}\" is no verdict; name some of {}", name, DoubtfulVerdicts()));
  };
  io::FieldCursor fields(*options.accept, io::Separator::kComma);
  for (std::string_view field; fields.Next(field);) {
    const auto* name = std::find_if(kVerdicts.begin(), kVerdicts.end(),
                                    [&](const VerdictName& verdict) { return verdict.key == field; });
    if (name == kVerdicts.end()) throw refuse(field);
    accepted.push_back(name->verdict);
  }
  if (accepted.size() == 1) throw refuse(*options.accept);
  return accepted;
}

std::optional<std::uint64_t> SeedOf(const Options& options) {
  if (!options.seed) return std::nullopt;
  const std::optional<std::uint64_t> seed = io::ParseCount(*options.seed);
  if (seed) return seed;
  throw UsageError(
      fmt::format("--seed \"{}\" is not a whole number from 0 to {}", *options.seed, UINT64_MAX));
}

}  // namespace primfit::cli
