// Model selection once the answer is known: whether a shape with fewer parameters explains the same inliers.
//
// A plane is nearly a sphere, a cone or a torus of any large size, and the noise of its points always prefers
// some size. Such a shape can seem well determined; that a plane is as near to the same points tells that
// the size means nothing.
#ifndef PRIMFIT_SRC_ADAPTIVE_EVIDENCE_SIMPLER_SHAPE_H_
#define PRIMFIT_SRC_ADAPTIVE_EVIDENCE_SIMPLER_SHAPE_H_

#include <Eigen/Core>
#include <optional>
#include <span>

#include "adaptive/converge/converge.h"

namespace primfit::adaptive {

/// A shape with fewer parameters that explains the inliers of another.
struct SimplerFit {
  Model model;  ///< its least-squares optimum on these inliers
  double rms = 0;
  double rmsRatio = 1;  ///< to that of the other shape
  FitCovariance covariance;
};

/// The shape with the fewest parameters that explains the inliers as well: by so little farther from them
/// that the parameters which it lacks are not worth their cost. None is simpler than a line or plane.
/// @param points       all that the inliers are indices of
/// @param sqrtWeights  of all points; none where all weights are 1
std::optional<SimplerFit> SimplerThan(const Converged& c, std::span<const Eigen::Vector3d> points,
                                      std::span<const double> sqrtWeights);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_EVIDENCE_SIMPLER_SHAPE_H_
