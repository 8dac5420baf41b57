#include "adaptive/converge/inlier_tolerance.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include "adaptive/converge/noise.h"

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// Points that tell what rounding does to all.
constexpr std::size_t kForRounding = 256;
/// Exact points have no noise, but its estimate needs a first guess.
constexpr double kLeastNoise = 1e-300;

}  // namespace

// The pass over all distances is spared where it cannot matter: the noise is coarser than any step of the
// coordinates.
RoundingEffect RoundingWithin(double bound, double measured, const Model& model,
                              std::span<const double> distances, const ConvergeTask& task) {
  if (task.resolution == nullptr || measured > task.resolution->Coarsest()) return {};
  std::vector<Vector3d> chosen;
  const std::size_t step = distances.size() / kForRounding + 1;
  std::size_t within = 0;
  for (std::size_t i = 0; i < distances.size(); ++i) {
    if (!(distances[i] <= bound)) continue;
    if (within++ % step == 0) chosen.push_back(task.points[i]);
  }
  return RoundingOf(*task.resolution, model, chosen, within, measured);
}

// The order matters: the steps raise the noise to what rounding leaves, the noise then gives the bound, and
// the steps raise that once more where a point one step away would fall outside.
InlierTolerance DecideTolerance(const Model& model, std::span<const double> distances, double noiseBefore,
                                const ConvergeTask& task) {
  const bool curve = model.IsCurve();
  InlierTolerance decided;
  decided.measured = EstimateNoise(curve, distances, std::max(noiseBefore, kLeastNoise), task.noiseWeights);
  const RoundingEffect rounding =
      RoundingWithin(InlierBound(curve, noiseBefore), decided.measured, model, distances, task);
  decided.noise = std::max(decided.measured, rounding.noise);
  decided.isOfSteps = rounding.tolerance > InlierBound(curve, decided.noise);
  const double ofNoise = InlierBound(curve, task.noise.value_or(decided.noise));
  decided.tolerance = task.tolerance.value_or(std::max(ofNoise, rounding.tolerance));
  return decided;
}

double NoiseOfInliers(std::span<const std::uint32_t> inliers, std::span<const double> distances,
                      std::span<const double> noiseWeights, bool curve, int parameters) {
  double squares = 0, count = 0;
  for (const std::uint32_t i : inliers) {
    const double weight = noiseWeights.empty() ? 1 : noiseWeights[i];
    squares += weight * distances[i] * distances[i];
    count += weight;
  }
  const auto n = static_cast<double>(inliers.size());
  const double freedom = std::max(n - parameters, 1.0) / n;
  return std::sqrt(squares / (count * freedom * (curve ? 2 : 1)));
}

}  // namespace primfit::adaptive
