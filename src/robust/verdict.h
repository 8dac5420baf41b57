// How exactly a shape is known, and what a person should know of it.
#ifndef PRIMFIT_SRC_ROBUST_VERDICT_H_
#define PRIMFIT_SRC_ROBUST_VERDICT_H_

#include "primfit/fit.h"
#include "robust/converge.h"

namespace primfit::robust {

/// The covariance of the free parameters; a part at an end of its range is none. With J the derivatives of
/// the distances at the feet of the inliers on the shape and W the weights: noise^2 A^-1 B A^-1 for A = J^T W
/// J and B = J^T W^2 J, which without weights is noise^2 A^-1.
FitCovariance CovarianceOf(const Converged& c, unsigned held);

/// Fills in the verdict and its reason.
void Judge(const Converged& c, const FitCovariance& covariance, FitReport& report);

}  // namespace primfit::robust

#endif  // PRIMFIT_SRC_ROBUST_VERDICT_H_
