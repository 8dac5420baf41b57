// Arithmetic on packets of doubles for the kernels. Kernels work on eight lanes at a time, whatever the width
// of the processor's vectors: eight lanes are one, two or four packets, or eight doubles in a build without
// vectors. A sum that is kept in eight lanes and reduced in a fixed order has the same bits on every
// processor, so that a fit does not depend on the machine. The text is written once and compiled for every
// target, the instruction sets that the build knows; foreach_target.h of Highway includes each kernel once
// for each of them.
#if defined(PRIMFIT_SRC_SHAPES_KERNELS_LANES_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef HWY_TARGET_TOGGLE
#undef PRIMFIT_SRC_SHAPES_KERNELS_LANES_H_
#else
#define PRIMFIT_SRC_SHAPES_KERNELS_LANES_H_
#endif

#include <cmath>

#if PRIMFIT_SIMD
#include <hwy/highway.h>
#elif !defined(HWY_NAMESPACE)
#define HWY_NAMESPACE N_PLAIN
#define HWY_BEFORE_NAMESPACE() static_assert(true)
#define HWY_AFTER_NAMESPACE() static_assert(true)
#define HWY_ONCE 1
#define HWY_ATTR
#define HWY_INLINE inline __attribute__((always_inline))
#define HWY_EXPORT(function) static_assert(true)
#define HWY_DYNAMIC_DISPATCH(function) N_PLAIN::function
#endif

HWY_BEFORE_NAMESPACE();
namespace primfit::HWY_NAMESPACE {

constexpr int kLanes = 8;

#if PRIMFIT_SIMD

namespace hn = hwy::HWY_NAMESPACE;
using LaneTag = hn::CappedTag<double, kLanes>;
using Packet = hn::Vec<LaneTag>;
constexpr int kPacketLanes = static_cast<int>(hn::MaxLanes(LaneTag()));

HWY_INLINE Packet PacketOf(double value) { return hn::Set(LaneTag(), value); }
HWY_INLINE Packet Load(const double* from) { return hn::Load(LaneTag(), from); }
HWY_INLINE Packet LoadUnaligned(const double* from) { return hn::LoadU(LaneTag(), from); }
HWY_INLINE void Store(Packet a, double* to) { hn::Store(a, LaneTag(), to); }
HWY_INLINE Packet Add(Packet a, Packet b) { return hn::Add(a, b); }
HWY_INLINE Packet Sub(Packet a, Packet b) { return hn::Sub(a, b); }
HWY_INLINE Packet Mul(Packet a, Packet b) { return hn::Mul(a, b); }
HWY_INLINE Packet Div(Packet a, Packet b) { return hn::Div(a, b); }
HWY_INLINE Packet PacketSqrt(Packet a) { return hn::Sqrt(a); }
HWY_INLINE Packet PacketAbs(Packet a) { return hn::Abs(a); }
HWY_INLINE Packet PacketSign(Packet a) { return hn::CopySign(PacketOf(1), a); }
HWY_INLINE Packet PacketInverseOrZero(Packet a) {
  return hn::IfThenElseZero(hn::Gt(a, hn::Zero(LaneTag())), hn::Div(PacketOf(1), a));
}
HWY_INLINE void LoadPoints(const double* rows, Packet& x, Packet& y, Packet& z) {
  hn::LoadInterleaved3(LaneTag(), rows, x, y, z);
}
HWY_INLINE void StoreUnaligned(Packet a, double* to) { hn::StoreU(a, LaneTag(), to); }
HWY_INLINE Packet PacketMin(Packet a, Packet b) { return hn::Min(a, b); }
HWY_INLINE Packet PacketMax(Packet a, Packet b) { return hn::Max(a, b); }
/// `value` in the lanes with low <= a <= high, `otherwise` in the others, also where a is NaN.
HWY_INLINE Packet WhereWithin(Packet low, Packet a, Packet high, Packet value, Packet otherwise) {
  return hn::IfThenElse(hn::And(hn::Le(low, a), hn::Le(a, high)), value, otherwise);
}
/// One bit for each lane: whether low <= a <= high, and below whether low <= a < high. False for NaN.
HWY_INLINE unsigned WithinClosed(Packet low, Packet a, Packet high) {
  unsigned char bits[8];
  hn::StoreMaskBits(LaneTag(), hn::And(hn::Le(low, a), hn::Le(a, high)), bits);
  return bits[0];
}
HWY_INLINE unsigned WithinOpen(Packet low, Packet a, Packet high) {
  unsigned char bits[8];
  hn::StoreMaskBits(LaneTag(), hn::And(hn::Le(low, a), hn::Lt(a, high)), bits);
  return bits[0];
}

#else

using Packet = double;
constexpr int kPacketLanes = 1;

HWY_INLINE Packet PacketOf(double value) { return value; }
HWY_INLINE Packet Load(const double* from) { return *from; }
HWY_INLINE Packet LoadUnaligned(const double* from) { return *from; }
HWY_INLINE void Store(Packet a, double* to) { *to = a; }
HWY_INLINE Packet Add(Packet a, Packet b) { return a + b; }
HWY_INLINE Packet Sub(Packet a, Packet b) { return a - b; }
HWY_INLINE Packet Mul(Packet a, Packet b) { return a * b; }
HWY_INLINE Packet Div(Packet a, Packet b) { return a / b; }
HWY_INLINE Packet PacketSqrt(Packet a) { return std::sqrt(a); }
HWY_INLINE Packet PacketAbs(Packet a) { return std::abs(a); }
HWY_INLINE Packet PacketSign(Packet a) { return std::copysign(1.0, a); }
HWY_INLINE Packet PacketInverseOrZero(Packet a) { return a > 0 ? 1 / a : 0; }
HWY_INLINE void LoadPoints(const double* rows, Packet& x, Packet& y, Packet& z) {
  x = rows[0];
  y = rows[1];
  z = rows[2];
}
HWY_INLINE void StoreUnaligned(Packet a, double* to) { *to = a; }
HWY_INLINE Packet PacketMin(Packet a, Packet b) { return b < a ? b : a; }
HWY_INLINE Packet PacketMax(Packet a, Packet b) { return a < b ? b : a; }
HWY_INLINE Packet WhereWithin(Packet low, Packet a, Packet high, Packet value, Packet otherwise) {
  return low <= a && a <= high ? value : otherwise;
}
HWY_INLINE unsigned WithinClosed(Packet low, Packet a, Packet high) { return low <= a && a <= high ? 1 : 0; }
HWY_INLINE unsigned WithinOpen(Packet low, Packet a, Packet high) { return low <= a && a < high ? 1 : 0; }

#endif

/// A packet with the operators of a number, so that formulas are written once for doubles and packets.
struct Number {
  Packet v;
  HWY_INLINE Number(Packet packet) : v(packet) {}
#if PRIMFIT_SIMD
  HWY_INLINE Number(double value) : v(PacketOf(value)) {}
#endif
};
// Not friends in the class: GCC would compile those without the target's instructions.
HWY_INLINE Number operator+(Number a, Number b) { return Add(a.v, b.v); }
HWY_INLINE Number operator-(Number a, Number b) { return Sub(a.v, b.v); }
HWY_INLINE Number operator*(Number a, Number b) { return Mul(a.v, b.v); }
HWY_INLINE Number Sqrt(Number a) { return PacketSqrt(a.v); }
HWY_INLINE Number Abs(Number a) { return PacketAbs(a.v); }

}  // namespace primfit::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
