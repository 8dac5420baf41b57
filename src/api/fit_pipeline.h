#ifndef PRIMFIT_SRC_API_FIT_PIPELINE_H_
#define PRIMFIT_SRC_API_FIT_PIPELINE_H_

// The one pipeline of all parameterised fits, as a template over a description of the primitive. FitShape at
// the end names its steps in order; what is above it are the steps.

#include <Eigen/Core>
#include <algorithm>
#include <concepts>
#include <limits>
#include <memory>
#include <span>

#include "api/working_set.h"
#include "fit/fit_memory.h"
#include "fit/messages.h"
#include "primfit/fit/fit_error.h"
#include "primfit/fit/fit_input_params.h"
#include "primfit/fit/fit_output.h"
#include "primfit/fit/fit_progress_updater.h"
#include "primfit/shapes/output_shape.h"
#include "shapes/kernels/batch.h"

namespace primfit {

/// A value within its range; one that is not a number counts as the least.
inline double Within(double low, double value, double high) {
  return value > low ? std::min(value, high) : low;
}

/// What a fit uses of its input record, each value within its range.
struct ClampedParams {
  ClampedParams(const FitInputParamsBase& params, double recordScannerError)
      : sampleSize(std::max(2, params.SampleSize())),
        successProbability(Within(0, params.SuccessProbability(), 0.99)),
        // 1 - 0.9 rounds below 0.1, which a search would refuse.
        goodSampleRate(std::max(0.1, 1 - Within(0, params.OutlierPercentage(), 0.9))),
        scannerError(Within(0, recordScannerError, 1)),
        distance(Within(0.001, params.InlierDistanceThreshold(), std::numeric_limits<double>::infinity())) {}

  int sampleSize;
  double successProbability;
  double goodSampleRate;
  double scannerError;
  double distance;
};

/// What a fit found, in its working frame.
template <class S>
struct Fitted {
  /// @param n    number of the caller's points
  /// @param all  whether all of them are used
  Fitted(int n, bool all)
      : memory(WorkingSet::BytesForFit(static_cast<std::uint64_t>(std::max(n, 0)), !all)) {}
  const S& Shape() const { return static_cast<const S&>(*shape); }

