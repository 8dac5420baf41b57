// Length units of files. The library's fixed bands are metres, so it is handed metres.
#ifndef PRIMFIT_REPORT_UNITS_H_
#define PRIMFIT_REPORT_UNITS_H_

#include <array>
#include <cmath>
#include <numbers>
#include <string_view>

#include "primitives/part.h"

namespace primfit::report {

struct Unit {
  std::string_view name;
  double metres;
};

/// The foot of the US survey is not the international one: at 500 km from the origin they are 1 m apart.
inline constexpr std::array<Unit, 6> kUnits = {
    {{"m", 1.0}, {"mm", 1e-3}, {"cm", 1e-2}, {"ft", 0.3048}, {"ft-us", 1200.0 / 3937.0}, {"in", 0.0254}}};

/// What a unit is called that files have and that has no name here.
inline constexpr std::string_view kNamelessUnit = "unit";

/// Whether two units have the same metres. Files write them with nine digits and more; the two feet differ in
/// the sixth.
inline bool IsSameLength(double metres, double others) { return std::abs(metres - others) <= 1e-8 * metres; }

/// The unit of so many metres.
inline Unit UnitOfMetres(double metres) {
  for (const Unit& unit : kUnits) {
    if (IsSameLength(unit.metres, metres)) return unit;
  }
  return {kNamelessUnit, metres};
}

/// What the user's number of a quantity is multiplied with to give the library's: users see lengths in the
/// unit of their file and angles in degrees.
constexpr double FactorOf(Quantity quantity, const Unit& unit) {
  if (quantity == Quantity::kAngle) return std::numbers::pi / 180.0;
  return quantity == Quantity::kDirection ? 1.0 : unit.metres;
}

}  // namespace primfit::report

#endif  // PRIMFIT_REPORT_UNITS_H_
