#ifndef PRIMFIT_API_LINE_FROM_POINTS_H_
#define PRIMFIT_API_LINE_FROM_POINTS_H_

#include <Eigen/Core>

#include "primfit/export.h"
#include "primfit/fit/fit_constraints.h"
#include "primfit/fit/fit_input_params.h"
#include "primfit/fit/fit_output.h"
#include "primfit/fit/fit_output_params_line.h"
#include "primfit/fit/fit_progress_updater.h"

/// Finds a line among points with outliers and the segment of it that they cover: those within max(1e-6, 3 x
/// rms). The refinement minimises the distances within one plane, the one spanned by the candidate's
/// direction and the direction perpendicular to it and to the least spread of its sample.
/// @param points n x 3, contiguous, caller's length unit; never changed. Points with a coordinate that is not
///     finite are left out; above 100000 points a random subset of that size is used, unless SampleSize
///     equals n
/// @param updater  may be null; called on the calling thread only
/// @return the segment (of a held direction the constraint's own numbers; a held root says where the line
///     passes, the record's root is the start of the segment) and the residuals of the points within the
///     tolerance
/// @throws primfit::FitError, checked in this order: "FitOutputParamsLine is not provided" (SkipEstimator
///     without a shape in the constraints), "Points are not provided" (null, n < 1, or no finite point),
///     "Over constrained" (both parts held), "Held parts must be finite, with no zero direction and no
///     negative size", "Not enough points" (fewer than 2), "FitLine failed" (none found), "FitLine produced a
///     poor fit quality" (see PlaneFromPoints)
/// @note Cost, seeds and threads as PlaneFromPoints. Source: Fischler and Bolles 1981; More 1977 (trust
/// region).
PRIMFIT_API FitOutput<FitOutputParamsLine> LineFromPoints(const Eigen::Vector3d* points, int n,
                                                          const FitInputParams<FitConstraintsLine>& params,
                                                          FitProgressUpdater* updater);

#endif  // PRIMFIT_API_LINE_FROM_POINTS_H_
