// Which values a fit can hold a part at. Records take whatever they are given, but with a NaN or a zero
// direction held no point has a distance.
#ifndef PRIMFIT_SRC_FIT_HELD_PARTS_H_
#define PRIMFIT_SRC_FIT_HELD_PARTS_H_

#include <Eigen/Geometry>
#include <cmath>

#include "primfit/fit/fit_output_params_arc.h"

namespace primfit {

inline bool IsPlace(const Eigen::Vector3d& point) { return point.allFinite(); }
inline bool IsDirection(const Eigen::Vector3d& d) { return d.allFinite() && !d.isZero(0); }
/// A length or an angle.
inline bool IsSize(double size) { return size >= 0 && std::isfinite(size); }

/// Whether the axes of an arc say in which plane it lies; the limit is that of the arc's own constructor.
inline bool HasPlane(const FitOutputParamsArc& arc) { return arc.XAxis().cross(arc.YAxis()).norm() >= 1e-10; }

}  // namespace primfit

#endif  // PRIMFIT_SRC_FIT_HELD_PARTS_H_
