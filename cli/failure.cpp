#include "cli/failure.h"

#include <fmt/format.h>

#include <string_view>
#include <utility>
#include <vector>

#include "cli/errors.h"
#include "io/words.h"
#include "report/limits.h"

namespace primfit::cli {

using report::FitRun;
using report::kLimits;
using report::Method;

namespace {

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
          run.request.scannerError, run.input->unit.name);
    case FitErrorCode::kFitFailed:
      if (run.request.skipSearch)
        return "give a --start nearer to the surface, cut other surfaces off with --near or --box, or search";
      if (command.picked)
        return "check that --pick is on the pipe and --radius-hint at least a quarter of its radius, raise "
               "--outliers, or cut other surfaces off with --near or --box";
      return "raise --outliers, or choose one surface with --near or --box";
    case FitErrorCode::kNothingStandsOut:
      if (command.picked)
        return "check that --pick is on the pipe and --radius-hint at least a quarter of its radius";
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

}  // namespace

std::string FailureOf(const FitError& error, const FitCommand& command, const FitRun& run) {
  if (run.stopped) return fmt::format("stopped by Ctrl-C before {} was found", io::WithArticle(command.name));
  const std::string hint = HintFor(error.Code(), command, run);
  return fmt::format("{}{}{}", error.what(), hint.empty() ? "" : "; ", hint);
}

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

}  // namespace primfit::cli
