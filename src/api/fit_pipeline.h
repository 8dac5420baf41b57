#ifndef PRIMFIT_SRC_API_FIT_PIPELINE_H_
#define PRIMFIT_SRC_API_FIT_PIPELINE_H_

#include <Eigen/Core>
#include <algorithm>
#include <concepts>
#include <memory>
#include <vector>

#include "api/working_set.h"
#include "fit/messages.h"
#include "primfit/fit/fit_error.h"
#include "primfit/fit/fit_input_params.h"
#include "primfit/fit/fit_output.h"
#include "primfit/fit/fit_progress_updater.h"
#include "primfit/shapes/output_shape.h"

namespace primfit {

/// What a fit uses of its input record, each value within its range.
struct FitLimits {
  explicit FitLimits(const FitInputParamsBase& params, double recordScannerError)
      : sampleSize(std::max(2, params.SampleSize())),
        successProbability(std::clamp(params.SuccessProbability(), 0.0, 0.99)),
        // 1 - 0.9 rounds below 0.1, which a search would refuse.
        goodSampleRate(std::max(0.1, 1 - std::clamp(params.OutlierPercentage(), 0.0, 0.9))),
        scannerError(std::clamp(recordScannerError, 0.0, 1.0)),
        distance(std::max(0.001, params.InlierDistanceThreshold())) {}

  int sampleSize;
  double successProbability;
  double goodSampleRate;
  double scannerError;
  double distance;
};

/// What the pipeline leaves behind for the conversion into a record.
struct FittedPoints {
  const WorkingSet& used;
  const std::vector<Eigen::Vector3d>& close;
  const FitQuality& quality;
};

/// What a primitive tells the pipeline; api/primitives.h describes each.
template <class P>
concept Primitive = requires(const typename P::Constraints& constraints, const typename P::Record& record,
                             const typename P::Shape& shape, typename P::Optimizer& optimizer,
                             const Eigen::Vector3d& origin, const FittedPoints& fitted, int held,
                             double scannerError, bool flag) {
  typename P::Search;
  { P::kFixable } -> std::convertible_to<int>;
  { P::NotProvided() } -> std::convertible_to<const char*>;
  { P::Failed() } -> std::convertible_to<const char*>;
  { P::PoorQuality() } -> std::convertible_to<const char*>;
  { P::StartRecord(constraints) } -> std::convertible_to<const typename P::Record*>;
  { P::ToShape(record, origin) } -> std::same_as<typename P::Shape>;
  { P::Hold(constraints, shape, optimizer) } -> std::same_as<int>;
  { P::kOwnStart } -> std::convertible_to<bool>;
  { P::SkipsSearch(flag, flag) } -> std::same_as<bool>;
  { P::RefinesInSearch(held, scannerError) } -> std::same_as<bool>;
  { P::RefinesAfterSearch(held) } -> std::same_as<bool>;
  { P::ToRecord(shape, origin, fitted, &constraints) } -> std::same_as<typename P::Record>;
};

/// Searches and refines: everything between the start shape and the selection of close points.
template <Primitive P>
std::unique_ptr<OutputShape> SearchShape(const WorkingSet& set, const FitLimits& limits,
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

/// Takes the caller's points into the working frame.
/// @throws FitError "Points are not provided" for a null array, n < 1, or no finite point
inline void TakePoints(const Eigen::Vector3d* points, int n, bool all, WorkingSet& set) {
  if (points == nullptr || n < 1) throw FitError(messages::kPointsMissing);
  set.Sample(points, static_cast<std::uint64_t>(n), WorkingSet::kCap, !all);
  if (set.Count() == 0) throw FitError(messages::kPointsMissing);
}

/// The one pipeline: check, take the points, start shape, holds, search, refine, select, judge, convert. P
/// describes the primitive.
template <Primitive P>
FitOutput<typename P::Record> FitFromPoints(const Eigen::Vector3d* points, int n,
                                            const FitInputParams<typename P::Constraints>& params,
                                            FitProgressUpdater* updater, bool earlyStop = false) {
  const auto* constraints = params.Constraints();
  const auto* record = constraints != nullptr ? P::StartRecord(*constraints) : nullptr;
  if (params.SkipEstimator() && record == nullptr) throw FitError(P::NotProvided());
  const bool all = params.SampleSize() == n;
  WorkingSet set;
  TakePoints(points, n, all, set);

  const FitLimits limits(params, params.ScannerError());
  const bool screen = params.SkipEstimator() || params.OptimizeOnce();
  std::unique_ptr<const typename P::Shape> given;  // the constraints' shape, in the working frame
  if (record != nullptr) given = std::make_unique<const typename P::Shape>(P::ToShape(*record, set.Origin()));
  const auto* start = params.SkipEstimator() ? given.get() : nullptr;
  typename P::Optimizer optimizer(limits.scannerError, screen, P::kOwnStart ? start : nullptr);
  const int held = given ? P::Hold(*constraints, *given, optimizer) : 0;
  if (held == P::kFixable) throw FitError(messages::kOverConstrained);

  std::unique_ptr<OutputShape> result;
  if (P::SkipsSearch(params.SkipEstimator(), params.OptimizeOnce())) {
    result.reset(optimizer.Optimize(set.Count(), set.Points(), start));
  } else {
    result = SearchShape<P>(set, limits, optimizer, held, params.OptimizeOnce(), updater, earlyStop);
  }
  if (!result) throw FitError(P::Failed());

  std::vector<Eigen::Vector3d> close;
  if (!result->GetClosePoints(set.Points(), set.Count(), limits.distance, close, all))
    throw FitError(P::PoorQuality());
  const FitQuality quality =
      result->CalculateQuality(limits.scannerError, static_cast<int>(close.size()), close.data());
  if (!params.OutputAnyQuality() && !quality.histogram.Successful(0.5, 0.8)) throw FitError(P::PoorQuality());
  const auto& shape = static_cast<const typename P::Shape&>(*result);
  const auto* holds = held > 0 ? constraints : nullptr;
  return {P::ToRecord(shape, set.Origin(), {set, close, quality}, holds), quality};
}

}  // namespace primfit

#endif  // PRIMFIT_SRC_API_FIT_PIPELINE_H_
