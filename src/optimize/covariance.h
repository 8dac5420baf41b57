// How exactly the points determine the parameters of a least-squares fit.
#ifndef PRIMFIT_SRC_OPTIMIZE_COVARIANCE_H_
#define PRIMFIT_SRC_OPTIMIZE_COVARIANCE_H_

#include <Eigen/Core>

#include "optimize/normal_equations.h"

namespace primfit {

/// The covariance of n points' parameters for noise of a variance. With J the derivatives of the distances
/// and W the weights it is variance A^-1 B A^-1 for A = J^T W J and B = J^T W^2 J, which without weights is
/// variance A^-1 (White 1980 for the general form). A parameter that the points do not determine has an
/// infinite variance and no covariance with others.
/// @param sums     A / n
/// @param squared  B / n; null without weights
/// @param count    parameters
Eigen::MatrixXd CovarianceOf(const NormalEquations& sums, const NormalEquations* squared, int count, double n,
                             double variance);

/// The largest ratio x^T B x / x^T A x over all directions x that A determines.
double LargestRatio(const NormalEquations& b, const NormalEquations& a, int count);

/// Gives a parameter an infinite variance and no covariance with others.
void MakeUnknown(Eigen::Index parameter, Eigen::MatrixXd& covariance);

}  // namespace primfit

#endif  // PRIMFIT_SRC_OPTIMIZE_COVARIANCE_H_
