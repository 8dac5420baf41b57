// Small dense matrices in LAPACK's layout, and what they share with the banded ones. An optional part of the
// library (PRIMFIT_WITH_LAPACK), complete by itself: fits use Eigen and kernels of their own.
//
// A matrix is created empty, sized, filled, consumed by one solve or decomposition, destroyed. Every solving
// operation answers true exactly when its LAPACK routine reports success (info is 0). Shapes that do not
// belong together, an empty matrix and a right-hand side that is flagged symmetric answer false before
// anything is written, so that the provider's error handler, which prints and may end the process, is never
// reached. A linear system with NaN in it either answers false or comes out as NaN. Nothing throws apart from
// storage allocation (std::bad_alloc).
#ifndef PRIMFIT_SRC_ESTIMATORS_KO_MATRIX_H_
#define PRIMFIT_SRC_ESTIMATORS_KO_MATRIX_H_

#include <cmath>
#include <cstdint>
#include <memory>

class KoMatrix;

/// Storage, shape and symmetry flag.
class KoMatrix_base {
 public:
  virtual ~KoMatrix_base();

  /// Sets every stored element to 0; does nothing without storage.
  void SetZero();
  /// A symmetric matrix stores and references its upper triangle (row <= column) only. Set the flag before
  /// Resize.
  void SetSymmetric(bool symmetric) { symmetric_ = symmetric; }
  bool IsSymmetric() const { return symmetric_; }
  int Rows() const { return rows_; }
  int Cols() const { return cols_; }
  /// Null without storage.
  double* Data() { return data_.get(); }
  const double* Data() const { return data_.get(); }

 protected:
  explicit KoMatrix_base(bool symmetric);
  KoMatrix_base(const KoMatrix_base& other);
  /// Copies flag and elements where both store the same number of them, else does nothing.
  KoMatrix_base& operator=(const KoMatrix_base& other);

  /// Replaces the storage by `size` uninitialised elements; rows below 0 count as 0. Where that many cannot
  /// be had the matrix is left empty, 0 x 0.
  /// @throws std::bad_alloc, also for a size beyond int
  void Allocate(int rows, int cols, std::int64_t size);
  /// Becomes `other`, which is left without storage.
  void Take(KoMatrix_base& other) noexcept;

  bool IsSquare() const { return rows_ > 0 && rows_ == cols_; }
  /// True when every (i, j) within the shape can be read: only a square matrix can be symmetric.
  bool IsReadable() const { return !symmetric_ || rows_ == cols_; }
  /// True when b can hold the right-hand sides of n equations. It may have more rows, which stay as they are.
  static bool HoldsRightHandSides(const KoMatrix_base& b, int n) {
    return b.rows_ >= n && b.cols_ > 0 && !b.symmetric_;
  }

  /// True when every |B - A X| is at most 1e-12. `columns(i)` gives the first and the last column that is not
  /// zero by structure in row i of A. False for NaN and for shapes that do not fit.
  template <class Matrix, class Columns>
  static bool SolutionHolds(const Matrix& a, const KoMatrix& b, const KoMatrix& x, Columns columns);

  /// Block elimination of a symmetric bordered system; see KoMatrix::BorderedSolve.
  template <class Matrix>
  static bool SolveBordered(Matrix& a, KoMatrix& b, KoMatrix& s, KoMatrix& c, KoMatrix& d);

  int rows_ = 0;
  int cols_ = 0;
  int size_ = 0;
  std::unique_ptr<double[]> data_;
  bool symmetric_;
};

/// Dense, column-major, leading dimension Rows(): (i, j) is Data()[Rows() j + i].
class KoMatrix : public KoMatrix_base {
 public:
  /// 0 x 0, no storage.
  explicit KoMatrix(bool symmetric = false) : KoMatrix_base(symmetric) {}
  KoMatrix(const KoMatrix&) = default;
  /// Copies flag and elements when both matrices store the same number of elements, and keeps the own shape;
  /// otherwise does nothing.
  KoMatrix& operator=(const KoMatrix&) = default;

  /// Element (i, j); of a symmetric matrix (j, i) where i > j.
  double& operator()(int i, int j) { return data_[Index(i, j)]; }
  double operator()(int i, int j) const { return data_[Index(i, j)]; }

  /// Gives the shape and uninitialised elements. `cols` below 1 means `rows`; `rows` below 0 means 0.
  /// @throws std::bad_alloc, also for more elements than an int counts; the matrix is then empty
  void Resize(int rows, int cols = 0);

  /// Solves A X = B: Cholesky for a symmetric A, LU with partial pivoting otherwise. X overwrites the first
  /// Rows() rows of b, the factor overwrites A; both are consumed in every case.
  /// @return false for an A that is not positive definite or is exactly singular, and where memory runs out
  bool LinearSolve(KoMatrix& b);

