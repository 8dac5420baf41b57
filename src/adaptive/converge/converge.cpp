#include "adaptive/converge/converge.h"
#include "adaptive/model/refine.h"

#include <algorithm>
#include <span>

#include "adaptive/converge/feet.h"
#include "adaptive/converge/inlier_selection.h"
#include "adaptive/converge/inlier_tolerance.h"
#include "adaptive/converge/isolation_grid.h"
#include "adaptive/converge/noise.h"
#include "adaptive/converge/refit.h"
#include "fit/fit_memory.h"
#include "optimize/covariance.h"

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// Selections that still change after so many rounds hardly change the shape any more, so the fit ends with
/// the last one and says that it has not converged.
constexpr int kRounds = 40;
/// A tolerance that is decided anew in every round would move as long as the selection does, and the two
/// could chase each other for ever.
constexpr int kToleranceRounds = 3;  // in which the tolerance is decided anew
constexpr int kMostFading = 2;
/// The bands of the fading rounds, in tolerances.
constexpr double kFadingBands[kMostFading] = {3, 1.7};
/// At the optimum the next step would move the points' distances by less, in sizes of the cloud.
constexpr double kOptimal = 1e-9;
/// Where nearly all points are inliers none is there by chance.
constexpr double kClean = 0.98;
/// An inlier with more leverage decides alone where the shape goes, and so keeps itself an inlier: the share
/// of its own distance by which it draws the shape to itself (Hoaglin and Welsch 1978), and how many times
/// the mean.
constexpr double kMostLeverage = 0.2, kMostTimesMeanLeverage = 10;
/// Points whose leverage is looked at together, and inliers of which none alone has much.
constexpr std::size_t kLeverageBlock = 16, kMostForLeverage = 8192;
constexpr int kMostLeverageRounds = 3;
/// Points whose feet on the shape tell the covariance of all.
constexpr std::size_t kForFeet = 8192;

/// A convergence that is under way: what the stages below hand on from round to round. The buffers are taken
/// once, since pages of new ones would cost more to clear than a round.
struct RunningFit {
  RunningFit(const Model& start, const ConvergeTask& theTask, Budget& theBudget)
      : task(theTask),
        budget(theBudget),
        now{.model = start},
        distances(task.points.size()),
        copies(task.points.size(), !task.sqrtWeights.empty() || task.fadingRounds > 0),
        selection(task.points.size()) {
    decided.noise = task.startTolerance / InlierBound(start.IsCurve(), 1);
  }

  std::span<const double> Distances() const { return {distances.data(), task.points.size()}; }
  int FreeParameters() const { return FreeParametersOf(now.model, task.held | now.atEnd).count; }

  const ConvergeTask& task;
  Budget& budget;
  Refit now;
  InlierTolerance decided;
  Scratch<double> distances;
  InlierCopies copies;
  InlierSelection selection;
  IsolationGrid isolation;
  int leverageRounds = 0;               // in which inliers were set aside for their leverage
  std::vector<std::uint64_t> refitted;  // hashes of the selections whose optimum was taken
};

/// Distances of all points from the shape, block by block, so that a stop is heard among millions of points.
/// @return whether the budget lasted
bool MeasureDistances(RunningFit& fit) {
  const std::size_t n = fit.task.points.size();
  const bool lasted = fit.budget.InBlocks(n, [&](std::size_t begin, std::size_t count) {
    Distances(fit.now.model, fit.task.points.data() + begin, static_cast<int>(count),
              fit.distances.data() + begin);
  });
  return lasted && fit.budget.Spend(std::min(n, Budget::kBlock));
}

