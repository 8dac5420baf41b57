// The orthogonal distance of a point from each shape, written once and generic in the number type T, so that
// the answer for one point and that of the kernels cannot disagree: T is double or a packet of them.
// Operations stand in a fixed order and contraction into fused multiply-adds is off for the whole build,
// because a point on the bound of an inlier band must count the same everywhere.
//
// Each formula offers
//   Quantity(x, y, z)  what the shape's close band bounds: a squared distance, or a plain one for plane and cone;
//   Distance(x, y, z)  the distance, signed for surfaces;
//   kOpenBand          whether the upper bound itself is outside the band.
#ifndef PRIMFIT_SRC_SHAPES_FORMULAS_H_
#define PRIMFIT_SRC_SHAPES_FORMULAS_H_

#include <Eigen/Core>
#include <cmath>

#include "primfit/shapes/output_circle.h"
#include "primfit/shapes/output_cone.h"
#include "primfit/shapes/output_cylinder.h"
#include "primfit/shapes/output_line.h"
#include "primfit/shapes/output_plane.h"
#include "primfit/shapes/output_sphere.h"
#include "primfit/shapes/output_torus.h"

namespace primfit {

inline double Sqrt(double a) { return std::sqrt(a); }
inline double Abs(double a) { return std::abs(a); }

#include "shapes/formulas.inc"

/// Whether a formula's quantity at p lies in [low, high] (or [low, high) for an open band). Written so that a
/// NaN is never inside.
template <class Formula>
bool InBand(const Formula& formula, const Eigen::Vector3d& p, double low, double high) {
  const double q = formula.Quantity(p.x(), p.y(), p.z());
  if constexpr (Formula::kOpenBand) {
    return low <= q && q < high;
  } else {
    return low <= q && q <= high;
  }
}

template <class Formula>
double DistanceAt(const Formula& formula, const Eigen::Vector3d& p) {
  return formula.Distance(p.x(), p.y(), p.z());
}

}  // namespace primfit

#endif  // PRIMFIT_SRC_SHAPES_FORMULAS_H_
