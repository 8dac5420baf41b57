#ifndef PRIMFIT_API_CONE_FROM_POINTS_H_
#define PRIMFIT_API_CONE_FROM_POINTS_H_

#include <Eigen/Core>

#include "primfit/export.h"
#include "primfit/fit/fit_constraints.h"
#include "primfit/fit/fit_input_params.h"
#include "primfit/fit/fit_output.h"
#include "primfit/fit/fit_output_params_cone.h"
#include "primfit/fit/fit_progress_updater.h"

/// Finds and refines an infinite circular cone of two nappes among points with outliers, minimising the sum
/// of the squared distances rho cos(angle) - |s| sin(angle) over apex, half-angle and axis.
/// @param points n x 3, contiguous, caller's length unit; never changed. Points with a coordinate that is not
///     finite are left out; above 100000 points a random subset of that size is used, unless SampleSize
///     equals n
/// @param updater  may be null; called on the calling thread only
/// @return the cone, of a held part the constraint's own numbers, and the residuals of the points within the
/// tolerance
/// @throws primfit::FitError, checked in this order: "FitOutputParamsCone is not provided" (SkipEstimator
///     without a shape in the constraints), "Points are not provided" (null, n < 1, or no finite point),
///     "Over constrained" (all three parts held), "Held parts must be finite, with no zero direction and no
///     negative size", "Not enough points" (fewer than 6), "FitCone failed" (none found), "FitCone produced a
///     poor fit quality" (see PlaneFromPoints)
/// @note Cost, seeds and threads as PlaneFromPoints. Source: Fischler and Bolles 1981; More 1977 (trust
/// region).
PRIMFIT_API FitOutput<FitOutputParamsCone> ConeFromPoints(const Eigen::Vector3d* points, int n,
                                                          const FitInputParams<FitConstraintsCone>& params,
                                                          FitProgressUpdater* updater);

/// ConeFromPoints, and the axial coordinates between which the points lie that are within max(1e-6, 3 x rms)
/// of the cone. The axis is turned so that the end farther from the apex is on its positive side.
/// @throws primfit::FitError as ConeFromPoints
PRIMFIT_API FitOutput<FitOutputParamsConeBounded> BoundedConeFromPoints(
    const Eigen::Vector3d* points, int n, const FitInputParams<FitConstraintsCone>& params,
    FitProgressUpdater* updater);

#endif  // PRIMFIT_API_CONE_FROM_POINTS_H_
