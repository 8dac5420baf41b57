// The entry points for spheres, cylinders, cones and tori, and for the bounded ones among them: an infinite
// shape, then how far its points reach.
#include <cmath>

#include "api/primitives.h"
#include "primfit/api/cone_from_points.h"
#include "primfit/api/cylinder_from_points.h"
#include "primfit/api/sphere_from_points.h"
#include "primfit/api/torus_from_points.h"

using Eigen::Vector3d;
using namespace primfit;  // the traits of every entry point here

FitOutput<FitOutputParamsSphere> SphereFromPoints(const Vector3d* points, int n,
                                                  const FitInputParams<FitConstraintsSphere>& params,
                                                  FitProgressUpdater* updater) {
  return FitFromPoints<SpherePrimitive>(points, n, params, updater);
}

FitOutput<FitOutputParamsCylinder> CylinderFromPoints(const Vector3d* points, int n,
                                                      const FitInputParams<FitConstraintsCylinder>& params,
                                                      FitProgressUpdater* updater, bool earlyStop) {
  return FitFromPoints<CylinderPrimitive>(points, n, params, updater, earlyStop);
}

FitOutput<FitOutputParamsCone> ConeFromPoints(const Vector3d* points, int n,
                                              const FitInputParams<FitConstraintsCone>& params,
                                              FitProgressUpdater* updater) {
  return FitFromPoints<ConePrimitive>(points, n, params, updater);
}

FitOutput<FitOutputParamsTorus> TorusFromPoints(const Vector3d* points, int n,
                                                const FitInputParams<FitConstraintsTorus>& params,
                                                FitProgressUpdater* updater) {
  return FitFromPoints<TorusPrimitive>(points, n, params, updater);
}

FitOutput<FitOutputParamsTorus> TorusFromPoints(const Vector3d* points, int n,
                                                const FitInputParams<FitConstraintsArc>& params,
                                                FitProgressUpdater* updater) {
  return FitFromPoints<TorusThroughArcPrimitive>(points, n, params, updater);
}

namespace {

/// A fit of the unbounded shape of P and the record of the description Bounded. measure(fitted, model) gives
/// the extent, and may turn the model round.
template <class P, class Bounded, class Measure>
FitOutput<typename Bounded::Record> FitBounded(const Vector3d* points, int n,
                                               const FitInputParams<typename P::Constraints>& params,
                                               FitProgressUpdater* updater, bool earlyStop,
                                               const Measure& measure) {
  const auto fitted = RunPipeline<P>(points, n, params, updater, earlyStop);
  const auto record = P::ToRecord(fitted, fitted.held ? params.Constraints() : nullptr);
  Model model = ModelFrom<typename Bounded::StartDescription>(record);
  const Extent extent = measure(fitted, model);
  return {RecordFrom<Bounded>(model, extent), fitted.quality};
}

Extent SweptAngle(const Fitted<OutputTorus>& fitted, const Model& /*model*/) {
  Extent extent;
  extent.high =
      ElbowAngularExtent(fitted.Shape().Center(), fitted.Shape().Axis(), fitted.close, extent.startDirection);
  return extent;
}

}  // namespace

FitOutput<FitOutputParamsCylinderBounded> BoundedCylinderFromPoints(
    const Vector3d* points, int n, const FitInputParams<FitConstraintsCylinder>& params,
    FitProgressUpdater* updater, bool earlyStop) {
  return FitBounded<CylinderPrimitive, Description<BoundedCylinder>>(
      points, n, params, updater, earlyStop, [](const auto& fitted, const Model&) {
        const AxialRange range = RangeAlong(fitted);
        return Extent{.low = range.low, .high = range.high};
      });
}

FitOutput<FitOutputParamsConeBounded> BoundedConeFromPoints(const Vector3d* points, int n,
                                                            const FitInputParams<FitConstraintsCone>& params,
                                                            FitProgressUpdater* updater) {
  return FitBounded<ConePrimitive, Description<BoundedCone>>(
      points, n, params, updater, false, [](const auto& fitted, Model& cone) {
        const AxialRange range = RangeAlong(fitted);
        if (std::abs(range.low) <= std::abs(range.high)) return Extent{.low = range.low, .high = range.high};
        cone.axis = -cone.axis;
        return Extent{.low = -range.high, .high = -range.low};
      });
}

FitOutput<FitOutputParamsElbow> ElbowFromPoints(const Vector3d* points, int n,
                                                const FitInputParams<FitConstraintsTorus>& params,
                                                FitProgressUpdater* updater) {
  return FitBounded<TorusPrimitive, Description<Elbow>>(points, n, params, updater, false, SweptAngle);
}

FitOutput<FitOutputParamsElbow> ElbowFromPoints(const Vector3d* points, int n,
                                                const FitInputParams<FitConstraintsArc>& params,
                                                FitProgressUpdater* updater) {
  return FitBounded<TorusThroughArcPrimitive, Description<Elbow>>(points, n, params, updater, false,
                                                                  SweptAngle);
}
