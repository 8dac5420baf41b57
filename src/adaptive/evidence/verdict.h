// How exactly a shape is known, and what a person should know of it.
//
// The covariance follows from the normal equations of the inliers and their noise: it says how far each
// parameter may be off by chance. The verdict puts in words what would mislead: a parameter that the points
// hardly determine, a size at the end of its allowed range, a simpler shape that explains the points as well,
// distances that are no noise, a shape that few points support.
#ifndef PRIMFIT_SRC_ADAPTIVE_EVIDENCE_VERDICT_H_
#define PRIMFIT_SRC_ADAPTIVE_EVIDENCE_VERDICT_H_

#include <optional>
#include <string>

#include "adaptive/converge/converge.h"
#include "primfit/fit.h"

namespace primfit::adaptive {

/// The covariance of the free parameters by the inliers' feet on the shape. A part at an end of its plausible
/// range is held there, so it is no free parameter.
FitCovariance CovarianceOf(const Converged& c, unsigned held);

/// What speaks against a shape beside its own numbers.
struct Doubts {
  std::string misfit;            ///< why its distances are no noise, empty where they may be
  std::optional<Model> simpler;  ///< a shape with fewer parameters that explains its inliers as well
  double simplerRmsRatio = 1;    ///< its root mean square distance over that of the shape
};

/// Fills in the verdict and its reason.
void StateVerdict(const Converged& c, const FitCovariance& covariance, const Doubts& doubts,
                  FitReport& report);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_EVIDENCE_VERDICT_H_
