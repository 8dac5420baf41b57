// Which points of a plane lie beyond its outline by chance, and how exactly a corner is known.
//
// A plane has no bounds, so points anywhere near it are inliers. A convex hull goes through the outermost of
// them, so that one stray point moves two sides of the outline. Both questions are answered by how many other
// points lie within a circle about a point.
#ifndef PRIMFIT_SRC_ADAPTIVE_EVIDENCE_OUTLINE_STRAYS_H_
#define PRIMFIT_SRC_ADAPTIVE_EVIDENCE_OUTLINE_STRAYS_H_

#include <Eigen/Core>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace primfit::adaptive {

/// Points of a plane, sorted into the square cells of a grid. A cell has about eight of them where the plane
/// is covered.
class PlaneGrid {
 public:
  /// @param points  outlive the grid
  explicit PlaneGrid(std::span<const Eigen::Vector2d> points);

  double CellSize() const { return size_; }
  /// How many points lie within a circle.
  std::size_t CountWithin(const Eigen::Vector2d& center, double radius) const;
  /// The points that are kept, cell by cell.
  /// @param sparse  how many points in a cell and those around it are enough to keep its points unasked
  /// @param keeps   whether one of the others is kept
  std::vector<Eigen::Vector2d> Filter(std::size_t sparse,
                                      const std::function<bool(const Eigen::Vector2d&)>& keeps) const;

 private:
  std::ptrdiff_t Column(double x) const;
  std::ptrdiff_t Row(double y) const;
  std::size_t CellOf(const Eigen::Vector2d& p) const;
  /// The points of some neighbouring cells of a row stand one after the other.
  std::span<const Eigen::Vector2d> PointsOf(std::ptrdiff_t row, std::ptrdiff_t first,
                                            std::ptrdiff_t last) const;

  Eigen::Vector2d low_;
  double size_ = 0;
  std::ptrdiff_t columns_ = 0, rows_ = 0;
  std::vector<std::uint32_t> starts_;    // of each cell in sorted_, and the end
  std::vector<Eigen::Vector2d> sorted_;  // by cells
};

/// The points without those about which there are less than a tenth of the points that there are about the
/// median one; all where they are too few to tell. The corner of a square has a quarter.
std::vector<Eigen::Vector2d> WithoutStrays(std::span<const Eigen::Vector2d> points, const PlaneGrid& grid);

/// How far the true corner may be from an outline's, as a standard deviation. The points about it fill a
/// sector of some angle w at some density d, so that the nearest of them is at a distance whose mean square
/// is 2 / (w d); as a circle of radius r there holds w r^2 d / 2 points, it is r^2 over their number.
double CornerDeviation(const Eigen::Vector2d& corner, const PlaneGrid& grid);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_EVIDENCE_OUTLINE_STRAYS_H_
