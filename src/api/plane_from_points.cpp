// The entry points for planes: the search, and least-squares fits without a search.
#include "primfit/api/plane_from_points.h"

#include <memory>

#include "api/fit_pipeline.h"
#include "api/primitives.h"
#include "estimators/plane_fit.h"
#include "estimators/weighted_plane_fit.h"

using Eigen::Vector3d;
using primfit::FitError;
using primfit::PlanePrimitive;
using primfit::WorkingSet;

FitOutput<FitOutputParamsPlane> PlaneFromPoints(const Vector3d* points, int n,
                                                const FitInputParams<FitConstraintsPlane>& params,
                                                FitProgressUpdater* updater) {
  return primfit::FitFromPoints<PlanePrimitive>(points, n, params, updater);
}

namespace {

/// The least-squares plane of the working set; its centre is the mean, in the working frame.
OutputPlane EstimatePlane(const WorkingSet& set) {
  const std::unique_ptr<OutputPlane> plane(PlaneFit(set.Count(), set.Points()).Solve());
  if (!plane || !plane->Normal().allFinite()) throw FitError(PlanePrimitive::Failed());
  return *plane;
}

void TakeAtLeast(int minimum, const Vector3d* points, int n, WorkingSet& set) {
  if (n < minimum) throw FitError(primfit::messages::kPointsMissing);
  primfit::TakePoints(points, n, false, set);
}

}  // namespace

FitOutputParamsPlane PlaneFromPoints(const Vector3d* points, int n) {
  WorkingSet set;
  TakeAtLeast(3, points, n, set);
  const OutputPlane plane = EstimatePlane(set);
  return {plane.Center() + set.Origin(), plane.Normal()};
}

FitOutputParamsPlane PlaneFromPoints(const Vector3d& reference, const Vector3d* points, int n) {
  WorkingSet set;
  TakeAtLeast(2, points, n, set);
  return {reference, EstimatePlane(set).Normal()};
}

FitOutputParamsPlane PlaneFromPoints(const Vector3d* points, int n, const double* weights,
                                     const Vector3d& reference) {
  if (n < 3 || points == nullptr) throw FitError(primfit::messages::kPointsMissing);
  if (weights == nullptr) return PlaneFromPoints(reference, points, n);
  WorkingSet set;
  set.SampleWeighted(points, weights, static_cast<std::uint64_t>(n), WorkingSet::kCap);
  if (set.Count() == 0) throw FitError(primfit::messages::kPointsMissing);
  if (set.Count() < 3) throw FitError(primfit::messages::kNotEnoughPoints);
  double plane[4];
  WeightedPlaneFit(static_cast<unsigned>(set.Count()), set.Points()->data(), sizeof(Vector3d), set.Weights(),
                   sizeof(double), plane);
  const Vector3d normal(plane[0], plane[1], plane[2]);
  if (!normal.allFinite()) throw FitError(PlanePrimitive::Failed());
  return {reference, normal};
}
