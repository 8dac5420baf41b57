#include "optimize/covariance.h"

#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>
#include <limits>

namespace primfit {

namespace {

/// Eigenvalues of the normal equations, scaled to a diagonal of 1, below which they are rounding.
constexpr double kSingular = 1e-13;
/// A parameter is undetermined when its component in the undetermined directions is larger than this.
constexpr double kUndetermined = 1e-6;

}  // namespace

Eigen::MatrixXd CovarianceOf(const NormalEquations& sums, const NormalEquations* squared, int count, double n,
                             double variance) {
  // Scaled so that every parameter moves the points alike: otherwise one in a small unit would drown the
  // others.
  Eigen::VectorXd scales(count);
  for (int i = 0; i < count; ++i) scales[i] = 1 / std::sqrt(std::max(n * sums.matrix[i][i], 1e-300));
  const auto scaled = [&](const NormalEquations& of) {
    Eigen::MatrixXd m(count, count);
    for (int i = 0; i < count; ++i) {
      for (int j = 0; j < count; ++j) m(i, j) = scales[i] * scales[j] * n * of.matrix[i][j];
    }
    return m;
  };
  const Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> spectrum(scaled(sums));
  const auto rank = (spectrum.eigenvalues().array() > kSingular).count();  // they ascend
  const auto determinedDirections = spectrum.eigenvectors().rightCols(rank);
  const Eigen::VectorXd inverse = spectrum.eigenvalues().tail(rank).cwiseInverse();
  Eigen::MatrixXd spread = determinedDirections * inverse.asDiagonal() * determinedDirections.transpose();
  if (squared != nullptr) spread = (spread * scaled(*squared) * spread).eval();
  spread = (variance * scales.asDiagonal() * spread * scales.asDiagonal()).eval();
  spread = ((spread + spread.transpose()) / 2).eval();
  for (int i = 0; i < count; ++i) {
    const bool determined = spectrum.eigenvectors().row(i).head(count - rank).norm() <= kUndetermined;
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
