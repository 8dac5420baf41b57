// One refinement, from a start shape to the least-squares shape. Each Optimize below is the whole of it for
// one primitive. What it calls lies in residual_model.cpp (the least-squares problem), tr_least_squares.cpp
// (the run) and native_trust_region.cpp (its steps).
#include "optimize/optimizers.h"

#include <Eigen/Geometry>

#include "fit/vector_math.h"
#include "optimize/half_angle.h"
#include "optimize/models.h"

using Eigen::Vector3d;
using primfit::PlaneFrame;

TROptimizer::~TROptimizer() = default;

/// The points are seen in the plane that the line may move in: x along the line, y across it.
OutputShape* LineOptimizer::Optimize(int n, const Vector3d* points, const OutputShape* start) const {
  const auto* line = StartFor<OutputLine>(n, points, start);
  if (line == nullptr) return nullptr;
  const Vector3d origin = root_.value_or(line->Root());
  // A held direction need not be perpendicular to the start's normal: the second axis is made so.
  const Vector3d d = primfit::Normalised(direction_.value_or(line->Direction()));
  const Vector3d across = line->Normal().cross(d);
  const Vector3d e2 = across.norm() > 1e-12 ? primfit::Normalised(across)
                                            : primfit::Normalised(primfit::UnitOrthogonal(d).cross(d));
  const PlaneFrame plane{origin, d, e2};
  const OutputLine lineInPlane(Vector3d::Zero(), Vector3d::UnitX(), Vector3d::UnitZ());
  const auto used = Screened({n, points, nullptr, &plane}, lineInPlane);

  TRLine model(used.Refs(), Tolerance());
  if (root_) model.FixRoot(Vector3d::Zero());
  if (direction_) model.FixDirection(Vector3d::UnitX());
  if (!model.Refine({.axis = Vector3d::UnitY()})) return nullptr;  // the normal of the x axis
  Vector3d q, g;
  model.GetResult(q, g);
  return new OutputLine(origin + q.x() * d + q.y() * e2, g.x() * d + g.y() * e2, -g.y() * d + g.x() * e2);
}

/// The points are seen in the plane of the start circle, which is kept.
OutputShape* CircleOptimizer::Optimize(int n, const Vector3d* points, const OutputShape* start) const {
  const auto* circle = StartFor<OutputCircle>(n, points, start);
  if (circle == nullptr) return nullptr;
  const Vector3d origin = center_.value_or(circle->Center());
  const double startRadius = radius_.value_or(circle->Radius());
  const Vector3d u = primfit::UnitOrthogonal(circle->Axis());
  const Vector3d w = circle->Axis().cross(u);
  const PlaneFrame plane{origin, u, w};
  const OutputCircle circleInPlane(Vector3d::Zero(), startRadius, Vector3d::UnitZ());
  const auto used = Screened({n, points, nullptr, &plane}, circleInPlane);

  TRCircle model(used.Refs(), Tolerance());
  if (center_) model.FixCenter(Vector3d::Zero());
  if (radius_) model.FixRadius(*radius_);
  if (!model.Refine({.minor = startRadius})) return nullptr;
  Vector3d c;
  double radius;
  model.GetResult(c, radius);
  if (radius < 0) return nullptr;
  return new OutputCircle(origin + c.x() * u + c.y() * w, radius, circle->Axis());
}

OutputShape* PlaneOptimizer::Optimize(int n, const Vector3d* points, const OutputShape* start) const {
  const auto* plane = StartFor<OutputPlane>(n, points, start);
  if (plane == nullptr) return nullptr;
  const auto used = Screened({n, points}, *plane);

  TRPlane model(used.Refs(), Tolerance());
  if (origin_) model.FixOrigin(*origin_);
  if (normal_) model.FixNormal(*normal_);
  if (!model.Refine({.center = plane->Center(), .axis = plane->Normal()})) return nullptr;
  Vector3d origin, normal;
  model.GetResult(origin, normal);
  return new OutputPlane(origin, normal);
}

OutputShape* SphereOptimizer::Optimize(int n, const Vector3d* points, const OutputShape* start) const {
  const auto* sphere = StartFor<OutputSphere>(n, points, start);
  if (sphere == nullptr) return nullptr;
  const auto used = Screened({n, points}, *sphere);

  TRSphere model(used.Refs(), Tolerance());
  if (center_) model.FixCenter(*center_);
  if (radius_) model.FixRadius(*radius_);
  if (!model.Refine({.center = sphere->Center(), .minor = sphere->Radius()})) return nullptr;
  Vector3d center;
  double radius;
  model.GetResult(center, radius);
  return radius < 0 ? nullptr : new OutputSphere(center, radius);
}