/// Selects the points within a bound. Which of them stand alone depends on where the inliers are, so this
/// takes two selections: one that counts all, to build the grid, and one that leaves out the isolated ones.
/// @param anew whether to look again which stand alone; in the rounds between, the selection must not depend
///     on a grid that changes with it, or it would never settle
void SelectInliers(double bound, bool anew, RunningFit& fit) {
  InlierSelection& selection = fit.selection;
  const auto select = [&] { selection.Select(fit.task.points, fit.distances.data(), bound, fit.isolation); };
  if (anew) {
    fit.isolation.Clear();
    selection.ForgetIsolated();
  }
  select();
  const auto n = static_cast<double>(fit.task.points.size());
  if (!anew || static_cast<double>(selection.Count()) >= kClean * n || selection.Count() == 0) return;
  const PointRefs inliers = CopyInliers(selection, fit.task, fit.copies);
  fit.isolation.Build({inliers.rows, static_cast<std::size_t>(inliers.count)},
                      {fit.task.points, fit.Distances(), bound, fit.now.model.IsCurve()});
  selection.ForgetIsolated();
  select();
}

/// Whether the next step of the refit would be a negligible one; where the bound of it that updates have left
/// does not say so, by the sums themselves.
bool IsOptimal(RunningFit& fit) {
  const auto isNegligible = [&] {
    return fit.now.remaining <= kOptimal * (fit.task.size > 0 ? fit.task.size : fit.now.sums.lengthScale);
  };
  if (isNegligible()) return true;
  const PointRefs inliers = CopyInliers(fit.selection, fit.task, fit.copies);
  fit.now.sums = SumsAt(fit.now.model, fit.task.held | fit.now.atEnd, inliers, fit.budget);
  if (fit.budget.IsOver()) return false;
  fit.now.remaining = NextStep(fit.now.sums, fit.FreeParameters());
  return isNegligible();
}

/// Calls visit with the number of each of the points whose leverage is above a limit.
/// @param inverse  of the normal equations of all of them
template <class Visit>
void ForHighLeverage(const RunningFit& fit, const PointRefs& points, const Eigen::MatrixXd& inverse,
                     double limit, const Visit& visit) {
  const auto leverageOf = [&](std::size_t begin, std::size_t count) {
    PointRefs some = points;
    some.rows += begin;
    if (some.sqrtWeights != nullptr) some.sqrtWeights += begin;
    some.count = static_cast<int>(count);
    const NormalEquations sums = SumsAt(fit.now.model, fit.task.held | fit.now.atEnd, some);
    double trace = 0;
    for (Eigen::Index i = 0; i < inverse.rows(); ++i) {
      for (Eigen::Index j = 0; j < inverse.cols(); ++j) trace += inverse(i, j) * sums.matrix[i][j];
    }
    return trace * static_cast<double>(count);
  };
  const auto n = static_cast<std::size_t>(points.count);
  for (std::size_t begin = 0; begin < n; begin += kLeverageBlock) {
    const std::size_t count = std::min(kLeverageBlock, n - begin);
    if (!(leverageOf(begin, count) > limit)) continue;
    for (std::size_t k = begin; k < begin + count; ++k) {
      if (leverageOf(k, 1) > limit) visit(k);
    }
  }
}

/// Sets inliers aside that alone decide where the shape goes. @return whether there were some
bool SetAsideHighLeverage(RunningFit& fit) {
  const std::size_t n = fit.selection.Count();
  const int parameters = fit.FreeParameters();
  const double limit = std::max(kMostLeverage, kMostTimesMeanLeverage * parameters / static_cast<double>(n));
  const bool isClean = static_cast<double>(n) >= kClean * static_cast<double>(fit.task.points.size());
  if (isClean || n > kMostForLeverage || parameters == 0 || limit >= 1) return false;
  if (fit.leverageRounds++ >= kMostLeverageRounds) return false;
  std::vector<std::size_t> indices, high;
  indices.reserve(n);
  fit.selection.ForEach([&](std::size_t i) { indices.push_back(i); });
  const PointRefs inliers = CopyInliers(fit.selection, fit.task, fit.copies);
  const NormalEquations sums = SumsAt(fit.now.model, fit.task.held | fit.now.atEnd, inliers);
  const Eigen::MatrixXd inverse = CovarianceOf(sums, nullptr, parameters, static_cast<double>(n), 1);
  if (!inverse.allFinite()) return false;
  ForHighLeverage(fit, inliers, inverse, limit, [&](std::size_t k) { high.push_back(indices[k]); });
  for (const std::size_t i : high) fit.selection.SetAside(i);
  return !high.empty();
}

