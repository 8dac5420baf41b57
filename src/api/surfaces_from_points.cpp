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

/// An inner fit of P and its record with an extent: Bound(fitted, record) makes the bounded record.
template <class P, class Bound>
auto FitBounded(const Vector3d* points, int n, const FitInputParams<typename P::Constraints>& params,
                FitProgressUpdater* updater, bool earlyStop, const Bound& bound) {
  const auto fitted = FitShape<P>(points, n, params, updater, earlyStop);
  const auto record = P::ToRecord(fitted, fitted.held ? params.Constraints() : nullptr);
  const auto bounded = bound(fitted, record);
  return FitOutput<std::remove_const_t<decltype(bounded)>>(bounded, fitted.quality);
}

FitOutputParamsElbow Elbow(const Fitted<OutputTorus>& fitted, const FitOutputParamsTorus& torus) {
  Vector3d xAxis;
  const double angle =
      ElbowAngularExtent(fitted.Shape().Center(), fitted.Shape().Axis(), fitted.close, xAxis);
  return {torus.Center(), torus.MajorRadius(), torus.MinorRadius(), torus.Axis(), angle, xAxis};
}

}  // namespace

FitOutput<FitOutputParamsCylinderBounded> BoundedCylinderFromPoints(
    const Vector3d* points, int n, const FitInputParams<FitConstraintsCylinder>& params,
    FitProgressUpdater* updater, bool earlyStop) {
  return FitBounded<CylinderPrimitive>(
      points, n, params, updater, earlyStop, [](const auto& fitted, const FitOutputParamsCylinder& cylinder) {
        const AxialRange range = RangeAlong(fitted);
        return FitOutputParamsCylinderBounded(cylinder.Origin() + range.low * cylinder.Axis(),
                                              cylinder.Radius(), cylinder.Axis(), range.high - range.low);
      });
}

FitOutput<FitOutputParamsConeBounded> BoundedConeFromPoints(const Vector3d* points, int n,
                                                            const FitInputParams<FitConstraintsCone>& params,
                                                            FitProgressUpdater* updater) {
  return FitBounded<ConePrimitive>(
      points, n, params, updater, false, [](const auto& fitted, const FitOutputParamsCone& cone) {
        const AxialRange range = RangeAlong(fitted);
        if (std::abs(range.low) > std::abs(range.high)) {
          return FitOutputParamsConeBounded(cone.Apex(), cone.Angle(), -cone.Axis(), -range.high, -range.low);
        }
        return FitOutputParamsConeBounded(cone.Apex(), cone.Angle(), cone.Axis(), range.low, range.high);
      });
}

FitOutput<FitOutputParamsElbow> ElbowFromPoints(const Vector3d* points, int n,
                                                const FitInputParams<FitConstraintsTorus>& params,
                                                FitProgressUpdater* updater) {
  return FitBounded<TorusPrimitive>(points, n, params, updater, false, Elbow);
}

FitOutput<FitOutputParamsElbow> ElbowFromPoints(const Vector3d* points, int n,
                                                const FitInputParams<FitConstraintsArc>& params,
                                                FitProgressUpdater* updater) {
  return FitBounded<TorusThroughArcPrimitive>(points, n, params, updater, false, Elbow);
}