  /// Eigenvalues and eigenvectors from the upper triangle, whatever the flag says. Destroys A.
  /// @param w  receives Cols() eigenvalues, ascending
  /// @param z null, or receives the unit eigenvector of w[k] as column k, as a matrix that is not flagged
  ///     symmetric; may be this matrix. Unchanged on failure.
  /// @return false also for an entry that is not finite, on which the iteration need not end
  bool EigenDecompose(double* w, KoMatrix* z);

  /// A = U^T U from the upper triangle, in place.
  /// @return false for an A that is not positive definite
  bool CholeskyFactor();
  /// Solves with the factor of CholeskyFactor; X overwrites b.
  bool CholeskySolve(KoMatrix& b) const;

  /// Minimises |b - A x| for each column of b, or, with fewer rows than columns, finds the solution of least
  /// norm. x stands in the first Cols() rows of b. A is overwritten by its QR or LQ factor. LAPACK wants room
  /// for max(rows, cols) rows in b: a b that holds the right-hand sides but not the solution is enlarged
  /// first.
  /// @return false for a rank deficiency that is exact in the factor (all zeros, however, give x = 0), and
  ///     for an entry that is not finite, which would reach the provider's error handler
  bool LeastSquares(KoMatrix& b);

  /// C = alpha op(A) op(B) + beta C, where op transposes if the flag behind the matrix says so. A C without
  /// storage gets the shape of the product and counts as 0. A symmetric operand is completed: its upper
  /// triangle is copied into its lower one, the flag stays.
  /// @return false, and C untouched, when the inner dimensions differ, when C has storage of another shape
  ///     than the product (it is never reshaped: what it holds may be wanted), or when C is also A or B
  static bool Multiply(double alpha, KoMatrix& a, bool transposeA, KoMatrix& b, bool transposeB, double beta,
                       KoMatrix& c);

  /// True when every element of B - A X is at most 1e-12 in size.
  static bool CheckSolution(const KoMatrix& a, const KoMatrix& b, const KoMatrix& x);

  /// Solves [A B; B^T S] [x; y] = [c; d] for a positive definite A by block elimination: with the Schur
  /// complement S' = B^T A^-1 B - S, S' y = B^T A^-1 c - d and x = A^-1 c - A^-1 B y. x replaces c, y
  /// replaces d; A, B and S are consumed. A symmetric S demands a positive definite S'; one that is not goes
  /// through LU.
  /// @return false also when two of the matrices are the same object
  static bool BorderedSolve(KoMatrix& a, KoMatrix& b, KoMatrix& s, KoMatrix& c, KoMatrix& d);

 private:
  int Index(int i, int j) const { return symmetric_ && i > j ? rows_ * i + j : rows_ * j + i; }
  /// Makes the whole storage of a symmetric matrix readable; false for one that is not square.
  bool Complete();
  /// Moves the upper triangle to the front, column by column.
  void PackUpperTriangle();
};

template <class Matrix, class Columns>
bool KoMatrix_base::SolutionHolds(const Matrix& a, const KoMatrix& b, const KoMatrix& x, Columns columns) {
  constexpr double kTolerance = 1e-12;
  const bool fits = b.rows_ == a.rows_ && x.rows_ == a.cols_ && x.cols_ == b.cols_;
  if (!fits || !a.IsReadable() || !b.IsReadable() || !x.IsReadable()) return false;
  for (int j = 0; j < b.cols_; ++j) {
    for (int i = 0; i < a.rows_; ++i) {
      double residual = b(i, j);
      const auto [first, last] = columns(i);
      for (int k = first; k <= last; ++k) residual -= a(i, k) * x(k, j);
      if (!(std::abs(residual) <= kTolerance)) return false;
    }
  }
  return true;
}

template <class Matrix>
bool KoMatrix_base::SolveBordered(Matrix& a, KoMatrix& b, KoMatrix& s, KoMatrix& c, KoMatrix& d) {
  const bool fits = a.IsSquare() && HoldsRightHandSides(b, a.rows_) && HoldsRightHandSides(c, a.rows_) &&
                    HoldsRightHandSides(d, b.cols_) && b.rows_ == a.rows_ && c.rows_ == a.rows_ &&
                    d.rows_ == b.cols_ && c.cols_ == d.cols_ && s.IsSquare() && s.rows_ == b.cols_;
  const bool distinct = &b != &s && &b != &c && &b != &d && &s != &c && &s != &d && &c != &d;
  if (!fits || !distinct) return false;
  KoMatrix b0 = b;
  return a.CholeskyFactor() && a.CholeskySolve(b) && a.CholeskySolve(c) &&
         KoMatrix::Multiply(1, b0, true, b, false, -1, s) &&
         KoMatrix::Multiply(1, b0, true, c, false, -1, d) && s.LinearSolve(d) &&
         KoMatrix::Multiply(-1, b, false, d, false, 1, c);
}

#endif  // PRIMFIT_SRC_ESTIMATORS_KO_MATRIX_H_
