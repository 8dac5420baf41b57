// One run of a command: read what is asked, read the points, fit, report. The library works in metres and
// radians; what the user gave and sees is converted here, at the edge, and held numbers come back as the user
// typed them. Every failure ends as one line that says what was wrong and what to try.
#include "cli/commands.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "cli/errors.h"
#include "cli/progress.h"
#include "cli/requests.h"
#include "io/selection.h"
#include "io/words.h"
#include "primfit/fit/fit_error.h"
#include "primfit/fit/scoped_seed.h"
#include "report/report.h"

namespace primfit::cli {

namespace {

using report::FitRequest;
using report::FitRun;
using report::Input;
using report::kLimits;
using report::Method;
using report::Unit;

using Clock = std::chrono::steady_clock;

// The fixed pipeline takes a random subset of so many points unless a sample is to hold all of them.
constexpr std::size_t kMostJudged = 100000;

/// Some number of the clock's, short enough to be typed again.
std::uint64_t ClockSeed() {
  const auto ticks = static_cast<std::uint64_t>(std::chrono::system_clock::now().time_since_epoch().count());
  return (ticks ^ (ticks >> 32)) & 0xffffffffU;
}

/// Multiplies the numbers of parts with the library's units, or divides them.
void Convert(std::vector<double>& numbers, std::span<const Part> parts, const Unit& unit, bool toLibrary) {
  ForEachPart(parts, numbers.size(), [&](const Part& part, std::size_t, std::size_t offset) {
    const double factor = FactorOf(QuantityOf(part), unit);
    for (std::size_t k = offset; k < offset + part.Size(); ++k) {
      numbers[k] = toLibrary ? numbers[k] * factor : numbers[k] / factor;
    }
  });
}

FitRequest InLibraryUnits(FitRequest request, std::span<const Part> parts, const Unit& unit) {
  if (request.tolerance) *request.tolerance *= unit.metres;
  if (request.noise) *request.noise *= unit.metres;
  request.scannerError *= unit.metres;
  Convert(request.start, parts, unit, true);
  for (std::size_t i = 0; i < kLimits.size(); ++i) Convert(request.limits[i], kLimits[i].parts, unit, true);
  Convert(request.pick, report::kPickParts, unit, true);
  Convert(request.section, report::kSectionParts, unit, true);
  return request;
}

/// Held numbers are the user's own, not what two conversions make of them. (A direction became a unit
/// vector.)
void RestoreHeld(FitRun& run) {
  ForEachPart(run.parts, run.request.start.size(), [&](const Part& part, std::size_t i, std::size_t offset) {
    if (!run.request.fixed[i] || part.IsEnd() || QuantityOf(part) == Quantity::kDirection) return;
    std::copy_n(run.request.start.begin() + static_cast<std::ptrdiff_t>(offset), part.Size(),
                run.result.shape.begin() + static_cast<std::ptrdiff_t>(offset));
  });
}

/// The options by which the user chose points, for an error; empty for none.
std::string ChoiceOf(const io::Filter& filter) {
  std::vector<const char*> options;
  if (!filter.region.ball.empty()) options.push_back("--near");
  if (!filter.region.box.empty()) options.push_back("--box");
  if (!filter.where.empty()) options.push_back("--where");
  if (filter.every > 1) options.push_back("--every");
  return fmt::format("{}", fmt::join(options, " and "));
}

/// Which points are left when there are too few of them, and what left the others out.
std::string PointsLeft(const FitCommand& command, const FitRun& run) {
  const io::Selection& cloud = *run.cloud;
  if (cloud.total == 0) return "the file holds no point";
  std::string text = fmt::format("{} of {} {} left", cloud.Used(), io::Counted(cloud.total, "point"),
                                 cloud.total == 1 ? "is" : "are");
  const std::string given = ChoiceOf(run.input->filter);
  if (cloud.Used() > 0) {
    return fmt::format(
        "{} and {} needs {}: check the file{}{}", text, io::WithArticle(command.name),
        run.request.method == Method::kAdaptive ? "more" : std::to_string(command.minimumPoints),
        given.empty() ? "" : ", ", given);
  }
  if (cloud.file.nonFinite == cloud.total) return text + ": none is finite";
  if (cloud.outside == 0) return fmt::format("{}: none that is finite meets {}", text, given);
  // One of the two parts of the region may be to blame alone.
  const char* blamed = cloud.inBall == 0 ? "--near" : cloud.inBox == 0 ? "--box" : nullptr;
  return fmt::format("{}: none that is finite lies in {}", text,
                     blamed != nullptr ? blamed : "both --near and --box");
}

/// What to try when the library found no acceptable shape; empty where there is nothing to say.
std::string HintFor(FitErrorCode code, const FitCommand& command, const FitRun& run) {
  if (run.cloud->Used() < static_cast<std::size_t>(command.minimumPoints)) return PointsLeft(command, run);
  switch (code) {
    case FitErrorCode::kPointsMissing:
    case FitErrorCode::kNotEnoughPoints:
      return PointsLeft(command, run);
    case FitErrorCode::kPoorQuality:
      return fmt::format(
          "too few points lie close to it for a scanner error of {} {}: raise --scanner-error or "
          "--tolerance, "
          "choose one surface with --near or --box, check --unit, or see it with --any-quality",
          run.request.scannerError, run.input->unit->name);
    case FitErrorCode::kFitFailed:
      if (run.request.skipSearch)
        return "give a --start nearer to the surface, cut other surfaces off with --near or --box, or search";
      if (command.picked)
        return "check that --pick is on the pipe and --radius-hint at least a quarter of its radius, raise "
               "--outliers, or cut other surfaces off with --near or --box";
      return "raise --outliers, or choose one surface with --near or --box";
    case FitErrorCode::kNothingStandsOut:
      return fmt::format(
          "choose one surface with --near or --box, or say more or less of it (see primfit {} --help)",
          command.name);
    case FitErrorCode::kNothingInTime:
    case FitErrorCode::kNothingBeforeStop:
      return "allow a longer --time-limit";
    default:
      return {};
  }
}

/// Why nothing was found, and what to try.
std::string FailureOf(const FitError& error, const FitCommand& command, const FitRun& run) {
  if (run.stopped) return fmt::format("stopped by Ctrl-C before {} was found", io::WithArticle(command.name));
  const std::string hint = HintFor(error.Code(), command, run);
  return fmt::format("{}{}{}", error.what(), hint.empty() ? "" : "; ", hint);
}

/// Numbers that only the library has found to be out of range, such as lengths that are 0 in metres.
/// @throws UsageError that names the option of the program instead of the library's
void RefuseOutOfRange(const FitError& error) {
  constexpr std::pair<FitErrorCode, const char*> kOptions[] = {
      {FitErrorCode::kOptionNoise, "--noise"},
      {FitErrorCode::kOptionTolerance, "--tolerance"},
      {FitErrorCode::kOptionOutlierShare, "--outliers"},
      {FitErrorCode::kOptionConfidence, "--confidence"},
      {FitErrorCode::kOptionMostDraws, "--most-draws"},
      {FitErrorCode::kOptionTimeLimit, "--time-limit"},
      {FitErrorCode::kOptionRadius, kLimits[report::kRadiusRange].option},
      {FitErrorCode::kOptionMinorRadius, kLimits[report::kMinorRadiusRange].option},
      {FitErrorCode::kOptionHalfAngle, kLimits[report::kHalfAngleRange].option},
      {FitErrorCode::kOptionAxisNear, kLimits[report::kAxisNear].option},
      {FitErrorCode::kOptionAxisWithin, kLimits[report::kAxisNear].option},
      {FitErrorCode::kOptionPasses, kLimits[report::kPasses].option},
      {FitErrorCode::kOptionPassesWithin, kLimits[report::kPasses].option},
      {FitErrorCode::kHeldUnusable, "--start"},
      {FitErrorCode::kHalfAngleUnusable, "--start"},
  };
  const FitErrorCode code = error.Code();
  const std::string_view text = error.what();
  for (const auto& [of, option] : kOptions) {
    if (of != code) continue;
    if (!IsOption(code)) throw UsageError(fmt::format("{}: {}", option, text));
    const std::size_t name = text.find(' ') + 1;  // behind "Option"
    throw UsageError(fmt::format("{}{}", option, text.substr(text.find(' ', name))));
  }
  if (IsOption(code)) throw UsageError(std::string(text));
}

/// @return why there is no acceptable fit; empty when there is one
/// @throws UsageError for numbers that the library does not take
std::string Fit(const FitCommand& command, FitRun& run, const Host& host, bool draw) {
  Progress progress(host, draw);
  const auto start = Clock::now();
  const auto seconds = [&] { return std::chrono::duration<double>(Clock::now() - start).count(); };
  try {
    std::optional<Stoppable> stoppable;
    if (!command.picked) stoppable.emplace(host);
    const ScopedSeed seed(run.seed);
    const FitFunction fit = !run.request.section.empty()              ? command.fitThrough
                            : run.request.method == Method::kAdaptive ? command.adaptive
                                                                      : command.classic;
    run.result =
        fit(run.cloud->file.points, InLibraryUnits(run.request, run.parts, *run.input->unit), &progress);
  } catch (const FitError& error) {
    progress.Clear();
    RefuseOutOfRange(error);
    run.stopped = progress.Stopped();
    run.fittingSeconds = seconds();
    return FailureOf(error, command, run);
  }
  run.stopped = progress.Stopped();
  run.fittingSeconds = seconds();
  Convert(run.result.shape, run.parts, *run.input->unit, false);
  for (double& coordinate : run.result.outline) coordinate /= run.input->unit->metres;
  RestoreHeld(run);
  return {};
}

/// Tells what came of a fit.
/// @param failure  why there is none, empty when there is one
/// @return an ExitStatus
int Report(const FitRun& run, const std::string& failure, const Options& options,
           const std::vector<Verdict>& accepted, const Host& host) {
  if (!failure.empty()) {
    Complain(host, fmt::format("{}: {}", run.input->path, failure));
    if (options.json) WriteOutput(host, report::JsonNothing(run, failure));
    return run.stopped ? kInterrupted : kNoFit;
  }
  WriteOutput(host, options.json ? report::JsonReport(run) : report::TextReport(run));
  if (run.stopped && !options.quiet)
    Complain(host, "stopped by Ctrl-C: the result is the best found until then");
  if (run.stopped) return kInterrupted;
  const bool good = !run.result.evidence || std::find(accepted.begin(), accepted.end(),
                                                      run.result.evidence->report.verdict) != accepted.end();
  return good ? kFitted : kDoubtful;
}

}  // namespace

int RunFit(const FitCommand& command, const Options& options, const Host& host, const io::Readers& readers) {
  const Input input = InputOf(options);
  FitRequest request = RequestOf(options, command, *input.unit);
  const std::vector<Verdict> accepted = AcceptedOf(options);
  const std::optional<std::uint64_t> seed = SeedOf(options);
  const io::Selection cloud =
      io::ReadSelection(readers, input.path, input.filter, input.unit->metres, {{}, input.columns});
  if (cloud.Used() > INT_MAX) {
    throw UsageError(fmt::format(
        "{} points are more than the {} that a fit takes; choose some with --near, --box or --every",
        cloud.Used(), INT_MAX));
  }
  const bool adaptive = request.method == Method::kAdaptive;
  if (!adaptive) request.sampleSize = SampleSizeOf(options, command, cloud.Used());
  const bool all = adaptive || command.picked || request.sampleSize == static_cast<int>(cloud.Used());
  FitRun run{.primitive = command.name,
             .parts = command.parts,
             .input = &input,
             .cloud = &cloud,
             .request = std::move(request),
             .result = {},
             .judged = all ? cloud.Used() : std::min(cloud.Used(), kMostJudged),
             .seed = seed.value_or(ClockSeed()),
             .stopped = false,
             .fittingSeconds = 0};
  const std::string failure = Fit(command, run, host, !options.quiet && host.errIsTerminal);
  return Report(run, failure, options, accepted, host);
}

int RunInfo(const Options& options, const Host& host, const io::Readers& readers) {
  const Input input = InputOf(options);
  const io::Selection cloud = io::ReadSelection(readers, input.path, input.filter, 1.0, {{}, input.columns});
  WriteOutput(host, options.json ? report::JsonInfo(input, cloud) : report::TextInfo(input, cloud));
  return kFitted;
}

}  // namespace primfit::cli
