#include "adaptive/evidence/outline_strays.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>

using Eigen::Vector2d;

namespace primfit::adaptive {

namespace {

constexpr double kPerCell = 8;
constexpr double kStrayShare = 0.1;
/// Fewer points than these are too few to tell.
constexpr std::size_t kLeastPoints = 64;
/// Radii of the circles, in cells. The first holds about 60 points where the plane is covered, so that a
/// tenth of them is still some; the second tells the density at a corner to a tenth.
constexpr double kStrayRadius = 1.5, kCornerRadius = 3;
/// Points whose circles tell the median.
constexpr std::size_t kForMedian = 256;
constexpr std::ptrdiff_t kMostCells = 4096;  // along a side

}  // namespace

PlaneGrid::PlaneGrid(std::span<const Vector2d> points) : low_(points[0]) {
  Vector2d high = low_;
  for (const Vector2d& p : points) low_ = low_.cwiseMin(p), high = high.cwiseMax(p);
  const Vector2d sides = high - low_;
  const double cells = std::max(1.0, static_cast<double>(points.size()) / kPerCell);
  size_ = std::max(std::sqrt(sides.prod() / cells), sides.maxCoeff() / static_cast<double>(kMostCells));
  if (!(size_ > 0)) size_ = 1;  // all points at one place
  columns_ = static_cast<std::ptrdiff_t>(sides.x() / size_) + 1;
  rows_ = static_cast<std::ptrdiff_t>(sides.y() / size_) + 1;
  starts_.assign(static_cast<std::size_t>(columns_ * rows_) + 1, 0);
  for (const Vector2d& p : points) ++starts_[CellOf(p) + 1];
  for (std::size_t i = 1; i < starts_.size(); ++i) starts_[i] += starts_[i - 1];
  std::vector<std::uint32_t> next(starts_.begin(), starts_.end() - 1);
  sorted_.resize(points.size());
  for (const Vector2d& p : points) sorted_[next[CellOf(p)]++] = p;
}

std::ptrdiff_t PlaneGrid::Column(double x) const {
  return std::clamp(static_cast<std::ptrdiff_t>((x - low_.x()) / size_), std::ptrdiff_t{0}, columns_ - 1);
}
std::ptrdiff_t PlaneGrid::Row(double y) const {
  return std::clamp(static_cast<std::ptrdiff_t>((y - low_.y()) / size_), std::ptrdiff_t{0}, rows_ - 1);
}
std::size_t PlaneGrid::CellOf(const Vector2d& p) const {
  return static_cast<std::size_t>(Row(p.y()) * columns_ + Column(p.x()));
}

std::span<const Vector2d> PlaneGrid::PointsOf(std::ptrdiff_t row, std::ptrdiff_t first,
                                              std::ptrdiff_t last) const {
  const std::size_t begin = starts_[static_cast<std::size_t>(row * columns_ + first)];
  const std::size_t end = starts_[static_cast<std::size_t>(row * columns_ + last) + 1];
  return {sorted_.data() + begin, end - begin};
}

std::size_t PlaneGrid::CountWithin(const Vector2d& center, double radius) const {
  std::size_t count = 0;
  const std::ptrdiff_t first = Column(center.x() - radius), last = Column(center.x() + radius);
  for (std::ptrdiff_t row = Row(center.y() - radius); row <= Row(center.y() + radius); ++row) {
    for (const Vector2d& p : PointsOf(row, first, last))
      count += (p - center).squaredNorm() <= radius * radius ? 1 : 0;
  }
  return count;
}

// A cell is sparse where it and those around it hold so few.
std::vector<Vector2d> PlaneGrid::Filter(std::size_t sparse,
                                        const std::function<bool(const Vector2d&)>& keeps) const {
  std::vector<Vector2d> kept;
  kept.reserve(sorted_.size());
  for (std::ptrdiff_t row = 0; row < rows_; ++row) {
    for (std::ptrdiff_t column = 0; column < columns_; ++column) {
      const auto points = PointsOf(row, column, column);
      if (points.empty()) continue;
      const std::ptrdiff_t first = std::max<std::ptrdiff_t>(column - 1, 0),
                           last = std::min(column + 1, columns_ - 1);
      std::size_t around = 0;
      for (std::ptrdiff_t r = std::max<std::ptrdiff_t>(row - 1, 0); r <= std::min(row + 1, rows_ - 1); ++r)
        around += PointsOf(r, first, last).size();
      for (const Vector2d& p : points) {
        if (around >= sparse || keeps(p)) kept.push_back(p);
      }
    }
  }
  return kept;
}

// A circle lies nearly within the cells around that of its middle, which are four times as large as it would
// have to be, so that points in the others need not be looked at.
std::vector<Vector2d> WithoutStrays(std::span<const Vector2d> points, const PlaneGrid& grid) {
  if (points.size() < kLeastPoints) return {points.begin(), points.end()};
  const double radius = kStrayRadius * grid.CellSize();
  const std::size_t step = points.size() / kForMedian + 1;
  std::vector<std::size_t> counts;
  for (std::size_t i = 0; i < points.size(); i += step) counts.push_back(grid.CountWithin(points[i], radius));
  const auto middle = counts.begin() + static_cast<std::ptrdiff_t>(counts.size() / 2);
  std::nth_element(counts.begin(), middle, counts.end());
  const auto few = static_cast<std::size_t>(std::ceil(kStrayShare * static_cast<double>(*middle)));
  return grid.Filter(4 * few, [&](const Vector2d& p) { return grid.CountWithin(p, radius) >= few; });
}

double CornerDeviation(const Vector2d& corner, const PlaneGrid& grid) {
  const double radius = kCornerRadius * grid.CellSize();
  const std::size_t others = grid.CountWithin(corner, radius) - 1;
  if (others == 0) return std::numeric_limits<double>::infinity();
  return radius / std::sqrt(static_cast<double>(others));
}

}  // namespace primfit::adaptive
