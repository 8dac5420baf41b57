#ifndef PRIMFIT_API_CONSENSUS_RANSAC_H_
#define PRIMFIT_API_CONSENSUS_RANSAC_H_

#include <Eigen/Core>

#include "primfit/export.h"
#include "primfit/fit/fit_constraints.h"
#include "primfit/fit/fit_input_params.h"
#include "primfit/fit/fit_output.h"
#include "primfit/fit/fit_output_params_cylinder.h"
#include "primfit/fit/fit_progress_updater.h"
#include "primfit/shapes/output_cylinder.h"

/// Finds the cylinder through a seed point, such as one that a user picked on a pipe among others.
/// @param seed        a point on the cylinder
/// @param radiusHint  about the radius; cylinders of more than four times it are rejected
/// @param points n x 3, contiguous, caller's length unit; never changed, not sub-sampled. Points with a
///     coordinate that is not finite are left out
/// @param params sample size, outlier share, success probability and scanner error are used, within the
///     ranges of CylinderFromPoints; constraints are not
/// @param bands receives ten numbers, the shares of the points in ten radial bands about the cylinder:
///     half-widths of 1/4 to 2 scanner errors in eight steps, then 4 and 10; may be null
/// @return a new cylinder that the caller deletes, or null when none was found; nothing is thrown
PRIMFIT_API OutputCylinder* ConsensusRansacCylinder(const Eigen::Vector3d& seed, double radiusHint,
                                                    const Eigen::Vector3d* points, int n,
                                                    const FitInputParams<FitConstraintsCylinder>& params,
                                                    double* const bands);

/// The same as a record with its quality.
/// @param updater  not consulted
/// @throws primfit::FitError "FitCylinder failed" (none found; null, missing or too few points among the
///     reasons), "FitPlane produced a poor fit quality" (no point within the tolerance), "FitCylinder
///     produced a poor fit quality" (unless any quality is accepted)
PRIMFIT_API FitOutput<FitOutputParamsCylinder> ConsensusRansacFit(
    const Eigen::Vector3d& seed, double radiusHint, const Eigen::Vector3d* points, int n,
    const FitInputParams<FitConstraintsCylinder>& params, FitProgressUpdater* updater);

#endif  // PRIMFIT_API_CONSENSUS_RANSAC_H_
