// The normal equations of a least-squares step: the form in which one pass over the points tells a solver all
// that it needs.
#ifndef PRIMFIT_SRC_OPTIMIZE_NORMAL_EQUATIONS_H_
#define PRIMFIT_SRC_OPTIMIZE_NORMAL_EQUATIONS_H_

#include <Eigen/Core>

#include "optimize/kernels/gram.h"
#include "optimize/kernels/small_matrices.h"

namespace primfit {

/// J^T J, J^T f and f^T f of residuals f with Jacobian J.
struct NormalEquations {
  SmallMatrix matrix;
  double gradient[kMostParameters];
  double squares;
  /// How far the points' residuals move, root mean square, for a unit of a parameter; the same for parameters
  /// that are coordinates of one point, whose directions must not be told apart.
  double lever[kMostParameters];
  /// Size of the problem in the unit of the residuals, to tell a small step from a large one.
  double extent;

  bool IsFinite(int n) const;
};

/// How a shape changes with one of its parameters.
struct Motion {
  Eigen::Vector3d center = Eigen::Vector3d::Zero();
  Eigen::Vector3d axis = Eigen::Vector3d::Zero();  ///< perpendicular to the axis but for a plane
  double major = 0;
  double minor = 0;
};

/// The perpendiculars of the axis and what a cone needs of its half-angle filled in.
LocalShape WithFrame(LocalShape shape);

/// Normal equations of e / sqrt(m) for n parameters that move the shape so.
NormalEquations SumUp(const LocalShape& shape, const Motion* motions, int n, const PointRefs& points);

/// The same from the gram matrix of the points that AccumulateGram gives.
NormalEquations SumUp(const LocalShape& shape, const Motion* motions, int n, int count, SmallMatrix& gram);

/// Normal equations of m residuals and their m x n Jacobian, column-major, at the parameters x.
NormalEquations SumUp(const double* residuals, const double* jacobian, int m, int n, const double* x);

}  // namespace primfit

#endif  // PRIMFIT_SRC_OPTIMIZE_NORMAL_EQUATIONS_H_
