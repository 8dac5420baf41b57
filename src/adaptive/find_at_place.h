// The shape of which a place is told: a point that a user has picked on a scan.
//
// Of a whole scan the shape at a place has perhaps a hundredth of the points, too few for a random search
// among all. So the search looks at balls about the place, each with twice the points of the one before
// (scene/nested_balls.h): few draws find the shape in a ball that it fills. What is found in one ball is
// tried in the next, so that it grows as long as the points go on (region growing; Besl and Jain 1988). Its
// support is the part of its points that is connected with the place (scene/connected_region.h). The largest
// support wins unless the shape becomes coarser on the way: then it has grown over an edge, or is a shape
// that only passes by.
#ifndef PRIMFIT_SRC_ADAPTIVE_FIND_AT_PLACE_H_
#define PRIMFIT_SRC_ADAPTIVE_FIND_AT_PLACE_H_

#include <optional>

#include "adaptive/outcome.h"
#include "adaptive/scene/dice.h"
#include "adaptive/scene/plausible.h"

namespace primfit::adaptive {

/// @param options  tell a place
/// @return none where no shape stands out about the place
std::optional<Outcome> FindAtPlace(ShapeKind kind, const Plausible& plausible, const FitOptionsBase& options,
                                   const Start& start, Scene& scene, Dice& dice, Budget& budget);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_FIND_AT_PLACE_H_
