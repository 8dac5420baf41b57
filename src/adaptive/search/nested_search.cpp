#include "adaptive/search/nested_search.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include "adaptive/model/divergence.h"

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// A bound within which a finer shape may hide, in sizes of the cloud, and by how much it is finer.
/// Most shapes are finer, and a second search in each of them would cost time for nothing.
constexpr double kCoarseBound = 0.03;
constexpr double kFiner = 3;
/// The share of the draws that the search for it may take.
constexpr double kShareOfDraws = 0.1;
/// Points by which the two are compared.
constexpr std::size_t kCompared = 2048;
/// By how much points are denser near a shape than the noise of a coarser one would have them.
constexpr double kStandsOut = 2;

/// Mean square of the distances of a hypothesis' inliers.
double MeanSquareOf(const Hypothesis& of, const Sample& sample) {
  std::vector<Vector3d> points(std::min(sample.free.Count(), kCompared));
  for (std::size_t k = 0; k < points.size(); ++k) points[k] = sample.points[sample.free[k]];
  std::vector<double> distances(points.size());
  Distances(of.model, points.data(), static_cast<int>(points.size()), distances.data());
  double squares = 0;
  for (const double d : distances) {
    if (d <= of.score.tolerance) squares += d * d;
  }
  return squares / of.score.inliers;
}

/// Whether a finer shape has more points than the normal noise of a coarse one would leave there.
bool StandsOutOfNoise(const Hypothesis& fine, const Hypothesis& coarse, const Sample& sample) {
  const double n = coarse.score.inliers;
  const double ratio = fine.score.tolerance * fine.score.tolerance / MeanSquareOf(coarse, sample);
  const double chance = fine.model.IsCurve() ? 1 - std::exp(-ratio) : std::erf(std::sqrt(ratio / 2));
  const double share = (fine.score.inliers - FreeParametersOf(fine.model, 0).count) / n;
  return share >= kStandsOut * chance && n * Divergence(std::min(share, 1.0), chance) >= kSignificant;
}

/// The search for a finer shape, with a part of the draws. Only bounds that are finer by a good factor count,
/// and chance is measured within the coarse band: there all of its points are, so those far away prove
/// nothing.
SearchOutcome SearchWithin(const Hypothesis& coarse, SearchTask task, const Sample& sample,
                           RankedPoints& ranked, Dice& dice, Budget& budget) {
  task.bounds.leastBackgroundRange = coarse.score.tolerance;
  task.bounds.most = coarse.score.tolerance / kFiner;
  const ScopedDrawLimit limit(budget, budget.Draws() + static_cast<int>(kShareOfDraws * budget.DrawLimit()));
  return Search(task, sample, ranked, dice, budget);
}

}  // namespace

SearchOutcome SearchNested(const SearchTask& task, bool isNoiseKnown, const Sample& sample, Dice& dice,
                           Budget& budget) {
  RankedPoints ranked;
  SearchOutcome outcome = Search(task, sample, ranked, dice, budget);
  if (outcome.found.empty() || outcome.found[0].score.value < kSignificant) {
    outcome.found.clear();
    return outcome;
  }
  const Hypothesis coarse = outcome.found[0];
  if (isNoiseKnown || coarse.score.tolerance <= kCoarseBound) return outcome;
  const SearchOutcome within = SearchWithin(coarse, task, sample, ranked, dice, budget);
  outcome.refinements += within.refinements;
  if (!within.found.empty() && within.found[0].score.value >= kSignificant &&
      StandsOutOfNoise(within.found[0], coarse, sample)) {
    outcome.found.insert(outcome.found.begin(), within.found[0]);
    outcome.why = within.why;
  } else if (within.why != StopReason::kDrawLimit) {
    outcome.why =
        within.why;  // a search whose limit was a tenth of the draws does not say how the whole ended
  }
  return outcome;
}

}  // namespace primfit::adaptive
