#ifndef PRIMFIT_API_TORUS_FROM_POINTS_H_
#define PRIMFIT_API_TORUS_FROM_POINTS_H_

#include <Eigen/Core>

#include "primfit/export.h"
#include "primfit/fit/fit_constraints.h"
#include "primfit/fit/fit_input_params.h"
#include "primfit/fit/fit_output.h"
#include "primfit/fit/fit_output_params_torus.h"
#include "primfit/fit/fit_progress_updater.h"

/// Finds and refines a ring torus among points with outliers, minimising the sum of the squared distances
/// from its tube over centre, both radii and axis. SkipEstimator alone leaves the search out: the given torus
/// is refined.
/// @param points n x 3, contiguous, caller's length unit; never changed. Points with a coordinate that is not
///     finite are left out; above 100000 points a random subset of that size is used, unless SampleSize
///     equals n
/// @param updater  may be null; called on the calling thread only
/// @return the torus, of a held part the constraint's own numbers, and the residuals of the points within the
/// tolerance
/// @throws primfit::FitError, checked in this order: "FitOutputParamsTorus is not provieded" (SkipEstimator
///     without a shape in the constraints), "Points are not provided" (null, n < 1, or no finite point),
///     "Over constrained" (all four parts held), "Held parts must be finite, with no zero direction and no
///     negative size", "Not enough points" (fewer than 15), "FitTorus failed" (none found), "FitTorus
///     produced a poor fit quality" (see PlaneFromPoints)
/// @note A sample holds at least 13 points, which a torus needs. Cost, seeds and threads as PlaneFromPoints.
///     Source: Fischler and Bolles 1981; More 1977 (trust region).
PRIMFIT_API FitOutput<FitOutputParamsTorus> TorusFromPoints(const Eigen::Vector3d* points, int n,
                                                            const FitInputParams<FitConstraintsTorus>& params,
                                                            FitProgressUpdater* updater);

/// The torus whose tube passes through a given cross-section: an arc whose centre is on the centre circle,
/// whose radius is the tube's and whose plane is perpendicular to the tube. Only the bend radius and the turn
/// about the tube's direction there are free. SkipEstimator and the arc's flags are not read.
/// @throws primfit::FitError, checked in this order: "Constraint is not provided" (no constraints, or no arc
///     in them), "Points are not provided", "Held parts must be finite, with no zero direction and no
///     negative size" (also for an arc whose axes span no plane), "Not enough points" (fewer than 15),
///     "FitTorus failed", "FitTorus produced a poor fit quality"
PRIMFIT_API FitOutput<FitOutputParamsTorus> TorusFromPoints(const Eigen::Vector3d* points, int n,
                                                            const FitInputParams<FitConstraintsArc>& params,
                                                            FitProgressUpdater* updater);

/// TorusFromPoints, and the part of the torus that the close points cover: the whole turn less the largest
/// gap between their angles about the axis.
/// @throws primfit::FitError as TorusFromPoints
PRIMFIT_API FitOutput<FitOutputParamsElbow> ElbowFromPoints(const Eigen::Vector3d* points, int n,
                                                            const FitInputParams<FitConstraintsTorus>& params,
                                                            FitProgressUpdater* updater);
PRIMFIT_API FitOutput<FitOutputParamsElbow> ElbowFromPoints(const Eigen::Vector3d* points, int n,
                                                            const FitInputParams<FitConstraintsArc>& params,
                                                            FitProgressUpdater* updater);

#endif  // PRIMFIT_API_TORUS_FROM_POINTS_H_
