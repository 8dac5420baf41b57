#include "optimize/optimizers.h"

#include <Eigen/Geometry>

#include "fit/vector_math.h"
#include "optimize/half_angle.h"

using Eigen::Matrix3d;
using Eigen::Vector3d;
using primfit::PlaneFrame;
using primfit::PointRefs;

namespace {

/// The refined shape; null for numbers that no shape has: the formulas go on there.
template <class Shape, class... Numbers>
OutputShape* NewUnless(bool impossible, const Numbers&... numbers) {
  return impossible ? nullptr : new Shape(numbers...);
}

}  // namespace

OutputShape* LineOptimizer::Refine(const OutputLine& start, const PointRefs& points) const {
  const Vector3d origin = root_.value_or(start.Root());
  // A held direction need not be perpendicular to the start's normal: the second axis is made so.
  const Vector3d d = primfit::Normalised(direction_.value_or(start.Direction()));
  const Vector3d across = start.Normal().cross(d);
  const Vector3d e2 = across.norm() > 1e-12 ? primfit::Normalised(across)
                                            : primfit::Normalised(primfit::UnitOrthogonal(d).cross(d));
  const PlaneFrame plane{origin, d, e2};
  const OutputLine localLine(Vector3d::Zero(), Vector3d::UnitX(), Vector3d::UnitZ());
  return Solve({{0, 0}, Matrix3d::Identity(), localLine}, {points.count, points.rows, nullptr, &plane},
               [&](const TRLine& model) {
                 Vector3d q, g;
                 model.GetResult(q, g);
                 return new OutputLine(origin + q.x() * d + q.y() * e2, g.x() * d + g.y() * e2,
                                       -g.y() * d + g.x() * e2);
               });
}

void LineOptimizer::HoldParts(TRLine& model) const {
  if (root_) model.FixRoot(Vector3d::Zero());
  if (direction_) model.FixDirection(Vector3d::UnitX());
}

OutputShape* CircleOptimizer::Refine(const OutputCircle& start, const PointRefs& points) const {
  const Vector3d origin = center_.value_or(start.Center());
  const double radius = radius_.value_or(start.Radius());
  const Vector3d u = primfit::UnitOrthogonal(start.Axis());
  const Vector3d w = start.Axis().cross(u);
  const PlaneFrame plane{origin, u, w};
  const OutputCircle localCircle(Vector3d::Zero(), radius, Vector3d::UnitZ());
  return Solve({{0, 0, radius}, Matrix3d::Identity(), localCircle},
               {points.count, points.rows, nullptr, &plane}, [&](const TRCircle& model) {
                 Vector3d c;
                 double r;
                 model.GetResult(c, r);
                 return NewUnless<OutputCircle>(r < 0, Vector3d(origin + c.x() * u + c.y() * w), r,
                                                start.Axis());
               });
}

void CircleOptimizer::HoldParts(TRCircle& model) const {
  if (center_) model.FixCenter(Vector3d::Zero());
  if (radius_) model.FixRadius(*radius_);
}

OutputShape* PlaneOptimizer::Refine(const OutputPlane& start, const PointRefs& points) const {
  const primfit::StartDirection normal(start.Normal());
  const double rho = start.Center().dot(normal_.value_or(start.Normal()));
  return Solve({{rho, normal.azimuth, normal.elevation}, normal.frame, start}, points,
               [](const TRPlane& model) {
                 Vector3d o, m;
                 model.GetResult(o, m);
                 return new OutputPlane(o, m);
               });
}

void PlaneOptimizer::HoldParts(TRPlane& model) const {
  if (origin_) model.FixOrigin(*origin_);
  if (normal_) model.FixNormal(*normal_);
}

