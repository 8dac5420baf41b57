// How exactly the parts of a shape are known.
#ifndef PRIMFIT_REPORT_UNCERTAINTY_H_
#define PRIMFIT_REPORT_UNCERTAINTY_H_

#include <cstddef>
#include <optional>
#include <span>

#include "primfit/fit.h"
#include "primitives/part.h"
#include "report/units.h"

namespace primfit::report {

/// What the user's number of a parameter is multiplied with to give the library's.
inline double FactorOf(const FitParameter& parameter, const Unit& unit) {
  return FactorOf(parameter.IsAngle() ? Quantity::kAngle : Quantity::kLength, unit);
}

/// A shape as its parts, with how exactly it is known.
struct MeasuredShape {
  std::span<const Part> parts;
  std::span<const double> numbers;  ///< of the parts, one after the other, in the user's units
  const FitCovariance& covariance;  ///< in metres and radians
  const FitExtents& extents;
  Unit unit;  ///< the user's
};

/// The standard deviation of a part whose numbers are at an offset, in the user's units: of a position and of
/// a direction (in degrees) that of its worst direction. An end of an axis moves when that turns, and along
/// it by how exactly the end of the points is known.
/// @return infinity for what the points do not determine, nothing for what the fit does not tell
std::optional<double> DeviationOf(const MeasuredShape& shape, const Part& part, std::size_t offset);

}  // namespace primfit::report

#endif  // PRIMFIT_REPORT_UNCERTAINTY_H_
