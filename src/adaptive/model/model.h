// What the adaptive fit asks of a shape of any kind: whether it is one, its distances from blocks of points,
// the ways in which it can change, and its refinement.
#ifndef PRIMFIT_SRC_ADAPTIVE_MODEL_MODEL_H_
#define PRIMFIT_SRC_ADAPTIVE_MODEL_MODEL_H_

#include <Eigen/Core>
#include <optional>
#include <span>

#include "adaptive/model/budget.h"
#include "optimize/normal_equations.h"
#include "primitives/model.h"
#include "primitives/primitives.h"
#include "shapes/shape_of_model.h"

namespace primfit::adaptive {

/// Whether every number is finite, the axis of unit length, a half-angle below a quarter turn, and sizes
/// positive (of a torus: the tube smaller than the ring).
bool IsValid(const Model& model);

/// Distances to the shape, never negative; of a cone only its one side counts.
void Distances(const Model& model, const Eigen::Vector3d* points, int n, double* distances);

/// One way in which a shape can change.
struct FreeParameter {
  ParameterKind kind;
  Eigen::Vector3d direction;  ///< in which a position or direction moves; zero for a size
  ShapeDerivative motion;
};

struct FreeParameters {
  int count = 0;
  FreeParameter each[kMostParameters];
};

/// The independent ways in which a shape can change while parts are held. The free position of an axis, a
/// line or a plane moves at its centre.
FreeParameters FreeParametersOf(const Model& model, unsigned held);

/// Moves the centre of a line, a cylinder or a plane, which may lie anywhere in it, to where the points are.
void CenterAt(const Eigen::Vector3d& mean, unsigned held, Model& model);

/// @param roots  square roots of the points' weights; null where these are all 1
inline PointRefs RefsOf(std::span<const Eigen::Vector3d> points, const double* roots = nullptr) {
  PointRefs refs;
  refs.count = static_cast<int>(points.size());
  refs.rows = points.data();
  refs.rootWeights = roots;
  return refs;
}

/// Orthogonal distance regression: the shape with the least sum of squared distances in space, for curves
/// too, each times the weight of its point. Levenberg-Marquardt from the model given.
/// @return none where the points determine no shape, or the budget ended before the result
std::optional<Model> Refine(const Model& start, unsigned held, const PointRefs& points, int iterations);
std::optional<Model> Refine(const Model& start, unsigned held, const PointRefs& points, int iterations,
                            Budget& budget);

/// The normal equations of distance / sqrt(n) for the free parameters of a model; not complete where the
/// budget ended.
NormalEquations SumsAt(const Model& model, unsigned held, const PointRefs& points);
NormalEquations SumsAt(const Model& model, unsigned held, const PointRefs& points, Budget& budget);

/// How far the next Gauss-Newton step would move the points' distances, root mean square, by the parameter
/// that moves them most: zero at the optimum.
/// @param n  number of parameters
double NextStep(const NormalEquations& sums, int n);

/// The optimum when few points are added to those whose optimum a model is and others are taken away: a
/// Gauss-Newton step, whose error is of second order.
/// @param sums       those of the `count` points before; after it those of the points now, but their gradient
/// @param remaining  where not null: about how far the next step would move the distances. A step s over the
///                   size L of the shape turns the gradients by s / L, so it leaves s / L (s + residuals) of
///                   the gradient, which moves the worst determined mixture of parameters by that over the
///                   smallest eigenvalue
/// @return none where the step is not a short one, so that the points have to be looked at again, or leads
///     out of the shapes
std::optional<Model> UpdatedOptimum(const Model& at, unsigned held, int count, const PointRefs& added,
                                    const PointRefs& removed, NormalEquations& sums,
                                    double* remaining = nullptr);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_MODEL_MODEL_H_
