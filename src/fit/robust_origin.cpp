#include "fit/robust_origin.h"

#include <cmath>
#include <iterator>

using Eigen::Vector3d;

namespace primfit {

namespace {

double MiddleOf(double a, double b, double c) {
  return std::max(std::min(a, b), std::min(std::max(a, b), c));
}
Vector3d MiddleOf(const Vector3d& a, const Vector3d& b, const Vector3d& c) {
  return a.cwiseMin(b).cwiseMax(a.cwiseMax(b).cwiseMin(c));
}

/// The median of medians of three of medians of three and so on (the remedian of Rousseeuw and Bassett 1990).
/// It takes nanoseconds where the selection of the true median takes hundreds of them.
/// @param count  a power of three
template <class T>
T Remedian(T* values, int count) {
  while (count > 1) {
    count /= 3;
    const T* three = values;
    for (int i = 0; i < count; ++i, three += 3) values[i] = MiddleOf(three[0], three[1], three[2]);
  }
  return values[0];
}

}  // namespace

bool FindOrigin(const Vector3d* points, int count, Vector3d& origin) {
  constexpr double kStrayDistance = 64;  // in medians of the distances from the origin
  constexpr int kFewestPoints = 9;
  if (count < kFewestPoints) return false;
  int used = kFewestPoints;
  while (3 * used <= count) used *= 3;
  Vector3d sample[kOriginSample];
  std::fill(std::copy_n(points, used, sample), std::end(sample), points[0]);
  origin = Remedian(sample, used);
  double distances[kOriginSample] = {}, ordered[kOriginSample] = {};
  for (int i = 0; i < count; ++i) distances[i] = (points[i] - origin).lpNorm<Eigen::Infinity>();
  std::copy_n(distances, used, ordered);
  const double bound = kStrayDistance * Remedian(ordered, used);
  const auto beyond = std::count_if(distances, distances + count, [&](double d) { return !(d <= bound); });
  return 8 * beyond <= count;
}

Vector3d MedianOfComponents(Vector3d* points, int count) {
  if (count == 0) return Vector3d::Zero();
  Vector3d median;
  for (Eigen::Index axis = 0; axis < 3; ++axis) {
    std::nth_element(points, points + count / 2, points + count,
                     [&](const Vector3d& a, const Vector3d& b) { return a[axis] < b[axis]; });
    median[axis] = points[count / 2][axis];
  }
  return median;
}

}  // namespace primfit
