#include "adaptive/elbow_search.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "adaptive/joints/elbow_starts.h"
#include "adaptive/joints/pipe_search.h"
#include "adaptive/joints/pipe_support.h"

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// The band in which bends between two pipes are compared, in radii of these.
constexpr double kScoringBand = 0.15;
/// The coarsest bounds of a pipe's inliers, in sizes of the cloud.
constexpr double kFinePipe = 0.02, kCoarsePipe = 0.1;
/// Cylinders that are looked for, and by which factor the radius of one like another may differ.
constexpr std::size_t kMostPipes = 3;
constexpr double kLike = 1.2;
/// The elbow at a place passes so many of the points of the torus there, within so many tolerances.
constexpr double kMostOfTorus = 0.5, kTolerancesOfElbow = 2;
/// The radius of its pipes may differ from that of the torus by this factor.
constexpr double kLikeTorus = 1.25;

PipedElbow WithHeldParts(PipedElbow elbow, const Start& start) {
  if (start.held == 0 || !start.model) return elbow;
  elbow.torus = WithComponents(elbow.torus, start.held, *start.model);
  const Vector3d& axis = elbow.torus.axis;
  elbow.start = (elbow.start - elbow.start.dot(axis) * axis).normalized();
  return elbow;
}

/// Whether an elbow passes most of the points of the torus that was found without pipes.
bool PassesTorus(const SettledElbow& settled, std::span<const Vector3d> ofTorus) {
  const ElbowSurface surface(settled.elbow);
  const double bound = kTolerancesOfElbow * settled.tolerance;
  const auto passed = std::count_if(ofTorus.begin(), ofTorus.end(), [&](const Vector3d& p) {
    return std::abs(surface.FootOf(p).distance) <= bound;
  });
  return static_cast<double>(passed) >= kMostOfTorus * static_cast<double>(ofTorus.size());
}

/// The elbow that a start leads to, where it is one. About a place other elbows are not wanted.
std::optional<SettledElbow> SettledFrom(const PipedElbow& start, const ElbowTask& task) {
  const auto elbow =
      Settle(WithHeldParts(start, task.start), task.start.held, task.least, task.points, task.budget);
  if (elbow && task.atPlace != nullptr && !PassesTorus(*elbow, task.ofTorus)) return std::nullopt;
  const bool isElbow = elbow && IsArcSupported(elbow->elbow, task.points, elbow->tolerance) &&
                       ShareExplainedAlong(elbow->elbow, task.points, elbow->tolerance) <= kMostStructure;
  return isElbow ? elbow : std::nullopt;
}

/// Whether an elbow with its pipes leaves no points for more of them.
bool LeavesNoPoints(const SettledElbow& settled, const ElbowTask& task) {
  const ElbowSurface surface(settled.elbow);
  const auto passed = std::count_if(task.points.begin(), task.points.end(), [&](const Vector3d& p) {
    return std::abs(surface.FootOf(p).distance) <= settled.tolerance;
  });
  return static_cast<double>(passed) >= kAllPoints * static_cast<double>(task.points.size());
}

/// Whether an elbow has all its pipes, a band much narrower than its tube and nothing left to be explained.
bool IsClear(const SettledElbow& settled, const ElbowTask& task) {
  const bool hasAll = settled.elbow.PipeCount() == 2 || LeavesNoPoints(settled, task);
  return hasAll && settled.tolerance <= kClear * settled.elbow.torus.minor &&
         ShareExplainedAlong(settled.elbow, task.points, settled.tolerance) <= kStructure / 2;
}

/// Joins a pipe to each of those before. @return whether one of the elbows has both pipes
bool JoinToOthers(const FoundPipe& pipe, std::span<const FoundPipe> others, const ElbowTask& task,
                  std::vector<SettledElbow>& settled) {
  bool isJoined = false;
  for (const FoundPipe& other : others) {
    for (const PipePair& pair : PairsOf(other, pipe)) {
      const double bound = std::max(kScoringBand * pair.radius, task.least);
      const auto best = BestBetween(pair, task.Scored(), bound);
      const auto elbow = best ? SettledFrom(*best, task) : std::nullopt;
      if (!elbow) continue;
      settled.push_back(*elbow);
      isJoined = isJoined || elbow->elbow.PipeCount() == 2;
    }
  }
  return isJoined;
}

