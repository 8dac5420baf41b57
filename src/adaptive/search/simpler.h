// Model selection between a shape and a simpler one: whether the points need the shape's curvature at all.
//
// A shape with more parameters fits wherever one with fewer does: a wall is a cylinder of a large radius, a
// pipe a cone of a small half-angle or a torus of a large ring. Such a shape is not what was asked for while
// anything else stands out. So the simpler shape is fitted to most of the inliers, and where it explains
// these about as well the shape counts as one that has a simpler one.
#ifndef PRIMFIT_SRC_ADAPTIVE_SEARCH_SIMPLER_H_
#define PRIMFIT_SRC_ADAPTIVE_SEARCH_SIMPLER_H_

#include <Eigen/Core>
#include <span>
#include <vector>

#include "adaptive/model/budget.h"
#include "adaptive/model/model.h"

namespace primfit::adaptive {

/// Shapes with fewer parameters near a model, the flat one first: the plane or line through the points, the
/// cylinder about a cone's axis at the height of the points, and of a torus the cylinder along its tube, the
/// one within its ring and the sphere around it.
/// @param points  the inliers of the model
std::vector<Model> SimplerStarts(const Model& model, std::span<const Eigen::Vector3d> points);

/// Whether a shape with fewer parameters explains most of the points as well: a line those of an arc, a plane
/// those of any surface, a cylinder those of a cone or torus, a sphere those of a torus. Most of them, since
/// some belong to other things: the nearest 60 % within 1.25 times the root mean square of the shape itself.
/// @param points  the inliers of the model
bool HasSimpler(const Model& model, std::span<const Eigen::Vector3d> points, Budget& budget);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_SEARCH_SIMPLER_H_
