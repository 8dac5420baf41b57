// What a fit reports of itself beside the shape and its covariance.
#ifndef PRIMFIT_SRC_ADAPTIVE_EVIDENCE_REPORT_H_
#define PRIMFIT_SRC_ADAPTIVE_EVIDENCE_REPORT_H_

#include <optional>

#include "adaptive/converge/converge.h"
#include "adaptive/evidence/simpler_shape.h"
#include "adaptive/scene/scene.h"
#include "adaptive/search/search.h"
#include "primfit/fit.h"

namespace primfit::adaptive {

/// The report, verdict included, but for the simpler shape in the caller's coordinates.
/// @param simpler  than the shape that was found
FitReport ReportOf(const Converged& converged, const FitCovariance& covariance,
                   const std::optional<SimplerFit>& simpler, const SearchOutcome& search, const Scene& scene,
                   const FitOptionsBase& options, const Budget& budget);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_EVIDENCE_REPORT_H_
