// A plane. Its close band is about the plain distance.
#include "primfit/shapes/output_plane.h"

#include "fit/vector_math.h"
#include "shapes/compare.h"
#include "shapes/formulas.h"

using Eigen::Vector3d;

OutputPlane::OutputPlane(const Vector3d& center, const Vector3d& normal)
    : center_(center), normal_(primfit::Normalised(normal)) {}

double OutputPlane::Distance(const Vector3d& p) const {
  return primfit::DistanceAt(primfit::FormulaOf(*this), p);
}

double OutputPlane::Similarity(const OutputShape* other) const {
  const auto* plane = dynamic_cast<const OutputPlane*>(other);
  return plane != nullptr ? primfit::AxisSimilarity(normal_, plane->normal_) : 0;
}

void OutputPlane::Printout(std::FILE* f) const {
  std::fprintf(f, "ctr(%f, %f, %f), normal(%f, %f, %f)\n", center_.x(), center_.y(), center_.z(), normal_.x(),
               normal_.y(), normal_.z());
}

Vector3d OutputPlane::ClosestPoint(const Vector3d& p) const {
  return p - (p - center_).dot(normal_) * normal_;
}

Vector3d OutputPlane::EvalNormal(const Vector3d&) const { return normal_; }

void OutputPlane::SetDistSqrdThreshod(double t) { SetBand(0, t); }

bool OutputPlane::IsClosePoint(const Vector3d& p) {
  return primfit::InBand(primfit::FormulaOf(*this), p, CloseLow(), CloseHigh());
}

/// The largest distance of the points from the mean of both planes.
double OutputPlane::Difference(const OutputSurface* other, int n, const Vector3d* points) const {
  const auto* plane = dynamic_cast<const OutputPlane*>(other);
  if (plane == nullptr) return primfit::kDifferentKinds;
  const OutputPlane mean(primfit::MeanPoint(center_, plane->center_),
                         primfit::MeanDirection(normal_, plane->normal_));
  return primfit::LargestDistance(primfit::FormulaOf(mean), n, points);
}

Vector3d OutputPlane::Eval(double u, double v) const {
  const Vector3d e1 = primfit::UnitOrthogonal(normal_);
  return center_ + u * e1 + v * normal_.cross(e1);
}
