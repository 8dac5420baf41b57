#include "adaptive/find_shape.h"

#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

#include "adaptive/converge/converge_in_stages.h"
#include "adaptive/find_at_place.h"
#include "adaptive/fit_few_points.h"
#include "adaptive/scene/plausible.h"
#include "adaptive/search/nested_search.h"
#include "adaptive/search/rival_search.h"
#include "fit/messages.h"

namespace primfit::adaptive {

namespace {

/// The shape of the first hypothesis that converges to one which stands out, none where none does.
std::optional<Converged> ConvergeFirst(const std::vector<Hypothesis>& hypotheses, ConvergeTask task,
                                       bool isNoiseKnown, const Sample& sample, const Scene& scene,
                                       Budget& budget) {
  for (const Hypothesis& hypothesis : hypotheses) {
    task.startTolerance = hypothesis.score.tolerance * sample.units.size;
    auto converged =
        ConvergeInStages(sample.units.Back(hypothesis.model), task, sample, CloudOf(scene), budget);
    if (converged && StandsOut(*converged, converged->justBeyond, *task.plausible, isNoiseKnown, task.size))
      return converged;
  }
  return std::nullopt;
}

/// Refuses what has no answer whatever the points are, and too few points for the free parameters.
void RequirePossible(ShapeKind kind, const Scene& scene, const Start& start) {
  const FreeParameters parameters = FreeParametersOf(Model{.kind = kind, .major = 2, .minor = 1}, start.held);
  if (parameters.count == 0) throw FitError(messages::kOverConstrained);
  if (start.model) RequireUsable(*start.model, start.held);
  if (scene.Points().size() <= static_cast<std::size_t>(parameters.count))
    throw FitError(messages::kNotEnoughPoints);
}

}  // namespace

// The random numbers continue from stage to stage, so the order of the calls below decides which samples are
// drawn.
Outcome FindShape(ShapeKind kind, Scene& scene, const FitOptionsBase& options, const Start& start,
                  Budget& budget) {
  RequirePossible(kind, scene, start);
  const bool isNoiseKnown = IsNoiseKnown(options);
  const Plausible plausible(kind, options, scene.Origin(), start.held);
  Dice dice(SeedOf(options));
  if (options.passes) {
    if (auto outcome = FindAtPlace(kind, plausible, options, start, scene, dice, budget))
      return *std::move(outcome);
  }
  Sample& sample = scene.RandomSample(dice);
  if (!(sample.units.size > 0)) throw FitError(messages::kNothingStandsOut);
  const SearchTask searchTask = SearchTaskOf(kind, plausible, options, start, sample.units, scene);
  SearchOutcome search = SearchNested(searchTask, isNoiseKnown, sample, dice, budget);
  search = SearchRivals(std::move(search), searchTask, isNoiseKnown, sample, dice, budget);
  const ConvergeTask task = ConvergeTaskOf(plausible, options, start, sample.units.size, scene);
  auto converged = ConvergeFirst(search.found, task, isNoiseKnown, sample, scene, budget);
  if (AreFew(scene.Points().size())) {
    if (auto outcome = FitFewPoints(kind, converged, scene, options, start, budget))
      return *std::move(outcome);
  }
  if (converged) return OutcomeOf(*std::move(converged), search, start, options, scene, budget);
  budget.RequireMore();
  throw FitError(messages::kNothingStandsOut);
}

}  // namespace primfit::adaptive
