// A shape that the search has scored, and the competition of such shapes within one search.
//
// A shape that is hardly bent (see simpler.h) fits a wall as well as a pipe fits its points, and there are
// more points on walls. Another shape of the kind, with a radius that was not asked for, may have more points
// than the one that was. Neither is wanted, but both have to be known: as long as their points are there,
// parts of them pass for what is wanted. So such shapes and the wanted ones compete among themselves, and the
// search gives the best of both.
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
  bool isAllowed = true;    ///< by the ranges and the place that the options tell

  bool IsWanted() const { return isAllowed && !hasSimpler; }
};

/// The best hypotheses of a search so far.
struct Leaders {
  struct Best {
    std::optional<Hypothesis> hypothesis;
    /// Score of its candidate before this was optimised: candidates that score less are not worth optimising.
    double candidateScore = 0;
  };
  Best wanted, unwanted;

  /// The better one of the two; null before there is any.
  const Hypothesis* Leader() const {
    const auto& best = wanted.hypothesis;
    const auto& rival = unwanted.hypothesis;
    if (!best || (rival && rival->score.value > best->score.value)) return rival ? &*rival : nullptr;
    return &*best;
  }
  bool IsLeaderUnwanted() const { return Leader() != nullptr && !Leader()->IsWanted(); }
};

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_SEARCH_HYPOTHESIS_H_