OutputShape* CylinderOptimizer::Optimize(int n, const Vector3d* points, const OutputShape* start) const {
  const auto* cylinder = StartFor<OutputCylinder>(n, points, start);
  if (cylinder == nullptr) return nullptr;
  const auto used = Screened({n, points}, *cylinder);

  TRCylinder model(used.Refs(), Tolerance());
  if (origin_) model.FixOrigin(*origin_);
  if (radius_) model.FixRadius(*radius_);
  if (axis_) model.FixAxis(*axis_);
  if (!model.Refine({.center = cylinder->Center(), .axis = cylinder->Axis(), .minor = cylinder->Radius()}))
    return nullptr;
  Vector3d origin, axis;
  double radius;
  model.GetResult(origin, radius, axis);
  return radius < 0 ? nullptr : new OutputCylinder(origin, radius, axis);
}

/// A held half-angle comes out as it was given; a free one is brought into its range.
OutputShape* ConeOptimizer::Optimize(int n, const Vector3d* points, const OutputShape* start) const {
  const auto* cone = StartFor<OutputCone>(n, points, start);
  if (cone == nullptr) return nullptr;
  const auto used = Screened({n, points}, *cone);

  TRCone model(used.Refs(), Tolerance());
  if (apex_) model.FixApex(*apex_);
  if (angle_) model.FixAngle(*angle_);
  if (axis_) model.FixAxis(*axis_);
  if (!model.Refine({.center = cone->Apex(), .axis = cone->Axis(), .minor = cone->Angle()})) return nullptr;
  Vector3d apex, axis;
  double halfAngle;
  model.GetResult(apex, halfAngle, axis);
  if (angle_) return new OutputCone(apex, halfAngle, axis);
  halfAngle = primfit::WithinHalfTurn(halfAngle);
  return primfit::IsHalfAngle(halfAngle) ? new OutputCone(apex, halfAngle, axis) : nullptr;
}

namespace {

/// The torus that a model of either kind found; null for a radius below zero.
template <class Model>
OutputShape* NewTorus(const Model& model) {
  Vector3d center, axis;
  double majorRadius, minorRadius;
  model.GetResult(center, majorRadius, minorRadius, axis);
  if (majorRadius < 0 || minorRadius < 0) return nullptr;
  return new OutputTorus(center, majorRadius, minorRadius, axis);
}

}  // namespace

OutputShape* TorusOptimizer::Optimize(int n, const Vector3d* points, const OutputShape* start) const {
  const auto* torus = StartFor<OutputTorus>(n, points, start);
  if (torus == nullptr) return nullptr;
  const auto used = Screened({n, points}, *torus);

  TRTorus model(used.Refs(), Tolerance());
  if (center_) model.FixCenter(*center_);
  if (majorRadius_) model.FixMajorRadius(*majorRadius_);
  if (minorRadius_) model.FixMinorRadius(*minorRadius_);
  if (axis_) model.FixAxis(*axis_);
  const bool refined = model.Refine({.center = torus->Center(),
                                     .axis = torus->Axis(),
                                     .major = torus->MajorRadius(),
                                     .minor = torus->MinorRadius()});
  return refined ? NewTorus(model) : nullptr;
}

/// A start whose centre lies at the given section, or along its normal, says nothing about the bend's plane.
OutputShape* TorusProfileOptimizer::Optimize(int n, const Vector3d* points, const OutputShape* start) const {
  const auto* torus = StartFor<OutputTorus>(n, points, start);
  if (torus == nullptr) return nullptr;
  const Vector3d outward = center_ - torus->Center();
  const double bendRadius = outward.norm();
  if (Tolerance() > bendRadius) return nullptr;
  const Vector3d u = outward / bendRadius;
  const Vector3d across = normal_.cross(u);
  const double length = across.norm();
  if (Tolerance() > length) return nullptr;
  const Vector3d w = across / length;
  const auto used = Screened({n, points}, *torus);

  TRTorusProfile model(used.Refs(), Tolerance(), center_, radius_, u, w);
  const double x[] = {bendRadius, 0};
  return model.Initialize(x) && model.Solve() ? NewTorus(model) : nullptr;
}
