#ifndef PRIMFIT_SRC_OPTIMIZE_HALF_ANGLE_H_
#define PRIMFIT_SRC_OPTIMIZE_HALF_ANGLE_H_

#include <cmath>
#include <numbers>

// The half-angle of a cone, radians. A refinement works on it as on any number, and where it ends up decides
// whether there is a cone.
namespace primfit {

/// An angle less whole half turns. A half turn more changes only the sign of a cone's signed distance rho
/// cos(angle) - |h| sin(angle), so it is the half-angle of the same surface.
inline double WithinHalfTurn(double angle) {
  return angle - std::numbers::pi * std::floor(angle / std::numbers::pi);
}

/// Whether a cone can have the half-angle: at 0 it is a line, at a right angle a plane, and beyond it there
/// is no surface, since rho cos(angle) = |h| sin(angle) then holds at the apex alone.
inline bool IsHalfAngle(double angle) { return angle > 0 && angle < std::numbers::pi / 2; }

}  // namespace primfit

#endif  // PRIMFIT_SRC_OPTIMIZE_HALF_ANGLE_H_
