// The parts that a primitive's record is made of: a cylinder's are a point of its axis, its radius and the
// direction of its axis. What is said here of a part is all that arrays, options, JSON and reports need.
#ifndef PRIMFIT_SRC_PRIMITIVES_PART_H_
#define PRIMFIT_SRC_PRIMITIVES_PART_H_

#include <cstddef>
#include <optional>
#include <span>
#include <string_view>

#include "primfit/fit.h"

namespace primfit {

/// What kind of number a part is, which decides its unit.
enum class Quantity { kPosition, kDirection, kLength, kAngle };

/// How many numbers a quantity takes.
constexpr std::size_t SizeOf(Quantity quantity) {
  return quantity == Quantity::kPosition || quantity == Quantity::kDirection ? 3 : 1;
}

/// What a part says of its shape. The first ones are the parameters of the unbounded shape; the others follow
/// from how far its points reach.
enum class PartKind {
  kPosition,     ///< centre or apex; of an axis, line or plane some point of it
  kDirection,    ///< of the axis or line; a plane's or an arc's normal
  kRadius,       ///< of an arc, sphere or cylinder
  kHalfAngle,    ///< of a cone
  kMajorRadius,  ///< of a torus: from its centre to the middle of its tube
  kMinorRadius,  ///< of a torus: of its tube
  kStartPoint,   ///< of a line or axis: the end at which the points begin; held, it is any point of them
  kLength,       ///< along the line or axis
  kLowHeight,    ///< along the axis, from the position
  kHighHeight,
  kStartDirection,    ///< from the centre, square to the axis: where a turn begins, or along u of an outline
  kQuarterDirection,  ///< a quarter turn on from there
  kSweptAngle         ///< about the axis
};

constexpr Quantity QuantityOf(PartKind kind) {
  switch (kind) {
    case PartKind::kPosition:
    case PartKind::kStartPoint:
      return Quantity::kPosition;
    case PartKind::kDirection:
    case PartKind::kStartDirection:
    case PartKind::kQuarterDirection:
      return Quantity::kDirection;
    case PartKind::kHalfAngle:
    case PartKind::kSweptAngle:
      return Quantity::kAngle;
    default:
      return Quantity::kLength;
  }
}

/// The parameter of the unbounded shape that a part is, or that it sets where it is held.
constexpr std::optional<ParameterKind> ParameterOf(PartKind kind) {
  switch (kind) {
    case PartKind::kPosition:
    case PartKind::kStartPoint:
      return ParameterKind::kPosition;
    case PartKind::kDirection:
      return ParameterKind::kDirection;
    case PartKind::kRadius:
      return ParameterKind::kRadius;
    case PartKind::kHalfAngle:
      return ParameterKind::kHalfAngle;
    case PartKind::kMajorRadius:
      return ParameterKind::kMajorRadius;
    case PartKind::kMinorRadius:
      return ParameterKind::kMinorRadius;
    default:
      return std::nullopt;
  }
}

/// What a caller may do with a part, beside reading it in the result.
enum class Role {
  kHoldable,  ///< start from it, and hold it
  kStart,     ///< start from it
  kResult     ///< nothing; these come last
};

struct Part {
  std::string_view name;  ///< as options and JSON have it
  PartKind kind;
  Role role;

  constexpr std::size_t Size() const { return SizeOf(QuantityOf(kind)); }
  constexpr bool CanBeHeld() const { return role == Role::kHoldable; }
  /// Whether a held one only says where the shape passes: the result has the end of its extent there.
  constexpr bool IsEnd() const { return kind == PartKind::kStartPoint; }
};

constexpr Quantity QuantityOf(const Part& part) { return QuantityOf(part.kind); }

/// How many numbers parts take together.
constexpr std::size_t NumbersIn(std::span<const Part> parts) {
  std::size_t sum = 0;
  for (const Part& part : parts) sum += part.Size();
  return sum;
}

/// Calls f(part, its index, offset of its numbers) for each part whose numbers are among the first so many.
template <class F>
void ForEachPart(std::span<const Part> parts, std::size_t numbers, F f) {
  std::size_t offset = 0;
  for (std::size_t i = 0; i < parts.size() && offset < numbers; ++i) {
    f(parts[i], i, offset);
    offset += parts[i].Size();
  }
}

}  // namespace primfit

#endif  // PRIMFIT_SRC_PRIMITIVES_PART_H_
