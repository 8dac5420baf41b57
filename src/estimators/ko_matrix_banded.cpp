// The band matrix class over LAPACK, checked like the dense one.
#include "estimators/ko_matrix_banded.h"

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

#include "estimators/lapack.h"

KoMatrix_banded& KoMatrix_banded::operator=(const KoMatrix_banded& other) {
  if (kl_ == other.kl_ && ku_ == other.ku_) KoMatrix_base::operator=(other);
  return *this;
}

void KoMatrix_banded::Resize(int kl, int ku, int rows, int cols) {
  kl = symmetric_ ? 0 : std::max(kl, 0);
  ku = std::max(ku, 0);
  rows = std::max(rows, 0);
  if (cols < 1) cols = rows;
  // A leading dimension beyond int is cut to the first value that cannot be stored, so that the product
  // cannot wrap.
  const auto leading =
      std::min(2 * std::int64_t{kl} + 1 + ku, std::int64_t{std::numeric_limits<int>::max()} + 1);
  Allocate(rows, cols, leading * cols);
  kl_ = kl;
  ku_ = ku;
}

bool KoMatrix_banded::LinearSolve(KoMatrix& b) {
  if (!IsSquare() || !HoldsRightHandSides(b, rows_)) return false;
  const int rightHandSides = b.Cols();
  const int leading = LeadingDimension();
  const int leadingB = b.Rows();
  int info = 0;
  if (symmetric_) {
    if (!StoresUpperTriangle()) return false;
    primfit::lapack::dpbsv_("U", &rows_, &ku_, &rightHandSides, Data(), &leading, b.Data(), &leadingB, &info,
                            1);
    return info == 0;
  }
  const auto pivots = std::make_unique_for_overwrite<int[]>(static_cast<std::size_t>(rows_));
  primfit::lapack::dgbsv_(&rows_, &kl_, &ku_, &rightHandSides, Data(), &leading, pivots.get(), b.Data(),
                          &leadingB, &info);
  return info == 0;
}

bool KoMatrix_banded::CholeskyFactor() {
  if (!StoresUpperTriangle()) return false;
  const int leading = LeadingDimension();
  int info = 0;
  primfit::lapack::dpbtrf_("U", &cols_, &ku_, Data(), &leading, &info, 1);
  return info == 0;
}

bool KoMatrix_banded::CholeskySolve(KoMatrix& b) const {
  if (!StoresUpperTriangle() || !HoldsRightHandSides(b, cols_)) return false;
  const int rightHandSides = b.Cols();
  const int leading = LeadingDimension();
  const int leadingB = b.Rows();
  int info = 0;
  primfit::lapack::dpbtrs_("U", &cols_, &ku_, &rightHandSides, Data(), &leading, b.Data(), &leadingB, &info,
                           1);
  return info == 0;
}

bool KoMatrix_banded::CheckSolution(const KoMatrix_banded& a, const KoMatrix& b, const KoMatrix& x) {
  const std::int64_t below = a.symmetric_ ? a.ku_ : a.kl_;
  return SolutionHolds(a, b, x, [&](int i) {
    return std::pair(static_cast<int>(std::max<std::int64_t>(i - below, 0)),
                     static_cast<int>(std::min<std::int64_t>(std::int64_t{i} + a.ku_, a.cols_ - 1)));
  });
}

bool KoMatrix_banded::BorderedSolve(KoMatrix_banded& a, KoMatrix& b, KoMatrix& s, KoMatrix& c, KoMatrix& d) {
  return SolveBordered(a, b, s, c, d);
}
