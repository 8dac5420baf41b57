// A sphere. Its close band is about the squared distance from the centre, which takes no root.
#include "primfit/shapes/output_sphere.h"

#include <cmath>

#include "fit/vector_math.h"
#include "shapes/compare.h"
#include "shapes/formulas.h"

using Eigen::Vector3d;

OutputSphere::OutputSphere(const Vector3d& center, double radius) : center_(center), radius_(radius) {}

double OutputSphere::Distance(const Vector3d& p) const {
  return primfit::DistanceAt(primfit::FormulaOf(*this), p);
}

double OutputSphere::Similarity(const OutputShape* other) const {
  const auto* sphere = dynamic_cast<const OutputSphere*>(other);
  return sphere != nullptr ? primfit::CentreSimilarity(center_, sphere->center_) : 0;
}

void OutputSphere::Printout(std::FILE* f) const {
  std::fprintf(f, "ctr(%f, %f, %f), radius = %f\n", center_.x(), center_.y(), center_.z(), radius_);
}

Vector3d OutputSphere::ClosestPoint(const Vector3d& p) const {
  const Vector3d v = p - center_;
  const double length = v.norm();
  // At the centre every direction is nearest; the fixed choice keeps the result repeatable.
  if (length < 1e-8) return center_ + Vector3d(radius_, 0, 0);
  return center_ + (radius_ / length) * v;
}

Vector3d OutputSphere::EvalNormal(const Vector3d& p) const { return primfit::Normalised(p - center_); }

void OutputSphere::SetDistSqrdThreshod(double t) { SetSquaredBand(radius_, t); }

bool OutputSphere::IsClosePoint(const Vector3d& p) {
  return primfit::InBand(primfit::FormulaOf(*this), p, CloseLow(), CloseHigh());
}

/// How far the points' distances from the mean centre differ from the mean radius.
double OutputSphere::Difference(const OutputSurface* other, int n, const Vector3d* points) const {
  const auto* sphere = dynamic_cast<const OutputSphere*>(other);
  if (sphere == nullptr) return primfit::kDifferentKinds;
  const Vector3d center = primfit::MeanPoint(center_, sphere->center_);
  primfit::Extremes squared;
  for (int i = 0; i < n; ++i) squared.Add((points[i] - center).squaredNorm());
  return squared.DeviationOfRoots(primfit::MeanValue(radius_, sphere->radius_));
}

Vector3d OutputSphere::Eval(double u, double v) const {
  return center_ + radius_ * Vector3d(std::cos(u) * std::cos(v), std::cos(u) * std::sin(v), std::sin(u));
}
