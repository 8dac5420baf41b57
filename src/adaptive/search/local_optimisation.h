// Local optimisation of a candidate (LO-RANSAC: Chum, Matas and Kittler 2003).
//
// A candidate through a minimal sample carries the noise of its few points. It is refined by least squares on
// its inliers and scored again, which gives another bound and other inliers, until that gains nothing. The
// bound becomes narrower by itself, since the score rises as the band of the inliers does.
#ifndef PRIMFIT_SRC_ADAPTIVE_SEARCH_LOCAL_OPTIMISATION_H_
#define PRIMFIT_SRC_ADAPTIVE_SEARCH_LOCAL_OPTIMISATION_H_

#include <Eigen/Core>
#include <vector>

#include "adaptive/model/budget.h"
#include "adaptive/model/model.h"
#include "adaptive/scene/plausible.h"
#include "adaptive/search/score.h"

namespace primfit::adaptive {

/// The points near a shape that a scorer has just scored, and their mean.
struct Inliers {
  std::vector<Eigen::Vector3d> points;
  Eigen::Vector3d mean = Eigen::Vector3d::Zero();
};
void CopyInliers(const Scorer& scorer, double tolerance, Inliers& inliers);

struct Optimised {
  Model model;
  Score score;
  int refinements = 0;
};

/// @param candidate  scored by the scorer, with `score`
/// @param inliers    those of the candidate; then those of the model that comes out, or of one that scored a
///     thousandth less
/// @param held       parts that stay
/// @param plausible  in the scorer's units; null: every shape is plausible
Optimised OptimiseLocally(const Model& candidate, const Score& score, unsigned held,
                          const Plausible* plausible, Scorer& scorer, Inliers& inliers, Budget& budget);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_SEARCH_LOCAL_OPTIMISATION_H_
