// Length units of files. The library's fixed bands are metres, so it is handed metres.
#ifndef PRIMFIT_REPORT_UNITS_H_
#define PRIMFIT_REPORT_UNITS_H_

#include <array>
#include <numbers>
#include <string_view>

#include "primitives/part.h"

namespace primfit::report {

struct Unit {
  std::string_view name;
  double metres;
  int decimals;  ///< that show a micrometre
};

inline constexpr std::array<Unit, 5> kUnits = {
    {{"m", 1.0, 6}, {"mm", 1e-3, 3}, {"cm", 1e-2, 4}, {"ft", 0.3048, 6}, {"in", 0.0254, 5}}};

/// What the user's number of a quantity is multiplied with to give the library's: users see lengths in the
/// unit of their file and angles in degrees.
constexpr double FactorOf(Quantity quantity, const Unit& unit) {
  if (quantity == Quantity::kAngle) return std::numbers::pi / 180.0;
  return quantity == Quantity::kDirection ? 1.0 : unit.metres;
}

}  // namespace primfit::report

#endif  // PRIMFIT_REPORT_UNITS_H_