/// Refits the shape on the selection, from the few changes where these are enough. A part at an end of its
/// range would have to be let go or held by such an update, so then all points are looked at.
/// @param needsAllPoints in the first round without fading, whose sums are none of the selection before, and
///     for a selection that was refitted before, on which updates have added up their errors
bool RefitShape(bool needsAllPoints, RunningFit& fit) {
  std::optional<Refit> refit;
  if (!needsAllPoints && fit.now.atEnd == 0 && fit.selection.ChangedFew())
    refit = RefitOnChanged(fit.now, fit.selection, fit.task, fit.copies);
  if (!refit) {
    refit =
        RefitOnAll(fit.now, CopyInliers(fit.selection, fit.task, fit.copies), false, fit.task, fit.budget);
  }
  if (refit) fit.now = *refit;
  return refit.has_value();
}

enum class Round {
  kContinues,  // with another selection
  kConverged,  // the selection is the same again, and its shape the optimum
  kEnds,       // by the budget, or because selections go round in a circle
  kNoShape
};

/// What a failed refit means: nothing is wrong with the shape where only the time is up.
Round FailureOf(const RunningFit& fit) { return fit.budget.IsOver() ? Round::kEnds : Round::kNoShape; }

/// A first round, with a wide band at whose edge weights fade.
Round RunFadingRound(int round, RunningFit& fit) {
  const double bound = fit.decided.tolerance * kFadingBands[kMostFading - fit.task.fadingRounds + round];
  SelectInliers(bound, round == 0, fit);
  if (fit.selection.Count() == 0) return Round::kNoShape;
  const PointRefs inliers =
      CopyFadingInliers(fit.selection, fit.distances.data(), bound, fit.task, fit.copies);
  const auto refit = RefitOnAll(fit.now, inliers, true, fit.task, fit.budget);
  if (!refit) return FailureOf(fit);
  fit.now = *refit;
  return Round::kContinues;
}

/// A round whose selection is the consensus set within the tolerance. The hashes of earlier selections tell
/// whether it is the same again, so that the shape has converged, or one from before, so that selections go
/// round in a circle and would do so for ever.
Round RunSharpRound(int round, RunningFit& fit) {
  SelectInliers(fit.decided.tolerance, round == 0 || round == fit.task.fadingRounds, fit);
  if (fit.selection.Count() == 0) return Round::kNoShape;
  std::vector<std::uint64_t>& refitted = fit.refitted;
  const std::uint64_t hash = fit.selection.Hash();
  const bool isSame = !refitted.empty() && refitted.back() == hash;
  if (isSame && IsOptimal(fit)) return SetAsideHighLeverage(fit) ? Round::kContinues : Round::kConverged;
  const bool circles = !isSame && std::find(refitted.begin(), refitted.end(), hash) != refitted.end();
  const double before = fit.now.remaining;
  if (!RefitShape(refitted.empty() || isSame || circles, fit)) return FailureOf(fit);
  refitted.push_back(hash);
  const bool isStuck = isSame && !(fit.now.remaining < before / 2);  // what is left is rounding
  return circles || isStuck ? Round::kEnds : Round::kContinues;
}

/// One round: distances, tolerance, selection, refit.
Round RunRound(int round, RunningFit& fit) {
  if (!MeasureDistances(fit)) return Round::kEnds;
  if (round < kToleranceRounds)
    fit.decided = DecideTolerance(fit.now.model, fit.Distances(), fit.decided.noise, fit.task);
  return round < fit.task.fadingRounds ? RunFadingRound(round, fit) : RunSharpRound(round, fit);
}

/// The inliers of the final shape, where the last ones are of a shape before. It looks at all points whatever
/// the budget says, since without this there is no result.
void SelectFinalInliers(RunningFit& fit) {
  Distances(fit.now.model, fit.task.points.data(), static_cast<int>(fit.task.points.size()),
            fit.distances.data());
  if (fit.decided.tolerance == 0)
    fit.decided = DecideTolerance(fit.now.model, fit.Distances(), fit.decided.noise, fit.task);
  fit.selection.Select(fit.task.points, fit.distances.data(), fit.decided.tolerance, fit.isolation);
}

