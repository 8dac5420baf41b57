#include "optimize/models.h"

#include <Eigen/Geometry>
#include <cmath>

using Eigen::Vector3d;
using Kind = primfit::LocalShape::Kind;
using Vector = primfit::Triple<double>;

TRLine::Line TRLine::At(const double* x) const {
  Vector3d direction;
  if (direction_) {
    direction = *direction_;
  } else {
    const double theta = *Free(x, 1);
    direction = {std::cos(theta), std::sin(theta), 0};
  }
  const Vector3d normal(-direction.y(), direction.x(), 0);
  return {root_ ? *root_ : Vector3d(*Free(x, 0) * normal), direction, normal};
}

primfit::LocalShape TRLine::Local(const double* x) const {
  const Line line = At(x);
  return {Kind::kPlane, line.root, line.normal, 0, 0};
}

void TRLine::GetResult(Vector3d& root, Vector3d& direction) const {
  const Line line = At(X());
  root = line.root;
  direction = line.direction;
}

TRCircle::Circle TRCircle::At(const double* x) const {
  const Vector3d center = center_ ? *center_ : Vector3d(Free(x, 0)[0], Free(x, 0)[1], 0);
  const double radius = Number(x, 1, radius_);
  return {{center, radius}, {Vector(center), radius}};
}

primfit::LocalShape TRCircle::Local(const double* x) const {
  const Circle circle = At(x);
  return {Kind::kSphere, circle.center, Vector3d::UnitZ(), 0, circle.radius};
}

void TRCircle::GetResult(Vector3d& center, double& radius) const {
  const Circle circle = At(X());
  center = circle.center;
  radius = circle.radius;
}

TRPlane::Plane TRPlane::At(const double* x) const {
  const Vector3d normal = Direction(x, 1, normal_);
  const Vector3d origin = origin_ ? *origin_ : Vector3d(*Free(x, 0) * normal);
  return {{origin, normal}, {Vector(origin), Vector(normal)}};
}

primfit::LocalShape TRPlane::Local(const double* x) const {
  const Plane plane = At(x);
  return {Kind::kPlane, plane.origin, plane.normal, 0, 0};
}

void TRPlane::GetResult(Vector3d& origin, Vector3d& normal) const {
  const Plane plane = At(X());
  origin = plane.origin;
  normal = plane.normal;
}

TRSphere::Sphere TRSphere::At(const double* x) const {
  const Vector3d center = Point(x, 0, center_);
  const double radius = Number(x, 1, radius_);
  return {{center, radius}, {Vector(center), radius}};
}

primfit::LocalShape TRSphere::Local(const double* x) const {
  const Sphere sphere = At(x);
  return {Kind::kSphere, sphere.center, Vector3d::UnitZ(), 0, sphere.radius};
}

void TRSphere::GetResult(Vector3d& center, double& radius) const {
  const Sphere sphere = At(X());
  center = sphere.center;
  radius = sphere.radius;
}

TRCylinder::Cylinder TRCylinder::At(const double* x) const {
  const Vector3d origin = Point(x, 0, origin_);
  const double radius = Number(x, 1, radius_);
  const Vector3d axis = Direction(x, 2, axis_);
  return {{origin, radius, axis}, {Vector(origin), Vector(axis), radius}};
}

primfit::LocalShape TRCylinder::Local(const double* x) const {
  const Cylinder cylinder = At(x);
  return {Kind::kCylinder, cylinder.origin, cylinder.axis, 0, cylinder.radius};
}

void TRCylinder::GetResult(Vector3d& origin, double& radius, Vector3d& axis) const {
  const Cylinder cylinder = At(X());
  origin = cylinder.origin;
  radius = cylinder.radius;
  axis = cylinder.axis;
}

