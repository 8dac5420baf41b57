// What comes of the whole way of a fit.
#ifndef PRIMFIT_SRC_ADAPTIVE_OUTCOME_H_
#define PRIMFIT_SRC_ADAPTIVE_OUTCOME_H_

#include <optional>

#include "adaptive/converge/converge.h"
#include "adaptive/evidence/extent.h"
#include "adaptive/evidence/simpler_shape.h"
#include "adaptive/fit_tasks.h"
#include "adaptive/model/model.h"
#include "adaptive/scene/scene.h"
#include "adaptive/search/search.h"
#include "primfit/fit.h"

namespace primfit::adaptive {

/// Everything that a fit gives but the record, relative to the scene's origin.
struct Outcome {
  Model model;
  Converged converged;
  FitCovariance covariance;
  FitReport report;
  std::optional<MeasuredBounds> bounds;  ///< where the fit itself tells them; else the inliers do
  std::optional<SimplerFit> simpler;     ///< a shape with fewer parameters that explains the inliers as well
};

/// The outcome of a shape that a search has found and that has converged: how well it is known, and the
/// verdict.
Outcome OutcomeOf(Converged converged, const SearchOutcome& search, const Start& start,
                  const FitOptionsBase& options, const Scene& scene, const Budget& budget);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_OUTCOME_H_
