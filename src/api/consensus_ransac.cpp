// The entry points of the cylinder search around a seed point. It is a search of its own, so these do not run
// the pipeline of fit_pipeline.h, but they take the points and measure the result as it does.
#include "primfit/api/consensus_ransac.h"

#include <memory>

#include "api/fit_pipeline.h"
#include "api/primitives.h"
#include "primfit/ransac/ransac_consensus_cylinder.h"

using Eigen::Vector3d;
using primfit::FitError;

namespace {

using Params = FitInputParams<FitConstraintsCylinder>;

/// Searches in the working frame; null for whatever goes wrong.
std::unique_ptr<OutputShape> SearchInFrame(const Vector3d& seed, double radiusHint, const Vector3d* points,
                                           int n, const Params& params, double distanceTolerance,
                                           primfit::WorkingSet& set, double* bands) {
  try {
    primfit::TakePoints(points, n, true, set);
    const primfit::ClampedParams limits(params, params.ScannerError());
    RansacConsensusCylinder search(seed - set.Origin(), radiusHint, set.Count(), set.Points(),
                                   limits.sampleSize, limits.successProbability, limits.goodSampleRate,
                                   limits.scannerError, distanceTolerance);
    return std::unique_ptr<OutputShape>(search.Solve(bands));
  } catch (...) {
    return nullptr;
  }
}

}  // namespace

OutputCylinder* ConsensusRansacCylinder(const Vector3d& seed, double radiusHint, const Vector3d* points,
                                        int n, const Params& params, double* const bands) {
  primfit::WorkingSet set;
  const auto shape = SearchInFrame(seed, radiusHint, points, n, params, 0.012, set, bands);
  if (!shape) return nullptr;
  const auto& cylinder = static_cast<const OutputCylinder&>(*shape);
  return new OutputCylinder(cylinder.Center() + set.Origin(), cylinder.Radius(), cylinder.Axis());
}

FitOutput<FitOutputParamsCylinder> ConsensusRansacFit(const Vector3d& seed, double radiusHint,
                                                      const Vector3d* points, int n, const Params& params,
                                                      FitProgressUpdater* /*updater*/) {
  const primfit::ClampedParams limits(params, params.ScannerError());
  const bool all = params.SampleSize() == n;
  primfit::Fitted<OutputCylinder> fitted(n, true);
  fitted.shape = SearchInFrame(seed, radiusHint, points, n, params, limits.distance, fitted.used, nullptr);
  if (!fitted.shape) throw FitError(primfit::CylinderPrimitive::Failed());
  if (!primfit::SelectClose(limits, all, fitted)) {
    throw FitError(
        primfit::PlanePrimitive::PoorQuality());  // Deliberate: the documented text names the plane
  }
  primfit::AssessQuality(limits, params.OutputAnyQuality(), primfit::CylinderPrimitive::PoorQuality(),
                         fitted);
  return {primfit::CylinderPrimitive::ToRecord(fitted, nullptr), fitted.quality};
}
