#include "adaptive/outcome.h"

#include <utility>

#include "adaptive/evidence/report.h"
#include "adaptive/evidence/verdict.h"

namespace primfit::adaptive {

Outcome OutcomeOf(Converged converged, const SearchOutcome& search, const Start& start,
                  const FitOptionsBase& options, const Scene& scene, const Budget& budget) {
  Outcome outcome;
  outcome.converged = std::move(converged);
  outcome.model = outcome.converged.model;
  outcome.covariance = CovarianceOf(outcome.converged, start.held);
  // A size that the caller holds means what it says, whatever else the points are like.
  if ((start.held & (kMajor | kMinor)) == 0)
    outcome.simpler = SimplerThan(outcome.converged, scene.Points(), scene.SqrtWeights());
  outcome.report =
      ReportOf(outcome.converged, outcome.covariance, outcome.simpler, search, scene, options, budget);
  return outcome;
}

}  // namespace primfit::adaptive