/// At the feet of points, or of some thousands of them.
FeetSums SumUpAtFeet(std::span<const std::uint32_t> indices, RunningFit& fit) {
  const std::size_t step = indices.size() / kForFeet + 1;
  const bool weighted = !fit.task.sqrtWeights.empty();
  Vector3d* const points = fit.copies.points.data();
  double* const sqrtWeights = fit.copies.sqrtWeights.data();
  std::size_t count = 0;
  for (std::size_t k = 0; k < indices.size(); k += step) {
    if (weighted) sqrtWeights[count] = fit.task.sqrtWeights[indices[k]];
    points[count++] = fit.task.points[indices[k]];
  }
  return SumsAtFeet(fit.now.model, fit.task.held | fit.now.atEnd, {points, count},
                    {sqrtWeights, weighted ? count : 0});
}

/// The points just beyond the tolerance that do not stand alone, less the noise's own tail. About a curve
/// there is three times as much room for them as within the tolerance.
Strays StraysOf(std::size_t inliers, double tolerance, RunningFit& fit) {
  std::vector<std::uint32_t> beyond;
  for (std::size_t i = 0; i < fit.task.points.size(); ++i) {
    if (!(fit.distances[i] > tolerance && fit.distances[i] <= 2 * tolerance)) continue;
    if (!fit.isolation.IsIsolated(fit.task.points[i])) beyond.push_back(static_cast<std::uint32_t>(i));
  }
  const double count = static_cast<double>(beyond.size()) - kShareBeyondBound * static_cast<double>(inliers);
  if (count <= 0) return {};
  return {count / (fit.now.model.IsCurve() ? 3 : 1), SumUpAtFeet(beyond, fit)};
}

/// What is known of the final shape. Where the tolerance was given, or follows from the steps of the
/// coordinates, the estimate of the noise is not that of the inliers, so it is measured on these.
Converged ResultOf(RunningFit& fit, bool converged) {
  const ConvergeTask& task = fit.task;
  Converged result;
  result.converged = converged;
  result.model = fit.now.model;
  result.noise = fit.decided.noise;
  result.tolerance = fit.decided.tolerance;
  result.atEnd = fit.now.atEnd;
  result.inliers.reserve(fit.selection.Count());
  fit.selection.ForEach([&](std::size_t i) { result.inliers.push_back(static_cast<std::uint32_t>(i)); });
  fit.selection.ForEachIsolated(
      [&](std::size_t i) { result.isolated.push_back(static_cast<std::uint32_t>(i)); });
  const auto noiseOfInliers = [&] {
    return NoiseOfInliers(result.inliers, fit.Distances(), task.noiseWeights, result.model.IsCurve(),
                          fit.FreeParameters());
  };
  const bool isTold = task.noise || task.tolerance;
  const double measured = isTold ? noiseOfInliers() : fit.decided.measured;
  result.rounding = RoundingWithin(result.tolerance, measured, result.model, fit.Distances(), task);
  if (isTold || fit.decided.isOfSteps) result.noise = std::max(noiseOfInliers(), result.rounding.noise);
  result.feet = SumUpAtFeet(result.inliers, fit);
  result.strays = StraysOf(result.inliers.size(), result.tolerance, fit);
  result.justBeyond = static_cast<std::size_t>(
      std::count_if(fit.distances.data(), fit.distances.data() + task.points.size(),
                    [&](double d) { return d > result.tolerance && d <= 2 * result.tolerance; }));
  return result;
}

}  // namespace

std::optional<Converged> Converge(const Model& start, const ConvergeTask& task, Budget& budget) {
  RunningFit fit(start, task, budget);
  Round end = Round::kContinues;
  for (int round = 0; round < kRounds && end == Round::kContinues; ++round) end = RunRound(round, fit);
  if (end == Round::kNoShape || !IsValid(fit.now.model)) return std::nullopt;
  if (end != Round::kConverged) SelectFinalInliers(fit);
  if (fit.selection.Count() == 0) return std::nullopt;
  return ResultOf(fit, end == Round::kConverged);
}

}  // namespace primfit::adaptive
