#include "adaptive/converge/isolation_grid.h"

#include <algorithm>
#include <cstddef>

#include "fit/fit_memory.h"

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// A point with fewer others around it than this share of what the median point has is alone; at the corner
/// of a plane there is a quarter.
constexpr double kIsolatedShare = 0.22;
/// Points in a cell and its 26 neighbours that are enough to tell.
constexpr std::size_t kPointsToTell = 16;

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

}  // namespace

void IsolationGrid::Build(std::span<const Vector3d> points) {
  // A surface has about as many cells as a square; so many that the median one has enough around it.
  for (const std::size_t size : {32U, 16U, 8U}) {
    if (9 * points.size() >= kPointsToTell * size * size && BuildWith(size, points)) return;
  }
  isolated_.clear();
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
