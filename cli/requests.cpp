// Contradictions are found here and not in the library: only here are the names known under which the user
// gave the numbers.
#include "cli/requests.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string_view>
#include <utility>

#include "cli/errors.h"
#include "cli/numbers.h"
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

/// @throws UsageError for a name that there is not
const Unit& UnitByName(const std::string& name) {
  std::string names;
  for (const Unit& unit : kUnits) {
    if (unit.name == name) return unit;
    names += names.empty() ? "" : ", ";
    names += unit.name;
  }
  throw UsageError(fmt::format("--unit \"{}\" is none of {}", name, names));
}

}  // namespace

Input InputOf(const Options& options) {
  Input input;
  input.path = options.path;
  if (options.unit) {
    input.unit = UnitByName(*options.unit);
    input.unitSource = report::UnitSource::kTold;
  }
  input.filter = FilterOf(options.choice);
  input.columns = ColumnsOf(options.choice);
  return input;
}

namespace {

Method MethodOf(const Options& options) {
  return options.classic || options.through ? Method::kClassic : Method::kAdaptive;
}

/// Refuses what only the other method has.
void CheckMethod(const Options& options) {
  const bool adaptive = MethodOf(options) == Method::kAdaptive;
  for (const CLI::Option* option : adaptive ? options.ofClassic : options.ofAdaptive) {
    if (option->count() == 0) continue;
    const std::string name = "--" + option->get_lnames().front();  // hidden ones have no other name
    if (adaptive) throw UsageError(name + " is an option of the fixed pipeline: add --classic");
    const char* const why = options.through
                                ? "; a fit --through a cross-section always takes the fixed pipeline"
                                : ": leave --classic out";
    throw UsageError(fmt::format("{} is an option of the adaptive method{}", name, why));
  }
}

std::string FixOptionOf(const Part& part) { return fmt::format("--fix-{}", part.name); }

/// A held part needs its value, and a value that nothing uses is a mistake.
void CheckHolds(const Options& options, const FitCommand& fit) {
  const bool adaptive = MethodOf(options) == Method::kAdaptive;
  std::size_t held = 0;
  std::size_t fixable = 0;
  ForEachPart(fit.parts, fit.StartSize(), [&](const Part& part, std::size_t i, std::size_t) {
    held += options.fixed[i] ? 1 : 0;
    // The fixed pipeline has no fit for an arc of which only the direction is free.
    fixable += adaptive || part.CanBeHeld() ? 1 : 0;
    if (options.fixed[i] == kOfStart && !options.start)
      throw UsageError(fmt::format("{} needs a value, or --start with the {} to take it from",
                                   FixOptionOf(part), fit.name));
  });
  if (options.skipSearch && !options.start)
    throw UsageError(fmt::format("--skip-search needs --start with the {} to refine", fit.name));
  if (options.through && (options.start || held > 0)) {
    throw UsageError(
        fmt::format("--through and {} exclude each other: a cross-section leaves nothing else to hold",
                    options.start ? "--start" : "the --fix options"));
  }
  if (held == 0 && !options.skipSearch && !adaptive && options.start) {
    throw UsageError("--start alone changes nothing: add --skip-search to begin there, or a --fix option");
  }
  if (held > 0 && held == fixable && !options.allPoints)
    throw UsageError(fmt::format("every part of the {} is held; leave one free", fit.name));
}

/// Sizes that no shape has.
void CheckAngle(const std::string& option, const Part& part, double angle) {
  if (QuantityOf(part) == Quantity::kAngle && !(angle > 0 && angle < 90))
    throw UsageError(fmt::format("{} has {} of {} degrees, which is not between 0 and 90", option,
                                 io::WithArticle(part.name), angle));
}

/// The numbers of --start. What is neither held nor all that a fit begins with may be a mere placeholder.
std::vector<double> ReadStart(const Options& options, const FitCommand& fit) {
  std::vector<double> start = ParseParts("--start", *options.start, fit.parts, fit.StartSize());
  ForEachPart(fit.parts, start.size(), [&](const Part& part, std::size_t i, std::size_t offset) {
    if (QuantityOf(part) == Quantity::kLength && start[offset] < 0)
      throw UsageError(fmt::format("--start has a negative {}, {}", part.name, start[offset]));
    if (options.fixed[i] == kOfStart || options.skipSearch) CheckAngle("--start", part, start[offset]);
  });
  return start;
}

/// Takes lengths from the unit of a stored shape to that of the file.
void Rescale(const FitCommand& fit, double factor, std::vector<double>& numbers) {
  ForEachPart(fit.parts, numbers.size(), [&](const Part& part, std::size_t, std::size_t offset) {
    const bool isLength = QuantityOf(part) == Quantity::kPosition || QuantityOf(part) == Quantity::kLength;
    for (std::size_t k = offset; isLength && k < offset + part.Size(); ++k) numbers[k] *= factor;
  });
}

/// The value of a part as its --fix option gives it.
std::vector<double> ReadHeld(const Part& part, const std::string& text, const Unit& unit) {
  const std::string option = FixOptionOf(part);
  std::vector<double> numbers = ParseParts(option.c_str(), text, {&part, 1}, part.Size());
  if (QuantityOf(part) == Quantity::kLength) RequireLength(option.c_str(), numbers[0], unit);
  CheckAngle(option, part, numbers[0]);
  return numbers;
}

/// The shape to start from or to hold parts of: that of --start, with the values of --fix options in their
/// places. Without --start what is not held is NaN, and without either there is none.
std::vector<double> StartOf(const Options& options, const FitCommand& fit, const Unit& unit) {
  std::vector<double> start;
  if (options.start) start = ReadStart(options, fit);
  if (options.startMetres) Rescale(fit, *options.startMetres / unit.metres, start);
  ForEachPart(fit.parts, fit.StartSize(), [&](const Part& part, std::size_t i, std::size_t offset) {
    if (!options.fixed[i] || options.fixed[i] == kOfStart) return;
    start.resize(fit.StartSize(), std::numeric_limits<double>::quiet_NaN());
    const std::vector<double> held = ReadHeld(part, *options.fixed[i], unit);
    std::copy(held.begin(), held.end(), start.begin() + static_cast<std::ptrdiff_t>(offset));
  });
  return start;
}

/// The point, and the radius where one was told, which the fixed pipeline needs.
std::vector<double> PickOf(const Options& options, const Unit& unit) {
  if (!options.pick) throw UsageError("a pipe needs --pick with a point on it");
  if (options.classic && !options.radiusHint)
    throw UsageError("a pipe with --classic needs --radius-hint with about its radius");
  std::vector<double> pick = ParseNumbers("--pick", *options.pick, 3, "x,y,z");
  if (!options.radiusHint) return pick;
  RequireLength("--radius-hint", options.radiusHint, unit);
  pick.push_back(*options.radiusHint);
  return pick;
}

std::vector<double> SectionOf(const std::string& text) {
  std::vector<double> section = ParseParts("--through", text, kSectionParts, 7);
  if (section[3] > 0) return section;
  throw UsageError(fmt::format("--through \"{}\" has no radius above 0 as its fourth number", text));
}

/// Without a search nothing is known beforehand of noise and outliers.
void CheckAllPoints(const Options& options) {
  if (!options.allPoints) return;
  for (const auto& [name, value] : {std::pair{"--noise", &options.noise},
                                    {"--tolerance", &options.tolerance},
                                    {"--outliers", &options.outliers}}) {
    if (*value) throw UsageError(fmt::format("{} and --all-points exclude each other", name));
  }
}

void ReadAdaptive(const Options& options, const Unit& unit, FitRequest& request) {
  CheckAllPoints(options);
  request.allPoints = options.allPoints;
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

void ReadClassic(const Options& options, const Unit& unit, FitRequest& request) {
  const auto defaults = ClassicDefaults();
  const double tolerance = options.tolerance.value_or(defaults.InlierDistanceThreshold() / unit.metres);
  const double outliers = options.outliers.value_or(defaults.OutlierPercentage());
  request.scannerError = options.scannerError.value_or(defaults.ScannerError() / unit.metres);
  request.probability = options.probability;
  CheckRange("--outliers", outliers, 0.0, kLargestOutliers);
  CheckRange("--probability", request.probability, 0.0, kLargestProbability);
  request.tolerance = tolerance;
  // At 0 the library would draw no sample: it would be sure of any.
  request.outliers = std::max(0.01, outliers);
  if (options.through) request.section = SectionOf(*options.through);
  request.skipSearch = options.skipSearch;
  request.refineOnce = options.refineOnce;
  request.anyQuality = options.anyQuality;
}

}  // namespace

FitRequest RequestOf(const Options& options, const FitCommand& fit, const Unit& unit) {
  CheckMethod(options);
  CheckHolds(options, fit);
  FitRequest request;
  request.method = MethodOf(options);
  if (request.method == Method::kAdaptive)
    ReadAdaptive(options, unit, request);
  else
    ReadClassic(options, unit, request);
  if (fit.picked) request.pick = PickOf(options, unit);
  request.start = StartOf(options, fit, unit);
  for (std::size_t i = 0; i < fit.parts.size(); ++i) request.fixed.push_back(options.fixed[i].has_value());
  return request;
}

void CheckLengths(const FitRequest& request, const Unit& unit) {
  if (request.method == Method::kAdaptive) return;
  const std::string lengths = fmt::format(" {}", unit.name);
  CheckRange("--tolerance", request.tolerance.value(), kSmallestTolerance / unit.metres, HUGE_VAL, lengths);
  CheckRange("--scanner-error", request.scannerError, 0.0, kLargestScannerError / unit.metres, lengths);
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
