// A circular cone of two nappes. The distance is that from the surface line in the plane of the point and the
// axis. It is exact unless the foot point would lie beyond the apex.
#include "primfit/shapes/output_cone.h"

#include <cmath>

#include "fit/vector_math.h"
#include "shapes/compare.h"
#include "shapes/formulas.h"

using Eigen::Vector3d;

OutputCone::OutputCone(const Vector3d& apex, double angle, const Vector3d& axis)
    : apex_(apex), angle_(angle), axis_(primfit::Normalised(axis)) {}

double OutputCone::Distance(const Vector3d& p) const {
  return primfit::DistanceAt(primfit::FormulaOf(*this), p);
}

double OutputCone::Similarity(const OutputShape* other) const {
  const auto* cone = dynamic_cast<const OutputCone*>(other);
  return cone != nullptr ? primfit::AxisSimilarity(axis_, cone->axis_) : 0;
}

void OutputCone::Printout(std::FILE* f) const {
  std::fprintf(f, "apex(%f, %f, %f), angle = %f, axis(%f, %f, %f)\n", apex_.x(), apex_.y(), apex_.z(), angle_,
               axis_.x(), axis_.y(), axis_.z());
}

/// Against the normal by the signed distance: n = cos w / |w| - sin a points out of the surface.
Vector3d OutputCone::ClosestPoint(const Vector3d& p) const {
  const Vector3d v = p - apex_;
  const double s = v.dot(axis_);
  const double h = std::abs(s);
  const Vector3d w = v - s * axis_;
  const double rho = w.norm();
  const double sinAngle = std::sin(angle_);
  const double cosAngle = std::cos(angle_);
  // On the axis every direction is nearest; the fixed choice keeps the result repeatable.
  if (rho < 1e-8) {
    return apex_ + s * axis_ + h * sinAngle * (cosAngle * primfit::UnitOrthogonal(axis_) - sinAngle * axis_);
  }
  const Vector3d n = cosAngle / rho * w - sinAngle * axis_;
  return p - (rho * cosAngle - h * sinAngle) * n;
}

/// v x (v x a): in the plane of p and the axis, perpendicular to the surface line through p.
Vector3d OutputCone::EvalNormal(const Vector3d& p) const {
  const Vector3d v = p - apex_;
  return primfit::Normalised(v.dot(axis_) * v - v.squaredNorm() * axis_);
}

/// Sine and cosine are taken here, once for many calls of IsClosePoint.
void OutputCone::SetDistSqrdThreshod(double t) {
  sinAngle_ = std::sin(angle_);
  cosAngle_ = std::cos(angle_);
  SetBand(0, t);
}

bool OutputCone::IsClosePoint(const Vector3d& p) {
  const primfit::ConeFormula<double> formula{primfit::Triple<double>(apex_), primfit::Triple<double>(axis_),
                                             sinAngle_, cosAngle_};
  return primfit::InBand(formula, p, CloseLow(), CloseHigh());
}

/// The largest distance of the points from the mean of both cones.
double OutputCone::Difference(const OutputSurface* other, int n, const Vector3d* points) const {
  const auto* cone = dynamic_cast<const OutputCone*>(other);
  if (cone == nullptr) return primfit::kDifferentKinds;
  const OutputCone mean(primfit::MeanPoint(apex_, cone->apex_), primfit::MeanValue(angle_, cone->angle_),
                        primfit::MeanDirection(axis_, cone->axis_));
  return primfit::LargestDistance(primfit::FormulaOf(mean), n, points);
}

Vector3d OutputCone::Eval(double u, double v) const {
  const Vector3d e1 = primfit::UnitOrthogonal(axis_);
  const Vector3d e2 = axis_.cross(e1);
  const double radius = std::tan(angle_) * v;
  return apex_ + radius * (std::cos(u) * e1 + std::sin(u) * e2) + v * axis_;
}
