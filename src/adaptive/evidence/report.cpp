#include "adaptive/evidence/report.h"

#include "adaptive/converge/noise.h"
#include "adaptive/evidence/misfit.h"
#include "adaptive/evidence/verdict.h"

namespace primfit::adaptive {

namespace {

/// A tolerance says how large the noise may be, too.
ToldNoise ToldBy(const FitOptionsBase& options, bool curve) {
  if (options.noise || !options.tolerance) return options.noise;
  return *options.tolerance / InlierBound(curve, 1);
}

}  // namespace

FitReport ReportOf(const Converged& converged, const FitCovariance& covariance,
                   const std::optional<SimplerFit>& simpler, const SearchOutcome& search, const Scene& scene,
                   const FitOptionsBase& options, const Budget& budget) {
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
    doubts.misfit = WhyMisfit(converged, scene.Points(), ToldBy(options, converged.model.IsCurve()));
  }
  StateVerdict(converged, covariance, doubts, report);
  return report;
}

}  // namespace primfit::adaptive
