#include "adaptive/find_shape.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

#include "adaptive/converge/noise.h"
#include "adaptive/evidence/report.h"
#include "adaptive/evidence/simpler_shape.h"
#include "adaptive/evidence/verdict.h"
#include "adaptive/scene/plausible.h"
#include "adaptive/search/nested_search.h"
#include "adaptive/search/rival_search.h"
#include "fit/messages.h"

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// Smallest bound of an inlier, in sizes of the cloud, for exact points: a smaller one would be rounding. And
/// the largest: a band of a quarter of the size on either side holds most points of any cloud.
constexpr double kLeastBound = 1e-7;
constexpr double kLargestBound = 0.25;
/// The bounds that a score may choose where the noise is told, in inlier bounds of that noise. Few points may
/// happen to lie much closer to their shape, and then a wide bound proves nothing. A candidate has the noise
/// of few points besides its own, but a still wider bound would let two surfaces pass for one.
constexpr double kLeastOfTold = 0.25, kMostOfTold = 2;
/// By how much points are denser near a shape than next to it. Points anywhere are as dense, and the middle
/// of a cloud is denser than its rim, so a little more proves nothing.
constexpr double kStandsOut = 2;
/// Noise that blurs a shape of the cloud's size beyond recognition: some bent band fits any cloud so.
constexpr double kCoarsestNoise = 0.08;
/// Points on which a fit converges before it looks at all of them: most is learned from few at little cost.
/// They have to be less than a quarter of all to be worth a stage of their own.
constexpr std::size_t kFirstStages[] = {2048, 8192};
constexpr std::size_t kLeastTimesMore = 4;

/// Whether the caller has said how coarse a shape may be. Then no test refuses a shape for its coarseness.
bool IsNoiseKnown(const FitOptionsBase& options) { return options.noise || options.tolerance; }

/// The bounds that a score may choose among, in units of the cloud: what the options say, else what
/// coordinates on a grid leave, as points that were rounded so lie on many shapes that the thing scanned
/// never had.
ScoreBounds BoundsOf(bool curve, const FitOptionsBase& options, Scene& scene, const Units& units) {
  const auto inRange = [&](double bound) {
    return std::clamp(bound / units.size, kLeastBound, kLargestBound);
  };
  const double grid = InlierBound(curve, scene.CoordinateResolution().GridStep() / std::sqrt(12.0));
  if (!IsNoiseKnown(options)) return {.least = inRange(grid), .most = kLargestBound};
  const double told = options.tolerance ? *options.tolerance : InlierBound(curve, *options.noise);
  return {.least = inRange(std::min(told, std::max(grid, kLeastOfTold * told))),
          .most = inRange(kMostOfTold * told)};
}

/// What the options and constraints say, in the units of the sample.
SearchTask SearchTaskOf(ShapeKind kind, const Plausible& plausible, const FitOptionsBase& options,
                        const Start& start, const Units& units, Scene& scene) {
  SearchTask task{.kind = kind, .plausible = plausible.In(units)};
  task.held = start.held;
  task.evaluatesStart = start.model.has_value();
  if (start.model) task.start = units.Into(*start.model);
  task.bounds = BoundsOf(task.IsOfCurve(), options, scene, units);
  task.confidence = options.confidence;
  if (options.outlierShare) task.inlierShare = 1 - *options.outlierShare;
  if (options.passes) task.passes = units.Into(*options.passes - scene.Origin());
  return task;
}

/// The first points of the sample, relative to the scene's origin.
/// They are copied from the scene, since a change of units and back would change their last bits.
std::vector<Vector3d> FirstPoints(const Sample& sample, const Scene& scene, std::size_t count) {
  std::vector<Vector3d> points(std::min(count, sample.indices.size()));
  std::transform(sample.indices.begin(), sample.indices.begin() + static_cast<std::ptrdiff_t>(points.size()),
                 points.begin(), [&](std::uint32_t i) { return scene.Points()[i]; });
  return points;
}

