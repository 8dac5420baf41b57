// Goodness of fit: whether the distances of a shape's inliers can be noise at all.
//
// A shape fitted midway between two walls, a cylinder through an oval tube and a plane over wavy ground are
// all least-squares optima of their inliers and exactly known. What gives them away is that points are
// missing close to the shape, or that a smooth surface explains a good part of their distances.
#ifndef PRIMFIT_SRC_ADAPTIVE_EVIDENCE_MISFIT_H_
#define PRIMFIT_SRC_ADAPTIVE_EVIDENCE_MISFIT_H_

#include <Eigen/Core>
#include <optional>
#include <span>
#include <string>

#include "adaptive/converge/converge.h"

namespace primfit::adaptive {

/// The standard deviation of the noise that the caller has told, if any.
using ToldNoise = std::optional<double>;

/// Why the distances of the inliers are not noise, with the figure that says so; empty where they may be. An
/// error of form no larger than the noise that the caller expects is what the caller accepts.
/// @param points  all that the inliers are indices of
std::string WhyMisfit(const Converged& c, std::span<const Eigen::Vector3d> points, const ToldNoise& told);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_EVIDENCE_MISFIT_H_
