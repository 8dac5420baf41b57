#include "estimators/symmetric_eigen3.h"

#include <gtest/gtest.h>

#include <Eigen/Eigenvalues>
#include <cmath>
#include <limits>

#include "support/scenes.h"

namespace primfit::testing {
namespace {

using Eigen::Matrix3d;
using Eigen::Vector3d;

SymmetricEigen3 Load(const Matrix3d& m) { return {m(0, 0), m(0, 1), m(0, 2), m(1, 1), m(1, 2), m(2, 2)}; }

/// Eigenvalues against Eigen's, then what eigenvectors are: orthonormal, and scaled by the matrix.
::testing::AssertionResult Diagonalises(const Matrix3d& m) {
  SymmetricEigen3 eigen = Load(m);
  if (!eigen.Solve()) return ::testing::AssertionFailure() << "does not converge for\n" << m;
  Matrix3d vectors;
  for (int row = 0; row < 3; ++row) vectors.row(row) = Eigen::RowVector3d::Map(eigen.matrix[row]);
  const Vector3d values = Vector3d::Map(eigen.diagonal);
  const double tolerance = 1e-14 * m.cwiseAbs().maxCoeff();
  const Vector3d expected = Eigen::SelfAdjointEigenSolver<Matrix3d>(m).eigenvalues().reverse();
  const bool sorted = values[0] >= values[1] && values[1] >= values[2];
  const bool equal = (values - expected).cwiseAbs().maxCoeff() <= tolerance;
  const bool orthonormal =
      (vectors.transpose() * vectors - Matrix3d::Identity()).cwiseAbs().maxCoeff() <= 1e-14;
  const bool scaled = (m * vectors - vectors * values.asDiagonal()).cwiseAbs().maxCoeff() <= tolerance;
  if (sorted && equal && orthonormal && scaled) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure()
         << "values " << values.transpose() << " for " << expected.transpose() << ", vectors\n"
         << vectors << "\nof\n"
         << m;
}

// Repeated and zero eigenvalues, every order of signs, and zeros off the diagonal in every place.
TEST(SymmetricEigen3, SolvesEveryMatrixOfSmallIntegers) {
  for (int code = 0; code < 5 * 5 * 5 * 5 * 5 * 5; ++code) {
    double entry[6];
    for (int k = 0, rest = code; k < 6; ++k, rest /= 5) entry[k] = rest % 5 - 2;
    Matrix3d m;
    m << entry[0], entry[1], entry[2], entry[1], entry[3], entry[4], entry[2], entry[4], entry[5];
    ASSERT_TRUE(Diagonalises(m));
  }
}

TEST(SymmetricEigen3, SolvesTurnedSpectraOfAnyScale) {
  Random random;
  const Vector3d spectra[] = {{3, 2, 1},        {1, 1, 0},          {1, 0, 0}, {2, 2, 2},
                              {1, 1e-8, 1e-16}, {1, 1 - 1e-12, -1}, {0, 0, 0}};
  for (const Vector3d& spectrum : spectra) {
    for (int i = 0; i < 1000; ++i) {
      const Matrix3d q = random.Rotation();
      const Matrix3d m =
          std::pow(10, random.Uniform(-150, 150)) * (q * spectrum.asDiagonal() * q.transpose());
      ASSERT_TRUE(Diagonalises((m + m.transpose()) / 2));
    }
  }
}

TEST(SymmetricEigen3, GivesUpOnNan) {
  Matrix3d m = Matrix3d::Identity();
  m(0, 2) = std::numeric_limits<double>::quiet_NaN();
  EXPECT_FALSE(Load(m).Solve());
}

}  // namespace
}  // namespace primfit::testing
