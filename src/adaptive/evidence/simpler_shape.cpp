#include "adaptive/evidence/simpler_shape.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "adaptive/evidence/residuals.h"
#include "adaptive/evidence/verdict.h"
#include "adaptive/model/refine.h"
#include "adaptive/search/simpler.h"

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// Points on which simpler shapes are compared at first, and again where one is near.
constexpr std::size_t kFirstPoints = 256, kMostPoints = 4096;
/// A simpler shape that starts farther from the points than this many times the other does not come near.
constexpr double kFarStart = 20;
/// It explains the points as well when it is not farther from them than by this factor, root mean square.
constexpr double kLargestRatio = 1.25;
/// Above this difference of the Bayesian information criterion (Schwarz 1978) the evidence for the further
/// parameters is very strong (Kass and Raftery 1995).
constexpr double kVeryStrong = 10;
/// Points of the cells in which they may err together.
constexpr double kPointsInCell = 40;
constexpr int kFirstSteps = 5, kSteps = 20;

std::vector<double> DistancesOf(const Model& model, std::span<const Vector3d> points) {
  std::vector<double> distances(points.size());
  Distances(model, points.data(), static_cast<int>(points.size()), distances.data());
  return distances;
}

double RootMeanSquare(const Model& model, std::span<const Vector3d> points) {
  double squares = 0;
  for (const double d : DistancesOf(model, points)) squares += d * d;
  return std::sqrt(squares / static_cast<double>(points.size()));
}

/// Values of no more than `most` inliers, at equal steps of their order.
template <class T>
std::vector<T> OfInliers(const Converged& c, std::span<const T> all, std::size_t most) {
  std::vector<T> some(std::min(most, c.inliers.size()));
  for (std::size_t k = 0; k < some.size(); ++k) some[k] = all[c.inliers[k * c.inliers.size() / some.size()]];
  return some;
}

int ParametersOf(const Model& model) { return FreeParametersOf(model, 0).count; }

/// Whether the further parameters of a shape are worth their cost. Points that err together count as fewer,
/// by the design effect of Kish (1965).
bool IsNeeded(const Converged& c, std::span<const Vector3d> points, int simplerParameters, double rmsRatio) {
  const Residuals residuals = ResidualsOf(c.model, points, c.inliers, kMostPoints);
  const double correlation = CorrelationInCells(residuals.feet, residuals.distances, kPointsInCell);
  const double count = static_cast<double>(residuals.Count()) / (1 + (kPointsInCell - 1) * correlation);
  const int further = ParametersOf(c.model) - simplerParameters;
  return 2 * count * std::log(rmsRatio) - further * std::log(count) > kVeryStrong;
}

/// A simpler shape refined from a start on some of the inliers, where it comes near to them.
std::optional<Model> NearOn(const Model& start, double farthest, int steps, std::span<const Vector3d> some) {
  if (!IsValid(start) || !(RootMeanSquare(start, some) < kFarStart * farthest)) return std::nullopt;
  const auto refined = Refine(start, 0, RefsOf(some), steps);
  if (!refined || !IsValid(*refined) || !(RootMeanSquare(*refined, some) < farthest)) return std::nullopt;
  return refined;
}

/// The least-squares optimum on all inliers, and how exactly it is known.
std::optional<SimplerFit> FitOnAll(const Model& near, const Converged& c, std::span<const Vector3d> points,
                                   std::span<const double> sqrtWeights) {
  const std::vector<Vector3d> inliers = OfInliers(c, points, c.inliers.size());
  std::vector<double> weights;
  if (!sqrtWeights.empty()) weights = OfInliers(c, sqrtWeights, c.inliers.size());
  const PointRefs refs = RefsOf(inliers, weights.empty() ? nullptr : weights.data());
  auto model = Refine(near, 0, refs, kSteps);
  if (!model) return std::nullopt;
  Vector3d mean = Vector3d::Zero();
  for (const Vector3d& p : inliers) mean += p / static_cast<double>(inliers.size());
  CenterAt(mean, 0, *model);
  Converged fit;
  fit.model = *model;
  fit.inliers = c.inliers;
  fit.noise = RootMeanSquare(*model, inliers);
  fit.feet.sums = SumsAt(*model, 0, refs);
  if (!weights.empty()) {
    for (double& w : weights) w *= w;
    fit.feet.squared = SumsAt(*model, 0, refs);
  }
  return SimplerFit{*model, fit.noise, fit.noise / RootMeanSquare(c.model, inliers), CovarianceOf(fit, 0)};
}

}  // namespace

// The few points that come first are enough to tell that nothing simpler is near, which is what most fits
// end with.
std::optional<SimplerFit> SimplerThan(const Converged& c, std::span<const Vector3d> points,
                                      std::span<const double> sqrtWeights) {
  const std::vector<Vector3d> first = OfInliers(c, points, kFirstPoints);
  const std::vector<Model> starts = SimplerStarts(c.model, first);
  if (starts.empty()) return std::nullopt;
  const double farthest = 2 * kLargestRatio * RootMeanSquare(c.model, first);
  for (const Model& start : starts) {
    const auto near = NearOn(start, farthest, kFirstSteps, first);
    if (!near) continue;
    const std::vector<Vector3d> some = OfInliers(c, points, kMostPoints);
    const double rms = RootMeanSquare(c.model, some);
    const auto nearer = NearOn(*near, kLargestRatio * rms, kSteps, some);
    if (!nearer) continue;
    if (IsNeeded(c, points, ParametersOf(*nearer), RootMeanSquare(*nearer, some) / rms)) continue;
    return FitOnAll(*nearer, c, points, sqrtWeights);
  }
  return std::nullopt;
}

}  // namespace primfit::adaptive
