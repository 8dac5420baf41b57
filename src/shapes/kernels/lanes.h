// Eight numbers that are computed on together, whatever the width of the processor's vectors: one, two or
// four of them, or plain doubles in a build without vectors. A sum kept in eight lanes and reduced in a fixed
// order has the same bits everywhere. Written once and compiled for every target; see foreach_target.h of
// Highway.
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
using Part = hn::Vec<LaneTag>;
constexpr int kPartLanes = static_cast<int>(hn::MaxLanes(LaneTag()));

HWY_INLINE Part PartOf(double value) { return hn::Set(LaneTag(), value); }
HWY_INLINE Part Load(const double* from) { return hn::Load(LaneTag(), from); }
HWY_INLINE Part LoadAnywhere(const double* from) { return hn::LoadU(LaneTag(), from); }
HWY_INLINE void Store(Part a, double* to) { hn::Store(a, LaneTag(), to); }
HWY_INLINE Part Add(Part a, Part b) { return hn::Add(a, b); }
HWY_INLINE Part Sub(Part a, Part b) { return hn::Sub(a, b); }
HWY_INLINE Part Mul(Part a, Part b) { return hn::Mul(a, b); }
HWY_INLINE Part Div(Part a, Part b) { return hn::Div(a, b); }
HWY_INLINE Part PartSqrt(Part a) { return hn::Sqrt(a); }
HWY_INLINE Part PartAbs(Part a) { return hn::Abs(a); }
HWY_INLINE Part PartSign(Part a) { return hn::CopySign(PartOf(1), a); }
HWY_INLINE Part PartInverse(Part a) {
  return hn::IfThenElseZero(hn::Gt(a, hn::Zero(LaneTag())), hn::Div(PartOf(1), a));
}
HWY_INLINE void LoadPoints(const double* rows, Part& x, Part& y, Part& z) {
  hn::LoadInterleaved3(LaneTag(), rows, x, y, z);
}
HWY_INLINE void StoreAnywhere(Part a, double* to) { hn::StoreU(a, LaneTag(), to); }
HWY_INLINE Part PartMin(Part a, Part b) { return hn::Min(a, b); }
HWY_INLINE Part PartMax(Part a, Part b) { return hn::Max(a, b); }
/// value in the lanes with low <= a <= high, else otherwise.
HWY_INLINE Part WhereWithin(Part low, Part a, Part high, Part value, Part otherwise) {
  return hn::IfThenElse(hn::And(hn::Le(low, a), hn::Le(a, high)), value, otherwise);
}
/// A bit a lane: whether low <= a and a <= high, or a < high.
HWY_INLINE unsigned WithinClosed(Part low, Part a, Part high) {
  unsigned char bits[8];
  hn::StoreMaskBits(LaneTag(), hn::And(hn::Le(low, a), hn::Le(a, high)), bits);
  return bits[0];
}
HWY_INLINE unsigned WithinOpen(Part low, Part a, Part high) {
  unsigned char bits[8];
  hn::StoreMaskBits(LaneTag(), hn::And(hn::Le(low, a), hn::Lt(a, high)), bits);
  return bits[0];
}

#else

using Part = double;
constexpr int kPartLanes = 1;

HWY_INLINE Part PartOf(double value) { return value; }
HWY_INLINE Part Load(const double* from) { return *from; }
HWY_INLINE Part LoadAnywhere(const double* from) { return *from; }
HWY_INLINE void Store(Part a, double* to) { *to = a; }
HWY_INLINE Part Add(Part a, Part b) { return a + b; }
HWY_INLINE Part Sub(Part a, Part b) { return a - b; }
HWY_INLINE Part Mul(Part a, Part b) { return a * b; }
HWY_INLINE Part Div(Part a, Part b) { return a / b; }
HWY_INLINE Part PartSqrt(Part a) { return std::sqrt(a); }
HWY_INLINE Part PartAbs(Part a) { return std::abs(a); }
HWY_INLINE Part PartSign(Part a) { return std::copysign(1.0, a); }
HWY_INLINE Part PartInverse(Part a) { return a > 0 ? 1 / a : 0; }
HWY_INLINE void LoadPoints(const double* rows, Part& x, Part& y, Part& z) {
  x = rows[0];
  y = rows[1];
  z = rows[2];
}
HWY_INLINE void StoreAnywhere(Part a, double* to) { *to = a; }
HWY_INLINE Part PartMin(Part a, Part b) { return b < a ? b : a; }
HWY_INLINE Part PartMax(Part a, Part b) { return a < b ? b : a; }
HWY_INLINE Part WhereWithin(Part low, Part a, Part high, Part value, Part otherwise) {
  return low <= a && a <= high ? value : otherwise;
}
HWY_INLINE unsigned WithinClosed(Part low, Part a, Part high) { return low <= a && a <= high ? 1 : 0; }
HWY_INLINE unsigned WithinOpen(Part low, Part a, Part high) { return low <= a && a < high ? 1 : 0; }

#endif

/// A part of the lanes with the signs of arithmetic.
struct Number {
  Part v;
  HWY_INLINE Number(Part part) : v(part) {}
#if PRIMFIT_SIMD
  HWY_INLINE Number(double value) : v(PartOf(value)) {}
#endif
};
// Not friends in the class: GCC would compile those without the target's instructions.
HWY_INLINE Number operator+(Number a, Number b) { return Add(a.v, b.v); }
HWY_INLINE Number operator-(Number a, Number b) { return Sub(a.v, b.v); }
HWY_INLINE Number operator*(Number a, Number b) { return Mul(a.v, b.v); }
HWY_INLINE Number Sqrt(Number a) { return PartSqrt(a.v); }
HWY_INLINE Number Abs(Number a) { return PartAbs(a.v); }

}  // namespace primfit::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
