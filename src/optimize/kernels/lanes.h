// Eight numbers that are computed on together, whatever the width of the processor's vectors: one, two or
// four of them, or plain doubles in a build without vectors. A sum kept in eight lanes and reduced in a fixed
// order has the same bits everywhere. Written once and compiled for every target; see foreach_target.h of
// Highway.
#if defined(PRIMFIT_SRC_OPTIMIZE_KERNELS_LANES_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef HWY_TARGET_TOGGLE
#undef PRIMFIT_SRC_OPTIMIZE_KERNELS_LANES_H_
#else
#define PRIMFIT_SRC_OPTIMIZE_KERNELS_LANES_H_
#endif

#include <cmath>

#if PRIMFIT_SIMD
#include <hwy/highway.h>
#elif !defined(HWY_NAMESPACE)
#define HWY_NAMESPACE N_PLAIN
#define HWY_BEFORE_NAMESPACE() static_assert(true)
#define HWY_AFTER_NAMESPACE() static_assert(true)
#define HWY_ONCE 1
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

inline Part PartOf(double value) { return hn::Set(LaneTag(), value); }
inline Part Load(const double* from) { return hn::Load(LaneTag(), from); }
inline void Store(Part a, double* to) { hn::Store(a, LaneTag(), to); }
inline Part Add(Part a, Part b) { return hn::Add(a, b); }
inline Part Sub(Part a, Part b) { return hn::Sub(a, b); }
inline Part Mul(Part a, Part b) { return hn::Mul(a, b); }
inline Part Div(Part a, Part b) { return hn::Div(a, b); }
inline Part PartSqrt(Part a) { return hn::Sqrt(a); }
inline Part PartAbs(Part a) { return hn::Abs(a); }
inline Part PartSign(Part a) { return hn::CopySign(PartOf(1), a); }
inline Part PartInverse(Part a) {
  return hn::IfThenElseZero(hn::Gt(a, hn::Zero(LaneTag())), hn::Div(PartOf(1), a));
}
inline void LoadPoints(const double* rows, Part& x, Part& y, Part& z) {
  hn::LoadInterleaved3(LaneTag(), rows, x, y, z);
}

#else

using Part = double;
constexpr int kPartLanes = 1;

inline Part PartOf(double value) { return value; }
inline Part Load(const double* from) { return *from; }
inline void Store(Part a, double* to) { *to = a; }
inline Part Add(Part a, Part b) { return a + b; }
inline Part Sub(Part a, Part b) { return a - b; }
inline Part Mul(Part a, Part b) { return a * b; }
inline Part Div(Part a, Part b) { return a / b; }
inline Part PartSqrt(Part a) { return std::sqrt(a); }
inline Part PartAbs(Part a) { return std::abs(a); }
inline Part PartSign(Part a) { return std::copysign(1.0, a); }
inline Part PartInverse(Part a) { return a > 0 ? 1 / a : 0; }
inline void LoadPoints(const double* rows, Part& x, Part& y, Part& z) {
  x = rows[0];
  y = rows[1];
  z = rows[2];
}

#endif

}  // namespace primfit::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
