#ifndef PRIMFIT_SRC_ESTIMATORS_SPHERE_FIT_H_
#define PRIMFIT_SRC_ESTIMATORS_SPHERE_FIT_H_

#include "estimators/polynomial_fit.h"

/// Algebraic least-squares sphere: minimises the sum of (|p - m|^2 - R^2)^2 over centre m and radius R (Pratt
/// 1987).
class SphereFit final : public PolynomialFit {
 public:
  SphereFit(int count, const Eigen::Vector3d* points) : PolynomialFit(count, points) {}
  /// @return a new OutputSphere, or null for points that determine none (coplanar ones among them)
  OutputShape* Solve() override;
};

#endif  // PRIMFIT_SRC_ESTIMATORS_SPHERE_FIT_H_
