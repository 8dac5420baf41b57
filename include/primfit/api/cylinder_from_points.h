#ifndef PRIMFIT_API_CYLINDER_FROM_POINTS_H_
#define PRIMFIT_API_CYLINDER_FROM_POINTS_H_

#include <Eigen/Core>

#include "primfit/export.h"
#include "primfit/fit/fit_constraints.h"
#include "primfit/fit/fit_input_params.h"
#include "primfit/fit/fit_output.h"
#include "primfit/fit/fit_output_params_cylinder.h"
#include "primfit/fit/fit_progress_updater.h"

/// Finds and refines an infinite circular cylinder among points with outliers, minimising the sum of (|w_i| -
/// r)^2, w_i the radial part of p_i, over axis point, radius and axis direction.
/// @param points n x 3, contiguous, caller's length unit; never changed. Points with a coordinate that is not
///     finite are left out; above 100000 points a random subset of that size is used, unless SampleSize
///     equals n
/// @param updater  may be null; called on the calling thread only
/// @param earlyStop  end the search at the tenth candidate that holds more points than the outlier share lets
/// expect
/// @return the cylinder, of a held part the constraint's own numbers; which point of the axis is its origin
///     and the sign of the axis are not determined; and the residuals of the points within the tolerance
/// @throws primfit::FitError, checked in this order: "FitOutputParamsCylinder is not provided" (SkipEstimator
///     without a shape in the constraints), "Points are not provided" (null, n < 1, or no finite point),
///     "Over constrained" (all three parts held), "Held parts must be finite, with no zero direction and no
///     negative size", "Not enough points" (fewer than 6), "FitCylinder failed" (none found), "FitCylinder
///     produced a poor fit quality" (see PlaneFromPoints)
/// @note Cost, seeds and threads as PlaneFromPoints. Source: Fischler and Bolles 1981; More 1977 (trust
/// region).
PRIMFIT_API FitOutput<FitOutputParamsCylinder> CylinderFromPoints(
    const Eigen::Vector3d* points, int n, const FitInputParams<FitConstraintsCylinder>& params,
    FitProgressUpdater* updater, bool earlyStop);

/// CylinderFromPoints, and how far the points reach along the axis: those within max(1e-6, 3 x rms) of the
/// cylinder. A held origin says where the axis passes; the record's origin is the end of the piece.
/// @throws primfit::FitError as CylinderFromPoints
PRIMFIT_API FitOutput<FitOutputParamsCylinderBounded> BoundedCylinderFromPoints(
    const Eigen::Vector3d* points, int n, const FitInputParams<FitConstraintsCylinder>& params,
    FitProgressUpdater* updater, bool earlyStop);

#endif  // PRIMFIT_API_CYLINDER_FROM_POINTS_H_
