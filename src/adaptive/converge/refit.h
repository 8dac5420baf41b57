// The least-squares optimum of a shape on its inliers, anew or updated for the few that changed.
//
// A refit on all inliers costs some passes over them. Once the optimum of a selection is known, its normal
// equations are kept: the few points that come in or go out then move the optimum by one Gauss-Newton step of
// their own (see UpdatedOptimum), so that the last rounds of a convergence cost next to nothing.
#ifndef PRIMFIT_SRC_ADAPTIVE_CONVERGE_REFIT_H_
#define PRIMFIT_SRC_ADAPTIVE_CONVERGE_REFIT_H_

#include <Eigen/Core>
#include <cstddef>
#include <optional>

#include "adaptive/converge/converge_task.h"
#include "adaptive/converge/inlier_selection.h"
#include "adaptive/model/budget.h"
#include "adaptive/model/model.h"
#include "adaptive/model/refine.h"
#include "fit/fit_memory.h"

namespace primfit::adaptive {

/// A shape and what is known of it as the optimum of its inliers.
struct Refit {
  Model model;
  unsigned atEnd = 0;      ///< parts that are held at an end of their plausible ranges
  NormalEquations sums{};  ///< of the inliers
  double remaining = 0;    ///< how far the next step would move their distances
};

/// Room for copies of inliers and of their weights' square roots, each next to each for the passes over them.
struct InlierCopies {
  /// @param weighted  whether there may be weights
  InlierCopies(std::size_t most, bool weighted) : points(most), sqrtWeights(weighted ? most : 0) {}
  Scratch<Eigen::Vector3d> points;
  Scratch<double> sqrtWeights;
};

/// Copies the inliers and their weights.
PointRefs CopyInliers(const InlierSelection& selection, const ConvergeTask& task, InlierCopies& copies);
/// The same with weights that fade to zero at the bound of the selection (the biweight of Beaton and Tukey
/// 1974).
PointRefs CopyFadingInliers(const InlierSelection& selection, const double* distances, double bound,
                            const ConvergeTask& task, InlierCopies& copies);

/// The optimum on all inliers, within the plausible ranges: a part that leaves its range is held at its end.
/// @param from   the shape to start from
/// @param fades  whether this is one of the first rounds, whose optimum nobody needs exactly: it takes fewer
///     steps and leaves the sums as they are
/// @return none where the inliers determine no shape or the budget ended
std::optional<Refit> RefitOnAll(const Refit& from, const PointRefs& inliers, bool fades,
                                const ConvergeTask& task, Budget& budget);

/// The optimum after the last change of the selection, of which `from` is the optimum before.
/// @return none where the change is not a small one
std::optional<Refit> RefitOnChanged(const Refit& from, const InlierSelection& selection,
                                    const ConvergeTask& task, InlierCopies& copies);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_CONVERGE_REFIT_H_
