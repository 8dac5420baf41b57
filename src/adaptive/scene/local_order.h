// What the neighbourhood of a point says of the surface or curve it may lie on.
#ifndef PRIMFIT_SRC_ADAPTIVE_SCENE_LOCAL_ORDER_H_
#define PRIMFIT_SRC_ADAPTIVE_SCENE_LOCAL_ORDER_H_

#include <Eigen/Core>
#include <cstddef>
#include <span>
#include <vector>

namespace primfit {

/// A point with its nearest neighbours.
struct LocalPiece {
  std::size_t index;      ///< of the point
  Eigen::Vector3d place;  ///< the mean of them all
  Eigen::Vector3d
      direction;  ///< the normal of the plane, for curves the direction of the line, nearest to them
  double stray;  ///< share of their scatter that lies off it: small on a shape, a third anywhere (two thirds)
};

/// Those around the points with the indices `at`, neighbours being among all points.
std::vector<LocalPiece> PiecesAround(std::span<const Eigen::Vector3d> points, std::span<const std::size_t> at,
                                     bool curve);

}  // namespace primfit

#endif  // PRIMFIT_SRC_ADAPTIVE_SCENE_LOCAL_ORDER_H_
