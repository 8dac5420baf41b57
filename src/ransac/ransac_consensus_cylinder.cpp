#include "primfit/ransac/ransac_consensus_cylinder.h"

#include <algorithm>
#include <iterator>
#include <memory>

#include "estimators/cylinder_fit.h"
#include "fit/messages.h"
#include "optimize/optimizers.h"
#include "primfit/fit/fit_error.h"
#include "primfit/shapes/output_cylinder.h"
#include "ransac/searches.h"
#include "shapes/formulas.h"

using Eigen::Vector3d;

namespace {

constexpr int kMinimumPoints = 10;
/// A point within two scanner errors, which is in one of the first eight bands, belongs to the consensus set.
constexpr int kCloseBands = 8;

/// The ten bands about a radius, narrowest first, as bounds of the squared distance from the axis: so no
/// point needs a square root.
class RadialBands {
 public:
  RadialBands(double radius, double scannerError) {
    constexpr double kHalfWidths[RansacOut::kBands] = {0.25, 0.5, 0.75, 1, 1.25, 1.5, 1.75, 2, 4, 10};
    for (int j = 0; j < RansacOut::kBands; ++j) {
      const double h = kHalfWidths[j] * scannerError;
      const double inner = std::max(radius - h, 0.0);
      low_[j] = inner * inner;
      high_[j] = (radius + h) * (radius + h);
    }
  }
  /// Index of the first band that holds a squared radial distance, or kBands.
  int Find(double squared) const {
    int j = 0;
    while (j < RansacOut::kBands && !(low_[j] <= squared && squared < high_[j])) ++j;
    return j;
  }

 private:
  double low_[RansacOut::kBands];
  double high_[RansacOut::kBands];
};

}  // namespace

RansacConsensusCylinder::RansacConsensusCylinder(const Vector3d& seed, double radiusHint, int n,
                                                 const Vector3d* points, int sampleSize,
                                                 double successProbability, double goodSampleRate,
                                                 double scannerError, double distanceTolerance)
    : RansacConsensus(seed, radiusHint, n, points, sampleSize, successProbability, goodSampleRate,
                      scannerError, distanceTolerance) {
  if (n < kMinimumPoints) throw primfit::FitError(primfit::messages::kNotEnoughPoints);
  if (n < 200 && sampleSize < n) setSampleSize(10 + (sampleSize - 10) * n / 200);
}

RansacConsensusCylinder::~RansacConsensusCylinder() = default;

OutputShape* RansacConsensusCylinder::MakeShape(int k, const Vector3d* sample) {
  try {
    std::unique_ptr<OutputShape> shape(CylinderFitSeed(seed(), radiusHint(), k, sample).Solve());
    const auto* cylinder = static_cast<const OutputCylinder*>(shape.get());
    return cylinder != nullptr && !(cylinder->Radius() > 4 * radiusHint()) ? shape.release() : nullptr;
  } catch (...) {
    return nullptr;
  }
}

bool RansacConsensusCylinder::MakeHistogram(const OutputShape* shape, std::vector<int>& close,
                                            double* const bands) {
  const auto* cylinder = dynamic_cast<const OutputCylinder*>(shape);
  if (cylinder == nullptr) return false;
  const RadialBands radial(cylinder->Radius(), scannerError());
  const auto axis = primfit::FormulaOf(OutputLine(cylinder->Center(), cylinder->Axis()));
  int counts[RansacOut::kBands + 1] = {};
  close.clear();
  for (int i = 0; i < count(); ++i) {
    const Vector3d& p = points()[i];
    const int band = radial.Find(axis.Quantity(p.x(), p.y(), p.z()));
    ++counts[band];
    if (band < kCloseBands) close.push_back(i);
  }
  std::transform(counts, counts + RansacOut::kBands, bands,
                 [&](int inBand) { return static_cast<double>(inBand) / count(); });
  return static_cast<int>(close.size()) >= static_cast<int>(goodSampleRate() * 0.5 * count());
}

OutputShape* RansacConsensusCylinder::OptimizeShape(const OutputShape* shape, int count, const int* indices) {
  constexpr double kRefitTolerance = 0.012;  // in the unit of the points, as the inlier band of RansacFit
  try {
    std::vector<Vector3d> near;
    near.reserve(static_cast<std::size_t>(count));
    std::transform(indices, indices + count, std::back_inserter(near), [&](int i) { return points()[i]; });
    const CylinderOptimizer optimizer(scannerError(), false, shape);
    RansacCylinder search(count, near.data(), sampleSize(), successProbability(), goodSampleRate(),
                          scannerError(), kRefitTolerance);
    search.SetOptimizer(&optimizer);
    return search.Solve();
  } catch (...) {
    return nullptr;
  }
}
