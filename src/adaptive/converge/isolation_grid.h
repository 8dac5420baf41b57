// Where the inliers of a shape are many, and where one stands alone.
//
// An unbounded shape passes points far from the part of it that was seen. Chance has put them there, but
// their lever is long: a single one beyond a sixth of a pipe moves its radius by five standard deviations. So
// the space of the inliers is divided into cells, and an inlier around which there are far fewer others than
// around most is not counted, unless the points there are clearly denser on the surface than beside it.
// The exception is what scanners need: their density falls with the square of the range and more, so at the
// far end of a floor there are few points, but hardly any beside the floor.
#ifndef PRIMFIT_SRC_ADAPTIVE_CONVERGE_ISOLATION_GRID_H_
#define PRIMFIT_SRC_ADAPTIVE_CONVERGE_ISOLATION_GRID_H_

#include <Eigen/Core>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace primfit::adaptive {

/// The points of a cloud and how far each is from a shape, whose inliers are those within a bound.
struct PointsNearShape {
  std::span<const Eigen::Vector3d> points{};
  std::span<const double> distances{};
  double bound = 0;
  bool isCurve = false;
};

/// A grid of cells that says around which of them points are far fewer than elsewhere.
class IsolationGrid {
 public:
  /// Too few inliers to tell, or none: nobody is alone.
  /// @param inliers  the points of `near` within its bound
  void Build(std::span<const Eigen::Vector3d> inliers, const PointsNearShape& near);
  void Clear() { isolated_.clear(); }
  /// Whether nobody is alone.
  bool IsEmpty() const { return isolated_.empty(); }
  bool IsIsolated(const Eigen::Vector3d& p) const {
    if (isolated_.empty()) return false;
    const Eigen::Vector3d cell = (p - low_) * scale_;
    return !IsInside(cell) || isolated_[IndexOf(cell)] != 0;
  }

 private:
  bool IsInside(const Eigen::Vector3d& cell) const {
    return (cell.array() >= 0).all() && (cell.array() < size_).all();
  }
  std::size_t IndexOf(const Eigen::Vector3d& cell) const {
    const auto n = static_cast<std::size_t>(size_);
    return (static_cast<std::size_t>(cell.x()) * n + static_cast<std::size_t>(cell.y())) * n +
           static_cast<std::size_t>(cell.z());
  }
  /// @return how many of the points stand alone; none where the points are too few for cells so small
  std::optional<std::size_t> BuildWith(std::size_t size, std::span<const Eigen::Vector3d> points);
  bool SpanBox(std::size_t size, std::span<const Eigen::Vector3d> points);
  void KeepWhatStandsOut(const PointsNearShape& near, std::size_t sparseInliers);

  Eigen::Vector3d low_ = Eigen::Vector3d::Zero();
  double scale_ = 0;
  double size_ = 0;  ///< cells along an edge
  std::vector<std::uint8_t> isolated_;
};

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_CONVERGE_ISOLATION_GRID_H_
