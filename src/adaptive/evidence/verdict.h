// How exactly a shape is known, and what a person should know of it.
//
// The covariance follows from the normal equations of the inliers and their noise: it says how far each
// parameter may be off by chance. The verdict puts in words what would mislead: a parameter that the points
// hardly determine, a size at the end of its allowed range, a shape that few points support.
#ifndef PRIMFIT_SRC_ADAPTIVE_EVIDENCE_VERDICT_H_
#define PRIMFIT_SRC_ADAPTIVE_EVIDENCE_VERDICT_H_

#include "adaptive/converge/converge.h"
#include "primfit/fit.h"

namespace primfit::adaptive {

/// The covariance of the free parameters by the inliers' feet on the shape. A part at an end of its plausible
/// range is held there, so it is no free parameter.
FitCovariance CovarianceOf(const Converged& c, unsigned held);

/// Fills in the verdict and its reason.
void StateVerdict(const Converged& c, const FitCovariance& covariance, FitReport& report);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_EVIDENCE_VERDICT_H_
