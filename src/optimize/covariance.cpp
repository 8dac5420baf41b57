#include "optimize/covariance.h"

#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>
#include <limits>

namespace primfit {

namespace {

/// Parts of the normal equations, in units in which their diagonal is 1, that are no more than rounding.
constexpr double kSingular = 1e-13;
/// A parameter takes part in a direction that is not determined when its component there is larger.
constexpr double kTakesPart = 1e-6;

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
  const auto rank = (parts.eigenvalues().array() > kSingular).count();  // they ascend
  const auto known = parts.eigenvectors().rightCols(rank);
  const Eigen::VectorXd inverse = parts.eigenvalues().tail(rank).cwiseInverse();
  Eigen::MatrixXd spread = known * inverse.asDiagonal() * known.transpose();
  if (squared != nullptr) spread = (spread * even(*squared) * spread).eval();
  spread = (variance * units.asDiagonal() * spread * units.asDiagonal()).eval();
  spread = ((spread + spread.transpose()) / 2).eval();
  for (int i = 0; i < count; ++i) {
    const bool determined = parts.eigenvectors().row(i).head(count - rank).norm() <= kTakesPart;
    if (determined && std::isfinite(spread(i, i)) && spread(i, i) >= 0) continue;
    MakeUnknown(i, spread);
  }
  return spread;
}

void MakeUnknown(Eigen::Index parameter, Eigen::MatrixXd& covariance) {
  covariance.row(parameter).setZero();
  covariance.col(parameter).setZero();
  covariance(parameter, parameter) = std::numeric_limits<double>::infinity();
}

}  // namespace primfit