TRCone::Cone TRCone::At(const double* x) const {
  const Vector3d apex = Point(x, 0, apex_);
  const double angle = Number(x, 1, angle_);
  const Vector3d axis = Direction(x, 2, axis_);
  return {{apex, angle, axis}, {Vector(apex), Vector(axis), std::sin(angle), std::cos(angle)}};
}

primfit::LocalShape TRCone::Local(const double* x) const {
  const Cone cone = At(x);
  return {Kind::kCone, cone.apex, cone.axis, 0, cone.angle};
}

void TRCone::GetResult(Vector3d& apex, double& angle, Vector3d& axis) const {
  const Cone cone = At(X());
  apex = cone.apex;
  angle = cone.angle;
  axis = cone.axis;
}

namespace primfit {

double TorusDeviation::operator()(const Vector3d& p) const {
  const Vector3d q = p - center;
  Vector3d radial = q - q.dot(axis) * axis;
  // On the axis every direction is as near as any other; any perpendicular of the axis will do.
  if (std::abs(radial.x()) + std::abs(radial.y()) + std::abs(radial.z()) < 1e-6) {
    radial = axis;
    UnitPerpendicular(radial);
  } else {
    radial /= radial.norm();
  }
  return (q - majorRadius * radial).norm() - minorRadius;
}

}  // namespace primfit

namespace {

void ReadTorus(const primfit::TorusDeviation& torus, Vector3d& center, double& majorRadius,
               double& minorRadius, Vector3d& axis) {
  center = torus.center;
  majorRadius = torus.majorRadius;
  minorRadius = torus.minorRadius;
  axis = torus.axis;
}

primfit::LocalShape LocalTorus(const primfit::TorusDeviation& torus) {
  return {Kind::kTorus, torus.center, torus.axis, torus.majorRadius, torus.minorRadius};
}

}  // namespace

primfit::TorusDeviation TRTorus::At(const double* x) const {
  return {Point(x, 0, center_), Number(x, 1, majorRadius_), Number(x, 2, minorRadius_),
          Direction(x, 3, axis_)};
}

primfit::LocalShape TRTorus::Local(const double* x) const { return LocalTorus(At(x)); }

void TRTorus::GetResult(Vector3d& center, double& majorRadius, double& minorRadius, Vector3d& axis) const {
  ReadTorus(At(X()), center, majorRadius, minorRadius, axis);
}

TRTorusProfile::TRTorusProfile(int count, const Vector3d* const* points, double tolerance, const Vector3d& p,
                               double r, const Vector3d& u, const Vector3d& w)
    : TRTorusProfile(primfit::PointRefs{count, nullptr, points}, tolerance, p, r, u, w) {}

TRTorusProfile::TRTorusProfile(const primfit::PointRefs& points, double tolerance, const Vector3d& p,
                               double r, const Vector3d& u, const Vector3d& w)
    : ResidualModel(points, tolerance), p_(p), r_(r), u_(u), w_(w) {}

primfit::TorusDeviation TRTorusProfile::At(const double* x) const {
  const double bendRadius = x[0];
  const double c = std::cos(x[1]);
  const double s = std::sin(x[1]);
  return {p_ - bendRadius * (c * u_ + s * w_), bendRadius, r_, c * w_ - s * u_};
}

primfit::LocalShape TRTorusProfile::Local(const double* x) const { return LocalTorus(At(x)); }

int TRTorusProfile::SetMotions(const double* x, const primfit::LocalShape& shape,
                               primfit::Motion* motions) const {
  const Vector3d outward = std::cos(x[1]) * u_ + std::sin(x[1]) * w_;  // from the bend's centre to P
  motions[0].center = -outward;
  motions[0].major = 1;
  motions[1].center = -shape.major * shape.axis;
  motions[1].axis = -outward;
  return 2;
}

void TRTorusProfile::GetResult(Vector3d& center, double& majorRadius, double& minorRadius,
                               Vector3d& axis) const {
  ReadTorus(At(X()), center, majorRadius, minorRadius, axis);
}
