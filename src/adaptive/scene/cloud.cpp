#include "adaptive/scene/cloud.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

#include "adaptive/model/model.h"

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// The values at some indices; none where there are none.
template <class Value>
std::vector<Value> At(std::span<const std::uint32_t> indices, std::span<const Value> values) {
  std::vector<Value> at(values.empty() ? 0 : indices.size());
  for (std::size_t i = 0; i < at.size(); ++i) at[i] = values[indices[i]];
  return at;
}

}  // namespace

ScenePart::ScenePart(const Scene& scene, std::vector<std::uint32_t> of)
    : indices(std::move(of)),
      points(At(indices, scene.Points())),
      sqrtWeights(At(indices, scene.SqrtWeights())),
      trust(At(indices, scene.Trust())) {}

Sample SampleOf(const ScenePart& part) {
  const Units units = UnitsOf(part.points);
  std::vector<Vector3d> inUnits(part.points.size());
  std::transform(part.points.begin(), part.points.end(), inUnits.begin(),
                 [&](const Vector3d& p) { return units.Into(p); });
  std::vector<std::uint32_t> indices(part.points.size());
  std::iota(indices.begin(), indices.end(), std::uint32_t{0});
  return {units, std::move(indices), std::move(inUnits), part.trust};
}

std::vector<std::uint32_t> DrawSome(std::span<const std::uint32_t> from, std::size_t most, Dice& dice) {
  std::vector<std::uint32_t> drawn(from.begin(),
                                   from.begin() + static_cast<std::ptrdiff_t>(std::min(from.size(), most)));
  if (from.size() > most) {
    for (std::uint32_t& i : drawn) i = from[dice.Below(from.size())];
  }
  std::sort(drawn.begin(), drawn.end());
  drawn.erase(std::unique(drawn.begin(), drawn.end()), drawn.end());
  for (std::size_t i = drawn.size(); i > 1; --i) std::swap(drawn[i - 1], drawn[dice.Below(i)]);
  return drawn;
}

double FarthestOf(std::span<const std::uint32_t> indices, std::span<const Vector3d> points,
                  const Vector3d& place) {
  double squared = 0;
  for (const std::uint32_t i : indices) squared = std::max(squared, (points[i] - place).squaredNorm());
  return std::sqrt(squared);
}

std::vector<std::uint32_t> PointsWithin(double bound, const Model& model, std::span<const Vector3d> points) {
  constexpr std::size_t kBlock = 1024;
  double distances[kBlock];
  std::vector<std::uint32_t> within;
  for (std::size_t begin = 0; begin < points.size(); begin += kBlock) {
    const std::size_t n = std::min(kBlock, points.size() - begin);
    Distances(model, points.data() + begin, static_cast<int>(n), distances);
    for (std::size_t i = 0; i < n; ++i) {
      if (distances[i] <= bound) within.push_back(static_cast<std::uint32_t>(begin + i));
    }
  }
  return within;
}

}  // namespace primfit::adaptive
