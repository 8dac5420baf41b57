// A shape that the search has scored, and the competition of such shapes within one search.
//
// A shape that is hardly bent (see simpler.h) fits a wall as well as a pipe fits its points, and there are
// more points on walls. So shapes that have a simpler one and shapes that have none compete among themselves,
// and the search gives the best of both kinds.
#ifndef PRIMFIT_SRC_ADAPTIVE_SEARCH_HYPOTHESIS_H_
#define PRIMFIT_SRC_ADAPTIVE_SEARCH_HYPOTHESIS_H_

#include <optional>

#include "adaptive/model/model.h"
#include "adaptive/search/score.h"

namespace primfit::adaptive {

struct Hypothesis {
  Model model;
  Score score;
  bool hasSimpler = false;  ///< a shape with fewer parameters explains its inliers as well
};

/// The best hypotheses of a search so far.
struct Leaders {
  struct Best {
    std::optional<Hypothesis> hypothesis;
    /// Score of its candidate before this was optimised: candidates that score less are not worth optimising.
    double candidateScore = 0;
  };
  Best withoutSimpler, withSimpler;

  /// The better one of the two; null before there is any.
  const Hypothesis* Leader() const {
    const auto& without = withoutSimpler.hypothesis;
    const auto& with = withSimpler.hypothesis;
    if (!without || (with && with->score.value > without->score.value)) return with ? &*with : nullptr;
    return &*without;
  }
  bool LeaderHasSimpler() const { return Leader() != nullptr && Leader()->hasSimpler; }
};

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_SEARCH_HYPOTHESIS_H_
