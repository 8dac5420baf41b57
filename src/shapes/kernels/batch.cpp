#if PRIMFIT_SIMD
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "shapes/kernels/batch.cpp"
#include <hwy/foreach_target.h>
#endif
// Each target's own text comes after what selects the targets.
#include "shapes/kernels/lanes.h"

#include <algorithm>
#include <bit>
#include <typeinfo>

#include "shapes/formulas.h"
#include "shapes/kernels/batch.h"

HWY_BEFORE_NAMESPACE();
namespace primfit::HWY_NAMESPACE {

#include "shapes/formulas.inc"

/// Calls visit with the formula of the shape's exact class; false for a class that is not one of ours.
template <class Visit>
bool WithFormula(const OutputShape& shape, const Visit& visit) {
  const auto tryKind = [&]<class Shape>(const Shape*) HWY_ATTR {
    if (typeid(shape) != typeid(Shape)) return false;
    visit(FormulaOf<Number>(static_cast<const Shape&>(shape)));
    return true;
  };
  const auto tryKinds = [&]<class... Shapes>(const Shapes*... kinds)
                            HWY_ATTR { return (tryKind(kinds) || ...); };
  return tryKinds(static_cast<const OutputLine*>(nullptr), static_cast<const OutputCircle*>(nullptr),
                  static_cast<const OutputPlane*>(nullptr), static_cast<const OutputSphere*>(nullptr),
                  static_cast<const OutputCylinder*>(nullptr), static_cast<const OutputCone*>(nullptr),
                  static_cast<const OutputTorus*>(nullptr));
}

/// Calls visit(x, y, z, at, count) for all points in parts of as many as there are lanes; of the last part,
/// whose other lanes repeat the last point, only `count` points are meant.
template <class Visit>
void ForParts(const Eigen::Vector3d* points, int n, const Visit& visit) {
  Part x, y, z;
  int at = 0;
  for (; at <= n - kPartLanes; at += kPartLanes) {  // a sum could pass the largest int
    LoadPoints(points[at].data(), x, y, z);
    visit(x, y, z, at, kPartLanes);
  }
  if constexpr (kPartLanes > 1) {
    if (at == n) return;
    double rest[kPartLanes][3];
    for (int i = 0; i < kPartLanes; ++i) std::copy_n(points[std::min(at + i, n - 1)].data(), 3, rest[i]);
    LoadPoints(rest[0], x, y, z);
    visit(x, y, z, at, n - at);
  }
}

/// A bit a lane: whether the formula's quantity lies in its band.
template <class Formula>
unsigned InBandBits(const Formula& formula, Part x, Part y, Part z, Part low, Part high) {
  const Part q = formula.Quantity(x, y, z).v;
  return Formula::kOpenBand ? WithinOpen(low, q, high) : WithinClosed(low, q, high);
}

bool CountOnTarget(OutputShape& shape, const Eigen::Vector3d* points, int n, int toBeat, int* count) {
  const Part low = PartOf(shape.CloseLow()), high = PartOf(shape.CloseHigh());
  return WithFormula(shape, [&](const auto& formula) HWY_ATTR {
    constexpr int kChunk = 2048;
    *count = 0;
    for (int begin = 0, chunk = 0; begin < n && n - begin > toBeat - *count; begin += chunk) {
      chunk = std::min(kChunk, n - begin);
      ForParts(points + begin, chunk, [&](Part x, Part y, Part z, int, int meant) HWY_ATTR {
        const unsigned bits = InBandBits(formula, x, y, z, low, high) & ((1U << meant) - 1);
        *count += std::popcount(bits);
      });
    }
  });
}

bool SelectOnTarget(OutputShape& shape, const Eigen::Vector3d* points, int n, Eigen::Vector3d* out,
                    int* count) {
  const Part low = PartOf(shape.CloseLow()), high = PartOf(shape.CloseHigh());
  return WithFormula(shape, [&](const auto& formula) HWY_ATTR {
    Eigen::Vector3d* next = out;
    ForParts(points, n, [&](Part x, Part y, Part z, int at, int meant) HWY_ATTR {
      const unsigned bits = InBandBits(formula, x, y, z, low, high);
      for (int i = 0; i < meant; ++i) {
        *next = points[at + i];
        next += (bits >> i) & 1U;
      }
    });
    *count = static_cast<int>(next - out);
  });
}

void RangeOnTarget(const OutputShape& shape, double low, double high, const Eigen::Vector3d& root,
                   const Eigen::Vector3d& axis, const Eigen::Vector3d* points, int n, AxialRange* range) {
  const Part lowest = PartOf(low), highest = PartOf(high);
  const Triple<Number> from(root), along(axis);
  const AxialRange none;
  Part least = PartOf(none.low), most = PartOf(none.high);
  WithFormula(shape, [&](const auto& formula) HWY_ATTR {
    ForParts(points, n, [&](Part x, Part y, Part z, int, int) HWY_ATTR {
      const Part quantity = formula.Quantity(x, y, z).v;
      const Part at = (Triple<Number>(x, y, z) - from).Dot(along).v;
      least = PartMin(least, WhereWithin(lowest, quantity, highest, at, least));
      most = PartMax(most, WhereWithin(lowest, quantity, highest, at, most));
    });
  });
  double lanes[2][kPartLanes];
  StoreAnywhere(least, lanes[0]);
  StoreAnywhere(most, lanes[1]);
  range->low = *std::min_element(lanes[0], lanes[0] + kPartLanes);
  range->high = *std::max_element(lanes[1], lanes[1] + kPartLanes);
}

bool DistancesOnTarget(const OutputShape& shape, const Eigen::Vector3d* points, int n, double* distances) {
  return WithFormula(shape, [&](const auto& formula) HWY_ATTR {
    ForParts(points, n, [&](Part x, Part y, Part z, int at, int meant) HWY_ATTR {
      const Part d = formula.Distance(x, y, z).v;
      if (meant == kPartLanes) return StoreAnywhere(d, distances + at);
      if constexpr (kPartLanes > 1) {
        double rest[kPartLanes];
        StoreAnywhere(d, rest);
        std::copy_n(rest, meant, distances + at);
      }
    });
  });
}

void BitsOnTarget(double bound, const double* values, std::size_t n, std::uint64_t* words) {
  constexpr std::size_t kWord = 64;
  const Part low = PartOf(-std::numeric_limits<double>::infinity()), high = PartOf(bound);
  for (std::size_t begin = 0; begin < n; begin += kWord) {
    std::uint64_t word = 0;
    std::size_t k = 0;
    for (; k + kPartLanes <= std::min(kWord, n - begin); k += kPartLanes)
      word |= std::uint64_t{WithinClosed(low, LoadAnywhere(values + begin + k), high)} << k;
    for (; k < std::min(kWord, n - begin); ++k) word |= std::uint64_t{values[begin + k] <= bound} << k;
    words[begin / kWord] = word;
  }
}

}  // namespace primfit::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace primfit {

