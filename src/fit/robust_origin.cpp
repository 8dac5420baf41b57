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

/// The median of medians of three of medians of three and so on (the remedian of Rousseeuw and Bassett 1990),
/// a few nanoseconds where a selection takes hundreds.
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

bool FindPlaceOfFew(const Vector3d* points, int count, Vector3d& place) {
  constexpr double kFar = 64;
  constexpr int kLeast = 9;
  if (count < kLeast) return false;
  int used = kLeast;
  while (3 * used <= count) used *= 3;
  Vector3d places[kFewForOrigin];
  std::fill(std::copy_n(points, used, places), std::end(places), points[0]);
  place = Remedian(places, used);
  double distances[kFewForOrigin] = {}, ordered[kFewForOrigin] = {};
  for (int i = 0; i < count; ++i) distances[i] = (points[i] - place).lpNorm<Eigen::Infinity>();
  std::copy_n(distances, used, ordered);
  const double bound = kFar * Remedian(ordered, used);
  const auto beyond = std::count_if(distances, distances + count, [&](double d) { return !(d <= bound); });
  return 8 * beyond <= count;
}

Vector3d MedianPlace(Vector3d* points, int count) {
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
