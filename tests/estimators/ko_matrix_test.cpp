// The matrix classes: layout, ownership, and every operation against Eigen's own solvers.
#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <limits>
#include <new>

#include "estimators/ko_matrix.h"
#include "estimators/ko_matrix_banded.h"
#include "support/memory.h"
#include "support/scenes.h"

namespace {

using Eigen::MatrixXd;
using primfit::testing::memoryIsOut;
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr int kMaxInt = std::numeric_limits<int>::max();

struct Random : primfit::testing::Random {
  MatrixXd Matrix(int rows, int cols) {
    return MatrixXd::NullaryExpr(rows, cols, [this] { return Uniform(-1, 1); });
  }
  MatrixXd Definite(int n) {
    const MatrixXd a = Matrix(n, n);
    return a * a.transpose() + MatrixXd::Identity(n, n);
  }
};

/// A symmetric one gets the upper triangle only; what must not be read is NaN.
KoMatrix Dense(const MatrixXd& m, bool symmetric = false) {
  KoMatrix result(symmetric);
  result.Resize(static_cast<int>(m.rows()), static_cast<int>(m.cols()));
  std::fill_n(result.Data(), m.size(), kNan);
  for (int j = 0; j < m.cols(); ++j) {
    const Eigen::Index rows = symmetric ? std::min<Eigen::Index>(j + 1, m.rows()) : m.rows();
    for (int i = 0; i < rows; ++i) result(i, j) = m(i, j);
  }
  return result;
}

KoMatrix_banded Banded(const MatrixXd& m, int kl, int ku, bool symmetric = false) {
  KoMatrix_banded result;
  result.SetSymmetric(symmetric);
  result.Resize(kl, ku, static_cast<int>(m.rows()), static_cast<int>(m.cols()));
  result.SetZero();
  for (int j = 0; j < m.cols(); ++j) {
    for (int i = 0; i < m.rows(); ++i) {
      if (j - i <= ku && i - j <= (symmetric ? 0 : kl)) result(i, j) = m(i, j);
    }
  }
  return result;
}

MatrixXd Values(const KoMatrix& m) {
  return MatrixXd::NullaryExpr(m.Rows(), m.Cols(), [&](Eigen::Index i, Eigen::Index j) {
    return m(static_cast<int>(i), static_cast<int>(j));
  });
}

MatrixXd InBand(const MatrixXd& m, int kl, int ku) {
  return MatrixXd::NullaryExpr(m.rows(), m.cols(), [&](Eigen::Index i, Eigen::Index j) {
    return j - i > ku || i - j > kl ? 0 : m(i, j);
  });
}

/// The largest difference beside the size of `expected`; NaN counts as infinite.
double Error(const MatrixXd& got, const MatrixXd& expected) {
  if (got.rows() != expected.rows() || got.cols() != expected.cols() || !got.allFinite()) return kInfinity;
  return (got - expected).norm() / std::max(1.0, expected.norm());
}

TEST(KoMatrix, ResizeTakesOddShapesAndRefusesImpossibleOnes) {
  const struct {
    int rows, cols, expectedRows, expectedCols;
  } rows[] = {{3, 0, 3, 3},  {3, -1, 3, 3}, {0, 0, 0, 0}, {0, 4, 0, 4},
              {-3, 0, 0, 0}, {-3, 2, 0, 2}, {2, 3, 2, 3}};
  KoMatrix dense;
  KoMatrix_banded band;
  for (const auto& row : rows) {
    dense.Resize(row.rows, row.cols);
    band.Resize(-1, -1, row.rows, row.cols);  // only the diagonal
    EXPECT_EQ(dense.Rows(), row.expectedRows);
    EXPECT_EQ(dense.Cols(), row.expectedCols);
    EXPECT_EQ(band.Cols(), row.expectedCols);
    EXPECT_EQ(dense.Data() != nullptr, row.expectedRows > 0);
    dense.SetZero();
    band.SetZero();
  }
  EXPECT_THROW(dense.Resize(65536, 65536), std::bad_alloc);  // 2^32 elements would wrap to 0
  EXPECT_EQ(dense.Data(), nullptr);
  EXPECT_EQ(dense.Rows() + dense.Cols(), 0);
  dense.SetZero();
  EXPECT_THROW(band.Resize(kMaxInt, kMaxInt, kMaxInt), std::bad_alloc);
  EXPECT_THROW(band.Resize(1, 1, kMaxInt), std::bad_alloc);
  EXPECT_EQ(band.Data(), nullptr);
}

TEST(KoMatrix, CopiesAreDeepAndAssignmentNeedsTheSameSize) {
  Random random;
  const MatrixXd two = random.Matrix(2, 2), three = random.Matrix(3, 3);
  KoMatrix a = Dense(three), copy = a;
  copy(1, 1) += 1;
  EXPECT_EQ(Error(Values(a), three), 0);
  const KoMatrix &self = a, empty, emptyCopy = empty;
  EXPECT_EQ(emptyCopy.Data(), nullptr);
  for (const KoMatrix& unchanging :
       {Dense(two), Dense(random.Matrix(4, 4)), self, empty}) {  // of another size, or the same
    a = unchanging;
    EXPECT_EQ(Error(Values(a), three), 0);
  }
  a = self;
  a = copy;
  EXPECT_EQ(a(1, 1), copy(1, 1));

  KoMatrix_banded band = Banded(three, 1, 1), other = band;
  other(0, 0) = 7;
  band = Banded(three, 0, 3);  // 12 elements too, but another layout
  EXPECT_EQ(band(0, 0), three(0, 0));
  band = other;
  EXPECT_EQ(band(0, 0), 7);

  memoryIsOut = true;
  if (PRIMFIT_COUNTS_MEMORY) {
    EXPECT_THROW(KoMatrix{a}, std::bad_alloc);
  }
  memoryIsOut = false;
}

TEST(KoMatrix, LinearSolveAgreesWithEigen) {
  Random random;
  for (int n = 1; n <= 13; ++n) {
    const MatrixXd b = random.Matrix(n, n % 3 + 1), definite = random.Definite(n), any = random.Matrix(n, n);
    MatrixXd symmetric = any + any.transpose();
    symmetric(0, 0) = -1;
    const struct {
      const MatrixXd& a;
      bool flag, solvable;
    } rows[] = {{definite, true, true},
                {definite, false, true},
                {any, false, true},
                {symmetric, false, true},
                {symmetric, true, false}};
    for (const auto& row : rows) {
      KoMatrix a = Dense(row.a, row.flag), x = Dense(b);
      ASSERT_EQ(a.LinearSolve(x), row.solvable) << n;
      EXPECT_TRUE(!row.solvable || Error(row.a * Values(x), b) < 1e-9);
    }
    KoMatrix factor = Dense(definite, true), x = Dense(b);
    ASSERT_TRUE(factor.CholeskyFactor() && factor.CholeskySolve(x));
    EXPECT_LT(Error(Values(x), definite.llt().solve(b)), 1e-12);
    EXPECT_FALSE(Dense(symmetric, true).CholeskyFactor());
  }
  KoMatrix b = Dense(MatrixXd::Ones(2, 1));
  EXPECT_FALSE(Dense(MatrixXd::Ones(2, 2)).LinearSolve(b)) << "singular";

  // Right-hand sides in the top rows of a taller matrix; the rows below keep their values.
  const MatrixXd a = random.Matrix(3, 3), tall = random.Matrix(5, 2);
  KoMatrix x = Dense(tall), lu = Dense(a);
  ASSERT_TRUE(Dense(a).LinearSolve(x));
  EXPECT_LT(Error(a * Values(x).topRows(3), tall.topRows(3)), 1e-12);
  EXPECT_EQ(Error(Values(x).bottomRows(2), tall.bottomRows(2)), 0);

  memoryIsOut = true;  // no room for the pivots
  const bool solved = lu.LinearSolve(x);
  memoryIsOut = false;
  EXPECT_EQ(solved, !PRIMFIT_COUNTS_MEMORY);
}

TEST(KoMatrix, BandedSolvesAgreeWithEigenForEveryBandwidth) {
  Random random;
  for (int n = 1; n <= 6; ++n) {
    const MatrixXd b = random.Matrix(n, 2);
    for (int ku = 0; ku <= n; ++ku) {
      for (int kl = 0; kl <= n; ++kl) {
        const MatrixXd a = InBand(random.Matrix(n, n), kl, ku);
        if (std::abs(a.determinant()) < 1e-3) continue;  // random triangles can be nearly singular
        KoMatrix x = Dense(b);
        ASSERT_TRUE(Banded(a, kl, ku).LinearSolve(x));
        EXPECT_LT(Error(Values(x), a.fullPivLu().solve(b)), 1e-10) << n << " " << kl << " " << ku;
      }
      MatrixXd a = InBand(random.Matrix(n, n), ku, ku);
      a = (a + a.transpose() + 8 * MatrixXd::Identity(n, n)).eval();
      const KoMatrix_banded original = Banded(a, 2, ku, true);
      KoMatrix_banded direct = original, factor = original;
      KoMatrix x = Dense(b), y = Dense(b);
      ASSERT_TRUE(direct.LinearSolve(x));
      ASSERT_TRUE(factor.CholeskyFactor() && factor.CholeskySolve(y));
      EXPECT_LT(Error(Values(x), a.ldlt().solve(b)), 1e-13);
      EXPECT_LT(Error(Values(y), Values(x)), 1e-13);
      EXPECT_TRUE(KoMatrix_banded::CheckSolution(original, Dense(b), x));
      EXPECT_FALSE(Banded(-a, 0, ku, true).LinearSolve(x));
      EXPECT_FALSE(Banded(-a, 0, ku, true).CholeskyFactor());
    }
  }
  KoMatrix x = Dense(MatrixXd::Ones(3, 1));
  EXPECT_FALSE(Banded(MatrixXd::Zero(3, 3), 1, 1).LinearSolve(x)) << "singular";
}

TEST(KoMatrix, EigenDecomposeAgreesWithEigen) {
  Random random;
  for (int n = 1; n <= 13; ++n) {
    const MatrixXd half = random.Matrix(n, n), full = half + half.transpose();
    KoMatrix vectors = Dense(full, true), valuesOnly = vectors;
    Eigen::VectorXd w(n), again(n);
    ASSERT_TRUE(vectors.EigenDecompose(w.data(), &vectors)) << "the vectors may replace the matrix";
    ASSERT_TRUE(valuesOnly.EigenDecompose(again.data(), nullptr));
    const MatrixXd v = Values(vectors);
    EXPECT_LT(Error(w, Eigen::SelfAdjointEigenSolver<MatrixXd>(full).eigenvalues()), 1e-13);
    EXPECT_LT(Error(again, w), 1e-13);
    EXPECT_LT(Error(full * v, v * w.asDiagonal()), 1e-13);
    EXPECT_LT(Error(v.transpose() * v, MatrixXd::Identity(n, n)), 1e-13);
  }
  for (const double bad : {kNan, kInfinity, -kInfinity}) {
    for (const auto& [i, j] : {std::pair(0, 0), {0, 1}, {1, 2}}) {
      KoMatrix poisoned = Dense(MatrixXd::Identity(3, 3), true), untouched = Dense(MatrixXd::Ones(3, 3));
      poisoned(i, j) = bad;
      double w[3];
      EXPECT_FALSE(poisoned.EigenDecompose(w, &untouched));
      EXPECT_EQ(Error(Values(untouched), MatrixXd::Ones(3, 3)), 0);
    }
  }
}

TEST(KoMatrix, LeastSquaresAgreesWithEigenForEveryShape) {
  Random random;
  for (const auto& [m, n] : {std::pair(6, 3), {3, 3}, {3, 6}, {1, 4}, {4, 1}}) {
    const MatrixXd a = random.Matrix(m, n), b = random.Matrix(m, 2);
    KoMatrix x = Dense(b);
    ASSERT_TRUE(Dense(a).LeastSquares(x));
    ASSERT_EQ(x.Rows(), std::max(m, n));
    EXPECT_LT(Error(Values(x).topRows(n), a.completeOrthogonalDecomposition().solve(b)), 1e-12)
        << m << "x" << n;
  }
  const MatrixXd symmetric = random.Definite(4), b = random.Matrix(4, 1);
  KoMatrix x = Dense(b);
  ASSERT_TRUE(Dense(symmetric, true).LeastSquares(x));
  EXPECT_LT(Error(symmetric * Values(x), b), 1e-12) << "from the upper triangle alone";
  EXPECT_FALSE(Dense(Eigen::Vector2d(1, 0).asDiagonal()).LeastSquares(x)) << "rank 1";
  ASSERT_TRUE(Dense(MatrixXd::Zero(4, 2)).LeastSquares(x)) << "LAPACK's own exception";
  EXPECT_EQ(Values(x).topRows(2).norm(), 0);
  x(1, 0) = kNan;
  testing::internal::CaptureStdout();
  EXPECT_FALSE(Dense(random.Matrix(2, 2)).LeastSquares(x));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << "the provider's error handler was reached";
}

TEST(KoMatrix, MultiplyAgreesWithEigenAndStaysWithinItsResult) {
  Random random;
  const MatrixXd a = random.Matrix(2, 3), b = random.Matrix(3, 4), c = random.Matrix(2, 4);
  for (const bool ta : {false, true}) {
    for (const bool tb : {false, true}) {
      KoMatrix left = Dense(ta ? a.transpose() : a), right = Dense(tb ? b.transpose() : b);
      KoMatrix result = Dense(c), fresh;
      ASSERT_TRUE(KoMatrix::Multiply(2, left, ta, right, tb, -3, result));
      EXPECT_LT(Error(Values(result), 2 * a * b - 3 * c), 1e-14);
      ASSERT_TRUE(KoMatrix::Multiply(2, left, ta, right, tb, -3, fresh)) << "no storage counts as 0";
      EXPECT_LT(Error(Values(fresh), 2 * a * b), 1e-14);
      EXPECT_FALSE(KoMatrix::Multiply(1, left, !ta, right, tb, 0, fresh)) << "inner dimensions";
    }
  }
  const MatrixXd s = random.Definite(3);
  KoMatrix symmetric = Dense(s, true), left = Dense(a), right = Dense(b), result;
  ASSERT_TRUE(KoMatrix::Multiply(1, symmetric, false, right, false, 0, result));
  EXPECT_LT(Error(Values(result), s * b), 1e-14);
  EXPECT_TRUE(symmetric.IsSymmetric());
  EXPECT_EQ(symmetric.Data()[1], s(0, 1)) << "the storage is full now";

  const auto refuses = [](KoMatrix& one, KoMatrix& two, double beta, KoMatrix& product) {
    const MatrixXd before = Values(product);
    EXPECT_FALSE(KoMatrix::Multiply(1, one, false, two, false, beta, product));
    EXPECT_EQ(Error(Values(product), before), 0);
  };
  for (const auto& [rows, cols] : {std::pair(2, 3), {1, 4}, {4, 2}, {8, 1}, {3, 5}}) {
    KoMatrix other = Dense(random.Matrix(rows, cols));  // another shape: untouched
    refuses(left, right, 0, other);
    refuses(left, right, 1, other);
  }
  KoMatrix square = Dense(s);
  refuses(square, square, 0, square);
}

TEST(KoMatrix, CheckSolutionHoldsToItsTolerance) {
  for (const bool symmetric : {false, true}) {
    const MatrixXd a = Eigen::Vector2d(2, 4).asDiagonal(), x = Eigen::Vector2d(1, -1);
    for (const auto& [shift, holds] :
         {std::pair(0.0, true), {0.99e-12, true}, {-1.01e-12, false}, {kNan, false}}) {
      const KoMatrix b = Dense(a * x + Eigen::Vector2d(0, shift));
      EXPECT_EQ(KoMatrix::CheckSolution(Dense(a, symmetric), b, Dense(x)), holds);
      EXPECT_EQ(KoMatrix_banded::CheckSolution(Banded(a, 1, 1, symmetric), b, Dense(x)), holds);
    }
  }
  const KoMatrix a = Dense(MatrixXd::Zero(2, 3)), b = Dense(MatrixXd::Zero(2, 1)),
                 x = Dense(MatrixXd::Zero(3, 1));
  EXPECT_TRUE(KoMatrix::CheckSolution(a, b, x));
  EXPECT_FALSE(KoMatrix::CheckSolution(a, x, b)) << "shapes";
}

/// Solves the bordered system in blocks and as a whole; `a` is positive definite.
template <class Matrix>
void ExpectBorderedSolution(Matrix a, const MatrixXd& aFull, const MatrixXd& b, const MatrixXd& s,
                            bool symmetricS, Random& random) {
  const Eigen::Index n = aFull.rows(), m = s.rows();
  const MatrixXd right = random.Matrix(static_cast<int>(n + m), 2);
  MatrixXd whole(n + m, n + m), solution(n + m, 2);
  whole << aFull, b, b.transpose(), s;
  KoMatrix bBlock = Dense(b), sBlock = Dense(s, symmetricS), c = Dense(right.topRows(n)),
           d = Dense(right.bottomRows(m));
  ASSERT_TRUE(Matrix::BorderedSolve(a, bBlock, sBlock, c, d));
  solution << Values(c), Values(d);
  EXPECT_LT(Error(whole * solution, right), 1e-12);
}

TEST(KoMatrix, BorderedSolveAgreesWithTheWholeSystem) {
  Random random;
  const MatrixXd a = random.Definite(6), band = InBand(a, 2, 2) + 6 * MatrixXd::Identity(6, 6);
  for (int m = 1; m <= 3; ++m) {
    const MatrixXd b = random.Matrix(6, m), s = random.Definite(m);
    for (const bool symmetricS : {false, true}) {
      ExpectBorderedSolution(Dense(a, true), a, b, -s, symmetricS, random);
      ExpectBorderedSolution(Banded(band, 0, 2, true), band, b, -s, symmetricS, random);
    }
    ExpectBorderedSolution(Dense(a, true), a, b, 9 * s, false, random);
    ExpectBorderedSolution(Dense(a, true), a, b, 0 * s, true, random);
  }
  // False: A or the Schur complement not definite, or nothing left for y to solve.
  const MatrixXd b = random.Matrix(6, 2), one = MatrixXd::Identity(2, 2);
  const struct {
    MatrixXd a, b, s;
    bool symmetricS;
  } rows[] = {{-a, b, 0 * one, true}, {a, b, 1e3 * one, true}, {a, 0 * b, 0 * one, false}};
  for (const auto& row : rows) {
    KoMatrix aBlock = Dense(row.a, true), bBlock = Dense(row.b), s = Dense(row.s, row.symmetricS);
    KoMatrix c = Dense(random.Matrix(6, 1)), d = Dense(random.Matrix(2, 1));
    EXPECT_FALSE(KoMatrix::BorderedSolve(aBlock, bBlock, s, c, d));
  }
}

TEST(KoMatrix, OperandsThatDoNotFitAreRefusedUnread) {
  Random random;
  const MatrixXd a = random.Definite(3);
  MatrixXd wide(3, 4);
  wide << a, a.col(0);
  const auto refuses = [](KoMatrix matrix, KoMatrix b) {
    const MatrixXd before = Values(b);
    double w[4];
    EXPECT_FALSE(matrix.LinearSolve(b) || matrix.CholeskySolve(b));
    if (matrix.Rows() != matrix.Cols() || matrix.Rows() == 0) {
      EXPECT_FALSE(matrix.CholeskyFactor() || matrix.EigenDecompose(w, &b));
    } else {
      EXPECT_FALSE(matrix.LeastSquares(b));
    }
    EXPECT_EQ(Error(Values(b), before), 0);
  };
  const auto refusesBanded = [](KoMatrix_banded matrix, KoMatrix b) {
    EXPECT_FALSE(matrix.LinearSolve(b) || matrix.CholeskySolve(b));
    EXPECT_FALSE(matrix.Rows() == 0 && matrix.CholeskyFactor());
  };
  const KoMatrix empty, b = Dense(random.Matrix(3, 1)), shorter = Dense(random.Matrix(2, 1));
  for (const bool symmetric : {false, true}) {
    for (const KoMatrix& right : {shorter, empty, Dense(a, true)}) {  // the last has no lower triangle
      refuses(Dense(a, symmetric), right);
      refusesBanded(Banded(a, 1, 1, symmetric), right);
    }
    refuses(KoMatrix(symmetric), b);
    refuses(Dense(wide, symmetric), b);
    refusesBanded(KoMatrix_banded(), b);
    refusesBanded(Banded(wide, 1, 1, symmetric), b);
  }
  KoMatrix_banded late = Banded(a, 1, 1);
  late.SetSymmetric(true);  // too late: the layout has room for fill-in
  refusesBanded(late, b);
  EXPECT_FALSE(late.CholeskyFactor());
  KoMatrix self = Dense(a);
  EXPECT_FALSE(self.LinearSolve(self) || self.CholeskySolve(self) || self.LeastSquares(self));
  EXPECT_EQ(Error(Values(self), a), 0);

  const KoMatrix border = Dense(random.Matrix(3, 2)), corner = Dense(MatrixXd::Zero(2, 2));
  const KoMatrix* blocks[][4] = {{&shorter, &corner, &b, &shorter},
                                 {&border, &b, &b, &shorter},
                                 {&border, &corner, &shorter, &shorter},
                                 {&border, &corner, &b, &b},
                                 {&border, &corner, &border, &shorter}};
  for (const auto& [bBlock, s, c, d] : blocks) {
    KoMatrix a0 = Dense(a, true), b0 = *bBlock, s0 = *s, c0 = *c, d0 = *d;
    EXPECT_FALSE(KoMatrix::BorderedSolve(a0, b0, s0, c0, d0));
    EXPECT_EQ(a0(0, 0), a(0, 0)) << "untouched";
  }
  KoMatrix a0 = Dense(a, true), b0 = Dense(a), s0 = Dense(-a);
  EXPECT_FALSE(KoMatrix::BorderedSolve(a0, b0, s0, b0, b0)) << "the same object twice";
  EXPECT_EQ(Error(Values(b0), a), 0);
}

TEST(KoMatrix, NotANumberEndsEverySolve) {
  Random random;
  const MatrixXd a = random.Definite(5), b = random.Matrix(5, 1);
  for (int at = 0; at < 25; ++at) {
    for (const double bad : {kNan, kInfinity}) {
      MatrixXd poisoned = a;
      poisoned(at / 5, at % 5) = poisoned(at % 5, at / 5) = bad;
      KoMatrix x[5] = {Dense(b), Dense(b), Dense(b), Dense(b), Dense(b)};
      const bool solved[] = {Dense(poisoned).LinearSolve(x[0]), Dense(poisoned, true).LinearSolve(x[1]),
                             Banded(poisoned, 4, 4).LinearSolve(x[2]),
                             Banded(poisoned, 0, 4, true).LinearSolve(x[3]),
                             Dense(poisoned).LeastSquares(x[4])};
      for (int k = 0; k < 5; ++k) {
        const MatrixXd values = Values(x[k]);
        EXPECT_FALSE(solved[k] && values.allFinite() && Error(poisoned * values, b) < 1e-6) << k;
      }
    }
  }
}

}  // namespace
