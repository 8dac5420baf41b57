#ifndef PRIMFIT_SRC_ESTIMATORS_SYMMETRIC_EIGEN3_H_
#define PRIMFIT_SRC_ESTIMATORS_SYMMETRIC_EIGEN3_H_

#include <Eigen/Core>

/// Eigen-decomposition of a symmetric 3 x 3 matrix in fixed space: one Householder step to tridiagonal form,
/// then QL iteration with implicit shifts (Press et al., Numerical Recipes in C, 1992, section 11.3).
struct SymmetricEigen3 {
  double matrix[3][3];    ///< columns become the unit eigenvectors
  double diagonal[3];     ///< becomes the eigenvalues, descending
  double subdiagonal[3];  ///< work space

  /// Tridiagonalises the matrix with these entries.
  SymmetricEigen3(double s00, double s01, double s02, double s11, double s12, double s22);
  /// Diagonalises and sorts. False when an eigenvalue takes more than 32 iterations; what stands then is
  /// sorted too.
  bool Solve();
  /// The unit eigenvector of diagonal[k].
  Eigen::Vector3d Vector(int k) const { return {matrix[0][k], matrix[1][k], matrix[2][k]}; }

 private:
  bool Converge(int k);
  int FirstNegligible(int k) const;
  void QlStep(int k, int m);
  void SortDescending();
};

#endif  // PRIMFIT_SRC_ESTIMATORS_SYMMETRIC_EIGEN3_H_
