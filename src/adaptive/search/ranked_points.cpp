#include "adaptive/search/ranked_points.h"

#include <algorithm>
#include <span>
#include <utility>

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// Points of which the neighbours are looked at; a shape that is rarer among these than in one of some
/// hundred points is not found anyway.
constexpr std::size_t kWithNeighbours = 1024;
/// The smallest tier is the best eighth, which is nearly free of clutter.
constexpr int kTiers = 4;
/// About a place the neighbourhoods reach from the whole sample down to a hundredth of it.
constexpr int kTiersAround = 8;
constexpr std::size_t kLeastTier = 4;  // minimal samples

/// The first free points. The sample is in random order, so these are a random choice.
std::vector<std::size_t> FreeIndices(const Sample& sample, std::size_t most) {
  std::vector<std::size_t> indices(std::min(sample.free.Count(), most));
  for (std::size_t k = 0; k < indices.size(); ++k) indices[k] = sample.free[k];
  return indices;
}

std::vector<LocalGeometry> LocalGeometryOf(const Sample& sample, std::span<const std::size_t> at,
                                           bool curve) {
  return LocalGeometryAt(sample.points, sample.neighbours, sample.free,
                         at.first(std::min(at.size(), kWithNeighbours)), curve);
}

}  // namespace

// Points of equal variation are ordered by index, so that the order does not depend on the sort of the
// standard library.
RankedPoints RankByVariation(const Sample& sample, bool curve) {
  RankedPoints ranked{kTiers, {}, LocalGeometryOf(sample, FreeIndices(sample, kWithNeighbours), curve)};
  std::sort(ranked.local.begin(), ranked.local.end(), [](const LocalGeometry& a, const LocalGeometry& b) {
    return std::pair(a.variation, a.index) < std::pair(b.variation, b.index);
  });
  for (const LocalGeometry& at : ranked.local) ranked.points.push_back(sample.points[at.index]);
  return ranked;
}

RankedPoints RankByDistance(const Sample& sample, const Vector3d& from, bool curve) {
  std::vector<std::size_t> order = FreeIndices(sample, sample.free.Count());
  std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
    return (sample.points[a] - from).squaredNorm() < (sample.points[b] - from).squaredNorm();
  });
  RankedPoints ranked{kTiersAround, {}, LocalGeometryOf(sample, order, curve)};
  for (const std::size_t i : order) ranked.points.push_back(sample.points[i]);
  return ranked;
}

std::size_t TierSize(std::size_t count, int tier, std::size_t minimalSample) {
  return std::max(count >> tier, std::min(count, kLeastTier * minimalSample));
}

}  // namespace primfit::adaptive
