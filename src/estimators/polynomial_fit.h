#ifndef PRIMFIT_SRC_ESTIMATORS_POLYNOMIAL_FIT_H_
#define PRIMFIT_SRC_ESTIMATORS_POLYNOMIAL_FIT_H_

#include <Eigen/Core>

#include "primfit/shapes/output_shape.h"

/// A direct estimate of a shape from all of a few points, in closed form or by one linear solve. Built for
/// one call, asked once, discarded; keeps a pointer to the caller's points.
class PolynomialFit {
 public:
  /// The reference point is the mean of the points.
  /// @throws primfit::FitError "Not enough points" for fewer than 3 points or a null array
  PolynomialFit(int count, const Eigen::Vector3d* points);
  /// @param center  reference point of the estimate
  /// @throws primfit::FitError as above
  PolynomialFit(const Eigen::Vector3d& center, int count, const Eigen::Vector3d* points);
  PolynomialFit(const PolynomialFit&) = default;
  PolynomialFit& operator=(const PolynomialFit&) = delete;
  virtual ~PolynomialFit();

  /// @return a new shape that the caller owns, or null when the points determine none
  virtual OutputShape* Solve() = 0;

 protected:
  int count() const { return count_; }
  const Eigen::Vector3d* points() const { return points_; }
  const Eigen::Vector3d& center() const { return center_; }
  Eigen::Vector3d MeanOfPoints() const;

 private:
  int count_;
  const Eigen::Vector3d* points_;
  Eigen::Vector3d center_;
};

#endif  // PRIMFIT_SRC_ESTIMATORS_POLYNOMIAL_FIT_H_
