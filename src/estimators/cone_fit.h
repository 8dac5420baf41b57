#ifndef PRIMFIT_SRC_ESTIMATORS_CONE_FIT_H_
#define PRIMFIT_SRC_ESTIMATORS_CONE_FIT_H_

#include "estimators/polynomial_fit.h"

/// Cone from a least-squares quadric: the axis is the eigenvector whose eigenvalue mu stands apart from the
/// pair lambda, the apex is the quadric's centre, and sin^2 of the half-angle is -mu / (lambda - mu).
class ConeFit final : public PolynomialFit {
 public:
  ConeFit(int count, const Eigen::Vector3d* points) : PolynomialFit(count, points) {}
  /// @return a new OutputCone, its axis pointing from the apex towards the first point; null for points that
  ///     determine none
  OutputShape* Solve() override;
};

#endif  // PRIMFIT_SRC_ESTIMATORS_CONE_FIT_H_
