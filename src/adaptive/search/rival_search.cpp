#include "adaptive/search/rival_search.h"

#include <algorithm>
#include <cstddef>
#include <span>
#include <utility>
#include <vector>

namespace primfit::adaptive {

namespace {

/// Fewer points than this share of all, or for each way in which a shape can change, are not searched for a
/// shape of their own: among few some lie near one by chance.
constexpr double kLeastShare = 0.02;
constexpr int kLeastPerParameter = 10;
/// Points by which a rival across is compared with the best beside.
constexpr std::size_t kCompared = 2048;
/// The points of a shape lie within so many of its tolerances.
constexpr double kTolerancesOfShape = 2;

/// Marks the points of a shape as taken. Twice the tolerance, since points just outside are the shape's as
/// well and would make a thin shape of their own.
void TakePointsOf(const Hypothesis& shape, Sample& sample) {
  std::vector<double> distances(sample.points.size());
  Distances(shape.model, sample.points.data(), static_cast<int>(distances.size()), distances.data());
  const double bound = kTolerancesOfShape * shape.score.tolerance;
  sample.free.Remove([&](std::size_t i) { return distances[i] <= bound; });
}

bool AreEnough(std::size_t points, std::size_t all, const Model& model) {
  const auto n = static_cast<double>(points);
  return n >= kLeastShare * static_cast<double>(all) &&
         n >= kLeastPerParameter * FreeParametersOf(model, 0).count;
}

void Prepend(const std::vector<Hypothesis>& more, std::vector<Hypothesis>& found) {
  found.insert(found.begin(), more.begin(), more.end());
}

/// Whether a wanted shape across the unwanted one that was found first is to be preferred to the best found
/// beside it.
bool IsPreferred(const Hypothesis& across, const Hypothesis& unwanted, const Hypothesis& best,
                 const ScoreBounds& bounds, const Sample& sample) {
  if (!(across.score.tolerance < unwanted.score.tolerance)) return false;
  if (!best.IsWanted()) return true;
  const std::span<const Eigen::Vector3d> all(sample.points);
  Scorer scorer(best.model.IsCurve(), all.first(std::min(all.size(), kCompared)), bounds, 0);
  return scorer(best.model).value < across.score.value;
}

}  // namespace

// Whatever is found beside may itself be unwanted, as of two walls; so this goes on until something wanted is
// found or too few points are left. Hypotheses found later come before those found earlier, and those that
// the options allow before the others, which are answers only with parts at an end of their range.
SearchOutcome SearchRivals(SearchOutcome outcome, SearchTask task, bool isNoiseKnown, Sample& sample,
                           Dice& dice, Budget& budget) {
  std::vector<Hypothesis>& found = outcome.found;
  if (found.empty() || found.front().IsWanted()) return outcome;
  const auto firstWanted =
      std::find_if(found.begin(), found.end(), [](const Hypothesis& h) { return h.IsWanted(); });
  const std::vector<Hypothesis> across(firstWanted, found.end());
  found.erase(firstWanted, found.end());
  task.evaluatesStart = false;
  while (!found.front().IsWanted()) {
    TakePointsOf(found.front(), sample);
    if (!AreEnough(sample.free.Count(), sample.points.size(), found.front().model)) break;
    const SearchOutcome rivals = SearchNested(task, isNoiseKnown, sample, dice, budget);
    outcome.why = rivals.why;
    outcome.refinements += rivals.refinements;
    if (rivals.found.empty()) break;
    Prepend(rivals.found, found);
  }
  if (!across.empty() && across[0].score.value >= kSignificant) {
    const bool first = IsPreferred(across[0], found.back(), found.front(), task.bounds, sample);
    found.insert(found.begin() + (first ? 0 : 1), across.begin(), across.end());
  }
  std::stable_partition(found.begin(), found.end(), [](const Hypothesis& h) { return h.isAllowed; });
  return outcome;
}

}  // namespace primfit::adaptive
