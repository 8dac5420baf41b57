#include "adaptive/fit_tasks.h"

#include <algorithm>
#include <cmath>

#include "adaptive/converge/noise.h"

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
/// The bound of what rounding to the grid of the coordinates leaves.
double BoundOfGrid(bool curve, Scene& scene) {
  return InlierBound(curve, scene.CoordinateResolution().GridStep() / std::sqrt(12.0));
}

/// The bounds that a score may choose among, in units of the cloud: what the options say, else what
/// coordinates on a grid leave, as points that were rounded so lie on many shapes that the thing scanned
/// never had.
ScoreBounds BoundsOf(bool curve, const FitOptionsBase& options, Scene& scene, const Units& units) {
  const auto inRange = [&](double bound) {
    return std::clamp(bound / units.size, kLeastBound, kLargestBound);
  };
  const double bound = LeastBoundOf(curve, options, scene);
  if (!IsNoiseKnown(options)) return {.least = inRange(bound), .most = kLargestBound};
  return {.least = inRange(std::min(bound, std::max(BoundOfGrid(curve, scene), kLeastOfTold * bound))),
          .most = inRange(kMostOfTold * bound)};
}

}  // namespace

bool IsNoiseKnown(const FitOptionsBase& options) { return options.noise || options.tolerance; }

double LeastBoundOf(bool curve, const FitOptionsBase& options, Scene& scene) {
  if (options.tolerance) return *options.tolerance;
  return options.noise ? InlierBound(curve, *options.noise) : BoundOfGrid(curve, scene);
}

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

ConvergeTask ConvergeTaskOf(const Plausible& plausible, const FitOptionsBase& options, const Start& start,
                            double size, Scene& scene) {
  ConvergeTask task{.held = start.held, .noise = options.noise, .tolerance = options.tolerance};
  task.plausible = &plausible;
  task.size = size;
  task.resolution = &scene.CoordinateResolution();
  return task;
}

}  // namespace primfit::adaptive
