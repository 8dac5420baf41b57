#include "adaptive/evidence/report.h"

#include "adaptive/evidence/misfit.h"
#include "adaptive/evidence/verdict.h"

namespace primfit::adaptive {

FitReport ReportOf(const Converged& converged, const FitCovariance& covariance,
                   const std::optional<SimplerFit>& simpler, const SearchOutcome& search, const Scene& scene,
                   const Budget& budget) {
  FitReport report;
  report.draws = budget.Draws();
  report.refinements = search.refinements;
  report.inlierShare = scene.ShareOf(converged.inliers);
  report.setAside = scene.SetAside();
  report.step = converged.rounding.coarse;
  report.noise = converged.noise;
  report.tolerance = converged.tolerance;
  report.stopReason = budget.IsOver() ? budget.Why() : search.why;
  report.converged = converged.converged;
  Doubts doubts;
  if (simpler) {
    doubts.simpler = simpler->model;
    doubts.simplerRmsRatio = simpler->rmsRatio;
  } else {
    doubts.misfit = WhyMisfit(converged, scene.Points());
  }
  StateVerdict(converged, covariance, doubts, report);
  return report;
}

}  // namespace primfit::adaptive
