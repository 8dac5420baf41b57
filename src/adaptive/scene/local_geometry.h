// What the neighbourhood of a point says of the surface or curve it may lie on.
//
// The scatter of a point and its nearest neighbours has three principal directions. Where they lie on a
// surface the direction of least scatter is the normal, where they lie on a curve that of most scatter is its
// direction, and what is scattered otherwise tells how far the neighbourhood is from a plane or a line. This
// gives the search points with normals, and an order in which points of clutter come last.
#ifndef PRIMFIT_SRC_ADAPTIVE_SCENE_LOCAL_GEOMETRY_H_
#define PRIMFIT_SRC_ADAPTIVE_SCENE_LOCAL_GEOMETRY_H_

#include <Eigen/Core>
#include <cstddef>
#include <span>
#include <vector>

#include "adaptive/scene/free_points.h"
#include "adaptive/scene/neighbours.h"

namespace primfit::adaptive {

struct LocalGeometry {
  std::size_t index;          ///< of the point
  Eigen::Vector3d position;   ///< the mean of the point and its neighbours, which has less noise
  Eigen::Vector3d direction;  ///< the normal of the plane nearest to them; for curves that of the line
  /// Surface variation (Pauly, Gross and Kobbelt 2002): the share of their scatter across that plane or line.
  /// It is small on a shape; among points anywhere a third for a plane, two thirds for a line.
  double variation;
};

/// The local geometry of the points with the indices `at`, from their nearest free neighbours.
/// @param curve  whether directions are those of curves, not normals of surfaces
std::vector<LocalGeometry> LocalGeometryAt(std::span<const Eigen::Vector3d> points,
                                           const NeighbourSearch& neighbours, const FreePoints& free,
                                           std::span<const std::size_t> at, bool curve);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_SCENE_LOCAL_GEOMETRY_H_
