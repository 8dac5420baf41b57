#ifndef PRIMFIT_SRC_ESTIMATORS_TORUS_FIT_H_
#define PRIMFIT_SRC_ESTIMATORS_TORUS_FIT_H_

#include <array>

#include "estimators/polynomial_fit.h"

/// Ring torus from two linear least-squares fits. The first, of the quartic that every torus satisfies, gives
/// the centre by its cubic terms. About the centre a torus with unit axis a satisfies |q|^4 + q^T B q + k = 0
/// with B = -2 (R^2 + r^2) I + 4 R^2 a a^T; the second fit gives B, whose eigenvectors and eigenvalues give
/// axis and radii.
class TorusFit final : public PolynomialFit {
 public:
  TorusFit(int count, const Eigen::Vector3d* points) : PolynomialFit(count, points) {}
  /// @return a new OutputTorus with major radius above minor radius, or null for points that determine none
  OutputShape* Solve() override;

 private:
  bool FitQuartic();
  double Scale(const Eigen::Vector3d& centre) const;

  std::array<double, 14> coefficients_{};
};

#endif  // PRIMFIT_SRC_ESTIMATORS_TORUS_FIT_H_