/// Looks for a pipe and, where it joins none of those before, for one like it.
/// @param free  points that are left
/// @return whether one of the elbows found has both pipes; none where there is no pipe
std::optional<bool> JoinNextPipe(PipeSearchTask search, const ElbowTask& task, FreePoints& free, Dice& dice,
                                 std::vector<FoundPipe>& pipes, std::vector<SettledElbow>& settled) {
  const auto pipe = FindPipe(search, task.sample, free, dice, task.budget);
  if (!pipe) return std::nullopt;
  const bool isJoined = JoinToOthers(*pipe, pipes, task, settled);
  pipes.push_back(*pipe);
  if (isJoined) return true;
  const double radius = pipe->cylinder.minor;
  search.radius = {std::max(radius / kLike, search.radius.low), std::min(radius * kLike, search.radius.high)};
  if (search.radius.low > search.radius.high) return false;
  FreePoints left = free;
  const auto like = FindPipe(search, task.sample, left, dice, task.budget);
  return like && JoinToOthers(*like, std::span(pipes).last(1), task, settled);
}

}  // namespace

std::array<std::optional<GrownPipe>, 2> GrowPipes(const Outcome& torus, const ElbowTask& task) {
  const double tolerance = torus.converged.tolerance;
  std::array<std::optional<GrownPipe>, 2> grown;
  const auto ends = WithTangents(torus.model, task.ofTorus, tolerance);
  if (!ends) return grown;
  for (std::size_t k = 0; k < grown.size(); ++k)
    grown[k] = GrowPipe(*ends, k, tolerance, task.points, task.budget);
  return grown;
}

bool JoinEnds(const Outcome& torus, const ElbowTask& task, std::vector<SettledElbow>& settled) {
  if (task.grown[0] && task.grown[1])
    JoinToOthers(task.grown[1]->pipe, std::span(&task.grown[0]->pipe, 1), task, settled);
  if (!settled.empty() && IsClear(settled.back(), task)) return true;
  const double tolerance = torus.converged.tolerance;
  const auto start = WithTangents(torus.model, task.ofTorus, tolerance);
  const auto elbow =
      start ? SettledFrom(Shortened(*start, PieceOfPipe(*start, tolerance)), task) : std::nullopt;
  if (elbow) settled.push_back(*elbow);
  return elbow && IsClear(*elbow, task);
}

void JoinFoundPipes(const ElbowTask& task, std::vector<SettledElbow>& settled) {
  PipeSearchTask search{.radius = task.options.minorRadius, .least = task.least};
  if (task.atPlace != nullptr) {
    const double radius = task.atPlace->minor;
    search.radius = {std::max(radius / kLikeTorus, search.radius.low),
                     std::min(radius * kLikeTorus, search.radius.high)};
    if (search.radius.low > search.radius.high) return;
  }
  search.isNoiseKnown = task.options.noise || task.options.tolerance;
  search.confidence = task.options.confidence;
  Dice dice(task.options.seed.value_or(0));
  for (const double most : {kFinePipe, kCoarsePipe}) {
    search.most = std::max(most * task.sample.units.size, task.least);
    FreePoints free(task.sample.points.size());
    std::vector<FoundPipe> pipes;
    while (pipes.size() < kMostPipes && !task.budget.IsOver()) {
      const auto isJoined = JoinNextPipe(search, task, free, dice, pipes, settled);
      if (!isJoined) break;
      if (*isJoined) return;
    }
  }
}

const SettledElbow* BestOf(const std::vector<SettledElbow>& settled, const ElbowTask& task) {
  double bound = std::numeric_limits<double>::infinity();
  for (const SettledElbow& elbow : settled) bound = std::min(bound, elbow.tolerance);
  const SettledElbow* best = nullptr;
  double least = std::numeric_limits<double>::infinity();
  for (const SettledElbow& elbow : settled) {
    const double squares = TruncatedSquares(elbow.elbow, task.points, bound);
    if (squares >= least) continue;
    least = squares;
    best = &elbow;
  }
  return best;
}

}  // namespace primfit::adaptive
