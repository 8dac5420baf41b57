// A plane from weighted points. Sums of squares overflow for coordinates beyond 1e154 and vanish below
// 1e-162; where that happened, points and weights are scaled by powers of two, which costs no bit, and summed
// up again.
#include "estimators/weighted_plane_fit.h"

#include <Eigen/Core>
#include <algorithm>
#include <cmath>

#include "estimators/symmetric_eigen3.h"

namespace {

/// The i-th element of an array of doubles with a stride in bytes.
const double* Strided(const double* first, std::size_t stride, unsigned i) {
  return reinterpret_cast<const double*>(reinterpret_cast<const char*>(first) + stride * i);
}

/// The points and weights of a fit, each multiplied by a power of two.
struct Weighted {
  unsigned count;
  const double* points;
  std::size_t pointStride;
  const double* weights;
  std::size_t weightStride;
  double pointScale = 1, weightScale = 1;

  Eigen::Vector3d Point(unsigned i) const {
    return pointScale * Eigen::Map<const Eigen::Vector3d>(Strided(points, pointStride, i));
  }
  double Weight(unsigned i) const {
    return weightScale * (weights != nullptr ? *Strided(weights, weightStride, i) : 1.0);
  }
};

/// Sums of w (p - c) (p - c)^T w and the weighted mean c.
struct Scatter {
  double total = 0;
  Eigen::Vector3d centroid = Eigen::Vector3d::Zero();
  double s00 = 0, s01 = 0, s02 = 0, s11 = 0, s12 = 0, s22 = 0;

  explicit Scatter(const Weighted& of) {
    for (unsigned i = 0; i < of.count; ++i) {
      const double w = of.Weight(i);
      total += w;
      centroid += w * of.Point(i);
    }
    centroid /= total;
    for (unsigned i = 0; i < of.count; ++i) {
      const Eigen::Vector3d e = of.Weight(i) * (of.Point(i) - centroid);
      s00 += e.x() * e.x();
      s01 += e.x() * e.y();
      s02 += e.x() * e.z();
      s11 += e.y() * e.y();
      s12 += e.y() * e.z();
      s22 += e.z() * e.z();
    }
  }
  /// Whether nothing is lost to overflow or underflow, neither in the sums nor in their means.
  bool IsSafe() const {
    const auto isSafe = [](double value) { return value > 1e-250 && value < 1e250; };
    const double trace = s00 + s11 + s22;
    return isSafe(trace) && isSafe(trace / std::abs(total));
  }
};

/// The power of two that brings a magnitude near 1.
double ScaleOf(double largest) {
  constexpr int kLargestExponent = 1000;  // keeps the scaled numbers normal
  return largest > 0 && std::isfinite(largest)
             ? std::ldexp(1, std::clamp(-std::ilogb(largest), -kLargestExponent, kLargestExponent))
             : 1;
}

/// Brings the largest coordinate and the largest weight near 1.
void Scale(Weighted& of) {
  double point = 0, weight = 0;
  for (unsigned i = 0; i < of.count; ++i) {
    point = std::max(point, of.Point(i).lpNorm<Eigen::Infinity>());
    weight = std::max(weight, std::abs(of.Weight(i)));
  }
  of.pointScale = ScaleOf(point);
  of.weightScale = ScaleOf(weight);
}

}  // namespace

bool WeightedPlaneFit(unsigned count, const double* points, std::size_t pointStride, const double* weights,
                      std::size_t weightStride, double plane[4]) {
  Weighted of{count, points, pointStride, weights, weightStride};
  Scatter sums(of);
  if (!sums.IsSafe()) {
    Scale(of);
    sums = Scatter(of);
  }
  const double total = sums.total;
  SymmetricEigen3 eigen(sums.s00 / total, sums.s01 / total, sums.s02 / total, sums.s11 / total,
                        sums.s12 / total, sums.s22 / total);
  eigen.Solve();
  const Eigen::Vector3d normal = eigen.Vector(2);
  for (int i = 0; i < 3; ++i) plane[i] = normal[i];
  plane[3] = -sums.centroid.dot(normal) / of.pointScale;
  return true;
}
