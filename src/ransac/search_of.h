#ifndef PRIMFIT_SRC_RANSAC_SEARCH_OF_H_
#define PRIMFIT_SRC_RANSAC_SEARCH_OF_H_

#include <algorithm>
#include <memory>
#include <string_view>

#include "fit/messages.h"
#include "ransac/ransac_fit.h"

namespace primfit {

/// Makes a shape from a few points, directly: a new one, or null for points that determine none.
using Estimator = OutputShape* (*)(int count, const Eigen::Vector3d* points);

/// A PolynomialFit as an Estimator.
template <class Fit>
OutputShape* EstimateBy(int count, const Eigen::Vector3d* points) {
  return Fit(count, points).Solve();
}

/// The search for one kind of shape: how a minimal sample becomes a candidate, and how many points that
/// takes.
/// @tparam kMinimumPoints  points without which no search is made
/// @tparam kName           for the messages
/// @tparam kMinimumSample  to which a smaller sample is raised
template <Estimator kEstimate, int kMinimumPoints, const std::string_view& kName, int kMinimumSample = 0>
class SearchOf : public RansacFit {
 public:
  /// See RansacFit. @throws primfit::FitError also "Not enough points"
  SearchOf(int n, const Eigen::Vector3d* points, int sampleSize, double successProbability,
           double goodSampleRate, double scannerError, double distanceTolerance)
      : RansacFit(n, points, std::max(sampleSize, kMinimumSample), successProbability, goodSampleRate,
                  scannerError, distanceTolerance) {
    RequirePoints(kMinimumPoints);
  }

  OutputShape* MakeShape(int k, const int*, const Eigen::Vector3d* samplePoints) override {
    std::unique_ptr<OutputShape> shape(kEstimate(k, samplePoints));
    if (!shape || Optimizer() == nullptr) return shape.release();
    return Optimizer()->Optimize(k, samplePoints, shape.get());
  }

 private:
  Failure PoorQuality() const override { return MessagesOf<kName>::PoorQuality(); }
};

}  // namespace primfit

#endif  // PRIMFIT_SRC_RANSAC_SEARCH_OF_H_
