// What the neighbourhood of a point says of the surface or curve it may lie on.
#ifndef PRIMFIT_SRC_ADAPTIVE_SCENE_LOCAL_GEOMETRY_H_
#define PRIMFIT_SRC_ADAPTIVE_SCENE_LOCAL_GEOMETRY_H_

#include <Eigen/Core>
#include <cstddef>
#include <span>
#include <vector>

namespace primfit {

/// What a point and its nearest neighbours say of the surface or curve there.
struct LocalGeometry {
  std::size_t index;          ///< of the point
  Eigen::Vector3d place;      ///< the mean of them all
  Eigen::Vector3d direction;  ///< the normal of the plane nearest to them; for curves that of the line
  /// Surface variation (Pauly, Gross and Kobbelt 2002): the share of their scatter across that plane or line.
  /// It is small on a shape; among points anywhere a third for a plane, two thirds for a line.
  double variation;
};

/// That about the points with the indices `at`, neighbours being among all points.
std::vector<LocalGeometry> LocalGeometryAt(std::span<const Eigen::Vector3d> points,
                                           std::span<const std::size_t> at, bool curve);

}  // namespace primfit

#endif  // PRIMFIT_SRC_ADAPTIVE_SCENE_LOCAL_GEOMETRY_H_
