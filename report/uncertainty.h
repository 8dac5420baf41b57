// How exactly the parts of a shape are known.
#ifndef PRIMFIT_REPORT_UNCERTAINTY_H_
#define PRIMFIT_REPORT_UNCERTAINTY_H_

#include <cstddef>
#include <optional>

#include "primitives/part.h"
#include "report/run.h"
#include "report/units.h"

namespace primfit::report {

/// What the user's number of a parameter is multiplied with to give the library's.
inline double FactorOf(const FitParameter& parameter, const Unit& unit) {
  return FactorOf(parameter.IsAngle() ? Quantity::kAngle : Quantity::kLength, unit);
}

/// The standard deviation of a part whose numbers are at an offset in the shape of a run, in the user's
/// units: of a position and of a direction (in degrees) that of its worst direction. An end of an axis moves
/// when that turns, and along it by how exactly the end of the points is known.
/// @return infinity for what the points do not determine, nothing for what the fit does not tell
std::optional<double> DeviationOf(const FitRun& run, const Part& part, std::size_t offset);

}  // namespace primfit::report

#endif  // PRIMFIT_REPORT_UNCERTAINTY_H_
