#include "robust/crowd.h"

#include <algorithm>
#include <cstddef>

using Eigen::Vector3d;

namespace primfit::robust {

namespace {

/// A point with fewer others around it than this share of what the median point has is alone; at the corner
/// of a plane there is a quarter.
constexpr double kAlone = 0.12;
/// Points in a cell and its 26 neighbours that are enough to tell.
constexpr int kEnough = 16;

}  // namespace

void Crowd::Build(std::span<const Vector3d> points) {
  for (const int size : {32, 16, 8}) {
    if (BuildWith(size, points)) return;
  }
  alone_.clear();
}

bool Crowd::BuildWith(int size, std::span<const Vector3d> points) {
  size_ = size;
  Vector3d low = points[0], high = low;
  for (const Vector3d& p : points) {
    low = low.cwiseMin(p);
    high = high.cwiseMax(p);
  }
  const double edge = (high - low).maxCoeff() * (1 + 1e-9);
  if (!(edge > 0)) return false;
  low_ = low;
  scale_ = size / edge;
  const auto n = static_cast<std::size_t>(size);
  std::vector<int> counts(n * n * n), around(n * n * n);
  for (const Vector3d& p : points) ++counts[IndexOf((p - low_) * scale_)];
  // Sums of three along each direction in turn are those of 27.
  around = counts;
  for (const std::size_t step : {std::size_t{1}, n, n * n}) {
    const std::vector<int> before = around;
    for (std::size_t i = 0; i < around.size(); ++i) {
      const std::size_t place = i / step % n;
      around[i] += (place > 0 ? before[i - step] : 0) + (place + 1 < n ? before[i + step] : 0);
    }
  }
  std::vector<std::size_t> cells;
  for (std::size_t i = 0; i < counts.size(); ++i) {
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
  if (median < kEnough) return false;
  alone_.resize(around.size());
  std::transform(around.begin(), around.end(), alone_.begin(),
                 [&](int count) { return count < kAlone * median ? std::uint8_t{1} : std::uint8_t{0}; });
  return true;
}

}  // namespace primfit::robust
