#ifndef PRIMFIT_SRC_ESTIMATORS_ROW_LEAST_SQUARES_H_
#define PRIMFIT_SRC_ESTIMATORS_ROW_LEAST_SQUARES_H_

#include <algorithm>
#include <array>
#include <cmath>

namespace primfit {

/// Linear least squares in N unknowns, min |A u - b|, for rows that arrive one by one. Rows are collected in
/// blocks and folded into the triangle R of A = Q R by Householder reflections (Golub and Van Loan 2013,
/// section 5.2). So the memory is fixed and nothing is allocated. Normal equations would be faster, but they
/// square the condition number: of nine points that determine a quadric they leave no digits.
template <int N>
class RowLeastSquares {
 public:
  using Row = std::array<double, N>;

  /// Adds one equation row . u = rhs.
  void Add(const Row& row, double rhs) {
    for (int c = 0; c < N; ++c) block_[c][filled_] = row[c];
    block_[N][filled_] = rhs;
    if (++filled_ == kBlock) Fold();
  }

  /// False when the rows do not determine u: fewer than N of them, dependent to rounding, or not finite.
  bool Solve(Row& u) {
    Fold();
    if (!FullRank()) return false;
    for (int j = N - 1; j >= 0; --j) {
      double sum = triangle_[N][j];
      for (int c = j + 1; c < N; ++c) sum -= triangle_[c][j] * u[c];
      u[j] = sum / triangle_[j][j];
      if (!std::isfinite(u[j])) return false;
    }
    return true;
  }

 private:
  static constexpr int kBlock = 16;

  /// Reflects the block's rows into the triangle, column by column; each reflection touches row j and the
  /// block.
  void Fold() {
    for (int j = 0; j < N && filled_ > 0; ++j) {
      double below = 0;
      for (int r = 0; r < filled_; ++r) below += block_[j][r] * block_[j][r];
      if (below == 0) continue;
      const double alpha = triangle_[j][j];
      const double length = std::sqrt(alpha * alpha + below);
      const double v0 = alpha >= 0 ? alpha + length : alpha - length;
      const double scale = 2 / (v0 * v0 + below);
      for (int c = j + 1; c <= N; ++c) {
        double dot = v0 * triangle_[c][j];
        for (int r = 0; r < filled_; ++r) dot += block_[j][r] * block_[c][r];
        dot *= scale;
        triangle_[c][j] -= dot * v0;
        for (int r = 0; r < filled_; ++r) block_[c][r] -= dot * block_[j][r];
      }
      triangle_[j][j] = alpha >= 0 ? -length : length;
    }
    filled_ = 0;
  }

  /// Whether every column stands out of the span of those before it by more than rounding.
  bool FullRank() const {
    constexpr double kRounding =
        1e-13;  // of a column's length, what reflections may leave of a dependent one
    for (int j = 0; j < N; ++j) {
      double squared = 0;
      for (int r = 0; r <= j; ++r) squared += triangle_[j][r] * triangle_[j][r];
      if (!(std::abs(triangle_[j][j]) > kRounding * std::sqrt(squared))) return false;
    }
    return true;
  }

  double triangle_[N + 1][N] = {};  // columns of R, then Q^T b
  double block_[N + 1][kBlock];     // columns of the rows not yet folded in
  int filled_ = 0;
};

}  // namespace primfit

#endif  // PRIMFIT_SRC_ESTIMATORS_ROW_LEAST_SQUARES_H_
