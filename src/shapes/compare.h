// What Similarity and Difference of the shapes share: comparisons of parts, and means of two shapes against
// which points are measured. Similarity works on plain coordinates in the unit of the points, so a centre one
// unit away is not similar at all, whatever the size of the shape.
#ifndef PRIMFIT_SRC_SHAPES_COMPARE_H_
#define PRIMFIT_SRC_SHAPES_COMPARE_H_

#include <Eigen/Core>
#include <algorithm>
#include <cmath>
#include <limits>

#include "fit/vector_math.h"

namespace primfit {

/// The Difference of shapes of different kinds.
inline constexpr double kDifferentKinds = std::numeric_limits<double>::max();

/// sqrt(1 - |c - c'|^2), or 0 for centres 1 or more apart.
inline double CentreSimilarity(const Eigen::Vector3d& c, const Eigen::Vector3d& other) {
  const double x = 1 - (c - other).squaredNorm();
  return x > 0 ? std::sqrt(x) : 0;
}

/// The cosine of the angle between two axes, whose signs are arbitrary.
inline double AxisSimilarity(const Eigen::Vector3d& a, const Eigen::Vector3d& other) {
  return std::abs(a.dot(other));
}

inline Eigen::Vector3d MeanPoint(const Eigen::Vector3d& a, const Eigen::Vector3d& b) { return (a + b) / 2; }

/// Mean of two directions whose signs are arbitrary.
inline Eigen::Vector3d MeanDirection(const Eigen::Vector3d& a, const Eigen::Vector3d& b) {
  return Normalised(a.dot(b) > 0 ? Eigen::Vector3d(a + b) : Eigen::Vector3d(a - b));
}

inline double MeanValue(double a, double b) { return (a + b) * 0.5; }

/// Largest and smallest of non-negative values.
struct Extremes {
  double largest = 0;
  double smallest = std::numeric_limits<double>::max();
  void Add(double value) {
    largest = std::max(largest, value);
    smallest = std::min(smallest, value);
  }
  /// The values are squares of lengths: the larger deviation of both roots from a radius.
  double DeviationOfRoots(double radius) const {
    return std::max(std::abs(std::sqrt(largest) - radius), std::abs(std::sqrt(smallest) - radius));
  }
};

/// Largest |distance| of n points by a formula, from 0.
template <class Formula>
double LargestDistance(const Formula& formula, int n, const Eigen::Vector3d* points) {
  double largest = 0;
  for (int i = 0; i < n; ++i) {
    largest = std::max(largest, std::abs(formula.Distance(points[i].x(), points[i].y(), points[i].z())));
  }
  return largest;
}

}  // namespace primfit

#endif  // PRIMFIT_SRC_SHAPES_COMPARE_H_
