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

#include "cli/deviations.h"
#include "cli/errors.h"
#include "cli/failure.h"
#include "cli/given_shape.h"
#include "cli/length_unit.h"
#include "cli/output_files.h"
#include "cli/progress.h"
#include "cli/requests.h"
#include "cli/stored_result.h"
#include "io/output_file.h"
#include "io/summary.h"
#include "primfit/fit/fit_error.h"
#include "primfit/fit/scoped_seed.h"
#include "report/result_from_run.h"
#include "report/result_json.h"
#include "report/result_text.h"

namespace primfit::cli {

namespace {

using report::FitRequest;
using report::FitRun;
using report::FittedShape;
using report::Input;
using report::Invocation;
using report::kLimits;
using report::Method;
using report::Result;
using report::Status;
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
  for (Eigen::Vector3d& station : request.stations) station *= unit.metres;
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
    std::copy_n(run.request.start.begin() + static_cast<std::ptrdiff_t>(offset), part.Size(),
                run.result.numbers.begin() + static_cast<std::ptrdiff_t>(offset));
  });
}

/// The points in metres, as the library wants them. @param memory  takes them where the file has another unit
std::span<const Eigen::Vector3d> InMetres(const io::Selection& cloud, const Unit& unit,
                                          std::vector<Eigen::Vector3d>& memory) {
  if (unit.metres == 1) return cloud.file.points;
  memory.reserve(cloud.Used());
  for (const Eigen::Vector3d& p : cloud.file.points) memory.emplace_back(unit.metres * p);
  return memory;
}

/// Adds what neither method tells of a shape: the inliers of the fixed pipeline, and the range of their
/// distances.
/// @param tolerance  of the fixed pipeline, in metres as the points are
void Complete(FittedShape& shape, double tolerance, std::span<const Eigen::Vector3d> points) {
  if (!shape.evidence) shape.inliers = PointsWithin(shape.model, tolerance, points);
  if (!shape.inliers.empty()) shape.formError = FormErrorOf(shape.model, points, shape.inliers);
}

void ToUserUnits(const FitCommand& command, const Unit& unit, FittedShape& shape) {
  Convert(shape.shape, command.parts, unit, false);
  Convert(shape.numbers, command.arrayParts, unit, false);
  for (double& coordinate : shape.outline) coordinate /= unit.metres;
}

/// Fills in the shape of a run, or why there is none.
/// @throws UsageError for numbers that the library does not take
void Fit(const FitCommand& command, FitRun& run, const Host& host, bool draw) {
  Progress progress(host, draw);
  const Unit& unit = run.input->unit;
  const FitRequest request = InLibraryUnits(run.request, run.parts, unit);
  const auto start = Clock::now();
  std::vector<Eigen::Vector3d> memory;
  const std::span<const Eigen::Vector3d> points = InMetres(*run.cloud, unit, memory);
  try {
    std::optional<Stoppable> stoppable;
    if (!command.picked || request.method == Method::kAdaptive) stoppable.emplace(host);
    const ScopedSeed seed(run.seed);
    const FitFunction fit = !request.section.empty()              ? command.fitThrough
                            : request.method == Method::kAdaptive ? command.adaptive
                                                                  : command.classic;
    run.result = fit(points, request, &progress);
    run.stopped = progress.Stopped();
  } catch (const FitError& error) {
    progress.Clear();
    RefuseOutOfRange(error);
    run.stopped = progress.Stopped();
    run.failure = FailureOf(error, command, run);
  }
  run.fittingSeconds = std::chrono::duration<double>(Clock::now() - start).count();
  if (!run.failure.empty()) return;
  Complete(run.result, request.tolerance.value_or(0), points);
  ToUserUnits(command, unit, run.result);
  RestoreHeld(run);
}

/// The points that a fit of the request looks at.
std::size_t JudgedOf(const FitRequest& request, const FitCommand& command, std::size_t used) {
  const bool all =
      request.method == Method::kAdaptive || command.picked || request.sampleSize == static_cast<int>(used);
  return all ? used : std::min(used, kMostJudged);
}

/// Tells what came of a fit.
/// @return an ExitStatus
int Tell(const Result& result, const Options& options, const std::vector<Verdict>& accepted,
         const Host& host) {
  const bool found = !result.shapes.empty(), stopped = result.status == Status::kStopped;
  if (!found) Complain(host, fmt::format("{}: {}", options.path, result.reason.value_or("")));
  if (options.json)
    WriteOutput(host, report::WriteResult(result));
  else if (found)
    WriteOutput(host, report::TextOf(result));
  if (found && stopped && !options.quiet)
    Complain(host, "stopped by Ctrl-C: the result is the best found until then");
  if (stopped) return kInterrupted;
  if (!found) return kNoFit;
  const std::optional<Verdict>& verdict = result.shapes.front().verdict;
  const bool good = !verdict || std::find(accepted.begin(), accepted.end(), *verdict) != accepted.end();
  return good ? kFitted : kDoubtful;
}

