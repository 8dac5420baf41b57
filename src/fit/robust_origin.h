// Where a fit puts the origin of its working frame. Survey coordinates are millions of metres with millimetre
// detail; squares of them lose that detail. So a fit works relative to a point among most of its points. The
// mean would not do: one stray point, or thousands of zeros for missing returns, could move it far from all
// of them.
#ifndef PRIMFIT_SRC_FIT_ROBUST_ORIGIN_H_
#define PRIMFIT_SRC_FIT_ROBUST_ORIGIN_H_

#include <Eigen/Core>
#include <algorithm>
#include <cstdint>

#include "fit/fit_memory.h"

namespace primfit {

/// Points that a sample for the origin holds: as many as are enough where strays are few, a power of three,
/// and as many as are enough up to nearly as many strays as points.
inline constexpr int kOriginSample = 27, kLargeOriginSample = 1023;

/// An origin among the points of a small sample, in each coordinate one of theirs.
/// @param count   up to kOriginSample
/// @param origin  receives it
/// @return whether it may stand for all points: the sample holds nine or more, and seven of eight lie about
///     it, none of them much farther than the others. Otherwise strays may be nearly as many as the other
///     points.
bool FindOrigin(const Eigen::Vector3d* points, int count, Eigen::Vector3d& origin);

/// The component-wise median, of an even number the upper one, zero of none; changes the order of the points.
Eigen::Vector3d MedianOfComponents(Eigen::Vector3d* points, int count);

/// Takes at most `most` usable points, spread over an array; all where there are no more. The steps between
/// them vary by the golden ratio, so that a period of the array, such as the rows of a scan, is not met.
/// @param sample  receives the points
/// @return how many they are
template <class PointAt, class Usable>
int TakeSpread(std::uint64_t count, const PointAt& pointAt, const Usable& usable, int most,
               Eigen::Vector3d* sample) {
  constexpr double kGolden = 0.6180339887498949;
  const int parts = static_cast<int>(std::min<std::uint64_t>(count, static_cast<std::uint64_t>(most)));
  const double step = static_cast<double>(count) / most;
  int taken = 0;
  double within = 0;
  std::uint64_t i = 0;
  for (int part = 0; part < parts; ++part) {
    if (step > 1) i = std::max(i, static_cast<std::uint64_t>((part + within) * step));
    while (i < count && !usable(i)) ++i;
    if (i >= count) break;
    sample[taken++] = pointAt(i++);
    within += within + kGolden < 1 ? kGolden : kGolden - 1;
  }
  return taken;
}

/// An origin among most of `count` points: no farther from them than the size of the cloud, in each
/// coordinate one of theirs, and zero where no point is usable. Strays, such as zeros for missing returns
/// beside survey coordinates, do not move it until they are nearly as many as the other points. It looks at a
/// few dozen points, and at a thousand where strays are many.
/// @param pointAt  the i-th point
/// @param usable   whether the i-th point counts; those with a coordinate that is not finite must not
template <class PointAt, class Usable>
Eigen::Vector3d RobustOrigin(std::uint64_t count, const PointAt& pointAt, const Usable& usable) {
  Eigen::Vector3d sample[kOriginSample], origin;
  const int taken = TakeSpread(count, pointAt, usable, kOriginSample, sample);
  if (FindOrigin(sample, taken, origin)) return origin;
  const Scratch<Eigen::Vector3d> larger(std::min<std::uint64_t>(count, kLargeOriginSample));
  return MedianOfComponents(larger.data(),
                            TakeSpread(count, pointAt, usable, kLargeOriginSample, larger.data()));
}

}  // namespace primfit

#endif  // PRIMFIT_SRC_FIT_ROBUST_ORIGIN_H_
