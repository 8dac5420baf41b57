#ifndef PRIMFIT_API_SPHERE_FROM_POINTS_H_
#define PRIMFIT_API_SPHERE_FROM_POINTS_H_

#include <Eigen/Core>

#include "primfit/export.h"
#include "primfit/fit/fit_constraints.h"
#include "primfit/fit/fit_input_params.h"
#include "primfit/fit/fit_output.h"
#include "primfit/fit/fit_output_params_sphere.h"
#include "primfit/fit/fit_progress_updater.h"

/// Finds a sphere among points with outliers: random search over small samples, then the algebraic
/// least-squares sphere of the points near the best candidate, or, where a part is held, the refinement of
/// the orthogonal distances |p - c| - R.
/// @param points n x 3, contiguous, caller's length unit; never changed. Points with a coordinate that is not
///     finite are left out; above 100000 points a random subset of that size is used, unless SampleSize
///     equals n
/// @param updater  may be null; called on the calling thread only
/// @return the sphere (of a held part the constraint's own number) and the residuals of the points within the
/// tolerance
/// @throws primfit::FitError, checked in this order: "FitOutputParamsSphere is not provided" (SkipEstimator
///     without a shape in the constraints), "Points are not provided" (null, n < 1, or no finite point),
///     "Over constrained" (both parts held), "Held parts must be finite, with no zero direction and no
///     negative size", "Not enough points" (fewer than 4), "FitSphere failed" (none found), "FitSphere
///     produced a poor fit quality" (see PlaneFromPoints)
/// @note Cost, seeds and threads as PlaneFromPoints. Source: Fischler and Bolles 1981; Pratt 1987.
PRIMFIT_API FitOutput<FitOutputParamsSphere> SphereFromPoints(
    const Eigen::Vector3d* points, int n, const FitInputParams<FitConstraintsSphere>& params,
    FitProgressUpdater* updater);

#endif  // PRIMFIT_API_SPHERE_FROM_POINTS_H_
