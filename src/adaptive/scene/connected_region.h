// The part of a shape's points that is connected with a place.
//
// Points of the same face are neighbours of neighbours, those of another face in the same plane are not. Each
// point is linked to its nearest ones, however far these are, because a scanner's points are dense near it
// and sparse far away: the graph of nearest neighbours, whose connected components have no threshold in
// lengths (Brito et al. 1997). Of many points some thousands, drawn by lot, tell; the region is then the room
// about those that are connected, as far as their neighbours are.
#ifndef PRIMFIT_SRC_ADAPTIVE_SCENE_CONNECTED_REGION_H_
#define PRIMFIT_SRC_ADAPTIVE_SCENE_CONNECTED_REGION_H_

#include <Eigen/Core>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace primfit::adaptive {

/// Points that are linked to the one nearest to a place.
struct Connected {
  std::vector<std::uint8_t> isConnected;  ///< of each point
  std::vector<double> reach;              ///< of each point: the distance of the farthest one it is linked to
  std::size_t count = 0;                  ///< of the connected ones
};

/// @param points  of one shape
Connected ConnectedWith(const Eigen::Vector3d& place, std::span<const Eigen::Vector3d> points);

/// The room about connected points: the cells of a grid.
class ConnectedRegion {
 public:
  ConnectedRegion(std::span<const Eigen::Vector3d> points, const Connected& connected);
  bool Has(const Eigen::Vector3d& p) const;

 private:
  std::size_t CellOf(const Eigen::Vector3d& p) const;

  Eigen::Vector3d low_ = Eigen::Vector3d::Zero();
  double scale_ = 0;  // cells a length
  std::vector<std::uint8_t> isIn_;
};

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_SCENE_CONNECTED_REGION_H_
