// How exactly a shape is known, and what a person should know of it.
#ifndef PRIMFIT_SRC_ADAPTIVE_EVIDENCE_VERDICT_H_
#define PRIMFIT_SRC_ADAPTIVE_EVIDENCE_VERDICT_H_

#include "adaptive/converge/converge.h"
#include "primfit/fit.h"

namespace primfit::adaptive {

/// The covariance of the free parameters by the inliers' feet on the shape; a part at an end of its range is
/// none.
FitCovariance CovarianceOf(const Converged& c, unsigned held);

/// Fills in the verdict and its reason.
void Judge(const Converged& c, const FitCovariance& covariance, FitReport& report);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_EVIDENCE_VERDICT_H_
