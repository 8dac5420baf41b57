// What a user may say of a shape without holding a part of it, and the other groups of numbers that options
// take: each is a list of named parts, so that one reader, one help text and one JSON writer serve them all.
#ifndef PRIMFIT_REPORT_LIMITS_H_
#define PRIMFIT_REPORT_LIMITS_H_

#include <array>
#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

#include "primitives/part.h"

namespace primfit::report {

/// An option that takes the numbers of some parts.
struct Limit {
  const char* option;
  const char* key;  ///< in JSON
  std::span<const Part> parts;
  std::span<const ParameterKind>
      about;  ///< parameters of a shape that it limits; none: it is about any shape
  const char* help;
  bool (*makesSense)(const std::vector<double>& numbers);
  const char* sense;  ///< of makesSense, for the error
};

enum LimitIndex : std::size_t { kRadiusRange, kMinorRadiusRange, kHalfAngleRange, kAxisNear, kPasses };

inline constexpr Part kLengthRange[] = {{"low", PartKind::kRadius, Role::kStart},
                                        {"high", PartKind::kRadius, Role::kStart}};
inline constexpr Part kAngleRange[] = {{"low", PartKind::kHalfAngle, Role::kStart},
                                       {"high", PartKind::kHalfAngle, Role::kStart}};
inline constexpr Part kAxisNearParts[] = {{"axis", PartKind::kDirection, Role::kStart},
                                          {"within", PartKind::kHalfAngle, Role::kStart}};
inline constexpr Part kPassesParts[] = {{"place", PartKind::kPosition, Role::kStart},
                                        {"within", PartKind::kRadius, Role::kStart}};

/// A point on a pipe, and about its radius. A picked pipe has at the most so many times the radius that was
/// told as a hint.
inline constexpr double kMostOfRadiusHint = 4;
inline constexpr Part kPickParts[] = {{"pick", PartKind::kPosition, Role::kStart},
                                      {"radius-hint", PartKind::kRadius, Role::kStart}};
/// A cross-section of a bent pipe.
inline constexpr Part kSectionParts[] = {{"center", PartKind::kPosition, Role::kStart},
                                         {"radius", PartKind::kRadius, Role::kStart},
                                         {"normal", PartKind::kDirection, Role::kStart}};

inline constexpr ParameterKind kMainRadius[] = {ParameterKind::kRadius, ParameterKind::kMajorRadius};
inline constexpr ParameterKind kTubeRadius[] = {ParameterKind::kMinorRadius};
inline constexpr ParameterKind kConeAngle[] = {ParameterKind::kHalfAngle};
inline constexpr ParameterKind kAnyDirection[] = {ParameterKind::kDirection};

constexpr bool IsRange(const std::vector<double>& v) { return v[0] >= 0 && v[1] >= v[0]; }

/// By LimitIndex.
inline constexpr std::array<Limit, 5> kLimits = {{
    {"--radius-range", "radius_range", kLengthRange, kMainRadius,
     "Smallest and largest plausible radius, of a bend the major one, in the file's unit (default: any)",
     IsRange, "0 <= low <= high"},
    {"--minor-radius-range", "minor_radius_range", kLengthRange, kTubeRadius,
     "Smallest and largest plausible minor radius, in the file's unit (default: any)", IsRange,
     "0 <= low <= high"},
    {"--half-angle-range", "half_angle_range", kAngleRange, kConeAngle,
     "Smallest and largest plausible half-angle, in degrees (default: any)",
     [](const std::vector<double>& v) { return IsRange(v) && v[0] < 90 && v[1] <= 90; },
     "0 <= low <= high <= 90 and low < 90"},
    {"--axis-near", "axis_near", kAxisNearParts, kAnyDirection,
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
