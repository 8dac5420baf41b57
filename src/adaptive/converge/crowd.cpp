#include "adaptive/converge/crowd.h"

#include <algorithm>
#include <cstddef>

#include "fit/fit_memory.h"

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// A point with fewer others around it than this share of what the median point has is alone; at the corner
/// of a plane there is a quarter.
constexpr double kAlone = 0.22;
/// Points in a cell and its 26 neighbours that are enough to tell.
constexpr std::size_t kEnough = 16;

}  // namespace

void Crowd::Build(std::span<const Vector3d> points) {
  // A surface has about as many cells as a square; so many that the median one has enough around it.
  for (const std::size_t size : {32U, 16U, 8U}) {
    if (9 * points.size() >= kEnough * size * size && BuildWith(size, points)) return;
  }
  alone_.clear();
}

bool Crowd::BuildWith(std::size_t size, std::span<const Vector3d> points) {
  size_ = static_cast<double>(size);
  Vector3d low = points[0], high = low;
  for (const Vector3d& p : points) {
    low = low.cwiseMin(p);
    high = high.cwiseMax(p);
  }
  const double edge = (high - low).maxCoeff() * (1 + 1e-9);
  if (!(edge > 0)) return false;
  low_ = low;
  scale_ = size_ / edge;
  const std::size_t n = size;
  const std::size_t cellCount = n * n * n;
  const Scratch<int> counts(cellCount), around(cellCount);
  std::fill_n(counts.data(), cellCount, 0);
  for (const Vector3d& p : points) ++counts[IndexOf((p - low_) * scale_)];
  // Sums of three along each direction in turn are those of 27.
  std::copy_n(counts.data(), cellCount, around.data());
  for (const std::size_t step : {std::size_t{1}, n, n * n}) {
    for (std::size_t line = 0; line < n * n; ++line) {
      int* at = around.data() + (step == 1 ? line * n : step == n ? line / n * n * n + line % n : line);
      int before = 0;
      for (std::size_t k = 0; k < n; ++k, at += step) {
        const int here = *at;
        *at += before + (k + 1 < n ? at[step] : 0);
        before = here;
      }
    }
  }
  std::vector<std::size_t> cells;
  for (std::size_t i = 0; i < cellCount; ++i) {
    if (counts[i] > 0) cells.push_back(i);
  }
  std::sort(cells.begin(), cells.end(), [&](std::size_t a, std::size_t b) {
    return around[a] != around[b] ? around[a] < around[b] : a < b;
  });
  std::size_t passed = 0;
  int median = 0;
  for (const std::size_t cell : cells) {  // of the points, not of the cells
    passed += static_cast<std::size_t>(counts[cell]);
    median = around[cell];
    if (2 * passed >= points.size()) break;
  }
  if (median < static_cast<int>(kEnough)) return false;
  alone_.resize(cellCount);
  std::transform(around.data(), around.data() + cellCount, alone_.begin(),
                 [&](int count) { return count < kAlone * median ? std::uint8_t{1} : std::uint8_t{0}; });
  return true;
}

}  // namespace primfit::adaptive
