#ifndef PRIMFIT_API_PLANE_FROM_POINTS_H_
#define PRIMFIT_API_PLANE_FROM_POINTS_H_

#include <Eigen/Core>

#include "primfit/export.h"
#include "primfit/fit/fit_constraints.h"
#include "primfit/fit/fit_input_params.h"
#include "primfit/fit/fit_output.h"
#include "primfit/fit/fit_output_params_plane.h"
#include "primfit/fit/fit_progress_updater.h"

/// Finds and refines a plane among points with outliers: random search over small samples, then, where a part
/// is held, refinement of the orthogonal distances.
/// @param points n x 3, contiguous, caller's length unit; never changed. Points with a coordinate that is not
///     finite are left out. Above 100000 points a random subset of that size is used, unless SampleSize
///     equals n
/// @param params scanner error is used within [0, 1], tolerance as at least 0.001, outlier share within [0,
///     0.9], probability within [0, 0.99], sample size as at least 2. SampleSize equal to n estimates the
///     plane from all points at once and counts all of them as close
/// @param updater  may be null; called on the calling thread only
/// @return the plane (of a held part the constraint's own numbers; the sign of a free normal is arbitrary)
///     and the residuals of the points within the tolerance
/// @throws primfit::FitError, checked in this order: "FitOutputParamsPlane is not provided" (SkipEstimator
///     without a shape in the constraints), "Points are not provided" (null, n < 1, or no finite point),
///     "Over constrained" (both parts held), "Held parts must be finite, with no zero direction and no
///     negative size", "Not enough points" (fewer than 3), "FitPlane failed" (no plane found), "FitPlane
///     produced a poor fit quality" (no point within the tolerance; or, unless any quality is accepted, less
///     than half of the residuals below the scanner error or less than four fifths below twice that)
/// @note Cost: at most 5000 candidates x n closeness tests, far fewer with the defaults. Repeated calls may
///     differ unless a primfit::ScopedSeed is alive on the thread. Calls on different threads are
///     independent.
/// @note Source: Fischler and Bolles 1981 (random sample consensus); total least squares plane from the
/// scatter matrix
PRIMFIT_API FitOutput<FitOutputParamsPlane> PlaneFromPoints(const Eigen::Vector3d* points, int n,
                                                            const FitInputParams<FitConstraintsPlane>& params,
                                                            FitProgressUpdater* updater);

/// Total least-squares plane of all points, through their mean; no search, no outlier handling. Points that
/// are not finite are left out; above 100000 points a random subset of that size is used.
/// @throws primfit::FitError "Points are not provided" (null, n < 3, or no finite point), "Not enough points"
///     (fewer than 3 finite ones), "FitPlane failed"
PRIMFIT_API FitOutputParamsPlane PlaneFromPoints(const Eigen::Vector3d* points, int n);

/// The same orientation, through a given point.
/// @param reference  becomes the Origin, unchanged
/// @throws primfit::FitError "Points are not provided" (null, n < 2, or no finite point), "Not enough points"
///     (fewer than 3 finite ones), "FitPlane failed"
PRIMFIT_API FitOutputParamsPlane PlaneFromPoints(const Eigen::Vector3d& reference,
                                                 const Eigen::Vector3d* points, int n);

/// Weighted least-squares orientation, through a given point. A weight counts linearly in the centroid and
/// squared in the scatter about it.
/// @param weights    n numbers, or null for equal weights. Each point keeps its own weight when points are
///                   sub-sampled; a point whose weight is not finite is left out
/// @param reference  becomes the Origin, unchanged
/// @throws primfit::FitError "Points are not provided" (null, n < 3, or no finite point), "Not enough points"
///     (fewer than 3 finite ones), "FitPlane failed" (weights that sum to 0)
PRIMFIT_API FitOutputParamsPlane PlaneFromPoints(const Eigen::Vector3d* points, int n, const double* weights,
                                                 const Eigen::Vector3d& reference);

#endif  // PRIMFIT_API_PLANE_FROM_POINTS_H_
