// Length units of files. The library's fixed bands are metres, so it is handed metres.
#ifndef PRIMFIT_REPORT_UNITS_H_
#define PRIMFIT_REPORT_UNITS_H_

#include <array>
#include <string_view>

namespace primfit::report {

struct Unit {
  std::string_view name;
  double metres;
  int decimals;  ///< that show a micrometre
};

inline constexpr std::array<Unit, 5> kUnits = {
    {{"m", 1.0, 6}, {"mm", 1e-3, 3}, {"cm", 1e-2, 4}, {"ft", 0.3048, 6}, {"in", 0.0254, 5}}};

}  // namespace primfit::report

#endif  // PRIMFIT_REPORT_UNITS_H_
