// The whole way of the adaptive fit, from the points of a scene to an unbounded shape.
//
// The stages, each a function of the folder that is named: the scene gives a random sample in sizes of the
// cloud (scene/); the search finds hypotheses in it (search/search.h, within a coarse one in nested_search.h,
// beside one that is hardly bent in rival_search.h, which also says which of them is tried first); the first
// hypothesis that converges to a shape which stands out from chance is the answer (converge/converge.h), and
// the evidence says how well it is known (evidence/).
#ifndef PRIMFIT_SRC_ADAPTIVE_FIND_SHAPE_H_
#define PRIMFIT_SRC_ADAPTIVE_FIND_SHAPE_H_

#include <optional>

#include "adaptive/converge/converge.h"
#include "adaptive/evidence/extent.h"
#include "adaptive/model/model.h"
#include "adaptive/scene/scene.h"
#include "primfit/fit.h"

namespace primfit::adaptive {

/// Everything that a fit gives but the record, relative to the scene's origin.
struct Outcome {
  Model model;
  Converged converged;
  FitCovariance covariance;
  FitReport report;
  std::optional<MeasuredBounds> bounds;  ///< where the fit itself tells them; else the inliers do
};

/// Parts that constraints hold, and their values as a model relative to the scene's origin.
struct Start {
  unsigned held = 0;
  std::optional<Model> model;
};

/// @throws FitError as primfit::fit says
Outcome FindShape(ShapeKind kind, Scene& scene, const FitOptionsBase& options, const Start& start,
                  Budget& budget);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_FIND_SHAPE_H_
