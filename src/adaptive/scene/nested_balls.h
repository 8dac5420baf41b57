// The points of a cloud about a place, in balls that hold twice as many points from one to the next.
//
// What surrounds a place is known without a size: the nearest 32 points, the nearest 64 and so on. A small
// face of a part fills the small balls, a wall the large ones, so a search that looks at one ball after the
// other meets each shape in a ball in which it has most of the points.
#ifndef PRIMFIT_SRC_ADAPTIVE_SCENE_NESTED_BALLS_H_
#define PRIMFIT_SRC_ADAPTIVE_SCENE_NESTED_BALLS_H_

#include <Eigen/Core>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace primfit::adaptive {

class NestedBalls {
 public:
  /// @param points  at least one
  NestedBalls(std::span<const Eigen::Vector3d> points, const Eigen::Vector3d& place);

  /// The last ball holds all points.
  std::size_t Count() const { return sizes_.size(); }
  /// The indices of the points in a ball, in no order that means anything.
  std::span<const std::uint32_t> Indices(std::size_t ball) const { return {order_.data(), sizes_[ball]}; }
  /// Distance of its farthest point from the place.
  double Radius(std::size_t ball) const { return radii_[ball]; }

 private:
  std::vector<std::uint32_t> order_;
  std::vector<std::size_t> sizes_;
  std::vector<double> radii_;
};

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_SCENE_NESTED_BALLS_H_
