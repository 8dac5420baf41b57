// The surfaces that are refined, by their numbers: made, moved, measured, refined and read.
#ifndef PRIMFIT_TESTS_OPTIMIZE_SURFACES_H_
#define PRIMFIT_TESTS_OPTIMIZE_SURFACES_H_

#include <Eigen/Geometry>
#include <cmath>
#include <memory>

#include "support/kinds.h"

namespace primfit::testing {

enum Part : unsigned { kPoint = 1, kFirst = 2, kSecond = 4, kAxis = 8 };

/// The parts of Numbers that a surface has.
unsigned PartsOf(KindIndex kind);
/// How many parameters the parts have: 3 for a point, 1 for a length or an angle, 2 for a direction.
int ParametersOf(unsigned parts);

template <class Real>
struct Numbers {
  using Vector = Eigen::Matrix<Real, 3, 1>;
  Vector point = Vector::Zero();
  Real first = 0, second = 0;
  Vector axis = Vector::UnitZ();  ///< of any length
};

/// The distance of a point, from its axial coordinate and the vector across the axis.
template <class Real>
Real Deviation(KindIndex kind, const Numbers<Real>& n, const typename Numbers<Real>::Vector& p) {
  const typename Numbers<Real>::Vector v = p - n.point, d = n.axis / n.axis.norm();
  const Real s = v.dot(d), radial = (v - s * d).norm();
  if (kind == kPlane) return s;
  if (kind == kSphere) return v.norm() - n.first;
  if (kind == kCylinder) return radial - n.first;
  if (kind == kCone) return radial * std::cos(n.first) - std::abs(s) * std::sin(n.first);
  return std::hypot(radial - n.first, s) - n.second;
}

/// The numbers whose free parts differ by x; a direction is moved in its tangent plane, so that nothing is
/// special about a pole.
template <class Real>
Numbers<Real> Moved(Numbers<Real> n, unsigned free, const Eigen::Matrix<Real, Eigen::Dynamic, 1>& x) {
  const typename Numbers<Real>::Vector e1 = n.axis.unitOrthogonal(), e2 = n.axis.cross(e1);
  int at = 0;
  if (free & kPoint) n.point += x.template segment<3>(at), at += 3;
  if (free & kFirst) n.first += x[at++];
  if (free & kSecond) n.second += x[at++];
  if (free & kAxis) n.axis += x[at] * e1 + x[at + 1] * e2;
  return n;
}

std::unique_ptr<OutputSurface> Made(KindIndex kind, const Numbers<double>& n);
Numbers<double> NumbersOf(const OutputShape& shape);

/// The refinement of a start with the held parts at the values `at`.
std::unique_ptr<OutputShape> Refined(KindIndex kind, const OutputSurface& start, const Points& points,
                                     double tolerance, unsigned held = 0, const Numbers<double>& at = {});

}  // namespace primfit::testing

#endif  // PRIMFIT_TESTS_OPTIMIZE_SURFACES_H_
