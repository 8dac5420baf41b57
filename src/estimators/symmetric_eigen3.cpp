// QL iteration with implicit shifts on three rows. A search decomposes thousands of such matrices, and in
// fixed space this is faster than a general routine.
#include "estimators/symmetric_eigen3.h"

#include <cmath>
#include <utility>

SymmetricEigen3::SymmetricEigen3(double s00, double s01, double s02, double s11, double s12, double s22)
    : matrix{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, diagonal{s00, s11, s22}, subdiagonal{s01, s12, 0} {
  if (s02 == 0) return;
  const double length = std::hypot(s01, s02);
  const double u = s01 / length;
  const double v = s02 / length;
  const double q = 2 * u * s12 + v * (s22 - s11);
  diagonal[1] = s11 + v * q;
  diagonal[2] = s22 - v * q;
  subdiagonal[0] = length;
  subdiagonal[1] = s12 - u * q;
  matrix[1][1] = u;
  matrix[1][2] = v;
  matrix[2][1] = v;
  matrix[2][2] = -u;
}

bool SymmetricEigen3::Solve() {
  const bool converged = Converge(0) && Converge(1) && Converge(2);
  SortDescending();
  return converged;
}

/// Iterates until subdiagonal[k] vanishes.
bool SymmetricEigen3::Converge(int k) {
  constexpr int kMaxIterations = 32;
  for (int iteration = 0; iteration < kMaxIterations; ++iteration) {
    const int m = FirstNegligible(k);
    if (m == k) return true;
    QlStep(k, m);
  }
  return false;
}

/// First m >= k whose subdiagonal entry vanishes beside its diagonal neighbours; 2 when there is none.
int SymmetricEigen3::FirstNegligible(int k) const {
  for (int m = k; m < 2; ++m) {
    const double t = std::abs(diagonal[m]) + std::abs(diagonal[m + 1]);
    if (std::abs(subdiagonal[m]) + t == t) return m;
  }
  return 2;
}

/// One QL sweep with Wilkinson's shift over rows k to m; the rotations are gathered in the matrix of
/// eigenvectors.
void SymmetricEigen3::QlStep(int k, int m) {
  double g = (diagonal[k + 1] - diagonal[k]) / (2 * subdiagonal[k]);
  double r = std::hypot(g, 1.0);
  g = diagonal[m] - diagonal[k] + subdiagonal[k] / (g < 0 ? g - r : g + r);
  double s = 1;
  double c = 1;
  double p = 0;
  for (int i = m - 1; i >= k; --i) {
    const double f = s * subdiagonal[i];
    const double b = c * subdiagonal[i];
    if (std::abs(f) >= std::abs(g)) {
      c = g / f;
      r = std::hypot(c, 1.0);
      subdiagonal[i + 1] = f * r;
      s = 1 / r;
      c *= s;
    } else {
      s = f / g;
      r = std::hypot(s, 1.0);
      subdiagonal[i + 1] = g * r;
      c = 1 / r;
      s *= c;
    }
    g = diagonal[i + 1] - p;
    r = (diagonal[i] - g) * s + 2 * b * c;
    p = s * r;
    diagonal[i + 1] = g + p;
    g = c * r - b;
    for (auto& row : matrix) {
      const double t = row[i + 1];
      row[i + 1] = s * row[i] + c * t;
      row[i] = c * row[i] - s * t;
    }
  }
  diagonal[k] -= p;
  subdiagonal[k] = g;
  subdiagonal[m] = 0;
}

void SymmetricEigen3::SortDescending() {
  for (int k = 0; k < 2; ++k) {
    int largest = k;
    for (int i = k + 1; i < 3; ++i) {
      if (diagonal[i] > diagonal[largest]) largest = i;
    }
    if (largest == k) continue;
    std::swap(diagonal[k], diagonal[largest]);
    for (auto& row : matrix) std::swap(row[k], row[largest]);
  }
}
