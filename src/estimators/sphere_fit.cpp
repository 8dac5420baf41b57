// |p - m|^2 = R^2 is linear in the centre m and R^2 - |m|^2, so that one linear least-squares solve gives the
// sphere.
#include "estimators/sphere_fit.h"

#include <cmath>

#include "estimators/row_least_squares.h"
#include "primfit/shapes/output_sphere.h"

/// Solves |d|^2 + a x + b y + c z + e = 0 for d = p - center.
OutputShape* SphereFit::Solve() {
  primfit::RowLeastSquares<4> equations;
  for (int i = 0; i < count(); ++i) {
    const Eigen::Vector3d d = points()[i] - center();
    equations.Add({d.x(), d.y(), d.z(), 1}, -d.squaredNorm());
  }
  primfit::RowLeastSquares<4>::Row u;
  if (!equations.Solve(u)) return nullptr;
  const Eigen::Vector3d offset = -0.5 * Eigen::Vector3d(u[0], u[1], u[2]);
  const double radiusSquared = offset.squaredNorm() - u[3];
  if (radiusSquared < 0) return nullptr;
  return new OutputSphere(center() + offset, std::sqrt(radiusSquared));
}
