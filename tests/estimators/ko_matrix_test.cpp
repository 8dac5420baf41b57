// The matrix classes: layout, ownership, and every operation against Eigen's own solvers.
#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <random>

#include "estimators/ko_matrix.h"
#include "estimators/ko_matrix_banded.h"
#include "support/memory.h"

namespace {

using Eigen::MatrixXd;
using primfit::testing::memoryIsOut;
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr int kMaxInt = std::numeric_limits<int>::max();

class Random {
 public:
  explicit Random(unsigned seed) : engine_(seed) {}
  MatrixXd Matrix(int rows, int cols) {
    return MatrixXd::NullaryExpr(rows, cols, [&] { return uniform_(engine_); });
  }
  MatrixXd Definite(int n) {
    const MatrixXd a = Matrix(n, n);
    return a * a.transpose() + MatrixXd::Identity(n, n);
  }

 private:
  std::mt19937_64 engine_;
  std::uniform_real_distribution<double> uniform_{-1, 1};
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

MatrixXd InBand(MatrixXd m, int kl, int ku) {
  for (int j = 0; j < m.cols(); ++j) {
    for (int i = 0; i < m.rows(); ++i) {
      if (j - i > ku || i - j > kl) m(i, j) = 0;
    }
  }
  return m;
}

/// The largest difference beside the size of `expected`; NaN counts as infinite.
double Error(const MatrixXd& got, const MatrixXd& expected) {
  if (got.rows() != expected.rows() || got.cols() != expected.cols() || !got.allFinite()) return kInfinity;
  return (got - expected).norm() / std::max(1.0, expected.norm());
}

TEST(KoMatrix, LiesInMemoryAsLapackReadsIt) {
  KoMatrix dense;
  dense.Resize(3, 2);
  EXPECT_EQ(&dense(1, 1), dense.Data() + 4);
  KoMatrix symmetric(true);
  symmetric.Resize(3, 0);
  EXPECT_EQ(&symmetric(2, 1), &symmetric(1, 2));
  EXPECT_EQ(&symmetric(1, 2), symmetric.Data() + 7);

  KoMatrix_banded band;
  band.Resize(1, 2, 6);
  EXPECT_EQ(&band(0, 0), band.Data() + 3);
  EXPECT_EQ(&band(1, 0), band.Data() + 4);
  EXPECT_EQ(&band(0, 1), band.Data() + 5 + 2);
  KoMatrix_banded half;
  half.SetSymmetric(true);
  half.Resize(1, 2, 6);  // the sub-diagonal is dropped
  EXPECT_EQ(&half(0, 0), half.Data() + 2);
  EXPECT_EQ(&half(3, 1), half.Data() + 3 * 3);
  EXPECT_EQ(&half(1, 3), &half(3, 1));
}

TEST(KoMatrix, ResizeTakesOddShapesAndRefusesImpossibleOnes) {
  const struct {
    int rows, cols, expectedRows, expectedCols;
  } rows[] = {{3, 0, 3, 3},  {3, -1, 3, 3}, {0, 0, 0, 0}, {0, 4, 0, 4},
              {-3, 0, 0, 0}, {-3, 2, 0, 2}, {2, 3, 2, 3}};
  for (const auto& row : rows) {
    KoMatrix dense;
    KoMatrix_banded band;
    dense.Resize(row.rows, row.cols);
    band.Resize(-1, -1, row.rows, row.cols);  // only the diagonal
    EXPECT_EQ(dense.Rows(), row.expectedRows);
    EXPECT_EQ(dense.Cols(), row.expectedCols);
    EXPECT_EQ(band.Cols(), row.expectedCols);
    EXPECT_EQ(dense.Data() != nullptr, row.expectedRows > 0);
    dense.SetZero();
    band.SetZero();
  }
  KoMatrix dense;
  dense.Resize(2, 2);
  EXPECT_THROW(dense.Resize(65536, 65536), std::bad_alloc);  // 2^32 elements would wrap to 0
  EXPECT_EQ(dense.Data(), nullptr);
  EXPECT_EQ(dense.Rows() + dense.Cols(), 0);
  dense.SetZero();
  dense.Resize(2, 2);
  KoMatrix_banded band;
  EXPECT_THROW(band.Resize(kMaxInt, kMaxInt, kMaxInt), std::bad_alloc);
  EXPECT_THROW(band.Resize(1, 1, kMaxInt), std::bad_alloc);
  EXPECT_EQ(band.Data(), nullptr);
}

TEST(KoMatrix, CopiesAreDeepAndAssignmentNeedsTheSameSize) {
  Random random(1);
  const MatrixXd two = random.Matrix(2, 2), three = random.Matrix(3, 3);
  KoMatrix a = Dense(three), copy = a;
  copy(1, 1) += 1;
  EXPECT_EQ(Error(Values(a), three), 0);
  a = Dense(two);
  EXPECT_EQ(Error(Values(a), three), 0) << "another size: unchanged";
  const KoMatrix& self = a;
  a = self;
  EXPECT_EQ(Error(Values(a), three), 0);
  a = copy;
  EXPECT_EQ(a(1, 1), copy(1, 1));
  const KoMatrix empty, emptyCopy = empty;
  EXPECT_EQ(emptyCopy.Data(), nullptr);
  a = empty;
  EXPECT_EQ(a.Rows(), 3);

  KoMatrix_banded band = Banded(three, 1, 1), other = band;
  other(0, 0) = 7;
  band = Banded(three, 0, 3);  // 12 elements too, but another layout
  EXPECT_EQ(band(0, 0), three(0, 0));
  band = other;
  EXPECT_EQ(band(0, 0), 7);

  memoryIsOut = true;
  EXPECT_THROW(KoMatrix{a}, std::bad_alloc);
  memoryIsOut = false;
}

TEST(KoMatrix, LinearSolveAgreesWithEigen) {
  Random random(2);
  for (int n = 1; n <= 13; ++n) {
    for (const int rightHandSides : {1, 3}) {
      const MatrixXd b = random.Matrix(n, rightHandSides), definite = random.Definite(n);
      MatrixXd symmetric = random.Matrix(n, n);
      symmetric += symmetric.transpose().eval();
      symmetric(0, 0) = -1;
      const struct {
        MatrixXd a;
        bool flag, solvable;
      } rows[] = {{definite, true, true},
                  {definite, false, true},
                  {random.Matrix(n, n), false, true},
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
  }
  KoMatrix singular = Dense(MatrixXd::Constant(2, 2, 1)), b = Dense(MatrixXd::Constant(2, 1, 1));
  EXPECT_FALSE(singular.LinearSolve(b));

  // Right-hand sides in the top rows of a taller matrix; the rows below keep their values.
  const MatrixXd a = random.Matrix(3, 3), tall = random.Matrix(5, 2);
  KoMatrix x = Dense(tall);
  ASSERT_TRUE(Dense(a).LinearSolve(x));
  EXPECT_LT(Error(a * Values(x).topRows(3), tall.topRows(3)), 1e-12);
  EXPECT_EQ(Error(Values(x).bottomRows(2), tall.bottomRows(2)), 0);

  KoMatrix lu = Dense(a);
  memoryIsOut = true;  // no room for the pivots
  const bool solved = lu.LinearSolve(x);
  memoryIsOut = false;
  EXPECT_FALSE(solved);
}

TEST(KoMatrix, BandedSolvesAgreeWithEigenForEveryBandwidth) {
  Random random(3);
  for (int n = 1; n <= 6; ++n) {
    const MatrixXd b = random.Matrix(n, 2), dominance = 8 * MatrixXd::Identity(n, n);
    for (int ku = 0; ku <= n; ++ku) {
      for (int kl = 0; kl <= n; ++kl) {
        const MatrixXd a = InBand(random.Matrix(n, n), kl, ku);
        if (std::abs(a.determinant()) < 1e-3) continue;  // random triangles can be nearly singular
        const MatrixXd reference = a.fullPivLu().solve(b);
        KoMatrix_banded band = Banded(a, kl, ku);
        KoMatrix x = Dense(b);
        ASSERT_TRUE(band.LinearSolve(x));
        EXPECT_LT(Error(Values(x), reference), 1e-10) << n << " " << kl << " " << ku;
      }
      MatrixXd a = InBand(random.Matrix(n, n), ku, ku);
      a = (a + a.transpose()).eval() + dominance;
      KoMatrix_banded direct = Banded(a, 2, ku, true), factor = direct;
      const KoMatrix_banded original = direct;
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
  KoMatrix x = Dense(MatrixXd::Constant(3, 1, 1));
  EXPECT_FALSE(Banded(MatrixXd::Zero(3, 3), 1, 1).LinearSolve(x)) << "singular";
}

TEST(KoMatrix, EigenDecomposeAgreesWithEigen) {
  const MatrixXd diagonal = Eigen::Vector3d(3, 1, 2).asDiagonal();
  KoMatrix a = Dense(diagonal, true), z(true);
  double w[13];
  ASSERT_TRUE(a.EigenDecompose(w, &z));
  const int order[] = {1, 2, 0};
  for (int k = 0; k < 3; ++k) {
    EXPECT_NEAR(w[k], k + 1, 1e-15);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(std::abs(z(i, k)), i == order[k], 1e-15);
  }

  Random random(4);
  for (int n = 1; n <= 13; ++n) {
    const MatrixXd half = random.Matrix(n, n), full = half + half.transpose();
    const Eigen::SelfAdjointEigenSolver<MatrixXd> reference(full);
    KoMatrix vectors = Dense(full, true), valuesOnly = vectors;
    double w2[13];
    ASSERT_TRUE(vectors.EigenDecompose(w, &vectors)) << "the vectors may replace the matrix";
    ASSERT_TRUE(valuesOnly.EigenDecompose(w2, nullptr));
    const Eigen::Map<Eigen::VectorXd> values(w, n), again(w2, n);
    const MatrixXd v = Values(vectors);
    EXPECT_LT(Error(values, reference.eigenvalues()), 1e-13);
    EXPECT_LT(Error(again, values), 1e-13);
    EXPECT_LT(Error(full * v, v * values.asDiagonal()), 1e-13);
    EXPECT_LT(Error(v.transpose() * v, MatrixXd::Identity(n, n)), 1e-13);
  }

  for (const double bad : {kNan, kInfinity, -kInfinity}) {
    for (int at = 0; at < 3; ++at) {
      KoMatrix poisoned = Dense(diagonal, true), untouched = Dense(diagonal);
      poisoned(at / 2, 1 + at / 2 - (at == 0)) = bad;  // (0, 0), (0, 1), (1, 2)
      EXPECT_FALSE(poisoned.EigenDecompose(w, &untouched));
      EXPECT_EQ(Error(Values(untouched), diagonal), 0);
    }
  }
}

TEST(KoMatrix, LeastSquaresAgreesWithEigenForEveryShape) {
  Random random(5);
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
  x = Dense(b);
  ASSERT_TRUE(Dense(MatrixXd::Zero(4, 2)).LeastSquares(x)) << "LAPACK's own exception";
  EXPECT_EQ(Values(x).topRows(2).norm(), 0);
  KoMatrix poisoned = Dense(random.Matrix(2, 1));
  poisoned(1, 0) = kNan;
  testing::internal::CaptureStdout();
  EXPECT_FALSE(Dense(random.Matrix(2, 2)).LeastSquares(poisoned));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << "the provider's error handler was reached";
}

TEST(KoMatrix, MultiplyAgreesWithEigenAndStaysWithinItsResult) {
  Random random(6);
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
  KoMatrix symmetric = Dense(s, true), right = Dense(b), result;
  ASSERT_TRUE(KoMatrix::Multiply(1, symmetric, false, right, false, 0, result));
  EXPECT_LT(Error(Values(result), s * b), 1e-14);
  EXPECT_TRUE(symmetric.IsSymmetric());
  EXPECT_EQ(symmetric.Data()[1], s(0, 1)) << "the storage is full now";

  KoMatrix left = Dense(a);
  for (const auto& [rows, cols] : {std::pair(2, 3), {1, 4}, {4, 2}, {8, 1}, {3, 5}}) {
    for (const double beta : {0.0, 1.0}) {
      const MatrixXd before = random.Matrix(rows, cols);
      KoMatrix other = Dense(before);
      EXPECT_FALSE(KoMatrix::Multiply(1, left, false, right, false, beta, other));
      EXPECT_EQ(Error(Values(other), before), 0) << "another shape: untouched";
    }
  }
  KoMatrix square = Dense(s);
  EXPECT_FALSE(KoMatrix::Multiply(1, square, false, square, false, 0, square)) << "in place";
  EXPECT_EQ(Error(Values(square), s), 0);
}

TEST(KoMatrix, CheckSolutionHoldsToItsTolerance) {
  for (const bool symmetric : {false, true}) {
    const MatrixXd a = Eigen::Vector2d(2, 4).asDiagonal(), x = Eigen::Vector2d(1, -1);
    const auto judge = [&](double shift) {
      const MatrixXd b = a * x + Eigen::Vector2d(0, shift);
      const bool dense = KoMatrix::CheckSolution(Dense(a, symmetric), Dense(b), Dense(x));
      EXPECT_EQ(KoMatrix_banded::CheckSolution(Banded(a, 1, 1, symmetric), Dense(b), Dense(x)), dense);
      return dense;
    };
    EXPECT_TRUE(judge(0));
    EXPECT_TRUE(judge(0.99e-12));
    EXPECT_FALSE(judge(-1.01e-12));
    EXPECT_FALSE(judge(kNan));
  }
  const KoMatrix a = Dense(MatrixXd::Zero(2, 3)), b = Dense(MatrixXd::Zero(2, 1)),
                 x = Dense(MatrixXd::Zero(3, 1));
  EXPECT_TRUE(KoMatrix::CheckSolution(a, b, x));
  EXPECT_FALSE(KoMatrix::CheckSolution(a, x, b)) << "shapes";
}

/// Solves the bordered system in blocks and as a whole; `a` is positive definite.
template <class Matrix>
void ExpectBorderedSolution(Matrix a, const MatrixXd& aFull, const MatrixXd& b, const MatrixXd& s,
                            bool symmetricS) {
  const Eigen::Index n = aFull.rows(), m = s.rows();
  Random random(8);
  const MatrixXd right = random.Matrix(static_cast<int>(n + m), 2);
  MatrixXd whole(n + m, n + m);
  whole << aFull, b, b.transpose(), s;
  KoMatrix bBlock = Dense(b), sBlock = Dense(s, symmetricS), c = Dense(right.topRows(n)),
           d = Dense(right.bottomRows(m));
  ASSERT_TRUE(Matrix::BorderedSolve(a, bBlock, sBlock, c, d));
  MatrixXd solution(n + m, 2);
  solution << Values(c), Values(d);
  EXPECT_LT(Error(whole * solution, right), 1e-12);
}

TEST(KoMatrix, BorderedSolveAgreesWithTheWholeSystem) {
  Random random(7);
  const MatrixXd a = random.Definite(6);
  const MatrixXd band = InBand(a, 2, 2) + 6 * MatrixXd::Identity(6, 6);
  for (int m = 1; m <= 3; ++m) {
    const MatrixXd b = random.Matrix(6, m), negative = -random.Definite(m),
                   indefinite = random.Definite(m) * 9;
    for (const bool symmetricS : {false, true}) {
      ExpectBorderedSolution(Dense(a, true), a, b, negative, symmetricS);
      ExpectBorderedSolution(Banded(band, 0, 2, true), band, b, negative, symmetricS);
    }
    ExpectBorderedSolution(Dense(a, true), a, b, indefinite, false);
    ExpectBorderedSolution(Dense(a, true), a, b, MatrixXd::Zero(m, m), true);
  }
  // False: A or the Schur complement not definite, or nothing left for y to solve.
  const MatrixXd b = random.Matrix(6, 2), zero = MatrixXd::Zero(2, 2);
  const struct {
    MatrixXd a, b, s;
    bool symmetricS;
  } rows[] = {{-a, b, zero, true}, {a, b, 1e3 * MatrixXd::Identity(2, 2), true}, {a, 0 * b, zero, false}};
  for (const auto& row : rows) {
    KoMatrix aBlock = Dense(row.a, true), bBlock = Dense(row.b), s = Dense(row.s, row.symmetricS);
    KoMatrix c = Dense(random.Matrix(6, 1)), d = Dense(random.Matrix(2, 1));
    EXPECT_FALSE(KoMatrix::BorderedSolve(aBlock, bBlock, s, c, d));
  }
}

TEST(KoMatrix, OperandsThatDoNotFitAreRefusedUnread) {
  Random random(9);
  const MatrixXd a = random.Definite(3);
  MatrixXd wide(3, 4);
  wide << a, a.col(0);
  const auto refuses = [](KoMatrix matrix, const KoMatrix& rightHandSide) {
    const MatrixXd before = Values(rightHandSide);
    KoMatrix b = rightHandSide;
    double w[4];
    EXPECT_FALSE(matrix.LinearSolve(b));
    EXPECT_FALSE(matrix.CholeskySolve(b));
    if (matrix.Rows() != matrix.Cols() || matrix.Rows() == 0) {
      EXPECT_FALSE(matrix.CholeskyFactor());
      EXPECT_FALSE(matrix.EigenDecompose(w, &b));
    } else {
      EXPECT_FALSE(matrix.LeastSquares(b));
    }
    EXPECT_EQ(Error(Values(b), before), 0);
  };
  const KoMatrix empty, b = Dense(random.Matrix(3, 1)), shorter = Dense(random.Matrix(2, 1));
  for (const bool symmetric : {false, true}) {
    refuses(Dense(a, symmetric), shorter);
    refuses(Dense(a, symmetric), empty);
    refuses(Dense(a, symmetric), Dense(a, true));  // its lower triangle does not exist
    refuses(KoMatrix(symmetric), b);
    refuses(Dense(wide, symmetric), b);

    KoMatrix_banded band = Banded(a, 1, 1, symmetric), none;
    KoMatrix copy = shorter, whole = b, flagged = Dense(a, true);
    EXPECT_FALSE(band.LinearSolve(copy) || band.CholeskySolve(copy) || band.LinearSolve(flagged));
    EXPECT_FALSE(none.LinearSolve(whole) || none.CholeskyFactor() || none.CholeskySolve(whole));
    KoMatrix_banded late = Banded(a, 1, 1);
    late.SetSymmetric(true);  // too late: the layout has room for fill-in
    EXPECT_FALSE(late.LinearSolve(whole) || late.CholeskyFactor() || late.CholeskySolve(whole));
    EXPECT_FALSE(Banded(wide, 1, 1, symmetric).LinearSolve(whole));
  }
  KoMatrix self = Dense(a);
  EXPECT_FALSE(self.LinearSolve(self) || self.CholeskySolve(self) || self.LeastSquares(self));
  EXPECT_EQ(Error(Values(self), a), 0);

  const KoMatrix border = Dense(random.Matrix(3, 2)), corner = Dense(MatrixXd::Zero(2, 2));
  const KoMatrix c = b, d = shorter, d3 = b;
  const KoMatrix* blocks[][4] = {{&d, &corner, &c, &d},
                                 {&border, &b, &c, &d},
                                 {&border, &corner, &d, &d},
                                 {&border, &corner, &c, &d3},
                                 {&border, &corner, &border, &d}};
  for (const auto& [bBlock, s, cBlock, dBlock] : blocks) {
    KoMatrix a0 = Dense(a, true), b0 = *bBlock, s0 = *s, c0 = *cBlock, d0 = *dBlock;
    EXPECT_FALSE(KoMatrix::BorderedSolve(a0, b0, s0, c0, d0));
    EXPECT_EQ(a0(0, 0), a(0, 0)) << "untouched";
  }
  KoMatrix a0 = Dense(a, true), b0 = Dense(a), s0 = Dense(-a);
  EXPECT_FALSE(KoMatrix::BorderedSolve(a0, b0, s0, b0, b0)) << "the same object twice";
  EXPECT_EQ(Error(Values(b0), a), 0);
}

TEST(KoMatrix, NotANumberEndsEverySolve) {
  Random random(10);
  const MatrixXd a = random.Definite(5), b = random.Matrix(5, 1);
  for (int at = 0; at < 25; ++at) {
    for (const double bad : {kNan, kInfinity}) {
      MatrixXd poisoned = a;
      poisoned(at / 5, at % 5) = poisoned(at % 5, at / 5) = bad;
      const auto expectNoAnswer = [&](auto solve) {
        KoMatrix x = Dense(b);
        const bool solved = solve(x);
        EXPECT_FALSE(solved && Values(x).topRows(5).allFinite() && Error(poisoned * Values(x), b) < 1e-6);
      };
      expectNoAnswer([&](KoMatrix& x) { return Dense(poisoned).LinearSolve(x); });
      expectNoAnswer([&](KoMatrix& x) { return Dense(poisoned, true).LinearSolve(x); });
      expectNoAnswer([&](KoMatrix& x) { return Banded(poisoned, 4, 4).LinearSolve(x); });
      expectNoAnswer([&](KoMatrix& x) { return Banded(poisoned, 0, 4, true).LinearSolve(x); });
      expectNoAnswer([&](KoMatrix& x) { return Dense(poisoned).LeastSquares(x); });
    }
  }
}

}  // namespace
