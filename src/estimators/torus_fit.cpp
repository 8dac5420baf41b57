// A torus is a quartic with 14 coefficients, of which a sample of 13 points determines the ratios. Two linear
// fits use it in turn: the first for the centre alone, the second, about that centre, for axis and radii.
#include "estimators/torus_fit.h"

#include <algorithm>
#include <cmath>
#include <random>

#include "estimators/row_least_squares.h"
#include "estimators/symmetric_eigen3.h"
#include "primfit/shapes/output_torus.h"

using Eigen::Vector3d;

/// rho^2 + rho (c1 x + c2 y + c3 z) + quadric = 0 with rho = |d|^2, d = p - center.
bool TorusFit::FitQuartic() {
  primfit::RowLeastSquares<13> equations;
  for (int i = 0; i < count(); ++i) {
    const Vector3d d = points()[i] - center();
    const double x = d.x(), y = d.y(), z = d.z(), rho = d.squaredNorm();
    equations.Add({x * rho, y * rho, z * rho, x * x, y * y, z * z, x * y, x * z, y * z, x, y, z, 1},
                  -rho * rho);
  }
  primfit::RowLeastSquares<13>::Row c;
  if (!equations.Solve(c)) return false;
  coefficients_[0] = 1;
  std::copy(c.begin(), c.end(), coefficients_.begin() + 1);
  return true;
}

/// A length near the size of the torus, from a few points: the second fit divides by it, so that fourth
/// powers stay near 1. Any such length will do, and the fixed seed of the generator keeps it the same.
double TorusFit::Scale(const Vector3d& centre) const {
  std::minstd_rand generator;
  double largest = 0;
  for (int draw = 0; draw < std::min(count(), 10); ++draw) {
    const auto i = generator() % static_cast<unsigned>(count());
    largest = std::max(largest, (points()[i] - centre).squaredNorm());
  }
  return largest < 1 ? 1 : std::sqrt(largest);
}

OutputShape* TorusFit::Solve() {
  if (!FitQuartic()) return nullptr;
  const Vector3d centre = center() - Vector3d(coefficients_[1], coefficients_[2], coefficients_[3]) / 4;
  const double scale = Scale(centre);

  primfit::RowLeastSquares<7> equations;
  for (int i = 0; i < count(); ++i) {
    const Vector3d q = (points()[i] - centre) / scale;
    const double x = q.x(), y = q.y(), z = q.z(), rho = q.squaredNorm();
    equations.Add({x * x, 2 * x * y, 2 * x * z, y * y, 2 * y * z, z * z, 1}, -rho * rho);
  }
  primfit::RowLeastSquares<7>::Row b;
  if (!equations.Solve(b)) return nullptr;
  SymmetricEigen3 eigen(b[0], b[1], b[2], b[3], b[4], b[5]);
  if (!eigen.Solve()) return nullptr;

  const double along = eigen.diagonal[0];                             // 2 (R^2 - r^2)
  const double across = (eigen.diagonal[1] + eigen.diagonal[2]) / 2;  // -2 (R^2 + r^2)
  if (along <= 0 || across >= 0 || across + along > 0) return nullptr;
  return new OutputTorus(centre, scale * std::sqrt(0.25 * (along - across)),
                         scale * std::sqrt(-0.25 * (across + along)), eigen.Vector(0));
}
