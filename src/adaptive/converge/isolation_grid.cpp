#include "adaptive/converge/isolation_grid.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "adaptive/model/divergence.h"
#include "fit/fit_memory.h"

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// A point with fewer others around it than this share of what the median point has is alone; at the corner
/// of a plane there is a quarter.
constexpr double kIsolatedShare = 0.22;
/// Points in a cell and its 26 neighbours that are enough to tell.
constexpr std::size_t kPointsToTell = 16;
/// Points beside a surface are counted up to so many times the bound of its inliers: nearer ones may be its
/// own, and farther away a bent surface has less room on its inner side.
constexpr double kLeastBeside = 2, kMostBeside = 8;
/// The largest cells, of which so many make up an edge of the grid: larger ones would take in all of it.
constexpr std::size_t kFewestCells = 4;
/// How many of all points in sparse places may be taken for a surface by chance.
constexpr double kFalseAlarms = 0.01;

/// Most cells along an edge.
constexpr std::size_t kMostCells = 32;

/// Replaces each row by the sum of itself and the rows before and after it.
/// @param length  of a row; rows are contiguous
void SumUpRows(std::size_t rows, std::size_t length, int* at) {
  int before[kMostCells * kMostCells];
  std::fill_n(before, length, 0);
  for (std::size_t row = 0; row < rows; ++row, at += length) {
    const int* const next = at + length;
    const bool isLast = row + 1 == rows;
    for (std::size_t k = 0; k < length; ++k) {
      const int here = at[k];
      at[k] = here + before[k] + (isLast ? 0 : next[k]);
      before[k] = here;
    }
  }
}

/// Replaces the count of each cell by the sum over it and its 26 neighbours: sums of three along each
/// direction in turn. Rows are added to rows, since the compiler does this for several cells at once; along
/// the rows a padded copy of each serves.
void SumUpNeighbours(std::size_t n, int* counts) {
  SumUpRows(n, n * n, counts);
  for (std::size_t plane = 0; plane < n; ++plane) SumUpRows(n, n, counts + plane * n * n);
  int padded[kMostCells + 2] = {};
  for (int* row = counts; row != counts + n * n * n; row += n) {
    std::copy_n(row, n, padded + 1);
    padded[n + 1] = 0;
    for (std::size_t k = 0; k < n; ++k) row[k] = padded[k] + padded[k + 1] + padded[k + 2];
  }
}

/// How many points the median point (not the median cell) has around it.
int MedianAround(const int* counts, const int* around, std::size_t cells, std::size_t points) {
  std::vector<std::size_t> pointsWith(static_cast<std::size_t>(*std::max_element(around, around + cells)) +
                                      1);
  for (std::size_t i = 0; i < cells; ++i)
    pointsWith[static_cast<std::size_t>(around[i])] += static_cast<std::size_t>(counts[i]);
  std::size_t median = 0, passed = pointsWith[0];
  while (2 * passed < points) passed += pointsWith[++median];
  return static_cast<int>(median);
}

/// A point in a sparse place: its cell, and how far from the shape it is.
struct SparsePoint {
  std::size_t cell;
  double distance;
};

/// The cell of a grid of n cells along an edge in one whose cells are `times` as large.
std::size_t CoarseCell(std::size_t cell, std::size_t n, std::size_t times) {
  const std::size_t m = n / times;
  return (cell / (n * n) / times * m + cell / n % n / times) * m + cell % n / times;
}

/// Whether of `on + beside` points so many on the surface are no chance: were points anywhere, each would be
/// on it with the chance of the inlier band's share of the room that is looked at. See divergence.h.
struct ChanceTest {
  /// @param reach  how far from the shape points are looked at
  /// @param tests  how many times this is asked
  ChanceTest(const PointsNearShape& near, double reach, std::size_t tests)
      : chance(std::pow(near.bound / reach, near.isCurve ? 2 : 1)),
        natsOfPoint(-std::log(chance)),
        nats(std::log(static_cast<double>(tests) / kFalseAlarms)) {}

  /// Whether so many could stand out if there were none beside them.
  bool AreEnough(double on) const { return on * natsOfPoint >= nats; }
  bool StandsOut(double on, double beside) const {
    return AreEnough(on) && (on + beside) * Divergence(on / (on + beside), chance) >= nats;
  }

  double chance, natsOfPoint;
  double nats;  // -ln of the probability that is small enough
};

