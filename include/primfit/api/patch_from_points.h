#ifndef PRIMFIT_API_PATCH_FROM_POINTS_H_
#define PRIMFIT_API_PATCH_FROM_POINTS_H_

#include <Eigen/Core>

#include "primfit/export.h"
#include "primfit/fit/fit_constraints.h"
#include "primfit/fit/fit_input_params.h"
#include "primfit/fit/fit_output.h"
#include "primfit/fit/fit_output_params_plane.h"
#include "primfit/fit/fit_progress_updater.h"

/// PlaneFromPoints, and the outline of the points near the plane: the convex hull of those within max(1e-6, 3
/// x rms), seen along the normal, counter-clockwise, vertices where it turns by less than 5 degrees left out.
/// @param points n x 3, contiguous, caller's length unit; never changed. Points with a coordinate that is not
///     finite are left out; above 100000 points a random subset of that size is used, unless SampleSize
///     equals n
/// @param updater  may be null; called on the calling thread only
/// @throws primfit::FitError as PlaneFromPoints, and "QuickConvexHull failed"
/// @note Source: Andrew 1979 (hull).
PRIMFIT_API FitOutput<FitOutputParamsPatch> PatchFromPoints(const Eigen::Vector3d* points, int n,
                                                            const FitInputParams<FitConstraintsPlane>& params,
                                                            FitProgressUpdater* updater);

#endif  // PRIMFIT_API_PATCH_FROM_POINTS_H_
