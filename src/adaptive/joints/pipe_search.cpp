#include "adaptive/joints/pipe_search.h"

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

#include "adaptive/search/rival_search.h"

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// Draws for one pipe.
constexpr int kDraws = 1000;
/// The points of a pipe lie within so many of its tolerances.
constexpr double kTolerancesOfPipe = 2;

/// The cylinder in the unit of the scene, and the middle of its points: their median along the axis.
std::optional<FoundPipe> PipeOf(const Hypothesis& found, const Sample& sample, const FreePoints& free,
                                std::span<const double> distances) {
  std::vector<double> along;
  for (std::size_t k = 0; k < free.Count(); ++k) {
    if (distances[free[k]] <= found.score.tolerance)
      along.push_back((sample.points[free[k]] - found.model.center).dot(found.model.axis));
  }
  if (along.empty()) return std::nullopt;
  const auto middle = along.begin() + static_cast<std::ptrdiff_t>(along.size() / 2);
  std::nth_element(along.begin(), middle, along.end());
  const Model cylinder = sample.units.Back(found.model);
  return FoundPipe{cylinder, cylinder.center + *middle * sample.units.size * cylinder.axis};
}

}  // namespace

std::optional<FoundPipe> FindPipe(const PipeSearchTask& task, Sample& sample, FreePoints& free, Dice& dice,
                                  Budget& budget) {
  FitOptionsBase options;
  options.radius = task.radius;
  // The middle of the sample is no origin that matters: nothing is said of the pipe's place.
  const Plausible plausible(ShapeKind::kCylinder, options, Vector3d::Zero(), 0);
  SearchTask search{.kind = ShapeKind::kCylinder, .plausible = plausible.In(sample.units)};
  search.bounds = {.least = task.least / sample.units.size, .most = task.most / sample.units.size};
  search.confidence = task.confidence;
  const ScopedDraws draws(budget, kDraws);
  FreePoints before = std::exchange(sample.free, free);
  SearchOutcome outcome = SearchNested(search, task.isNoiseKnown, sample, dice, budget);
  outcome = SearchRivals(std::move(outcome), search, task.isNoiseKnown, sample, dice, budget);
  sample.free = std::move(before);
  if (outcome.found.empty() || !outcome.found[0].IsWanted()) return std::nullopt;
  const Hypothesis& found = outcome.found[0];
  std::vector<double> distances(sample.points.size());
  Distances(found.model, sample.points.data(), static_cast<int>(distances.size()), distances.data());
  const auto pipe = PipeOf(found, sample, free, distances);
  free.Remove([&](std::size_t i) { return distances[i] <= kTolerancesOfPipe * found.score.tolerance; });
  return pipe;
}

}  // namespace primfit::adaptive
