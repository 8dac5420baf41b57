// The parts that the record of a shape is made of, and what users give in the same way.
#ifndef PRIMFIT_REPORT_PARTS_H_
#define PRIMFIT_REPORT_PARTS_H_

#include <cstddef>
#include <numbers>
#include <span>
#include <string_view>

#include "report/units.h"

namespace primfit::report {

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

/// Calls f(part, its index, offset of its numbers) for each part whose numbers are among the first so many.
template <class F>
void ForEachPart(std::span<const Part> parts, std::size_t numbers, F f) {
  std::size_t offset = 0;
  for (std::size_t i = 0; i < parts.size() && offset < numbers; ++i) {
    f(parts[i], i, offset);
    offset += SizeOf(parts[i].quantity);
  }
}

}  // namespace primfit::report

#endif  // PRIMFIT_REPORT_PARTS_H_
