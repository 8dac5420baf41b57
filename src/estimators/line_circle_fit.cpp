// Line and circle from the principal axes of the points: the directions of most, middle and least scatter.
#include "estimators/line_circle_fit.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "estimators/plane_circle.h"
#include "estimators/symmetric_eigen3.h"
#include "primfit/shapes/output_circle.h"
#include "primfit/shapes/output_line.h"

using Eigen::Vector3d;

namespace {

/// The mean of points and the unit directions in which they scatter most and least.
struct PrincipalAxes {
  Vector3d mean;
  double scale;  // the longest side of the bounding box, by which points are divided to keep squares near 1
  Vector3d most, middle, least;
};

std::optional<PrincipalAxes> FindPrincipalAxes(int count, const Vector3d* points) {
  PrincipalAxes axes;
  axes.mean.setZero();
  Vector3d low = points[0];
  Vector3d high = points[0];
  for (int i = 0; i < count; ++i) {
    axes.mean += points[i] / count;
    low = low.cwiseMin(points[i]);
    high = high.cwiseMax(points[i]);
  }
  axes.scale = std::max(1e-6, (high - low).maxCoeff());
  Eigen::Matrix3d scatter = Eigen::Matrix3d::Zero();
  for (int i = 0; i < count; ++i) {
    const Vector3d q = (points[i] - axes.mean) / axes.scale;
    scatter += q * q.transpose();
  }
  SymmetricEigen3 eigen(scatter(0, 0), scatter(0, 1), scatter(0, 2), scatter(1, 1), scatter(1, 2),
                        scatter(2, 2));
  if (!eigen.Solve()) return std::nullopt;
  axes.most = eigen.Vector(0);
  axes.middle = eigen.Vector(1);
  axes.least = eigen.Vector(2);
  return axes;
}

}  // namespace

OutputShape* EstimateLine(int count, const Vector3d* points) {
  if (count < 2 || points == nullptr) return nullptr;
  const auto axes = FindPrincipalAxes(count, points);
  return axes ? new OutputLine(axes->mean, axes->most, axes->least) : nullptr;
}

OutputShape* EstimateCircle(int count, const Vector3d* points) {
  if (count < 3 || points == nullptr) return nullptr;
  const auto axes = FindPrincipalAxes(count, points);
  if (!axes) return nullptr;
  primfit::PlaneCircle circle;
  double widest = 0;  // of the points across the line through them, as a share of their size
  for (int i = 0; i < count; ++i) {
    const Vector3d q = (points[i] - axes->mean) / axes->scale;
    const double along = q.dot(axes->most);
    const double across = q.dot(axes->middle);
    circle.Add(along, across);
    widest = std::max(widest, std::abs(across));
  }
  constexpr double kRounding = 1e-13;  // collinear points: a circle through them would have any radius
  if (widest <= kRounding) return nullptr;
  double s = 0;
  double t = 0;
  double radiusSquared = 0;
  if (!circle.Solve(s, t, radiusSquared) || radiusSquared <= 0) return nullptr;
  return new OutputCircle(axes->mean + axes->scale * (s * axes->most + t * axes->middle),
                          std::sqrt(radiusSquared) * axes->scale, axes->least);
}
