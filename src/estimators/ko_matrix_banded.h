#ifndef PRIMFIT_SRC_ESTIMATORS_KO_MATRIX_BANDED_H_
#define PRIMFIT_SRC_ESTIMATORS_KO_MATRIX_BANDED_H_

#include "estimators/ko_matrix.h"

/// A band matrix with kl sub-diagonals and ku super-diagonals in LAPACK's band layout: (i, j) is
/// Data()[L j + kl + ku + i - j] with leading dimension L = 2 kl + ku + 1, which leaves room for the fill-in
/// of the LU factorisation. A symmetric one stores the upper triangle: kl is 0 and ku the half bandwidth.
///
/// The rules of the dense matrix hold here too. The solves need a square matrix, and of a symmetric one that
/// it was flagged before Resize.
class KoMatrix_banded : public KoMatrix_base {
 public:
  /// 0 x 0, no storage, kl = ku = -1.
  KoMatrix_banded() : KoMatrix_base(false) {}
  KoMatrix_banded(const KoMatrix_banded&) = default;
  /// Copies flag and elements when both matrices have the same layout (number of elements, kl, ku), else does
  /// nothing.
  KoMatrix_banded& operator=(const KoMatrix_banded& other);

  /// Element (i, j), which must lie in the band; of a symmetric matrix (j, i) where i > j.
  double& operator()(int i, int j) { return data_[Index(i, j)]; }
  double operator()(int i, int j) const { return data_[Index(i, j)]; }

  /// Gives the shape and uninitialised elements. kl becomes 0 for a symmetric matrix; `cols` below 1 means
  /// `rows`; other numbers below 0 mean 0.
  /// @throws std::bad_alloc, also for more elements than an int counts; the matrix is then empty
  void Resize(int kl, int ku, int rows, int cols = 0);

  /// Solves A X = B: Cholesky for a symmetric A, LU with partial pivoting otherwise. X overwrites the first
  /// Rows() rows of b, the factor overwrites A.
  /// @return false for an A that is not positive definite or is exactly singular
  /// @throws std::bad_alloc for the pivots
  bool LinearSolve(KoMatrix& b);

  /// A = U^T U of a symmetric matrix, in place; false for an A that is not flagged or not positive definite.
  bool CholeskyFactor();
  /// Solves with the factor of CholeskyFactor; X overwrites b.
  bool CholeskySolve(KoMatrix& b) const;

  /// As KoMatrix::CheckSolution.
  static bool CheckSolution(const KoMatrix_banded& a, const KoMatrix& b, const KoMatrix& x);
  /// As KoMatrix::BorderedSolve.
  static bool BorderedSolve(KoMatrix_banded& a, KoMatrix& b, KoMatrix& s, KoMatrix& c, KoMatrix& d);

 private:
  int LeadingDimension() const { return 2 * kl_ + ku_ + 1; }
  int Index(int i, int j) const {
    return symmetric_ && i > j ? LeadingDimension() * i + kl_ + ku_ + j - i
                               : LeadingDimension() * j + kl_ + ku_ + i - j;
  }
  /// The layout that the Cholesky routines read: without rows for fill-in.
  bool StoresUpperTriangle() const { return IsSquare() && symmetric_ && kl_ == 0; }

  int kl_ = -1;
  int ku_ = -1;
};

#endif  // PRIMFIT_SRC_ESTIMATORS_KO_MATRIX_BANDED_H_
