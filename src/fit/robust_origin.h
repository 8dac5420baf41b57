// Where a fit puts the origin of its working frame: among most of its points, wherever a few of them are.
#ifndef PRIMFIT_SRC_FIT_ROBUST_ORIGIN_H_
#define PRIMFIT_SRC_FIT_ROBUST_ORIGIN_H_

#include <Eigen/Core>
#include <algorithm>
#include <cstdint>

#include "fit/fit_memory.h"

namespace primfit {

inline constexpr int kFewForOrigin = 27, kManyForOrigin = 1023;

/// A place among few points, in each coordinate one of theirs, and whether it stands for all points: they are
/// nine or more, and seven of eight lie about it, none of them much farther than the others. Otherwise strays
/// may be nearly as many as the points of the thing.
/// @param count  up to kFewForOrigin
bool FindPlaceOfFew(const Eigen::Vector3d* points, int count, Eigen::Vector3d& place);

/// The component-wise median, of an even number the upper one, zero of none; changes the order of the points.
Eigen::Vector3d MedianPlace(Eigen::Vector3d* points, int count);

/// Takes at most `most` usable points from all over an array, each from another place between the one before
/// and the one after, so that no period of the array (the rows of a scan) is met; all where there are no
/// more.
/// @param chosen  receives the points
/// @return how many they are
template <class PointAt, class Usable>
int TakeSpread(std::uint64_t count, const PointAt& pointAt, const Usable& usable, int most,
               Eigen::Vector3d* chosen) {
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
    chosen[taken++] = pointAt(i++);
    within += within + kGolden < 1 ? kGolden : kGolden - 1;
  }
  return taken;
}

/// A place among most of `count` points, to take them relative to: no farther from them than the size of the
/// cloud, in each coordinate one of theirs, and zero where no point is usable. Strays, also as many and as
/// far as the zeros that stand for missing returns beside survey coordinates, do not move it until they are
/// nearly as many as the other points. It looks at a few dozen points, and at a thousand where strays are
/// many.
/// @param pointAt  the i-th point
/// @param usable   whether the i-th point counts; those with a coordinate that is not finite must not
template <class PointAt, class Usable>
Eigen::Vector3d RobustOrigin(std::uint64_t count, const PointAt& pointAt, const Usable& usable) {
  Eigen::Vector3d few[kFewForOrigin], place;
  const int taken = TakeSpread(count, pointAt, usable, kFewForOrigin, few);
  if (FindPlaceOfFew(few, taken, place)) return place;
  const Scratch<Eigen::Vector3d> many(std::min<std::uint64_t>(count, kManyForOrigin));
  return MedianPlace(many.data(), TakeSpread(count, pointAt, usable, kManyForOrigin, many.data()));
}

}  // namespace primfit

#endif  // PRIMFIT_SRC_FIT_ROBUST_ORIGIN_H_
