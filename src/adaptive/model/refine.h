// The least-squares shape of points. One pass over the points sums up all that a step of the solver has to
// know of them, so that a step costs the same for any number of parameters, and few changed points can be
// added to the sums and taken out of them again.
#ifndef PRIMFIT_SRC_ADAPTIVE_MODEL_REFINE_H_
#define PRIMFIT_SRC_ADAPTIVE_MODEL_REFINE_H_

#include <Eigen/Core>
#include <optional>
#include <span>

#include "adaptive/model/budget.h"
#include "adaptive/model/model.h"
#include "optimize/normal_equations.h"

namespace primfit::adaptive {

/// @param sqrtWeights  square roots of the points' weights; null where these are all 1
inline PointRefs RefsOf(std::span<const Eigen::Vector3d> points, const double* sqrtWeights = nullptr) {
  PointRefs refs;
  refs.count = static_cast<int>(points.size());
  refs.rows = points.data();
  refs.sqrtWeights = sqrtWeights;
  return refs;
}

/// Whether there have to be more points than parameters; else a shape through all points is one too, from as
/// many equations as parameters on, of which a point of a curve gives two.
enum class Redundancy { kRequired, kMayBeNone };

/// Orthogonal distance regression: the shape with the least sum of squared distances in space, for curves
/// too, each times the weight of its point. Levenberg-Marquardt from the model given.
/// @return none where the points determine no shape, or the budget ended before the result
std::optional<Model> Refine(const Model& start, unsigned held, const PointRefs& points, int iterations);
std::optional<Model> Refine(const Model& start, unsigned held, const PointRefs& points, int iterations,
                            Budget& budget, Redundancy redundancy = Redundancy::kRequired);

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

#endif  // PRIMFIT_SRC_ADAPTIVE_MODEL_REFINE_H_
