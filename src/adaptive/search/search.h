// The random search: from a sample of the scene to the hypotheses that explain it best.
//
// Candidates through minimal samples (sampler.h) are scored (score.h). One that scores more than any before
// is optimised (local_optimisation.h) and becomes a hypothesis (hypothesis.h). The search ends when a better
// shape was most probably not missed (confidence.h), or when the budget ends.
#ifndef PRIMFIT_SRC_ADAPTIVE_SEARCH_SEARCH_H_
#define PRIMFIT_SRC_ADAPTIVE_SEARCH_SEARCH_H_

#include <Eigen/Core>
#include <optional>
#include <vector>

#include "adaptive/model/budget.h"
#include "adaptive/model/model.h"
#include "adaptive/scene/dice.h"
#include "adaptive/scene/plausible.h"
#include "adaptive/scene/sample.h"
#include "adaptive/search/hypothesis.h"
#include "adaptive/search/ranked_points.h"
#include "adaptive/search/score.h"
#include "primfit/fit.h"

namespace primfit::adaptive {

/// What a search is asked for; lengths in the units of its sample.
struct SearchTask {
  ShapeKind kind{};
  Plausible plausible;  ///< in the units of the sample
  unsigned held = 0;
  Model start{};                ///< values of the parts held
  bool evaluatesStart = false;  ///< whether it is scored first
  ScoreBounds bounds{};
  double confidence = 0.99;
  std::optional<double> inlierShare{};      ///< that the number of draws is to be enough for
  std::optional<Eigen::Vector3d> passes{};  ///< points are drawn from around it

  bool IsOfCurve() const { return FactsOf(kind).isCurve; }
};

struct SearchOutcome {
  /// The best hypothesis. Where it is not wanted (see hypothesis.h), the best of those that are follows.
  /// Nothing where no sample gave a shape.
  std::vector<Hypothesis> found;
  StopReason why = StopReason::kDrawLimit;
  int refinements = 0;
};

/// Searches the free points of a sample.
/// @param ranked  those points in their order, where a search before has made it; else it is left there
SearchOutcome Search(const SearchTask& task, const Sample& sample, RankedPoints& ranked, Dice& dice,
                     Budget& budget);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_SEARCH_SEARCH_H_