/// Takes the cells off the isolated ones around which the surface stands out, at one size of cells.
/// @param n      cells along an edge of the grid of `isolated`
/// @param times  how much larger the cells are by which this is told
/// @param reach  how far from the shape points are counted; no farther than the edge of such a cell
void KeepCells(std::size_t n, std::size_t times, double reach, const std::vector<SparsePoint>& sparse,
               const PointsNearShape& near, std::vector<std::uint8_t>& isolated) {
  const std::size_t m = n / times, cells = m * m * m;
  const Scratch<int> on(cells), beside(cells);
  std::fill_n(on.data(), cells, 0);
  std::fill_n(beside.data(), cells, 0);
  for (const SparsePoint& p : sparse) {
    if (isolated[p.cell] == 0 || p.distance > reach) continue;
    ++(p.distance <= near.bound ? on : beside)[CoarseCell(p.cell, n, times)];
  }
  SumUpNeighbours(m, on.data());
  const ChanceTest test(near, reach, sparse.size());
  if (!test.AreEnough(*std::max_element(on.data(), on.data() + cells))) return;
  SumUpNeighbours(m, beside.data());
  for (const SparsePoint& p : sparse) {
    const std::size_t cell = CoarseCell(p.cell, n, times);
    if (isolated[p.cell] != 0 && test.StandsOut(on[cell], beside[cell])) isolated[p.cell] = 0;
  }
}

}  // namespace

void IsolationGrid::Build(std::span<const Vector3d> inliers, const PointsNearShape& near) {
  // A surface has about as many cells as a square; so many that the median one has enough around it.
  for (const std::size_t size : {32U, 16U, 8U}) {
    if (9 * inliers.size() < kPointsToTell * size * size) continue;
    const auto sparse = BuildWith(size, inliers);
    if (!sparse) continue;
    KeepWhatStandsOut(near, *sparse);
    return;
  }
  isolated_.clear();
}

// Where points are few, larger cells tell more. They count only what smaller ones have left isolated: else
// the surface itself would speak for a stray point near its edge. Mostly there are so few inliers in sparse
// places that none of these could stand out, and then no point is looked at.
void IsolationGrid::KeepWhatStandsOut(const PointsNearShape& near, std::size_t sparseInliers) {
  const auto n = static_cast<std::size_t>(size_);
  const double mostReach = std::min(kMostBeside * near.bound, static_cast<double>(n / kFewestCells) / scale_);
  if (!ChanceTest(near, mostReach, sparseInliers).AreEnough(static_cast<double>(sparseInliers))) return;
  std::vector<SparsePoint> sparse;
  for (std::size_t i = 0; i < near.points.size(); ++i) {
    if (!(near.distances[i] <= mostReach)) continue;
    const Vector3d cell = (near.points[i] - low_) * scale_;
    if (IsInside(cell) && isolated_[IndexOf(cell)] != 0) sparse.push_back({IndexOf(cell), near.distances[i]});
  }
  for (std::size_t times = 1; n / times >= kFewestCells; times *= 2) {
    const double reach = std::min(static_cast<double>(times) / scale_, mostReach);
    if (reach >= kLeastBeside * near.bound) KeepCells(n, times, reach, sparse, near, isolated_);
  }
}

// Cells are cubes, so that neighbours are as near in each direction; the longest edge of the box sets their
// size.
bool IsolationGrid::SpanBox(std::size_t size, std::span<const Vector3d> points) {
  Vector3d low = points[0], high = low;
  for (const Vector3d& p : points) {
    low = low.cwiseMin(p);
    high = high.cwiseMax(p);
  }
  const double edge = (high - low).maxCoeff() * (1 + 1e-9);
  size_ = static_cast<double>(size);
  low_ = low;
  scale_ = size_ / edge;
  return edge > 0;
}

// A point has its cell and the 26 around it for a neighbourhood: a cell alone would make points near its wall
// look lonelier than they are.
std::optional<std::size_t> IsolationGrid::BuildWith(std::size_t size, std::span<const Vector3d> points) {
  if (!SpanBox(size, points)) return std::nullopt;
  const std::size_t cells = size * size * size;
  const Scratch<int> counts(cells), around(cells);
  std::fill_n(counts.data(), cells, 0);
  for (const Vector3d& p : points) ++counts[IndexOf((p - low_) * scale_)];
  std::copy_n(counts.data(), cells, around.data());
  SumUpNeighbours(size, around.data());
  const int median = MedianAround(counts.data(), around.data(), cells, points.size());
  if (median < static_cast<int>(kPointsToTell)) return std::nullopt;
  isolated_.resize(cells);
  std::size_t alone = 0;
  for (std::size_t i = 0; i < cells; ++i) {
    const bool isIsolated = around[i] < kIsolatedShare * median;
    isolated_[i] = std::uint8_t{isIsolated};
    alone += isIsolated ? static_cast<std::size_t>(counts[i]) : 0;
  }
  return alone;
}

}  // namespace primfit::adaptive
