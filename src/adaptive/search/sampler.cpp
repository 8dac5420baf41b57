#include "adaptive/search/sampler.h"

#include <algorithm>
#include <memory>
#include <numeric>
#include <utility>

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// Draws by trust for one sample; where few points have most of it, the others have to come in as well.
constexpr int kMostDrawsByTrust = 32;
/// Among how many oriented points the one nearest to the first is taken, in turn: shapes are small and large.
constexpr std::array<int, 3> kNeighbourRivals = {1, 4, 16};

/// In the order of the free points.
std::vector<double> TrustOfFree(const Sample& sample) {
  if (sample.trust.empty()) return {};
  std::vector<double> trust(sample.free.Count());
  for (std::size_t k = 0; k < trust.size(); ++k) trust[k] = sample.trust[sample.free[k]];
  return trust;
}

/// The shape that the solver makes of the points `pointAt(i)` with different random numbers i. A point that
/// is drawn twice determines nothing, so numbers are drawn until all differ.
template <class DrawIndex, class PointAt>
Candidates ThroughPoints(const MinimalSolver& solver, const DrawIndex& drawIndex, const PointAt& pointAt) {
  std::array<Vector3d, kLargestSample> points;
  std::array<std::size_t, kLargestSample> drawn{};
  for (std::size_t i = 0; i < solver.sampleSize; ++i) {
    do {
      drawn[i] = drawIndex();
    } while (std::find(drawn.begin(), drawn.begin() + i, drawn[i]) != drawn.begin() + i);
    points[i] = pointAt(drawn[i]);
  }
  const std::unique_ptr<OutputShape> shape(
      solver.estimate(static_cast<int>(solver.sampleSize), points.data()));
  Candidates candidates;
  if (shape) candidates.models[static_cast<std::size_t>(candidates.count++)] = ModelOf(*shape);
  return candidates;
}

/// The candidates through a few oriented points of a tier.
/// @param rivals  see DrawNearEachOther
Candidates ThroughOrientedPoints(const MinimalSolver& solver, std::span<const LocalGeometry> tier, int rivals,
                                 Dice& dice) {
  const std::size_t size = solver.orientedSampleSize;
  if (tier.size() < size) return {};
  const auto drawn = DrawNearEachOther(tier, size, rivals, dice);
  std::array<OrientedPoint, kMostOriented> points;
  for (std::size_t i = 0; i < size; ++i) points[i] = {tier[drawn[i]].position, tier[drawn[i]].direction};
  return solver.throughOriented(std::span(points).first(size));
}

}  // namespace

WeightedDraw::WeightedDraw(std::vector<double> weights) : sums_(std::move(weights)) {
  std::partial_sum(sums_.begin(), sums_.end(), sums_.begin());
}

std::size_t WeightedDraw::Draw(Dice& dice) const {
  const auto at = std::lower_bound(sums_.begin(), sums_.end() - 1, dice.Share() * sums_.back());
  return static_cast<std::size_t>(at - sums_.begin());
}

// To look for the nearest of all points would always take the same neighbours; the nearest of a few that are
// drawn is near enough and differs from draw to draw.
std::array<std::size_t, kMostOriented> DrawNearEachOther(std::span<const LocalGeometry> local,
                                                         std::size_t size, int rivals, Dice& dice) {
  std::array<std::size_t, kMostOriented> drawn{};
  for (std::size_t i = 0; i < size; ++i) {
    const auto end = drawn.begin() + static_cast<std::ptrdiff_t>(i);
    const auto isDrawn = [&](std::size_t index) { return std::find(drawn.begin(), end, index) != end; };
    const auto squaredDistance = [&](std::size_t index) {
      return (local[index].position - local[drawn[0]].position).squaredNorm();
    };
    for (int rival = 0; rival < (i == 0 ? 1 : rivals); ++rival) {
      std::size_t index = dice.Below(local.size());
      while (isDrawn(index)) index = dice.Below(local.size());
      if (rival == 0 || squaredDistance(index) < squaredDistance(*end)) *end = index;
    }
  }
  return drawn;
}

Sampler::Sampler(ShapeKind kind, const Sample& from)
    : solver(MinimalSolverOf(kind)), sample(from), byTrust(TrustOfFree(from)) {}

Candidates DrawFromAnywhere(const Sampler& sampler, int draw, Dice& dice) {
  const std::size_t count = sampler.sample.free.Count();
  const auto pointAt = [&](std::size_t k) { return sampler.sample.points[sampler.sample.free[k]]; };
  if (sampler.sample.trust.empty() || draw % 2 == 0)
    return ThroughPoints(
        sampler.solver, [&] { return dice.Below(count); }, pointAt);
  int tries = 0;
  const auto drawByTrust = [&] {
    return ++tries < kMostDrawsByTrust ? sampler.byTrust.Draw(dice) : dice.Below(count);
  };
  return ThroughPoints(sampler.solver, drawByTrust, pointAt);
}

Candidates DrawFromRanked(const Sampler& sampler, const RankedPoints& ranked, int draw, Dice& dice) {
  const int tier = draw % ranked.tiers, cycle = draw / ranked.tiers;
  const std::size_t minimal = sampler.solver.sampleSize;
  if (cycle % 2 == 0) {
    const std::size_t count = TierSize(ranked.points.size(), tier, minimal);
    return ThroughPoints(
        sampler.solver, [&] { return dice.Below(count); }, [&](std::size_t k) { return ranked.points[k]; });
  }
  const std::span<const LocalGeometry> local(ranked.local);
  return ThroughOrientedPoints(sampler.solver, local.first(TierSize(local.size(), tier, minimal)),
                               kNeighbourRivals[cycle / 2 % kNeighbourRivals.size()], dice);
}

}  // namespace primfit::adaptive
