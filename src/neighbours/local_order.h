// What the neighbourhood of a point says of the surface or curve it may lie on.
#ifndef PRIMFIT_SRC_NEIGHBOURS_LOCAL_ORDER_H_
#define PRIMFIT_SRC_NEIGHBOURS_LOCAL_ORDER_H_

#include <Eigen/Core>
#include <cstddef>
#include <span>
#include <vector>

namespace primfit {

/// The first `count` of the points (which stand in random order), those first whose nearest neighbours among
/// all points lie most nearly in a plane, for curves along a line. Points of a shape come before stray ones.
/// @return indices
std::vector<std::size_t> OrderByNeighbourhood(std::span<const Eigen::Vector3d> points, std::size_t count,
                                              bool curve);

}  // namespace primfit

#endif  // PRIMFIT_SRC_NEIGHBOURS_LOCAL_ORDER_H_
