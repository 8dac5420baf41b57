// The nearest neighbours of a place among points.
//
// A k-d tree answers. It is built when the first neighbours are asked for, since many fits ask for none, and
// never again: points that are no longer free are passed over while the tree is searched.
#ifndef PRIMFIT_SRC_ADAPTIVE_SCENE_NEIGHBOURS_H_
#define PRIMFIT_SRC_ADAPTIVE_SCENE_NEIGHBOURS_H_

#include <Eigen/Core>
#include <cstddef>
#include <memory>
#include <span>

#include "adaptive/scene/free_points.h"

namespace primfit::adaptive {

class NeighbourSearch {
 public:
  /// @param points  outlive it and stay where they are
  explicit NeighbourSearch(std::span<const Eigen::Vector3d> points = {});
  NeighbourSearch(NeighbourSearch&&) noexcept;
  NeighbourSearch& operator=(NeighbourSearch&&) noexcept;
  ~NeighbourSearch();

  /// The free points nearest to a place, the nearest first. Builds the tree at the first call.
  /// @param found  receives their indices
  /// @return how many they are; fewer than there is room for where no more are free
  std::size_t Nearest(const Eigen::Vector3d& place, const FreePoints& free,
                      std::span<std::size_t> found) const;
  bool IsBuilt() const { return tree_ != nullptr; }

 private:
  struct Tree;
  std::span<const Eigen::Vector3d> points_;
  mutable std::unique_ptr<const Tree> tree_;
};

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_SCENE_NEIGHBOURS_H_
