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

/// Scaled so that every parameter moves the points alike: otherwise one in a small unit would drown the
/// others.
Eigen::VectorXd ScalesOf(const NormalEquations& sums, int count, double n) {
  Eigen::VectorXd scales(count);
  for (int i = 0; i < count; ++i) scales[i] = 1 / std::sqrt(std::max(n * sums.matrix[i][i], 1e-300));
  return scales;
}

Eigen::MatrixXd Scaled(const NormalEquations& sums, const Eigen::VectorXd& scales, double n) {
  const Eigen::Index count = scales.size();
  Eigen::MatrixXd m(count, count);
  for (Eigen::Index i = 0; i < count; ++i) {
    for (Eigen::Index j = 0; j < count; ++j) m(i, j) = scales[i] * scales[j] * n * sums.matrix[i][j];
  }
  return m;
}

}  // namespace

Eigen::MatrixXd CovarianceOf(const NormalEquations& sums, const NormalEquations* squared, int count, double n,
                             double variance) {
  const Eigen::VectorXd scales = ScalesOf(sums, count, n);
  const Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> spectrum(Scaled(sums, scales, n));
  const auto rank = (spectrum.eigenvalues().array() > kSingular).count();  // they ascend
  const auto determinedDirections = spectrum.eigenvectors().rightCols(rank);
  const Eigen::VectorXd inverse = spectrum.eigenvalues().tail(rank).cwiseInverse();
  Eigen::MatrixXd spread = determinedDirections * inverse.asDiagonal() * determinedDirections.transpose();
  if (squared != nullptr) spread = (spread * Scaled(*squared, scales, n) * spread).eval();
  spread = (variance * scales.asDiagonal() * spread * scales.asDiagonal()).eval();
  spread = ((spread + spread.transpose()) / 2).eval();
  for (int i = 0; i < count; ++i) {
    const bool determined = spectrum.eigenvectors().row(i).head(count - rank).norm() <= kUndetermined;
    if (determined && std::isfinite(spread(i, i)) && spread(i, i) >= 0) continue;
    MakeUnknown(i, spread);
  }
  return spread;
}

double LargestRatio(const NormalEquations& b, const NormalEquations& a, int count) {
  const Eigen::VectorXd scales = ScalesOf(a, count, 1);
  const Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> spectrum(Scaled(a, scales, 1));
  const auto rank = (spectrum.eigenvalues().array() > kSingular).count();
  const Eigen::MatrixXd whitening = spectrum.eigenvectors().rightCols(rank) *
                                    spectrum.eigenvalues().tail(rank).cwiseSqrt().cwiseInverse().asDiagonal();
  const Eigen::MatrixXd white = whitening.transpose() * Scaled(b, scales, 1) * whitening;
  return Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd>(white, Eigen::EigenvaluesOnly)
      .eigenvalues()[rank - 1];
}

void MakeUnknown(Eigen::Index parameter, Eigen::MatrixXd& covariance) {
  covariance.row(parameter).setZero();
  covariance.col(parameter).setZero();
  covariance(parameter, parameter) = std::numeric_limits<double>::infinity();
}

}  // namespace primfit
