#ifndef PRIMFIT_SRC_ESTIMATORS_QUADRIC_FORM_H_
#define PRIMFIT_SRC_ESTIMATORS_QUADRIC_FORM_H_

#include <Eigen/Core>
#include <array>

#include "estimators/symmetric_eigen3.h"

/// The quadric Q(d) = c0 x^2 + c1 y^2 + c2 z^2 + c3 x y + c4 x z + c5 y z + c6 x + c7 y + c8 z + c9 of points
/// about an expansion point, d = p - center. Its constant is 1, so a quadric through the expansion point
/// itself cannot be had.
class QuadricForm {
 public:
  QuadricForm(int count, const Eigen::Vector3d* points, const Eigen::Vector3d& center)
      : count_(count), points_(points), center_(center) {}
  QuadricForm(const QuadricForm&) = default;
  QuadricForm& operator=(const QuadricForm&) = default;
  virtual ~QuadricForm();

  /// Least squares of Q(d) / (|d|^2 + 1e-5): an algebraic residual weighted towards a distance.
  /// @return false, and the coefficients as they were, when the points determine no quadric
  bool Fit();
  /// The eigen-decomposition of the symmetric matrix of second derivatives.
  SymmetricEigen3 Hessian() const;
  Eigen::Vector3d GradientAtCenter() const { return {coefficients_[6], coefficients_[7], coefficients_[8]}; }
  double ValueAtCenter() const { return coefficients_[9]; }
  static std::array<double, 10> Monomials(const Eigen::Vector3d& d);

 private:
  int count_;
  const Eigen::Vector3d* points_;
  Eigen::Vector3d center_;
  std::array<double, 10> coefficients_{};
};

#endif  // PRIMFIT_SRC_ESTIMATORS_QUADRIC_FORM_H_
