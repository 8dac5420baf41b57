// A circle in space. Its close band is about the distance from the axis alone, so it is a cylindrical shell:
// a search for arcs counts points above and below the plane too.
#include "primfit/shapes/output_circle.h"

#include <cmath>

#include "fit/vector_math.h"
#include "shapes/compare.h"
#include "shapes/formulas.h"

using Eigen::Vector3d;

OutputCircle::OutputCircle(const Vector3d& center, double radius, const Vector3d& axis)
    : center_(center), radius_(radius), axis_(primfit::Normalised(axis)) {}

double OutputCircle::Distance(const Vector3d& p) const {
  return primfit::DistanceAt(primfit::FormulaOf(*this), p);
}

double OutputCircle::Similarity(const OutputShape* other) const {
  const auto* circle = dynamic_cast<const OutputCircle*>(other);
  return circle != nullptr ? primfit::CentreSimilarity(center_, circle->center_) : 0;
}

void OutputCircle::Printout(std::FILE* f) const {
  std::fprintf(f, "ctr(%f, %f, %f), radius = %f\n", center_.x(), center_.y(), center_.z(), radius_);
}

Vector3d OutputCircle::ClosestPoint(const Vector3d& p) const {
  const Vector3d v = p - center_;
  const Vector3d w = v - v.dot(axis_) * axis_;
  const double rho = w.norm();
  // On the axis every direction is nearest; the fixed choice keeps the result repeatable.
  if (rho < 1e-10) return center_ + radius_ * primfit::UnitOrthogonal(axis_);
  return center_ + (radius_ / rho) * w;
}

/// Direction from the centre, not projected into the circle's plane.
Vector3d OutputCircle::EvalNormal(const Vector3d& p) const {
  const Vector3d v = p - center_;
  const double length = v.norm();
  if (length < 1e-10) return Vector3d::Zero();
  return v / length;
}

void OutputCircle::SetDistSqrdThreshod(double t) { SetSquaredBand(radius_, t); }

bool OutputCircle::IsClosePoint(const Vector3d& p) {
  return primfit::InBand(primfit::FormulaOf(*this), p, CloseLow(), CloseHigh());
}

Vector3d OutputCircle::Eval(double t) const {
  const Vector3d e1 = primfit::UnitOrthogonal(axis_);
  const Vector3d e2 = axis_.cross(e1);
  return center_ + radius_ * (std::cos(t) * e1 + std::sin(t) * e2);
}
