// Which hypothesis is tried first when the best one is not wanted: the search beside it, and the order of the
// rivals.
//
// Where a pipe was asked for, a wall is the best "pipe" by far, because any large cylinder fits a wall. So
// while the best hypothesis has a simpler shape (simpler.h), or is one that the options do not allow, its
// points are marked as taken and the search goes on among the rest. Rivals found there come before it. A
// wanted shape that the first search found across the wall, with some of the wall's points, is a rival as
// well: the pole of a lamp before its arm. It comes first where it is finer than the wall and scores more
// than what was found beside the wall.
#ifndef PRIMFIT_SRC_ADAPTIVE_SEARCH_RIVAL_SEARCH_H_
#define PRIMFIT_SRC_ADAPTIVE_SEARCH_RIVAL_SEARCH_H_

#include "adaptive/model/budget.h"
#include "adaptive/search/nested_search.h"

namespace primfit::adaptive {

/// Goes on searching beside hypotheses that are not wanted, and puts all in the order of preference.
/// @param outcome  of the first search, all points free
/// @param sample   points of hypotheses that were left out are no longer free afterwards
SearchOutcome SearchRivals(SearchOutcome outcome, SearchTask task, bool isNoiseKnown, Sample& sample,
                           Dice& dice, Budget& budget);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_SEARCH_RIVAL_SEARCH_H_
