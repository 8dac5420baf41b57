#ifndef PRIMFIT_SRC_OPTIMIZE_SCREEN_SAMPLES_H_
#define PRIMFIT_SRC_OPTIMIZE_SCREEN_SAMPLES_H_

#include <Eigen/Core>

#include "fit/fit_memory.h"
#include "optimize/kernels/gram.h"
#include "primfit/shapes/output_shape.h"

// Screening before a refinement. A refinement minimises squares, so a few outliers among its points would
// pull the shape; the fifth of the points that the start shape fits worst is dropped before.
namespace primfit {

/// Up to so many points are all used: a fifth of them would leave too few.
inline constexpr int kLargestUnscreened = 20;

/// The points that screen_samples keeps, but in input order: a selection costs a tenth of its sort, and a
/// refinement does not depend on the order.
/// @param kept  receives pointers to the points
/// @return how many they are
int KeepBest(const PointRefs& points, const OutputShape& shape, Scratch<const Eigen::Vector3d*>& kept);

/// The points that a refinement uses.
class ScreenedPoints {
 public:
  /// @param screen  whether more than kLargestUnscreened points lose their worst fifth
  /// @param shape   what they are measured against
  ScreenedPoints(bool screen, const PointRefs& points, const OutputShape& shape);
  const PointRefs& Refs() const { return used_; }

 private:
  Scratch<const Eigen::Vector3d*> kept_;
  PointRefs used_;
};

}  // namespace primfit

/// Drops the worst fifth of more than 20 points: keeps the 4 n / 5 of smallest deviation from the shape,
/// smallest first. Deliberate: deviations are ordered with their sign, so of a surface the points farthest on
/// the positive side go. A point whose deviation is not a number goes first.
/// @param screen  false keeps every point, in order
/// @param kept    receives a new[] array of pointers into `points`; the caller deletes it
/// @return how many points are kept
int screen_samples(bool screen, int n, const Eigen::Vector3d* points, const OutputShape* shape,
                   const Eigen::Vector3d**& kept);

#endif  // PRIMFIT_SRC_OPTIMIZE_SCREEN_SAMPLES_H_
