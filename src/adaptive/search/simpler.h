// Whether a shape is bent at all.
#ifndef PRIMFIT_SRC_ADAPTIVE_SEARCH_SIMPLER_H_
#define PRIMFIT_SRC_ADAPTIVE_SEARCH_SIMPLER_H_

#include <Eigen/Core>
#include <span>

#include "adaptive/model/model.h"

namespace primfit::adaptive {

/// Whether a shape with fewer parameters explains most of the points as well: a line those of an arc, a plane
/// those of any surface, a cylinder those of a cone or torus, a sphere those of a torus. Such shapes fit
/// everywhere: a wall is a cylinder of a large radius, a pipe a cone of a small half-angle.
/// @param points  the inliers of the model
bool HasSimpler(const Model& model, std::span<const Eigen::Vector3d> points);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_SEARCH_SIMPLER_H_
