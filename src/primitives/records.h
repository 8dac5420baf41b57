// What follows from the descriptions of primitives: the way of records and their parts to and from arrays,
// models and constraints. D is a Description throughout.
#ifndef PRIMFIT_SRC_PRIMITIVES_RECORDS_H_
#define PRIMFIT_SRC_PRIMITIVES_RECORDS_H_

#include <Eigen/Core>
#include <algorithm>
#include <array>
#include <cstddef>
#include <functional>
#include <tuple>
#include <type_traits>

#include "fit/held_parts.h"
#include "primitives/model.h"
#include "primitives/part.h"
#include "primitives/primitives.h"

namespace primfit {

/// The parts that are listed in a place, as the description has them.
template <class D, Listed kPlace>
constexpr auto RecordPartsIn() {
  constexpr auto keep = []<class P>(const P& part) {
    if constexpr (P::IsIn(kPlace))
      return std::tuple{part};
    else
      return std::tuple{};
  };
  return std::apply([keep](const auto&... parts) { return std::tuple_cat(keep(parts)...); }, D::kParts);
}

/// The same without the way to them.
template <class D, Listed kPlace>
inline constexpr auto kPartsIn = std::apply([](const auto&... parts) { return std::array{parts.part...}; },
                                            RecordPartsIn<D, kPlace>());

/// The parts that can be held, in the order of the constraints' flags.
template <class D>
constexpr auto HoldableParts() {
  constexpr auto keep = []<class P>(const P& part) {
    if constexpr (P::kRole == Role::kHoldable)
      return std::tuple{part};
    else
      return std::tuple{};
  };
  return std::apply([keep](const auto&... parts) { return std::tuple_cat(keep(parts)...); }, D::kParts);
}
template <class D>
inline constexpr int kHoldableCount = std::tuple_size_v<decltype(HoldableParts<D>())>;

/// Calls f(part) for each of them.
template <class D, class F>
void ForEachHoldable(const F& f) {
  std::apply([&](const auto&... parts) { (f(parts), ...); }, HoldableParts<D>());
}

/// Holds the parts whose flag is set. @param flags  one for each part that can be held
template <class D, class Flags>
void Hold(const Flags& flags, typename D::Constraints& constraints) {
  std::size_t i = 0;
  ForEachHoldable<D>([&](const auto& part) {
    if (flags[i++]) (constraints.*part.hold)();
  });
}

inline double* Write(double number, double* to) {
  *to = number;
  return to + 1;
}
inline double* Write(const Eigen::Vector3d& v, double* to) { return std::copy_n(v.data(), 3, to); }
inline const double* Read(const double* from, double& number) {
  number = *from;
  return from + 1;
}
inline const double* Read(const double* from, Eigen::Vector3d& v) {
  v = Eigen::Vector3d(from);
  return from + 3;
}

/// Writes the parts of a record that are listed in a place, one after the other. @return the end
template <class D, Listed kPlace>
double* WriteRecord(const typename D::Record& record, double* to) {
  std::apply([&](const auto&... parts) { ((to = Write(std::invoke(parts.get, record), to)), ...); },
             RecordPartsIn<D, kPlace>());
  return to;
}

/// The record that a fit starts from, out of numbers that are listed in a place. Lengths and angles of
/// results are not read.
template <class D, Listed kPlace>
typename D::Record ReadStart(const double* numbers) {
  using Record = typename D::Record;
  constexpr auto read = []<class P>(const P& part, const double*& from) {
    using Value = std::invoke_result_t<decltype(part.get), const Record&>;
    constexpr bool starts =
        P::kRole != Role::kResult || (kPlace == Listed::kForArrays && !std::is_same_v<Value, double>);
    if constexpr (starts) {
      Value value;
      from = Read(from, value);
      return std::tuple{value};
    } else {
      return std::tuple{};
    }
  };
  const auto values = std::apply(
      [&](const auto&... parts) {
        return std::apply([](const auto&... each) { return std::tuple_cat(each...); },
                          std::tuple{read(parts, numbers)...});  // in this order
      },
      RecordPartsIn<D, kPlace>());
  return std::apply(
      [](const auto&... each) {
        if constexpr (std::is_constructible_v<Record, decltype(each)...>)
          return Record(each...);
        else
          return Record(each..., 0.0);  // the length or angle of a result
      },
      values);
}

/// The components of the model that constraints hold.
template <class D>
unsigned HeldComponents(const typename D::Constraints& constraints) {
  unsigned held = 0;
  ForEachHoldable<D>([&](const auto& part) {
    if ((constraints.*part.isHeld)()) held |= ComponentOf(*ParameterOf(part.part.kind));
  });
  return held;
}

/// Whether the values of the held parts are such as a shape can have.
template <class D>
bool CanHold(const typename D::Constraints& constraints, const typename D::Record& start) {
  bool good = true;
  ForEachHoldable<D>([&](const auto& part) {
    if (!(constraints.*part.isHeld)()) return;
    const auto value = std::invoke(part.get, start);
    if constexpr (std::is_same_v<decltype(value), const double>)
      good = good && IsSize(value);
    else
      good = good && (QuantityOf(part.part) == Quantity::kDirection ? IsDirection(value) : IsPlace(value));
  });
  return good;
}

/// The parameters of a record, as a model.
template <class D>
Model ModelFrom(const typename D::Record& record) {
  Model m{.kind = D::kKind};
  const auto take = [&](const Part& part, const auto& value) {
    const auto parameter = ParameterOf(part.kind);
    if (!parameter) return;
    if constexpr (std::is_same_v<decltype(value), const double&>)
      m.Size(ComponentOf(*parameter)) = value;
    else
      (ComponentOf(*parameter) == kAxis ? m.axis : m.center) = value;
  };
  std::apply([&](const auto&... parts) { (take(parts.part, std::invoke(parts.get, record)), ...); },
             D::kParts);
  return m;
}

namespace description {

inline void Find(PartKind kind, const Model& m, const Extent& extent, Eigen::Vector3d& value) {
  switch (kind) {
    case PartKind::kStartPoint:
      value = m.center + extent.low * m.axis;
      return;
    case PartKind::kDirection:
      value = m.axis;
      return;
    case PartKind::kStartDirection:
      value = extent.startDirection;
      return;
    case PartKind::kQuarterDirection:
      value = m.axis.cross(extent.startDirection);
      return;
    default:
      value = m.center;
  }
}
inline void Find(PartKind kind, const Model& m, const Extent& extent, double& value) {
  switch (kind) {
    case PartKind::kMajorRadius:
      value = m.major;
      return;
    case PartKind::kLength:
    case PartKind::kSweptAngle:
      value = extent.Length();
      return;
    case PartKind::kLowHeight:
      value = extent.low;
      return;
    case PartKind::kHighHeight:
      value = extent.high;
      return;
    default:
      value = m.minor;
  }
}

}  // namespace description

/// The values of the parts of arrays, which are the arguments of the record's constructor, of a shape.
template <class D>
auto ArrayValues(const Model& model, const Extent& extent) {
  const auto find = [&](const auto& part) {
    std::invoke_result_t<decltype(part.get), const typename D::Record&> value;
    description::Find(part.part.kind, model, extent, value);
    return value;
  };
  return std::apply([&](const auto&... parts) { return std::tuple{find(parts)...}; },
                    RecordPartsIn<D, Listed::kForArrays>());
}

/// Writes the parts of arrays of an unbounded shape as they are. @return the end
template <class D>
double* WriteModel(const Model& model, double* to) {
  std::apply([&](const auto&... values) { ((to = Write(values, to)), ...); }, ArrayValues<D>(model, {}));
  return to;
}

/// The record of a shape; not of one whose bounds are an outline.
template <class D>
typename D::Record RecordFrom(const Model& model, const Extent& extent = {}) {
  return std::make_from_tuple<typename D::Record>(ArrayValues<D>(model, extent));
}

}  // namespace primfit

#endif  // PRIMFIT_SRC_PRIMITIVES_RECORDS_H_
