// An infinite circular cylinder. Its close band is about the squared distance from the axis, which takes no
// root.
#include "primfit/shapes/output_cylinder.h"

#include <cmath>

#include "fit/vector_math.h"
#include "shapes/compare.h"
#include "shapes/formulas.h"

using Eigen::Vector3d;

OutputCylinder::OutputCylinder(const Vector3d& center, double radius, const Vector3d& axis)
    : center_(center), radius_(radius), axis_(primfit::Normalised(axis)) {}

double OutputCylinder::Distance(const Vector3d& p) const {
  return primfit::DistanceAt(primfit::FormulaOf(*this), p);
}

double OutputCylinder::Similarity(const OutputShape* other) const {
  const auto* cylinder = dynamic_cast<const OutputCylinder*>(other);
  if (cylinder == nullptr) return 0;
  return primfit::AxisSimilarity(axis_, cylinder->axis_) * (radius_ + cylinder->radius_) +
         std::abs(cylinder->radius_ - radius_) + std::abs((cylinder->center_ - center_).dot(axis_));
}

void OutputCylinder::Printout(std::FILE* f) const {
  std::fprintf(f, "ctr(%f, %f, %f), radius = %f, axis(%f, %f, %f)\n", center_.x(), center_.y(), center_.z(),
               radius_, axis_.x(), axis_.y(), axis_.z());
}

Vector3d OutputCylinder::ClosestPoint(const Vector3d& p) const {
  const Vector3d v = p - center_;
  const double s = v.dot(axis_);
  const Vector3d w = v - s * axis_;
  const double rho = w.norm();
  // Deliberate: on the axis a fixed offset along x, whatever the axis is. It keeps the result repeatable.
  if (rho < 1e-8) return center_ + s * axis_ + Vector3d(radius_, 0, 0);
  return center_ + s * axis_ + (radius_ / rho) * w;
}

Vector3d OutputCylinder::EvalNormal(const Vector3d& p) const {
  const Vector3d v = p - center_;
  return primfit::Normalised(v - v.dot(axis_) * axis_);
}

void OutputCylinder::SetDistSqrdThreshod(double t) { SetSquaredBand(radius_, t); }

bool OutputCylinder::IsClosePoint(const Vector3d& p) {
  return primfit::InBand(primfit::FormulaOf(*this), p, CloseLow(), CloseHigh());
}

/// How far the roots of the points' squared distances from the mean axis differ from the mean radius.
double OutputCylinder::Difference(const OutputSurface* other, int n, const Vector3d* points) const {
  const auto* cylinder = dynamic_cast<const OutputCylinder*>(other);
  if (cylinder == nullptr) return primfit::kDifferentKinds;
  const OutputLine axis(primfit::MeanPoint(center_, cylinder->center_),
                        primfit::MeanDirection(axis_, cylinder->axis_));
  const auto formula = primfit::FormulaOf(axis);
  primfit::Extremes squared;
  for (int i = 0; i < n; ++i) squared.Add(formula.Quantity(points[i].x(), points[i].y(), points[i].z()));
  return squared.DeviationOfRoots(primfit::MeanValue(radius_, cylinder->radius_));
}

Vector3d OutputCylinder::Eval(double u, double v) const {
  const Vector3d e1 = primfit::UnitOrthogonal(axis_);
  const Vector3d e2 = axis_.cross(e1);
  return center_ + radius_ * std::cos(u) * e1 + radius_ * std::sin(u) * e2 + v * axis_;
}