/// Writes the files that were asked for.
/// @return what went wrong, empty for nothing: the result is worth printing all the same
std::string WriteFiles(const OutputOptions& outputs, const FitRun& run, const Result& result) {
  try {
    WriteResultFile(outputs, result);
    WritePointFiles(outputs, run, result);
  } catch (const io::WriteError& error) {
    return error.what();
  }
  return {};
}

Invocation InvocationOf(std::string_view command, const Options& options) {
  return {.version = PRIMFIT_VERSION, .command = std::string(command), .arguments = options.arguments};
}

/// Takes the unit of the file unless the user has told one, which may contradict it.
void UseUnitOfFile(const io::CoordinateReference& reference, Input& input, const Options& options,
                   const Host& host) {
  TakeUnitOfFile(reference, input);
  const std::string contradiction = ContradictionOf(reference, input);
  if (!contradiction.empty() && !options.quiet) Complain(host, contradiction);
}

}  // namespace

namespace {

/// @param name  of the sub-command
int Run(std::string_view name, const FitCommand& command, const Options& options, const Host& host,
        const io::Readers& readers) {
  Input input = InputOf(options);
  FitRequest request = RequestOf(options, command, input.unit);
  if (input.unitSource == report::UnitSource::kTold) CheckLengths(request, input.unit);
  const std::vector<Verdict> accepted = AcceptedOf(options);
  const std::optional<std::uint64_t> seed = SeedOf(options);
  CheckOutputs(options.outputs, options.path);
  const io::Selection cloud = io::ReadSelection(readers, input.path, input.filter, {{}, input.columns});
  UseUnitOfFile(cloud.file.reference, input, options, host);
  request = RequestOf(options, command, input.unit);  // again: its defaults are in the unit of the file
  CheckLengths(request, input.unit);
  RequireOneUnit(cloud.file.reference, input);
  for (const io::Scan& scan : cloud.file.scans) {
    if (scan.station) request.stations.push_back(*scan.station);
  }
  if (cloud.Used() > INT_MAX) {
    throw UsageError(fmt::format(
        "{} points are more than the {} that a fit takes; choose some with --near, --box or --every",
        cloud.Used(), INT_MAX));
  }
  if (request.method == Method::kClassic) request.sampleSize = SampleSizeOf(options, command, cloud.Used());
  FitRun run{.parts = command.parts,
             .input = &input,
             .cloud = &cloud,
             .request = request,
             .result = {},
             .failure = {},
             .judged = JudgedOf(request, command, cloud.Used()),
             .seed = seed.value_or(ClockSeed()),
             .stopped = false,
             .fittingSeconds = 0};
  Fit(command, run, host, !options.quiet && host.errIsTerminal);
  const Result result = report::ResultOfFit(InvocationOf(name, options), run);
  const std::string trouble = WriteFiles(options.outputs, run, result);
  const int status = Tell(result, options, accepted, host);
  if (trouble.empty()) return status;
  Complain(host, trouble);
  return kTrouble;
}

}  // namespace

int RunFit(const FitCommand& command, const Options& options, const Host& host, const io::Readers& readers) {
  return Run(command.name, command, options, host, readers);
}

int RunCheck(Options options, const Host& host, const io::Readers& readers) {
  if (!options.shape)
    throw UsageError("check needs --shape with a primitive and its numbers, or with a stored result");
  const FitCommand& command = TakeGivenShape(*options.shape, options);
  return Run("check", command, options, host, readers);
}

int RunInfo(const Options& options, const Host& host, const io::Readers& readers) {
  Input input = InputOf(options);
  CheckOutputs(options.outputs, options.path);
  const io::Summary summary = io::ReadSummary(readers, input.path, input.filter, {{}, input.columns});
  UseUnitOfFile(summary.head.reference, input, options, host);
  const Result result = report::ResultOfReading(InvocationOf("info", options), input, summary);
  WriteResultFile(options.outputs, result);
  WriteOutput(host, options.json ? report::WriteResult(result) : report::TextOf(result));
  return kFitted;
}

int RunShow(const Options& options, const Host& host) {
  const Result result = ReadResultFile(options.path);
  WriteOutput(host, options.json ? report::WriteResult(result) : report::TextOf(result));
  return kFitted;
}

}  // namespace primfit::cli
