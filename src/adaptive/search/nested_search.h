// A search that looks for a finer shape within the band of a coarse one.
//
// Clutter that is itself a slab, a rod or a shell passes for a shape with much noise, and scores more than
// the small exact shape that lies in it. So where the first search ends at a coarse shape of which neither
// noise nor tolerance was told, a second one, with a tenth of the draws, looks for a shape with a much
// narrower band. It comes first where more points lie on it than the noise of the coarse one would leave
// there.
#ifndef PRIMFIT_SRC_ADAPTIVE_SEARCH_NESTED_SEARCH_H_
#define PRIMFIT_SRC_ADAPTIVE_SEARCH_NESTED_SEARCH_H_

#include "adaptive/model/budget.h"
#include "adaptive/search/search.h"

namespace primfit::adaptive {

/// The score, in nats, below which a shape counts as chance: one that chance gives once in e^30 clouds is
/// none of chance's.
inline constexpr double kSignificant = 30;

/// Searches the free points of a sample.
/// @param isNoiseKnown  whether the options say the noise or the tolerance: then no finer shape is looked for
/// @return significant hypotheses, that to be preferred first
SearchOutcome SearchNested(const SearchTask& task, bool isNoiseKnown, const Sample& sample, Dice& dice,
                           Budget& budget);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_SEARCH_NESTED_SEARCH_H_
