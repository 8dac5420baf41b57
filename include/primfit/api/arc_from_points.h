#ifndef PRIMFIT_API_ARC_FROM_POINTS_H_
#define PRIMFIT_API_ARC_FROM_POINTS_H_

#include <Eigen/Core>

#include "primfit/export.h"
#include "primfit/fit/fit_constraints.h"
#include "primfit/fit/fit_input_params.h"
#include "primfit/fit/fit_output.h"
#include "primfit/fit/fit_output_params_arc.h"
#include "primfit/fit/fit_progress_updater.h"

/// Finds a circle among points with outliers and the arc of it that the close points cover. The refinement
/// keeps the plane of the candidate. Close are all points of the cylindrical shell about the circle's axis
/// (see OutputCircle).
/// @param points n x 3, contiguous, caller's length unit; never changed. Points with a coordinate that is not
///     finite are left out; above 100000 points a random subset of that size is used, unless SampleSize
///     equals n
/// @param updater  may be null; called on the calling thread only
/// @return the arc (of a held part the constraint's own numbers) and the residuals of the close points
/// @throws primfit::FitError, checked in this order: "FitOutputParamsArc is not provided" (SkipEstimator
///     without a shape in the constraints), "Points are not provided" (null, n < 1, or no finite point),
///     "Over constrained" (both parts held), "Held parts must be finite, with no zero direction and no
///     negative size" (or a start whose axes span no plane), "Not enough points" (fewer than 3), "FitArc
///     failed" (none found), "FitArc produced a poor fit quality" (see PlaneFromPoints)
/// @note Cost, seeds and threads as PlaneFromPoints. Source: Fischler and Bolles 1981; Kasa 1976; More 1977.
PRIMFIT_API FitOutput<FitOutputParamsArc> ArcFromPoints(const Eigen::Vector3d* points, int n,
                                                        const FitInputParams<FitConstraintsArc>& params,
                                                        FitProgressUpdater* updater);

#endif  // PRIMFIT_API_ARC_FROM_POINTS_H_
