// A ring torus. Its close band is about the squared distance from the centre circle.
#include "primfit/shapes/output_torus.h"

#include <cmath>

#include "fit/vector_math.h"
#include "shapes/compare.h"
#include "shapes/formulas.h"

using Eigen::Vector3d;

OutputTorus::OutputTorus(const Vector3d& center, double majorRadius, double minorRadius, const Vector3d& axis)
    : center_(center),
      majorRadius_(majorRadius),
      minorRadius_(minorRadius),
      axis_(primfit::Normalised(axis)) {}

double OutputTorus::Distance(const Vector3d& p) const {
  return primfit::DistanceAt(primfit::FormulaOf(*this), p);
}

double OutputTorus::Similarity(const OutputShape* other) const {
  const auto* torus = dynamic_cast<const OutputTorus*>(other);
  return torus != nullptr ? primfit::AxisSimilarity(axis_, torus->axis_) : 0;
}

void OutputTorus::Printout(std::FILE* f) const {
  std::fprintf(f, "ctr(%f, %f, %f), radii(%f, %f), axis(%f, %f, %f)\n", center_.x(), center_.y(), center_.z(),
               majorRadius_, minorRadius_, axis_.x(), axis_.y(), axis_.z());
}

/// From the foot point on the centre circle on towards p, by the radius of the tube.
Vector3d OutputTorus::ClosestPoint(const Vector3d& p) const {
  const Vector3d v = p - center_;
  const Vector3d w = v - v.dot(axis_) * axis_;
  const double rho = w.norm();
  const Vector3d radial = rho >= 1e-8 ? Vector3d(w / rho) : Vector3d(Vector3d::UnitX());
  const Vector3d tubeCentre = center_ + majorRadius_ * radial;
  const Vector3d d = p - tubeCentre;
  const double length = d.norm();
  // On the centre circle every tube direction is nearest; the fixed choice, towards the axis, keeps it
  // repeatable.
  if (length < 1e-8) return tubeCentre - minorRadius_ * radial;
  return tubeCentre + (minorRadius_ / length) * d;
}

Vector3d OutputTorus::EvalNormal(const Vector3d& p) const {
  const Vector3d v = p - center_;
  const Vector3d radial = primfit::Normalised(v - v.dot(axis_) * axis_);
  return primfit::Normalised(v - majorRadius_ * radial);
}

void OutputTorus::SetDistSqrdThreshod(double t) { SetSquaredBand(minorRadius_, t); }

bool OutputTorus::IsClosePoint(const Vector3d& p) {
  return primfit::InBand(primfit::FormulaOf(*this), p, CloseLow(), CloseHigh());
}

/// Compares the mean minor radius with the roots of q = (|d|^2 - s^2) s^2 / |d|^2, where d leads from the
/// mean centre to the point and s is its axial coordinate; the major radii take no part.
double OutputTorus::Difference(const OutputSurface* other, int n, const Vector3d* points) const {
  const auto* torus = dynamic_cast<const OutputTorus*>(other);
  if (torus == nullptr) return primfit::kDifferentKinds;
  const Vector3d center = primfit::MeanPoint(center_, torus->center_);
  const Vector3d axis = primfit::MeanDirection(axis_, torus->axis_);
  primfit::Extremes squared;
  for (int i = 0; i < n; ++i) {
    const Vector3d d = points[i] - center;
    const double lengthSquared = d.squaredNorm();
    if (lengthSquared < 1e-8) continue;
    const double axial = d.dot(axis);
    squared.Add(std::max(0.0, lengthSquared - axial * axial) * axial * axial / lengthSquared);
  }
  return squared.DeviationOfRoots(primfit::MeanValue(minorRadius_, torus->minorRadius_));
}

Vector3d OutputTorus::Eval(double u, double v) const {
  const Vector3d e1 = primfit::UnitOrthogonal(axis_);
  const Vector3d direction = std::cos(u) * e1 + std::sin(u) * axis_.cross(e1);
  return center_ + (majorRadius_ + minorRadius_ * std::cos(v)) * direction +
         minorRadius_ * std::sin(v) * axis_;
}
