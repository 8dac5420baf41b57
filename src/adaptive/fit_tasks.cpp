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
/// The bound of a candidate that has the noise of few points besides its own, in bounds of the told noise. A
/// wider one would let two surfaces pass for one.
constexpr double kMostOfTold = 2;
/// The smallest bound that a score may choose: what the options say, else what coordinates on a grid leave,
/// as points that were rounded so lie on many shapes that the thing scanned never had.
double LeastBound(bool curve, const FitOptionsBase& options, Scene& scene) {
  if (options.tolerance) return *options.tolerance;
  if (options.noise) return InlierBound(curve, *options.noise);
  return InlierBound(curve, scene.CoordinateResolution().GridStep() / std::sqrt(12.0));
}

}  // namespace

bool IsNoiseKnown(const FitOptionsBase& options) { return options.noise || options.tolerance; }

SearchTask SearchTaskOf(ShapeKind kind, const Plausible& plausible, const FitOptionsBase& options,
                        const Start& start, const Units& units, Scene& scene) {
  SearchTask task{.kind = kind, .plausible = plausible.In(units)};
  task.held = start.held;
  task.evaluatesStart = start.model.has_value();
  if (start.model) task.start = units.Into(*start.model);
  const double least = LeastBound(task.IsOfCurve(), options, scene) / units.size;
  task.bounds.least = std::clamp(least, kLeastBound, kLargestBound);
  task.bounds.most = kLargestBound;
  if (IsNoiseKnown(options)) task.bounds.most = std::min(kLargestBound, kMostOfTold * task.bounds.least);
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
