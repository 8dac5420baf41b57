// The way of the adaptive fit for an elbow, which mostly comes with its own pipes.
//
// First the elbow is found as a torus (find_shape.h). Where it explains all points, it is the answer. Else it
// is looked for together with pipes that go on from its ends (joints/): from the tangents at the ends of that
// torus, and between cylinders that stand out. An elbow with pipes is the answer where it explains the points
// better than the torus alone; a torus that takes in points of the pipes has a wrong bend radius.
#ifndef PRIMFIT_SRC_ADAPTIVE_FIND_ELBOW_H_
#define PRIMFIT_SRC_ADAPTIVE_FIND_ELBOW_H_

#include "adaptive/find_shape.h"

namespace primfit::adaptive {

/// @throws FitError as primfit::fit says
Outcome FindElbow(ShapeKind kind, Scene& scene, const FitOptionsBase& options, const Start& start,
                  Budget& budget);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_FIND_ELBOW_H_
