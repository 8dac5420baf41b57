// What the options of a fit ask of its stages: the tasks of the search and of the convergence.
#ifndef PRIMFIT_SRC_ADAPTIVE_FIT_TASKS_H_
#define PRIMFIT_SRC_ADAPTIVE_FIT_TASKS_H_

#include <optional>

#include "adaptive/converge/converge_task.h"
#include "adaptive/scene/plausible.h"
#include "adaptive/scene/scene.h"
#include "adaptive/search/search.h"
#include "primfit/fit.h"

namespace primfit::adaptive {

/// Parts that constraints hold, and their values as a model relative to the scene's origin.
struct Start {
  unsigned held = 0;
  std::optional<Model> model;
};

/// Whether the caller has said how coarse a shape may be. Then no test refuses a shape for its coarseness.
bool IsNoiseKnown(const FitOptionsBase& options);

/// The smallest bound of inliers that the options and the steps of the coordinates leave, in the units of the
/// scene: of the tolerance or the noise that is told, else of rounding.
double LeastBoundOf(bool curve, const FitOptionsBase& options, Scene& scene);

/// What the options and constraints say, in the units of a sample.
SearchTask SearchTaskOf(ShapeKind kind, const Plausible& plausible, const FitOptionsBase& options,
                        const Start& start, const Units& units, Scene& scene);

/// The same for the convergence, without points; in the units of the scene.
/// @param plausible  outlives the task
/// @param size       of the cloud that it works on
ConvergeTask ConvergeTaskOf(const Plausible& plausible, const FitOptionsBase& options, const Start& start,
                            double size, Scene& scene);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_FIT_TASKS_H_