OutputShape* SphereOptimizer::Refine(const OutputSphere& start, const PointRefs& points) const {
  const Vector3d c = start.Center();
  return Solve({{c.x(), c.y(), c.z(), start.Radius()}, Matrix3d::Identity(), start}, points,
               [](const TRSphere& model) {
                 Vector3d center;
                 double r;
                 model.GetResult(center, r);
                 return NewUnless<OutputSphere>(r < 0, center, r);
               });
}

void SphereOptimizer::HoldParts(TRSphere& model) const {
  if (center_) model.FixCenter(*center_);
  if (radius_) model.FixRadius(*radius_);
}

OutputShape* CylinderOptimizer::Refine(const OutputCylinder& start, const PointRefs& points) const {
  const primfit::StartDirection axis(start.Axis());
  const Vector3d c = start.Center();
  return Solve({{c.x(), c.y(), c.z(), start.Radius(), axis.azimuth, axis.elevation}, axis.frame, start},
               points, [](const TRCylinder& model) {
                 Vector3d o, a;
                 double r;
                 model.GetResult(o, r, a);
                 return NewUnless<OutputCylinder>(r < 0, o, r, a);
               });
}

void CylinderOptimizer::HoldParts(TRCylinder& model) const {
  if (origin_) model.FixOrigin(*origin_);
  if (radius_) model.FixRadius(*radius_);
  if (axis_) model.FixAxis(*axis_);
}

OutputShape* ConeOptimizer::Refine(const OutputCone& start, const PointRefs& points) const {
  const primfit::StartDirection axis(start.Axis());
  const Vector3d c = start.Apex();
  return Solve({{c.x(), c.y(), c.z(), start.Angle(), axis.azimuth, axis.elevation}, axis.frame, start},
               points, [&](const TRCone& model) {
                 Vector3d apex, a;
                 double angle;
                 model.GetResult(apex, angle, a);
                 if (!angle_) angle = primfit::WithinHalfTurn(angle);
                 return NewUnless<OutputCone>(!angle_ && !primfit::IsHalfAngle(angle), apex, angle, a);
               });
}

void ConeOptimizer::HoldParts(TRCone& model) const {
  if (apex_) model.FixApex(*apex_);
  if (angle_) model.FixAngle(*angle_);
  if (axis_) model.FixAxis(*axis_);
}

namespace {

/// Reads a solved torus model of either kind.
template <class Model>
OutputShape* NewTorus(const Model& model) {
  Vector3d center, axis;
  double majorRadius, minorRadius;
  model.GetResult(center, majorRadius, minorRadius, axis);
  return NewUnless<OutputTorus>(majorRadius < 0 || minorRadius < 0, center, majorRadius, minorRadius, axis);
}

}  // namespace

OutputShape* TorusOptimizer::Refine(const OutputTorus& start, const PointRefs& points) const {
  const primfit::StartDirection axis(start.Axis());
  const Vector3d c = start.Center();
  return Solve({{c.x(), c.y(), c.z(), start.MajorRadius(), start.MinorRadius(), axis.azimuth, axis.elevation},
                axis.frame,
                start},
               points, NewTorus<TRTorus>);
}

void TorusOptimizer::HoldParts(TRTorus& model) const {
  if (center_) model.FixCenter(*center_);
  if (majorRadius_) model.FixMajorRadius(*majorRadius_);
  if (minorRadius_) model.FixMinorRadius(*minorRadius_);
  if (axis_) model.FixAxis(*axis_);
}

OutputShape* TorusProfileOptimizer::Refine(const OutputTorus& start, const PointRefs& points) const {
  const Vector3d e = center_ - start.Center();
  const double bendRadius = e.norm();
  if (Tolerance() > bendRadius) return nullptr;
  const Vector3d u = e / bendRadius;
  const Vector3d across = normal_.cross(u);
  const double length = across.norm();
  if (Tolerance() > length) return nullptr;
  const Vector3d w = across / length;
  return Solve({{bendRadius, 0}, Matrix3d::Identity(), start}, points, NewTorus<TRTorusProfile>, center_,
               radius_, u, w);
}