HWY_EXPORT(CountOnTarget);
HWY_EXPORT(SelectOnTarget);
HWY_EXPORT(DistancesOnTarget);
HWY_EXPORT(RangeOnTarget);
HWY_EXPORT(BitsOnTarget);

int CountClose(OutputShape& shape, const Eigen::Vector3d* points, int n, int toBeat) {
  int count = 0;
  if (HWY_DYNAMIC_DISPATCH(CountOnTarget)(shape, points, n, toBeat, &count)) return count;
  for (int i = 0; i < n && count + (n - i) > toBeat; ++i) count += shape.IsClosePoint(points[i]) ? 1 : 0;
  return count;
}

int SelectClose(OutputShape& shape, const Eigen::Vector3d* points, int n, Eigen::Vector3d* out) {
  int count = 0;
  if (HWY_DYNAMIC_DISPATCH(SelectOnTarget)(shape, points, n, out, &count)) return count;
  for (int i = 0; i < n; ++i) {
    if (shape.IsClosePoint(points[i])) out[count++] = points[i];
  }
  return count;
}

AxialRange RangeOf(const OutputShape& shape, double low, double high, const Eigen::Vector3d& root,
                   const Eigen::Vector3d& axis, const Eigen::Vector3d* points, int n) {
  AxialRange range;
  HWY_DYNAMIC_DISPATCH(RangeOnTarget)(shape, low, high, root, axis, points, n, &range);
  return range;
}

void BitsUpTo(double bound, const double* values, std::size_t n, std::uint64_t* words) {
  HWY_DYNAMIC_DISPATCH(BitsOnTarget)(bound, values, n, words);
}

void Distances(const OutputShape& shape, const Eigen::Vector3d* points, int n, double* distances) {
  if (HWY_DYNAMIC_DISPATCH(DistancesOnTarget)(shape, points, n, distances)) return;
  for (int i = 0; i < n; ++i) distances[i] = shape.Distance(points[i]);
}

}  // namespace primfit
#endif
