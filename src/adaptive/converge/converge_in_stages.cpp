#include "adaptive/converge/converge_in_stages.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "adaptive/converge/noise.h"

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// By how much points are denser near a shape than next to it. Points anywhere are as dense, and the middle
/// of a cloud is denser than its rim, so a little more proves nothing.
constexpr double kStandsOut = 2;
/// Noise that blurs a shape of the cloud's size beyond recognition: some bent band fits any cloud so.
constexpr double kCoarsestNoise = 0.08;
/// Points on which a fit converges before it looks at all of them: most is learned from few at little cost.
/// They have to be less than a quarter of all to be worth a stage of their own.
constexpr std::size_t kFirstStages[] = {2048, 8192};
constexpr std::size_t kLeastTimesMore = 4;

/// The first points of the sample, relative to the cloud's origin.
/// They are copied from the cloud, since a change of units and back would change their last bits.
std::vector<Vector3d> FirstPoints(const Sample& sample, const Cloud& cloud, std::size_t count) {
  std::vector<Vector3d> points(std::min(count, sample.indices.size()));
  std::transform(sample.indices.begin(), sample.indices.begin() + static_cast<std::ptrdiff_t>(points.size()),
                 points.begin(), [&](std::uint32_t i) { return cloud.points[i]; });
  return points;
}

}  // namespace

std::optional<Converged> ConvergeInStages(const Model& from, ConvergeTask task, const Sample& sample,
                                          const Cloud& cloud, Budget& budget) {
  Model at = from;
  const std::vector<double> weights = NoiseWeights(sample.trust);
  for (const std::size_t count : kFirstStages) {
    const std::size_t least = kLeastTimesMore * std::min(count, sample.indices.size());
    if (least > cloud.points.size() || budget.IsOver()) break;
    const std::vector<Vector3d> points = FirstPoints(sample, cloud, count);
    task.points = points;
    task.noiseWeights = std::span(weights).first(std::min(weights.size(), count));
    const auto result = Converge(at, task, budget);
    if (!result) return std::nullopt;
    at = result->model;
    task.startTolerance = InlierBound(at.IsCurve(), result->noise);
    task.fadingRounds = std::max(task.fadingRounds - 1, 0);
  }
  const std::vector<double> allWeights = NoiseWeights(cloud.trust);
  task.points = cloud.points;
  task.sqrtWeights = cloud.sqrtWeights;
  task.noiseWeights = allWeights;
  return Converge(at, task, budget);
}

bool StandsOut(const Converged& c, std::size_t beyond, const Plausible& plausible, bool isNoiseKnown,
               double size) {
  if (!plausible.Passes(c.model, c.tolerance)) return false;
  const double beside = static_cast<double>(beyond) / (c.model.IsCurve() ? 3 : 1);
  return isNoiseKnown ||
         (static_cast<double>(c.inliers.size()) >= kStandsOut * beside && c.noise <= kCoarsestNoise * size);
}

}  // namespace primfit::adaptive
