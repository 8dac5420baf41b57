#include "optimize/models.h"

#include <cmath>

using Eigen::Vector3d;
using primfit::ParameterGroup;
using Kind = primfit::ShapeParameters::Kind;

TRLine::TRLine(const primfit::PointRefs& points, double tolerance)
    : ResidualModel(Kind::kPlane, {ParameterGroup::kDistance, ParameterGroup::kDirectionInPlane}, points,
                    tolerance) {}

void TRLine::FixDirection(const Vector3d& direction) {
  direction_ = direction;
  HoldAxis({-direction.y(), direction.x(), 0});
}

void TRLine::GetResult(Vector3d& root, Vector3d& direction) const {
  const auto line = Result();
  root = line.center;
  direction = direction_.value_or(Vector3d(line.axis.y(), -line.axis.x(), 0));
}

TRCircle::TRCircle(const primfit::PointRefs& points, double tolerance)
    : ResidualModel(Kind::kSphere, {ParameterGroup::kCenterInPlane, ParameterGroup::kMinor}, points,
                    tolerance) {}

void TRCircle::GetResult(Vector3d& center, double& radius) const {
  const auto circle = Result();
  center = circle.center;
  radius = circle.minor;
}

TRPlane::TRPlane(const primfit::PointRefs& points, double tolerance)
    : ResidualModel(Kind::kPlane, {ParameterGroup::kDistance, ParameterGroup::kDirection}, points,
                    tolerance) {}

void TRPlane::GetResult(Vector3d& origin, Vector3d& normal) const {
  const auto plane = Result();
  origin = plane.center;
  normal = plane.axis;
}

TRSphere::TRSphere(const primfit::PointRefs& points, double tolerance)
    : ResidualModel(Kind::kSphere, {ParameterGroup::kCenter, ParameterGroup::kMinor}, points, tolerance) {}

void TRSphere::GetResult(Vector3d& center, double& radius) const {
  const auto sphere = Result();
  center = sphere.center;
  radius = sphere.minor;
}

TRCylinder::TRCylinder(const primfit::PointRefs& points, double tolerance)
    : ResidualModel(Kind::kCylinder,
                    {ParameterGroup::kCenter, ParameterGroup::kMinor, ParameterGroup::kDirection}, points,
                    tolerance) {}

void TRCylinder::GetResult(Vector3d& origin, double& radius, Vector3d& axis) const {
  const auto cylinder = Result();
  origin = cylinder.center;
  radius = cylinder.minor;
  axis = cylinder.axis;
}

TRCone::TRCone(const primfit::PointRefs& points, double tolerance)
    : ResidualModel(Kind::kCone,
                    {ParameterGroup::kCenter, ParameterGroup::kMinor, ParameterGroup::kDirection}, points,
                    tolerance) {}

void TRCone::GetResult(Vector3d& apex, double& angle, Vector3d& axis) const {
  const auto cone = Result();
  apex = cone.center;
  angle = cone.minor;
  axis = cone.axis;
}

namespace {

void ReadTorus(const primfit::ShapeParameters& torus, Vector3d& center, double& majorRadius,
               double& minorRadius, Vector3d& axis) {
  center = torus.center;
  majorRadius = torus.major;
  minorRadius = torus.minor;
  axis = torus.axis;
}

}  // namespace

TRTorus::TRTorus(const primfit::PointRefs& points, double tolerance)
    : ResidualModel(Kind::kTorus,
                    {ParameterGroup::kCenter, ParameterGroup::kMajor, ParameterGroup::kMinor,
                     ParameterGroup::kDirection},
                    points, tolerance) {}

void TRTorus::GetResult(Vector3d& center, double& majorRadius, double& minorRadius, Vector3d& axis) const {
  ReadTorus(Result(), center, majorRadius, minorRadius, axis);
}

/// The groups only count the parameters here: At and Differentiate say what they mean.
TRTorusProfile::TRTorusProfile(const primfit::PointRefs& points, double tolerance, const Vector3d& p,
                               double r, const Vector3d& u, const Vector3d& w)
    : ResidualModel(Kind::kTorus, {ParameterGroup::kMajor, ParameterGroup::kDirectionInPlane}, points,
                    tolerance),
      p_(p),
      r_(r),
      u_(u),
      w_(w) {}

primfit::ShapeParameters TRTorusProfile::At(const double* x) const {
  const double bendRadius = x[0];
  const double c = std::cos(x[1]);
  const double s = std::sin(x[1]);
  return primfit::WithFrame(
      {Kind::kTorus, p_ - bendRadius * (c * u_ + s * w_), c * w_ - s * u_, bendRadius, r_});
}

void TRTorusProfile::Differentiate(const double* x, const primfit::ShapeParameters& shape,
                                   primfit::ShapeDerivative* derivatives) const {
  const Vector3d outward = std::cos(x[1]) * u_ + std::sin(x[1]) * w_;  // from the bend's centre to P
  derivatives[0].center = -outward;
  derivatives[0].major = 1;
  derivatives[1].center = -shape.major * shape.axis;
  derivatives[1].axis = -outward;
}

void TRTorusProfile::GetResult(Vector3d& center, double& majorRadius, double& minorRadius,
                               Vector3d& axis) const {
  ReadTorus(Result(), center, majorRadius, minorRadius, axis);
}
