// The least-squares cone of few points, described by its circle beside their middle instead of its apex.
//
// The apex of a slim cone is far away, and that of a cylinder is nowhere: on its way to the optimum a
// refinement that moves the apex cannot pass from a cone that opens upward to one that opens downward. With
// the radius beside the middle of the points and the half-angle nothing is special about an angle of zero.
#ifndef PRIMFIT_SRC_ADAPTIVE_MODEL_REFINE_CONE_H_
#define PRIMFIT_SRC_ADAPTIVE_MODEL_REFINE_CONE_H_

#include <optional>

#include "adaptive/model/budget.h"
#include "adaptive/model/model.h"

namespace primfit::adaptive {

/// Levenberg-Marquardt from a cone of which nothing is held. It keeps a row of derivatives for each point.
/// @return none where the optimum is no cone (a cylinder, say), or the budget ended before
std::optional<Model> RefineCone(const Model& start, const PointRefs& points, int iterations, Budget& budget);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_MODEL_REFINE_CONE_H_
