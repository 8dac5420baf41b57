// The matrix of a cone's quadric has a pair of equal eigenvalues, for the directions across the axis, and one
// of the other sign, for the axis. Points with noise give a pair that is nearly equal.
#include "estimators/cone_fit.h"

#include <algorithm>
#include <cmath>

#include "estimators/quadric_form.h"
#include "primfit/shapes/output_cone.h"

using Eigen::Vector3d;

namespace {

/// Index of the eigenvalue that does not belong to the closest pair; the values are in ascending order.
int OddOneOut(const double (&w)[3]) {
  const double d12 = std::abs(w[1] - w[2]);
  const double d20 = std::abs(w[2] - w[0]);
  const double d01 = std::abs(w[0] - w[1]);
  if (std::min(d12, d20) > d01) return 2;
  return d12 > d20 ? 1 : 0;
}

/// The apex along the axis from the expansion point. The quadric is stationary at the apex, so t = -ga / mu.
/// Where mu vanishes beside ga (a slim cone, or one far from its apex) its value there, which is zero too,
/// gives Q0 - |g'|^2 / (2 lambda) + ga t / 2 = 0 with g' the gradient across the axis.
double ApexAlongAxis(double mu, double lambda, double ga, double acrossSquared, double value) {
  if (std::abs(mu) >= 1e-8) return -ga / mu;
  if (std::abs(ga) <= 1e-8) return 0;
  return -2 * (value - acrossSquared / (2 * lambda)) / ga;
}

}  // namespace

OutputShape* ConeFit::Solve() {
  QuadricForm quadric(count(), points(), center());
  if (!quadric.Fit()) return nullptr;
  SymmetricEigen3 eigen = quadric.Hessian();
  if (!eigen.Solve()) return nullptr;
  const double w[3] = {eigen.diagonal[2], eigen.diagonal[1], eigen.diagonal[0]};
  const int k = OddOneOut(w);
  const double mu = w[k];
  const double lambda = (w[(k + 1) % 3] + w[(k + 2) % 3]) / 2;
  if (lambda == mu) return nullptr;
  const double sinSquared = -mu / (lambda - mu);
  if (sinSquared < 0) return nullptr;

  Vector3d axis = eigen.Vector(2 - k);
  const Vector3d gradient = quadric.GradientAtCenter();
  const double ga = gradient.dot(axis);
  const Vector3d across = gradient - ga * axis;
  const double t = ApexAlongAxis(mu, lambda, ga, across.squaredNorm(), quadric.ValueAtCenter());
  const Vector3d apex = center() + t * axis - across / lambda;
  if (!apex.allFinite()) return nullptr;
  if ((points()[0] - apex).dot(axis) < 0) axis = -axis;
  return new OutputCone(apex, std::asin(std::sqrt(std::min(1.0, sinSquared))), axis);
}
