// What may be said of a shape without holding a part of it.
#ifndef PRIMFIT_REPORT_LIMITS_H_
#define PRIMFIT_REPORT_LIMITS_H_

#include <array>
#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

#include "report/parts.h"

namespace primfit::report {

/// An option that takes the numbers of some parts.
struct Limit {
  const char* option;
  const char* key;  ///< in JSON
  std::span<const Part> parts;
  std::array<std::string_view, 3> about;  ///< names of the parts of a shape that it limits; none: any shape
  const char* help;
  bool (*makesSense)(const std::vector<double>& numbers);
  const char* sense;  ///< of makesSense, for the error
};

enum LimitIndex : std::size_t { kRadiusRange, kMinorRadiusRange, kHalfAngleRange, kAxisNear, kPasses };

inline constexpr Part kLengthRange[] = {{"low", Quantity::kLength, Role::kStart},
                                        {"high", Quantity::kLength, Role::kStart}};
inline constexpr Part kAngleRange[] = {{"low", Quantity::kAngle, Role::kStart},
                                       {"high", Quantity::kAngle, Role::kStart}};
inline constexpr Part kAxisNearParts[] = {{"axis", Quantity::kDirection, Role::kStart},
                                          {"within", Quantity::kAngle, Role::kStart}};
inline constexpr Part kPassesParts[] = {{"place", Quantity::kPosition, Role::kStart},
                                        {"within", Quantity::kLength, Role::kStart}};

constexpr bool IsRange(const std::vector<double>& v) { return v[0] >= 0 && v[1] >= v[0]; }

/// By LimitIndex.
inline constexpr std::array<Limit, 5> kLimits = {{
    {"--radius-range",
     "radius_range",
     kLengthRange,
     {"radius", "major-radius"},
     "Smallest and largest plausible radius, of a bend the major one, in the file's unit (default: any)",
     IsRange,
     "0 <= low <= high"},
    {"--minor-radius-range",
     "minor_radius_range",
     kLengthRange,
     {"minor-radius"},
     "Smallest and largest plausible minor radius, in the file's unit (default: any)",
     IsRange,
     "0 <= low <= high"},
    {"--half-angle-range",
     "half_angle_range",
     kAngleRange,
     {"angle"},
     "Smallest and largest plausible half-angle, in degrees (default: any)",
     [](const std::vector<double>& v) { return IsRange(v) && v[0] < 90 && v[1] <= 90; },
     "0 <= low <= high <= 90 and low < 90"},
    {"--axis-near",
     "axis_near",
     kAxisNearParts,
     {"direction", "normal", "axis"},
     "A direction of either sign, and the degrees that the axis, direction or normal is within of it "
     "(default: any)",
     [](const std::vector<double>& v) { return v[3] >= 0 && v[3] <= 90; },
     "0 to 90 degrees as its fourth number"},
    {"--passes",
     "passes",
     kPassesParts,
     {},
     "A place, and the distance within which the shape passes it, in the file's unit (default: anywhere)",
     [](const std::vector<double>& v) { return v[3] > 0; },
     "a distance above 0 as its fourth number"},
}};

}  // namespace primfit::report

#endif  // PRIMFIT_REPORT_LIMITS_H_
