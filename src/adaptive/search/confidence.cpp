#include "adaptive/search/confidence.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "adaptive/search/oriented.h"

namespace primfit::adaptive {

// log1p keeps the digits of small chances, which most draws have.
double NatsOfDraw(double inlierShare, std::size_t sample, double efficiency) {
  return -std::log1p(-efficiency * std::pow(inlierShare, static_cast<double>(sample)));
}

// Draws go through the tiers in turn, and every second round of them is of oriented points, so each of the
// two kinds of draw in each tier is 1 / (2 tiers) of all.
double NatsOfRankedDraw(const Hypothesis& leader, double inlierShare, const MinimalSolver& solver,
                        const RankedPoints& ranked) {
  std::vector<double> distances(ranked.points.size());
  Distances(leader.model, ranked.points.data(), static_cast<int>(distances.size()), distances.data());
  const auto shareOf = [&](std::size_t tier) {
    const auto inliers =
        std::count_if(distances.begin(), distances.begin() + static_cast<std::ptrdiff_t>(tier),
                      [&](double d) { return d <= leader.score.tolerance; });
    return static_cast<double>(inliers) / static_cast<double>(tier) * inlierShare / leader.score.share;
  };
  const auto oriented = solver.orientedSampleSize;
  double nats = 0;
  for (int tier = 0; tier < ranked.tiers; ++tier) {
    const std::size_t points = TierSize(ranked.points.size(), tier, solver.sampleSize);
    const std::size_t local = TierSize(ranked.local.size(), tier, solver.sampleSize);
    nats += NatsOfDraw(shareOf(points), solver.sampleSize, solver.efficiency) / (2 * ranked.tiers);
    nats += NatsOfDraw(shareOf(local), oriented, solver.orientedEfficiency) / (2 * ranked.tiers);
  }
  return nats;
}

double ShareOfConfidence(int draws, double natsOfDraw, double confidence) {
  return draws * natsOfDraw / std::log(1 / (1 - confidence));
}

}  // namespace primfit::adaptive
