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

/// Calls visit with the formula of the shape's exact class. A subclass may override what the formula stands
/// for, so it has none.
/// @return false for a class that is not one of this library's
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

/// Calls visit(x, y, z, at, count) for the points packet by packet, `at` being the index of the first point.
/// The last packet may hold fewer points than lanes: its other lanes repeat the last point, and only the
/// first `count` are to be used.
template <class Visit>
void ForPackets(const Eigen::Vector3d* points, int n, const Visit& visit) {
  Packet x, y, z;
  int at = 0;
  for (; at <= n - kPacketLanes; at += kPacketLanes) {  // a sum could pass the largest int
    LoadPoints(points[at].data(), x, y, z);
    visit(x, y, z, at, kPacketLanes);
  }
  if constexpr (kPacketLanes > 1) {
    if (at == n) return;
    double rest[kPacketLanes][3];
    for (int i = 0; i < kPacketLanes; ++i) std::copy_n(points[std::min(at + i, n - 1)].data(), 3, rest[i]);
    LoadPoints(rest[0], x, y, z);
    visit(x, y, z, at, n - at);
  }
}

/// One bit for each lane: whether the formula's quantity lies in its band.
template <class Formula>
unsigned InBandBits(const Formula& formula, Packet x, Packet y, Packet z, Packet low, Packet high) {
  const Packet q = formula.Quantity(x, y, z).v;
  return Formula::kOpenBand ? WithinOpen(low, q, high) : WithinClosed(low, q, high);
}

bool CountOnTarget(OutputShape& shape, const Eigen::Vector3d* points, int n, int toBeat, int* count) {
  const Packet low = PacketOf(shape.CloseLow()), high = PacketOf(shape.CloseHigh());
  return WithFormula(shape, [&](const auto& formula) HWY_ATTR {
    constexpr int kChunk = 2048;  // points between two looks at what can still be reached
    *count = 0;
    for (int begin = 0, chunk = 0; begin < n && n - begin > toBeat - *count; begin += chunk) {
      chunk = std::min(kChunk, n - begin);
      ForPackets(points + begin, chunk, [&](Packet x, Packet y, Packet z, int, int used) HWY_ATTR {
        const unsigned bits = InBandBits(formula, x, y, z, low, high) & ((1U << used) - 1);
        *count += std::popcount(bits);
      });
    }
  });
}

bool SelectOnTarget(OutputShape& shape, const Eigen::Vector3d* points, int n, Eigen::Vector3d* out,
                    int* count) {
  const Packet low = PacketOf(shape.CloseLow()), high = PacketOf(shape.CloseHigh());
  return WithFormula(shape, [&](const auto& formula) HWY_ATTR {
    Eigen::Vector3d* next = out;
    ForPackets(points, n, [&](Packet x, Packet y, Packet z, int at, int used) HWY_ATTR {
      const unsigned bits = InBandBits(formula, x, y, z, low, high);
      for (int i = 0; i < used; ++i) {
        *next = points[at + i];
        next += (bits >> i) & 1U;
      }
    });
    *count = static_cast<int>(next - out);
  });
}

void RangeOnTarget(const OutputShape& shape, double low, double high, const Eigen::Vector3d& root,
                   const Eigen::Vector3d& axis, const Eigen::Vector3d* points, int n, AxialRange* range) {
  const Packet lowest = PacketOf(low), highest = PacketOf(high);
  const Triple<Number> from(root), along(axis);
  const AxialRange none;
  Packet least = PacketOf(none.low), most = PacketOf(none.high);
  WithFormula(shape, [&](const auto& formula) HWY_ATTR {
    ForPackets(points, n, [&](Packet x, Packet y, Packet z, int, int) HWY_ATTR {
      const Packet quantity = formula.Quantity(x, y, z).v;
      const Packet at = (Triple<Number>(x, y, z) - from).Dot(along).v;
      least = PacketMin(least, WhereWithin(lowest, quantity, highest, at, least));
      most = PacketMax(most, WhereWithin(lowest, quantity, highest, at, most));
    });
  });
  double lanes[2][kPacketLanes];
  StoreUnaligned(least, lanes[0]);
  StoreUnaligned(most, lanes[1]);
  range->low = *std::min_element(lanes[0], lanes[0] + kPacketLanes);
  range->high = *std::max_element(lanes[1], lanes[1] + kPacketLanes);
}

bool DistancesOnTarget(const OutputShape& shape, const Eigen::Vector3d* points, int n, double* distances) {
  return WithFormula(shape, [&](const auto& formula) HWY_ATTR {
    ForPackets(points, n, [&](Packet x, Packet y, Packet z, int at, int used) HWY_ATTR {
      const Packet d = formula.Distance(x, y, z).v;
      if (used == kPacketLanes) return StoreUnaligned(d, distances + at);
      if constexpr (kPacketLanes > 1) {
        double rest[kPacketLanes];
        StoreUnaligned(d, rest);
        std::copy_n(rest, used, distances + at);
      }
    });
  });
}

void BitsOnTarget(double bound, const double* values, std::size_t n, std::uint64_t* words) {
  constexpr std::size_t kWord = 64;
  const Packet low = PacketOf(-std::numeric_limits<double>::infinity()), high = PacketOf(bound);
  for (std::size_t begin = 0; begin < n; begin += kWord) {
    std::uint64_t word = 0;
    std::size_t k = 0;
    for (; k + kPacketLanes <= std::min(kWord, n - begin); k += kPacketLanes)
      word |= std::uint64_t{WithinClosed(low, LoadUnaligned(values + begin + k), high)} << k;
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
