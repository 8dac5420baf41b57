#include "cli/failure.h"

#include <fmt/format.h>

#include <string_view>
#include <utility>

#include "cli/errors.h"
#include "io/words.h"
#include "report/limits.h"

namespace primfit::cli {

using report::FitRun;
using report::kLimits;
using report::Method;

namespace {

/// Which points are left when there are too few of them, and what left the others out.
std::string PointsLeft(const FitCommand& command, const FitRun& run) {
  const io::Selection& cloud = *run.cloud;
  const io::Region& region = run.input->region;
  if (cloud.total == 0) return "the file holds no point";
  std::string text = fmt::format("{} of {} {} left", cloud.Used(), io::Counted(cloud.total, "point"),
                                 cloud.total == 1 ? "is" : "are");
  const bool ball = !region.ball.empty(), box = !region.box.empty();
  const std::string given =
      fmt::format("{}{}{}", ball ? "--near" : "", ball && box ? " and " : "", box ? "--box" : "");
  if (cloud.Used() > 0) {
    return fmt::format(
        "{} and {} needs {}: check the file{}{}", text, io::WithArticle(command.name),
        run.request.method == Method::kAdaptive ? "more" : std::to_string(command.minimumPoints),
        given.empty() ? "" : ", ", given);
  }
  if (cloud.file.nonFinite == cloud.total) return text + ": none is finite";
  const bool alone = cloud.inBall == 0 || cloud.inBox == 0;  // one of the two is to blame
  return fmt::format("{}: none that is finite lies in {}", text,
                     !alone              ? "both " + given
                     : cloud.inBall == 0 ? "--near"
                                         : "--box");
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
