// The normal equations J^T J s = -J^T f of a Gauss-Newton step s, for residuals f with Jacobian J. A solver
// that works on them needs nothing else of the points (Nocedal and Wright 2006, section 10.3). They square
// the condition number, which is harmless here: a shape has at most eight parameters, its columns are scaled,
// and the steps of a refinement correct each other.
#ifndef PRIMFIT_SRC_OPTIMIZE_NORMAL_EQUATIONS_H_
#define PRIMFIT_SRC_OPTIMIZE_NORMAL_EQUATIONS_H_

#include <Eigen/Core>

#include "optimize/kernels/gram.h"
#include "optimize/kernels/small_matrices.h"

namespace primfit {

/// J^T J, J^T f and f^T f at some parameters.
struct NormalEquations {
  SmallMatrix matrix;
  double gradient[kMostParameters];
  double sumOfSquares;
  /// How far the residuals move, root mean square, for a unit of each parameter: the norm of its column of J,
  /// by which steps are scaled (More 1978). Coordinates of one point have one sensitivity, that of all of
  /// them, so that steps do not depend on how the shape is turned.
  double sensitivity[kMostParameters];
  /// A length of the size of the problem, in the unit of the residuals, to tell a small step from a large
  /// one.
  double lengthScale;

  bool IsFinite(int n) const;
};

/// The derivative of a shape by one parameter.
struct ShapeDerivative {
  Eigen::Vector3d center = Eigen::Vector3d::Zero();
  Eigen::Vector3d axis = Eigen::Vector3d::Zero();  ///< perpendicular to the axis, which keeps its length
  double major = 0;
  double minor = 0;
};

/// Fills in the perpendiculars of the axis and sine and cosine of a cone's half-angle.
ShapeParameters WithFrame(ShapeParameters shape);

/// Normal equations of the residuals e / sqrt(m) of m points at signed distance e.
/// @param derivatives  of the shape by each of n parameters
NormalEquations NormalEquationsOf(const ShapeParameters& shape, const ShapeDerivative* derivatives, int n,
                                  const PointRefs& points);

/// The same from the Gram matrix that AccumulateGram gives of `count` points, which is divided by their
/// number.
NormalEquations NormalEquationsOf(const ShapeParameters& shape, const ShapeDerivative* derivatives, int n,
                                  int count, SmallMatrix& gram);

/// Normal equations of m residuals and their m x n Jacobian, column-major, at the parameters x.
NormalEquations NormalEquationsOf(const double* residuals, const double* jacobian, int m, int n,
                                  const double* x);

}  // namespace primfit

#endif  // PRIMFIT_SRC_OPTIMIZE_NORMAL_EQUATIONS_H_
