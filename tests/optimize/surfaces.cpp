#include "optimize/surfaces.h"

#include <type_traits>

#include "optimize/optimizers.h"

namespace primfit::testing {

using Eigen::Vector3d;

unsigned PartsOf(KindIndex kind) {
  if (kind == kPlane) return kPoint | kAxis;
  if (kind == kSphere) return kPoint | kFirst;
  return kPoint | kFirst | kAxis | (kind == kTorus ? kSecond : 0U);
}

int ParametersOf(unsigned parts) {
  return (parts & kPoint ? 3 : 0) + (parts & kFirst ? 1 : 0) + (parts & kSecond ? 1 : 0) +
         (parts & kAxis ? 2 : 0);
}

std::unique_ptr<OutputSurface> Made(KindIndex kind, const Numbers<double>& n) {
  if (kind == kPlane) return std::make_unique<OutputPlane>(n.point, n.axis);
  if (kind == kSphere) return std::make_unique<OutputSphere>(n.point, n.first);
  if (kind == kCylinder) return std::make_unique<OutputCylinder>(n.point, n.first, n.axis);
  if (kind == kCone) return std::make_unique<OutputCone>(n.point, n.first, n.axis);
  return std::make_unique<OutputTorus>(n.point, n.first, n.second, n.axis);
}

Numbers<double> NumbersOf(const OutputShape& shape) {
  if (const auto* s = dynamic_cast<const OutputPlane*>(&shape)) return {s->Center(), 0, 0, s->Normal()};
  if (const auto* s = dynamic_cast<const OutputSphere*>(&shape)) return {s->Center(), s->Radius()};
  if (const auto* s = dynamic_cast<const OutputCone*>(&shape)) return {s->Apex(), s->Angle(), 0, s->Axis()};
  if (const auto* s = dynamic_cast<const OutputTorus*>(&shape))
    return {s->Center(), s->MajorRadius(), s->MinorRadius(), s->Axis()};
  const auto& s = dynamic_cast<const OutputCylinder&>(shape);
  return {s.Center(), s.Radius(), 0, s.Axis()};
}

std::unique_ptr<OutputShape> Refined(KindIndex kind, const OutputSurface& start, const Points& points,
                                     double tolerance, unsigned held, const Numbers<double>& at) {
  /// By the functions that hold the parts; null for a part that the surface does not have.
  const auto by = [&]<class O>(void (O::*point)(const Vector3d&),
                               std::type_identity_t<void (O::*)(double)> first,
                               std::type_identity_t<void (O::*)(double)> second,
                               std::type_identity_t<void (O::*)(const Vector3d&)> axis) {
    O optimizer(tolerance, false, nullptr);
    if (held & kPoint) (optimizer.*point)(at.point);
    if (held & kFirst) (optimizer.*first)(at.first);
    if (held & kSecond) (optimizer.*second)(at.second);
    if (held & kAxis) (optimizer.*axis)(at.axis);
    return std::unique_ptr<OutputShape>(
        optimizer.Optimize(static_cast<int>(points.size()), points.data(), &start));
  };
  using P = PlaneOptimizer;
  using S = SphereOptimizer;
  using Y = CylinderOptimizer;
  using N = ConeOptimizer;
  using T = TorusOptimizer;
  if (kind == kPlane) return by(&P::FixOrigin, nullptr, nullptr, &P::FixNormal);
  if (kind == kSphere) return by(&S::FixCenter, &S::FixRadius, nullptr, nullptr);
  if (kind == kCylinder) return by(&Y::FixOrigin, &Y::FixRadius, nullptr, &Y::FixAxis);
  if (kind == kCone) return by(&N::FixApex, &N::FixAngle, nullptr, &N::FixAxis);
  return by(&T::FixCenter, &T::FixMajorRadius, &T::FixMinorRadius, &T::FixAxis);
}

}  // namespace primfit::testing
