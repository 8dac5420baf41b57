// What the program has to know of each primitive: one row of a table.
#ifndef PRIMFIT_CLI_PRIMITIVES_H_
#define PRIMFIT_CLI_PRIMITIVES_H_

#include <Eigen/Core>
#include <algorithm>
#include <array>
#include <cstddef>
#include <numbers>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "primfit/fit.h"
#include "primfit/fit/fit_progress_updater.h"
#include "primfit/fit/fit_quality.h"
#include "report/units.h"

namespace primfit::tool {

enum class Quantity { kPosition, kDirection, kLength, kAngle };

/// How many numbers a quantity takes.
constexpr std::size_t SizeOf(Quantity q) {
  return q == Quantity::kPosition || q == Quantity::kDirection ? 3 : 1;
}
/// What the user's number of a quantity is multiplied with to give the library's: users see lengths in the
/// unit of their file and angles in degrees.
constexpr double FactorOf(Quantity q, const Unit& unit) {
  if (q == Quantity::kAngle) return std::numbers::pi / 180.0;
  return q == Quantity::kDirection ? 1.0 : unit.metres;
}

/// What the user may do with a part, beside reading it in the result.
enum class Role {
  kFixable,  ///< give it with --start and hold it
  kPlace,  ///< as kFixable, but held it only says where the shape passes: the result is an end of its extent
  kStart,  ///< give it with --start
  kResult  ///< nothing; these come last
};

/// A part of a shape's record.
struct Part {
  std::string_view name;
  Quantity quantity;
  Role role;
};

constexpr bool CanBeHeld(const Part& part) {
  return part.role == Role::kFixable || part.role == Role::kPlace;
}

/// A point on a pipe, and about its radius.
inline constexpr Part kPickParts[] = {{"pick", Quantity::kPosition, Role::kStart},
                                      {"radius-hint", Quantity::kLength, Role::kStart}};
/// A cross-section of a bent pipe.
inline constexpr Part kSectionParts[] = {{"center", Quantity::kPosition, Role::kStart},
                                         {"radius", Quantity::kLength, Role::kStart},
                                         {"normal", Quantity::kDirection, Role::kStart}};

/// What may be said of a shape without holding it: an option that takes the numbers of some parts.
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

enum class Method {
  kAdaptive,  ///< primfit::fit, which takes from the points what it is not told
  kClassic    ///< the fixed pipeline of the functions named after the shapes
};

/// What a fit is asked for.
struct FitRequest {
  Method method = Method::kAdaptive;
  std::optional<double> tolerance;  ///< the fixed pipeline has one always, and a share of outliers as well
  std::optional<double> outliers;
  std::vector<double> start;  ///< the parts that a start has, one after the other; empty for none
  std::vector<bool> fixed;    ///< for each part

  // Of the adaptive method.
  std::optional<double> noise;
  double confidence = 0;
  int mostDraws = 0;
  std::optional<double> timeLimit;
  std::array<std::vector<double>, kLimits.size()> limits;  ///< numbers of their parts, or empty

  // Of the fixed pipeline.
  double scannerError = 0;
  double probability = 0;
  int sampleSize = 0;
  std::vector<double> pick;     ///< numbers of kPickParts, or empty
  std::vector<double> section;  ///< numbers of kSectionParts, or empty
  bool skipSearch = false;
  bool refineOnce = false;
  bool anyQuality = false;
};

/// What the adaptive method tells beside the shape, in metres and radians.
struct Insight {
  FitCovariance covariance;
  FitReport report;
};

struct FitResult {
  std::vector<double> shape;  ///< its parts, one after the other
  FitQuality quality;
  std::vector<double> outline;  ///< of a patch: its corners, three numbers each, counter-clockwise
  std::optional<Insight> insight;
};

/// A fit of the library. Takes and gives metres and radians. @throws primfit::FitError as the library does
using FitFunction = FitResult (*)(std::span<const Eigen::Vector3d> points, const FitRequest&,
                                  FitProgressUpdater*);

struct Primitive {
  std::string_view name;     ///< of the sub-command
  std::string_view summary;  ///< for its help
  std::span<const Part> parts;
  int sampleSize;     ///< points of a random sample, unless the user says otherwise
  int minimumPoints;  ///< that determine the shape
  FitFunction classic;
  FitFunction adaptive = nullptr;    ///< where there is one
  FitFunction fitThrough = nullptr;  ///< the fit through a cross-section, where there is one
  bool picked = false;               ///< found through a point on it, among all points and without a stop

  /// Numbers that a start shape takes; 0 when the fit takes none.
  std::size_t StartSize() const {
    std::size_t size = 0;
    for (const Part& part : parts) size += part.role == Role::kResult ? 0 : SizeOf(part.quantity);
    return size;
  }
  /// Whether a limit is about something that the shape has.
  bool Has(const Limit& limit) const {
    return limit.about[0].empty() || std::any_of(parts.begin(), parts.end(), [&](const Part& part) {
             return std::find(limit.about.begin(), limit.about.end(), part.name) != limit.about.end();
           });
  }
};

std::span<const Primitive> Primitives();

/// Calls f(part, its index, offset of its numbers) for each part whose numbers are among the first so many.
template <class F>
void ForEachPart(std::span<const Part> parts, std::size_t numbers, F f) {
  std::size_t offset = 0;
  for (std::size_t i = 0; i < parts.size() && offset < numbers; ++i) {
    f(parts[i], i, offset);
    offset += SizeOf(parts[i].quantity);
  }
}

}  // namespace primfit::tool

#endif  // PRIMFIT_CLI_PRIMITIVES_H_
