// What the program has to know of each primitive: one row of a table.
#ifndef PRIMFIT_TOOL_PRIMITIVES_H_
#define PRIMFIT_TOOL_PRIMITIVES_H_

#include <Eigen/Core>
#include <cstddef>
#include <numbers>
#include <span>
#include <string_view>
#include <vector>

#include "primfit/fit/fit_progress_updater.h"
#include "primfit/fit/fit_quality.h"
#include "units.h"

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

/// What a fit is asked for.
struct FitRequest {
  double tolerance = 0;
  double scannerError = 0;
  double outliers = 0;
  double probability = 0;
  int sampleSize = 0;
  std::vector<double> start;    ///< the parts that a start has, one after the other; empty for none
  std::vector<bool> fixed;      ///< for each part
  std::vector<double> pick;     ///< numbers of kPickParts, or empty
  std::vector<double> section;  ///< numbers of kSectionParts, or empty
  bool skipSearch = false;
  bool refineOnce = false;
  bool anyQuality = false;
};

struct FitResult {
  std::vector<double> shape;  ///< its parts, one after the other
  FitQuality quality;
  std::vector<double> outline;  ///< of a patch: its corners, three numbers each, counter-clockwise
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
  FitFunction fit;
  bool picked = false;               ///< found through a point on it, among all points and without a stop
  FitFunction fitThrough = nullptr;  ///< the fit through a cross-section, where there is one

  /// Numbers that a start shape takes; 0 when the fit takes none.
  std::size_t StartSize() const {
    std::size_t size = 0;
    for (const Part& part : parts) size += part.role == Role::kResult ? 0 : SizeOf(part.quantity);
    return size;
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

#endif  // PRIMFIT_TOOL_PRIMITIVES_H_
