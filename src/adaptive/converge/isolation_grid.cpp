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

/// Replaces the count of each cell by the sum over it and its 26 neighbours: sums of three along each
/// direction in turn.
void SumUpNeighbours(std::size_t n, int* counts) {
  for (const std::size_t step : {std::size_t{1}, n, n * n}) {
    for (std::size_t line = 0; line < n * n; ++line) {
      int* at = counts + (step == 1 ? line * n : step == n ? line / n * n * n + line % n : line);
      int before = 0;
      for (std::size_t k = 0; k < n; ++k, at += step) {
        const int here = *at;
        *at += before + (k + 1 < n ? at[step] : 0);
        before = here;
      }
    }
  }
}

/// How many points the median point (not the median cell) has around it.
int MedianAround(const int* counts, const int* around, std::size_t cells, std::size_t points) {
  std::vector<std::size_t> occupied;
  for (std::size_t i = 0; i < cells; ++i) {
    if (counts[i] > 0) occupied.push_back(i);
  }
  std::sort(occupied.begin(), occupied.end(), [&](std::size_t a, std::size_t b) {
    return around[a] != around[b] ? around[a] < around[b] : a < b;
  });
  std::size_t passed = 0;
  int median = 0;
  for (const std::size_t cell : occupied) {
    passed += static_cast<std::size_t>(counts[cell]);
    median = around[cell];
    if (2 * passed >= points) break;
  }
  return median;
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
/// @param nats  -ln of the probability that is small enough
bool StandsOut(int on, int beside, double chance, double nats) {
  const double n = on + beside;
  return on > 0 && n * Divergence(on / n, chance) >= nats;
}

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
  SumUpNeighbours(m, beside.data());
  const double share = near.bound / reach, chance = near.isCurve ? share * share : share;
  const double nats = std::log(static_cast<double>(sparse.size()) / kFalseAlarms);
  for (const SparsePoint& p : sparse) {
    const std::size_t cell = CoarseCell(p.cell, n, times);
    if (isolated[p.cell] != 0 && StandsOut(on[cell], beside[cell], chance, nats)) isolated[p.cell] = 0;
  }
}

}  // namespace

void IsolationGrid::Build(std::span<const Vector3d> inliers, const PointsNearShape& near) {
  // A surface has about as many cells as a square; so many that the median one has enough around it.
  for (const std::size_t size : {32U, 16U, 8U}) {
    if (9 * inliers.size() < kPointsToTell * size * size || !BuildWith(size, inliers)) continue;
    KeepWhatStandsOut(near);
    return;
  }
  isolated_.clear();
}

// Where points are few, larger cells tell more. They count only what smaller ones have left isolated: else
// the surface itself would speak for a stray point near its edge.
void IsolationGrid::KeepWhatStandsOut(const PointsNearShape& near) {
  const auto n = static_cast<std::size_t>(size_);
  const double mostReach = std::min(kMostBeside * near.bound, static_cast<double>(n / kFewestCells) / scale_);
  std::vector<SparsePoint> sparse;
  for (std::size_t i = 0; i < near.points.size(); ++i) {
    if (!(near.distances[i] <= mostReach)) continue;
    const Vector3d cell = (near.points[i] - low_) * scale_;
    if (IsInside(cell) && isolated_[IndexOf(cell)] != 0) sparse.push_back({IndexOf(cell), near.distances[i]});
  }
  if (sparse.empty()) return;
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
bool IsolationGrid::BuildWith(std::size_t size, std::span<const Vector3d> points) {
  if (!SpanBox(size, points)) return false;
  const std::size_t cells = size * size * size;
  const Scratch<int> counts(cells), around(cells);
  std::fill_n(counts.data(), cells, 0);
  for (const Vector3d& p : points) ++counts[IndexOf((p - low_) * scale_)];
  std::copy_n(counts.data(), cells, around.data());
  SumUpNeighbours(size, around.data());
  const int median = MedianAround(counts.data(), around.data(), cells, points.size());
  if (median < static_cast<int>(kPointsToTell)) return false;
  isolated_.resize(cells);
  std::transform(around.data(), around.data() + cells, isolated_.begin(), [&](int count) {
    return count < kIsolatedShare * median ? std::uint8_t{1} : std::uint8_t{0};
  });
  return true;
}

}  // namespace primfit::adaptive
