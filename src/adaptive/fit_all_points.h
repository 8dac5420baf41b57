// The least-squares shape of all points of a scene, without a search for inliers: what a caller asks for who
// knows that every point was measured on the shape, as in coordinate metrology.
//
// The fit is refined from many direct starts (search/direct_starts.h) on some of the points, and from the
// best of these on all. The shape with the least sum of squares is the answer.
#ifndef PRIMFIT_SRC_ADAPTIVE_FIT_ALL_POINTS_H_
#define PRIMFIT_SRC_ADAPTIVE_FIT_ALL_POINTS_H_

#include "adaptive/outcome.h"
#include "adaptive/scene/scene.h"
#include "primfit/fit.h"

namespace primfit::adaptive {

/// Every point of the scene is an inlier, the tolerance is the largest distance, and the noise is the root
/// mean square with the degrees of freedom that the parameters leave. Where all parts are held the shape is
/// the given one.
/// @throws FitError as primfit::fit says
Outcome FitAllPoints(ShapeKind kind, Scene& scene, const FitOptionsBase& options, const Start& start,
                     Budget& budget);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_FIT_ALL_POINTS_H_
