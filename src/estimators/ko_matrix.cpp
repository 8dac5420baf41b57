// The dense matrix class over LAPACK. Every routine is called with shapes that have been checked: its own
// checks would print and may end the process.
#include "estimators/ko_matrix.h"

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

#include "estimators/lapack.h"

namespace {

constexpr int kMaxInt = std::numeric_limits<int>::max();

bool AreFinite(const double* values, std::int64_t count) {
  return std::all_of(values, values + count, [](double value) { return std::isfinite(value); });
}

}  // namespace

KoMatrix_base::KoMatrix_base(bool symmetric) : symmetric_(symmetric) {}

KoMatrix_base::KoMatrix_base(const KoMatrix_base& other) : symmetric_(other.symmetric_) {
  Allocate(other.rows_, other.cols_, other.size_);
  std::copy_n(other.data_.get(), size_, data_.get());
}

KoMatrix_base& KoMatrix_base::operator=(const KoMatrix_base& other) {
  if (this == &other || size_ != other.size_) return *this;
  symmetric_ = other.symmetric_;
  std::copy_n(other.data_.get(), size_, data_.get());
  return *this;
}

KoMatrix_base::~KoMatrix_base() = default;

void KoMatrix_base::SetZero() { std::fill_n(data_.get(), size_, 0.0); }

void KoMatrix_base::Allocate(int rows, int cols, std::int64_t size) {
  data_.reset();
  rows_ = cols_ = size_ = 0;
  if (size > kMaxInt) throw std::bad_alloc();
  if (size > 0) data_ = std::make_unique_for_overwrite<double[]>(static_cast<std::size_t>(size));
  rows_ = rows;
  cols_ = cols;
  size_ = static_cast<int>(size);
}

void KoMatrix_base::Take(KoMatrix_base& other) noexcept {
  rows_ = std::exchange(other.rows_, 0);
  cols_ = std::exchange(other.cols_, 0);
  size_ = std::exchange(other.size_, 0);
  data_ = std::move(other.data_);
  symmetric_ = other.symmetric_;
}

void KoMatrix::Resize(int rows, int cols) {
  rows = std::max(rows, 0);
  if (cols < 1) cols = rows;
  Allocate(rows, cols, std::int64_t{rows} * cols);
}

bool KoMatrix::LinearSolve(KoMatrix& b) {
  if (!IsSquare() || !HoldsRightHandSides(b, rows_) || &b == this) return false;
  int info = 0;
  if (symmetric_) {
    primfit::lapack::dposv_("U", &rows_, &b.cols_, Data(), &rows_, b.Data(), &b.rows_, &info, 1);
    return info == 0;
  }
  const std::unique_ptr<int[]> pivots(new (std::nothrow) int[static_cast<std::size_t>(rows_)]);
  if (!pivots) return false;
  primfit::lapack::dgesv_(&rows_, &b.cols_, Data(), &rows_, pivots.get(), b.Data(), &b.rows_, &info);
  return info == 0;
}

void KoMatrix::PackUpperTriangle() {
  double* packed = Data() + 1;
  for (int j = 1; j < cols_; ++j) packed = std::copy_n(Data() + Index(0, j), j + 1, packed);
}

bool KoMatrix::EigenDecompose(double* w, KoMatrix* z) {
  if (!IsSquare()) return false;
  const int n = cols_;
  PackUpperTriangle();
  if (!AreFinite(Data(), (std::int64_t{n} + 1) * n / 2)) return false;

  const auto work = std::make_unique_for_overwrite<double[]>(3 * static_cast<std::size_t>(n));
  KoMatrix vectors;
  if (z != nullptr) vectors.Resize(n, n);
  int info = 0;
  primfit::lapack::dspev_(z != nullptr ? "V" : "N", "U", &n, Data(), w, vectors.Data(), &n, work.get(), &info,
                          1, 1);
  if (info == 0 && z != nullptr) z->Take(vectors);
  return info == 0;
}

bool KoMatrix::CholeskyFactor() {
  if (!IsSquare()) return false;
  int info = 0;
  primfit::lapack::dpotrf_("U", &cols_, Data(), &cols_, &info, 1);
  return info == 0;
}

bool KoMatrix::CholeskySolve(KoMatrix& b) const {
  if (!IsSquare() || !HoldsRightHandSides(b, cols_) || &b == this) return false;
  int info = 0;
  primfit::lapack::dpotrs_("U", &cols_, &b.cols_, Data(), &cols_, b.Data(), &b.rows_, &info, 1);
  return info == 0;
}

bool KoMatrix::LeastSquares(KoMatrix& b) {
  if (size_ == 0 || !HoldsRightHandSides(b, rows_) || &b == this || !Complete()) return false;
  bool finite = AreFinite(Data(), size_);
  for (int j = 0; j < b.cols_ && finite; ++j) finite = AreFinite(&b(0, j), rows_);
  if (!finite) return false;
  if (b.rows_ < cols_) {
    KoMatrix enlarged;
    enlarged.Resize(cols_, b.cols_);
    enlarged.SetZero();
    for (int j = 0; j < b.cols_; ++j) std::copy_n(&b(0, j), b.rows_, &enlarged(0, j));
    b.Take(enlarged);
  }
  const auto wanted = 2 * (std::int64_t{rows_} + cols_ + b.cols_);
  const int workSize = static_cast<int>(std::min<std::int64_t>(wanted, kMaxInt));
  const auto work = std::make_unique_for_overwrite<double[]>(static_cast<std::size_t>(workSize));
  int info = 0;
  primfit::lapack::dgels_("N", &rows_, &cols_, &b.cols_, Data(), &rows_, b.Data(), &b.rows_, work.get(),
                          &workSize, &info, 1);
  return info == 0;
}

bool KoMatrix::Complete() {
  if (!symmetric_) return true;
  if (!IsSquare()) return false;
  for (int j = 0; j < cols_; ++j) {
    for (int i = j + 1; i < rows_; ++i) data_[rows_ * j + i] = data_[rows_ * i + j];
  }
  return true;
}

bool KoMatrix::Multiply(double alpha, KoMatrix& a, bool transposeA, KoMatrix& b, bool transposeB, double beta,
                        KoMatrix& c) {
  const int m = transposeA ? a.cols_ : a.rows_;
  const int k = transposeA ? a.rows_ : a.cols_;
  const int n = transposeB ? b.rows_ : b.cols_;
  const int inner = transposeB ? b.cols_ : b.rows_;
  const bool fits =
      a.size_ > 0 && b.size_ > 0 && k == inner && (c.size_ == 0 || (c.rows_ == m && c.cols_ == n));
  if (!fits || &c == &a || &c == &b || !a.Complete() || !b.Complete()) return false;
  if (c.size_ == 0) {
    c.Resize(m, n);
    c.SetZero();
  } else if (!c.Complete()) {
    return false;
  }
  primfit::lapack::dgemm_(transposeA ? "T" : "N", transposeB ? "T" : "N", &m, &n, &k, &alpha, a.Data(),
                          &a.rows_, b.Data(), &b.rows_, &beta, c.Data(), &c.rows_, 1, 1);
  return true;
}

bool KoMatrix::CheckSolution(const KoMatrix& a, const KoMatrix& b, const KoMatrix& x) {
  return SolutionHolds(a, b, x, [&](int) { return std::pair(0, a.cols_ - 1); });
}

bool KoMatrix::BorderedSolve(KoMatrix& a, KoMatrix& b, KoMatrix& s, KoMatrix& c, KoMatrix& d) {
  if (&a == &b || &a == &s || &a == &c || &a == &d) return false;
  return SolveBordered(a, b, s, c, d);
}
