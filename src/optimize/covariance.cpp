#include "optimize/covariance.h"

#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>

namespace primfit {

namespace {

/// Smallest part of the normal equations that is not rounding.
constexpr double kSingular = 1e-14;

}  // namespace

Eigen::MatrixXd CovarianceOf(const NormalEquations& sums, const NormalEquations* squared, int count, double n,
                             double variance) {
  // In units in which every parameter moves the points alike, so that none drowns.
  Eigen::VectorXd units(count);
  for (int i = 0; i < count; ++i) units[i] = 1 / std::sqrt(std::max(n * sums.matrix[i][i], 1e-300));
  const auto even = [&](const NormalEquations& of) {
    Eigen::MatrixXd m(count, count);
    for (int i = 0; i < count; ++i) {
      for (int j = 0; j < count; ++j) m(i, j) = units[i] * units[j] * n * of.matrix[i][j];
    }
    return m;
  };
  const Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> parts(even(sums));
  const Eigen::VectorXd inverse = parts.eigenvalues().cwiseMax(kSingular).cwiseInverse();
  Eigen::MatrixXd spread = parts.eigenvectors() * inverse.asDiagonal() * parts.eigenvectors().transpose();
  if (squared != nullptr) spread = (spread * even(*squared) * spread).eval();
  spread = (variance * units.asDiagonal() * spread * units.asDiagonal()).eval();
  return (spread + spread.transpose()) / 2;
}

}  // namespace primfit
