// A cylinder's quadric is flat along the axis, so the axis is the eigenvector of an eigenvalue near zero. The
// quadric serves for the axis alone: centre and radius come from a circle fitted to the points as seen along
// it.
#include "estimators/cylinder_fit.h"

#include <cmath>

#include "estimators/plane_circle.h"
#include "estimators/quadric_form.h"
#include "fit/vector_math.h"
#include "primfit/shapes/output_cylinder.h"

using Eigen::Vector3d;

namespace {

/// The direction in which the quadric does not curve: the eigenvector whose eigenvalue is nearest to zero.
Vector3d FlatDirection(const SymmetricEigen3& eigen) {
  int k = 0;
  for (const int i : {1, 2}) {
    if (std::abs(eigen.diagonal[k]) > std::abs(eigen.diagonal[i])) k = i;
  }
  return eigen.Vector(k);
}

/// The circle of the points seen along a unit axis: a point of the axis and the radius.
bool AxisCircleFit(int count, const Vector3d* points, const Vector3d& center, const Vector3d& axis,
                   Vector3d& point, double& radius) {
  const Vector3d u = primfit::UnitOrthogonal(axis);
  const Vector3d v = axis.cross(u);
  primfit::PlaneCircle circle;
  for (int i = 0; i < count; ++i) {
    const Vector3d d = points[i] - center;
    circle.Add(d.dot(u), d.dot(v));
  }
  double s = 0;
  double t = 0;
  double radiusSquared = 0;
  if (!circle.Solve(s, t, radiusSquared) || radiusSquared < 0) return false;
  radius = std::sqrt(radiusSquared);
  point = center + s * u + t * v;
  return true;
}

}  // namespace

OutputShape* CylinderFit::Solve() {
  // About the mean, not the reference point: a quadric about a point of its own surface has no constant term,
  // and a reference point picked on a pipe is just that.
  QuadricForm quadric(count(), points(), MeanOfPoints());
  if (!quadric.Fit()) return nullptr;
  SymmetricEigen3 eigen = quadric.Hessian();
  if (!eigen.Solve()) return nullptr;
  const Vector3d axis = FlatDirection(eigen);
  Vector3d point;
  double radius = 0;
  if (!AxisCircleFit(count(), points(), center(), axis, point, radius)) return nullptr;
  return new OutputCylinder(point, radius, axis);
}
