// Where the tolerance of an inlier is decided: how far a point may be from the shape and still belong to it.
//
// What the options say holds. Otherwise it is the bound of the noise, estimated from the distances (noise.h),
// but never less than what the coordinates' own steps need: a point that was rounded one step away is still
// an inlier (scene/resolution.h).
#ifndef PRIMFIT_SRC_ADAPTIVE_CONVERGE_INLIER_TOLERANCE_H_
#define PRIMFIT_SRC_ADAPTIVE_CONVERGE_INLIER_TOLERANCE_H_

#include <cstdint>
#include <span>

#include "adaptive/converge/converge_task.h"

namespace primfit::adaptive {

struct InlierTolerance {
  double tolerance = 0;
  double noise = 0;        ///< standard deviation, no less than rounding leaves
  double measured = 0;     ///< the same as estimated from the distances
  bool isOfSteps = false;  ///< the tolerance follows from the coordinates' steps, not from the noise
};

/// @param distances    of the task's points from the model
/// @param noiseBefore  a first guess
InlierTolerance DecideTolerance(const Model& model, std::span<const double> distances, double noiseBefore,
                                const ConvergeTask& task);

/// What the steps of the coordinates do to the points within a bound; nothing where the noise is much
/// coarser.
/// @param measured  the noise of these points
RoundingEffect RoundingWithin(double bound, double measured, const Model& model,
                              std::span<const double> distances, const ConvergeTask& task);

/// The noise of chosen inliers, for a tolerance that does not follow from the noise: the root mean square of
/// their distances, in one direction, with the degrees of freedom that the parameters leave.
/// @param parameters  that are free
double NoiseOfInliers(std::span<const std::uint32_t> inliers, std::span<const double> distances,
                      std::span<const double> noiseWeights, bool curve, int parameters);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_CONVERGE_INLIER_TOLERANCE_H_
