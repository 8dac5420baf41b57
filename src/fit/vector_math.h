// Small vector rules that records, shapes and estimators share.
#ifndef PRIMFIT_SRC_FIT_VECTOR_MATH_H_
#define PRIMFIT_SRC_FIT_VECTOR_MATH_H_

#include <Eigen/Geometry>
#include <cmath>
#include <limits>

namespace primfit {

/// v divided by its length; a zero vector stays zero and a NaN vector stays NaN. Lengths whose square would
/// overflow or lose bits to underflow are taken with hypot.
///
/// A vector that is of unit length as well as doubles can tell is left as it is, so that a direction keeps
/// its bits on its way from record to record. The rounding of three squares, two sums, a root and a division
/// leaves the square of a normalised length within 5 epsilon of 1.
inline Eigen::Vector3d Normalised(const Eigen::Vector3d& v) {
  const double s = v.x() * v.x() + v.y() * v.y() + v.z() * v.z();
  if (std::abs(s - 1) <= 5 * std::numeric_limits<double>::epsilon()) return v;
  if (s > 1e-280 && s < 1e280) return v / std::sqrt(s);
  const double length = std::hypot(v.x(), v.y(), v.z());
  return length > 0 && std::isfinite(length) ? Eigen::Vector3d(v / length) : v;
}

/// A unit vector perpendicular to a, in the x-y plane unless a is almost along z (the rule of Eigen's
/// unitOrthogonal()). A zero vector, to which every direction is perpendicular, gets x.
inline Eigen::Vector3d UnitOrthogonal(const Eigen::Vector3d& a) {
  if (std::abs(a.x()) <= 1e-12 * std::abs(a.z()) && std::abs(a.y()) <= 1e-12 * std::abs(a.z())) {
    const double length = std::hypot(a.y(), a.z());
    if (length == 0) return Eigen::Vector3d::UnitX();
    return {0.0, -a.z() / length, a.y() / length};
  }
  const double length = std::hypot(a.x(), a.y());
  return {-a.y() / length, a.x() / length, 0.0};
}

}  // namespace primfit

#endif  // PRIMFIT_SRC_FIT_VECTOR_MATH_H_