  FitMemory memory;
  WorkingSet used;
  std::unique_ptr<OutputShape> shape;
  std::span<const Eigen::Vector3d> close;  // the points that the quality is of
  Scratch<Eigen::Vector3d> selected;       // where they are a choice
  FitQuality quality;
  bool held = false;  // whether the constraints' parts were held
};

/// What a primitive tells the pipeline; api/primitives.h describes each.
template <class P>
concept PipelinePrimitive = requires(const typename P::Constraints& constraints,
                                     const typename P::StartRecord& record, const typename P::Shape* start,
                                     typename P::Optimizer& optimizer, const Eigen::Vector3d& origin,
                                     int held, double scannerError, bool flag) {
  typename P::Search;
  { P::kFixable } -> std::convertible_to<int>;
  { P::NeedsStart(flag) } -> std::same_as<bool>;
  { P::NotProvided() } -> std::convertible_to<Failure>;
  { P::Failed() } -> std::convertible_to<Failure>;
  { P::PoorQuality() } -> std::convertible_to<Failure>;
  { P::StartOf(constraints) } -> std::convertible_to<const typename P::StartRecord*>;
  { P::StartShape(record, origin) } -> std::same_as<std::unique_ptr<const typename P::Shape>>;
  { P::MakeOptimizer(scannerError, flag, start, &record, origin) } -> std::same_as<typename P::Optimizer>;
  { P::Hold(constraints, record, origin, optimizer) } -> std::same_as<int>;
  { P::CanHold(constraints, record, flag) } -> std::same_as<bool>;
  { P::StartsFromConstraints(flag) } -> std::same_as<bool>;
  { P::SkipsSearch(flag, flag) } -> std::same_as<bool>;
  { P::RefinesInSearch(held, scannerError) } -> std::same_as<bool>;
  { P::RefinesAfterSearch(held) } -> std::same_as<bool>;
};

/// The search and the refinement that follows it.
template <PipelinePrimitive P>
std::unique_ptr<OutputShape> SearchShape(const WorkingSet& set, const ClampedParams& limits,
                                         const typename P::Optimizer& optimizer, int held, bool optimizeOnce,
                                         FitProgressUpdater* updater, bool earlyStop) {
  typename P::Search search(set.Count(), set.Points(), limits.sampleSize, limits.successProbability,
                            limits.goodSampleRate, limits.scannerError, limits.distance);
  search.SetUpdater(updater);
  search.SetEarlyStop(earlyStop);
  if (!optimizeOnce && P::RefinesInSearch(held, limits.scannerError)) search.SetOptimizer(&optimizer);
  std::unique_ptr<OutputShape> result(search.Solve());
  if (result && optimizeOnce && P::RefinesAfterSearch(held)) {
    result.reset(optimizer.Optimize(set.Count(), set.Points(), result.get()));
  }
  return result;
}

inline void RequirePoints(const Eigen::Vector3d* points, int n) {
  if (points == nullptr || n < 1) throw FitError(messages::kPointsMissing);
}

/// Takes the caller's points into the working frame.
/// @throws FitError "Points are not provided" for a null array, n < 1, or no finite point
inline void TakePoints(const Eigen::Vector3d* points, int n, bool all, WorkingSet& set) {
  RequirePoints(points, n);
  set.Sample(points, static_cast<std::uint64_t>(n), WorkingSet::kCap, !all);
  if (set.Count() == 0) throw FitError(messages::kPointsMissing);
}

/// Selects the points within the limits' distance, or all.
/// @return false for none
template <class S>
bool SelectClose(const ClampedParams& limits, bool all, Fitted<S>& fitted) {
  const WorkingSet& set = fitted.used;
  fitted.close = {set.Points(), static_cast<std::size_t>(set.Count())};
  if (all) return true;
  fitted.selected = Scratch<Eigen::Vector3d>(fitted.close.size() + 1);
  fitted.shape->SetDistSqrdThreshod(limits.distance);
  const int count = SelectClose(*fitted.shape, set.Points(), set.Count(), fitted.selected.data());
  fitted.close = {fitted.selected.data(), static_cast<std::size_t>(count)};
  return count > 0;
}

/// Measures the close points. A fit is good when half of their distances are below the scanner error and four
/// fifths below twice the scanner error.
/// @param anyQuality  accepts every fit
/// @throws FitError poorQuality
template <class S>
void AssessQuality(const ClampedParams& limits, bool anyQuality, const Failure& poorQuality,
                   Fitted<S>& fitted) {
  fitted.quality = fitted.shape->CalculateQuality(limits.scannerError, static_cast<int>(fitted.close.size()),
                                                  fitted.close.data());
  if (!anyQuality && !fitted.quality.histogram.Successful(0.5, 0.8)) throw FitError(poorQuality);
}

/// The one pipeline: check, take the points, start shape, holds, search, refine, select, assess. P describes
/// the primitive; the entry point converts what comes out.
template <PipelinePrimitive P>
Fitted<typename P::Shape> RunPipeline(const Eigen::Vector3d* points, int n,
                                      const FitInputParams<typename P::Constraints>& params,
                                      FitProgressUpdater* updater, bool earlyStop = false) {
  const auto* constraints = params.Constraints();
  const auto* record = constraints != nullptr ? P::StartOf(*constraints) : nullptr;
  if (P::NeedsStart(params.SkipEstimator()) && record == nullptr) throw FitError(P::NotProvided());
  const bool all = params.SampleSize() == n;
  RequirePoints(points, n);
  Fitted<typename P::Shape> fitted(n, all);
  WorkingSet& set = fitted.used;
  TakePoints(points, n, all, set);

  const ClampedParams limits(params, params.ScannerError());
  const bool fromStart = P::StartsFromConstraints(params.SkipEstimator());
  const auto start = fromStart ? P::StartShape(*record, set.Origin()) : nullptr;
  auto optimizer = P::MakeOptimizer(limits.scannerError, fromStart || params.OptimizeOnce(), start.get(),
                                    record, set.Origin());
  const int held = record != nullptr ? P::Hold(*constraints, *record, set.Origin(), optimizer) : 0;
  if (held == P::kFixable) throw FitError(messages::kOverConstrained);
  if (record != nullptr && !P::CanHold(*constraints, *record, fromStart))
    throw FitError(messages::kHeldUnusable);
  fitted.held = held > 0;

  if (P::SkipsSearch(fromStart, params.OptimizeOnce())) {
    fitted.shape.reset(optimizer.Optimize(set.Count(), set.Points(), start.get()));
  } else {
    fitted.shape = SearchShape<P>(set, limits, optimizer, held, params.OptimizeOnce(), updater, earlyStop);
  }
  if (!fitted.shape) throw FitError(P::Failed());
  if (!SelectClose(limits, all, fitted)) throw FitError(P::PoorQuality());
  AssessQuality(limits, params.OutputAnyQuality(), P::PoorQuality(), fitted);
  return fitted;
}

/// RunPipeline and the conversion into P's record.
template <PipelinePrimitive P>
FitOutput<typename P::Record> FitFromPoints(const Eigen::Vector3d* points, int n,
                                            const FitInputParams<typename P::Constraints>& params,
                                            FitProgressUpdater* updater, bool earlyStop = false) {
  const auto fitted = RunPipeline<P>(points, n, params, updater, earlyStop);
  return {P::ToRecord(fitted, fitted.held ? params.Constraints() : nullptr), fitted.quality};
}

}  // namespace primfit

#endif  // PRIMFIT_SRC_API_FIT_PIPELINE_H_