/// Converges on growing parts of the sample, then on all points. The shape of a part is so near the final one
/// that all points need only a few rounds; each stage takes over one of the rounds with fading weights.
std::optional<Converged> ConvergeInStages(const Hypothesis& from, ConvergeTask task, const Sample& sample,
                                          Scene& scene, Budget& budget) {
  Model at = sample.units.Back(from.model);
  task.startTolerance = from.score.tolerance * sample.units.size;
  const std::vector<double> weights = NoiseWeights(sample.trust);
  for (const std::size_t count : kFirstStages) {
    const std::size_t least = kLeastTimesMore * std::min(count, sample.indices.size());
    if (least > scene.Points().size() || budget.IsOver()) break;
    const std::vector<Vector3d> points = FirstPoints(sample, scene, count);
    task.points = points;
    task.noiseWeights = std::span(weights).first(std::min(weights.size(), count));
    const auto result = Converge(at, task, budget);
    if (!result) return std::nullopt;
    at = result->model;
    task.startTolerance = InlierBound(at.IsCurve(), result->noise);
    --task.fadingRounds;
  }
  const std::vector<double> allWeights = NoiseWeights(scene.Trust());
  task.points = scene.Points();
  task.sqrtWeights = scene.SqrtWeights();
  task.noiseWeights = allWeights;
  return Converge(at, task, budget);
}

/// Whether a shape is one: points that lie anywhere are as dense beyond the tolerance as within; about a
/// curve there is thrice the room.
bool StandsOut(const Converged& c, const Plausible& plausible, bool isNoiseKnown, double size) {
  if (!plausible.Passes(c.model, c.tolerance)) return false;
  const double beyond = static_cast<double>(c.justBeyond) / (c.model.IsCurve() ? 3 : 1);
  return isNoiseKnown ||
         (static_cast<double>(c.inliers.size()) >= kStandsOut * beyond && c.noise <= kCoarsestNoise * size);
}

/// The shape of the first hypothesis that converges to one which stands out.
/// @throws FitError where none does
Converged ConvergeFirst(const std::vector<Hypothesis>& hypotheses, const ConvergeTask& task,
                        bool isNoiseKnown, const Sample& sample, Scene& scene, Budget& budget) {
  for (const Hypothesis& hypothesis : hypotheses) {
    auto converged = ConvergeInStages(hypothesis, task, sample, scene, budget);
    if (converged && StandsOut(*converged, *task.plausible, isNoiseKnown, task.size))
      return *std::move(converged);
  }
  budget.RequireMore();
  throw FitError(messages::kNothingStandsOut);
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
  Sample& sample = scene.RandomSample(dice);
  if (!(sample.units.size > 0)) throw FitError(messages::kNothingStandsOut);
  const SearchTask searchTask = SearchTaskOf(kind, plausible, options, start, sample.units, scene);
  SearchOutcome search = SearchNested(searchTask, isNoiseKnown, sample, dice, budget);
  search = SearchRivals(std::move(search), searchTask, isNoiseKnown, sample, dice, budget);
  ConvergeTask task{.held = start.held, .noise = options.noise, .tolerance = options.tolerance};
  task.plausible = &plausible;
  task.size = sample.units.size;
  task.resolution = &scene.CoordinateResolution();
  Outcome outcome;
  outcome.converged = ConvergeFirst(search.found, task, isNoiseKnown, sample, scene, budget);
  outcome.model = outcome.converged.model;
  outcome.covariance = CovarianceOf(outcome.converged, start.held);
  // A size that the caller holds means what it says, whatever else the points are like.
  if ((start.held & (kMajor | kMinor)) == 0)
    outcome.simpler = SimplerThan(outcome.converged, scene.Points(), scene.SqrtWeights());
  outcome.report =
      ReportOf(outcome.converged, outcome.covariance, outcome.simpler, search, scene, options, budget);
  return outcome;
}

}  // namespace primfit::adaptive
