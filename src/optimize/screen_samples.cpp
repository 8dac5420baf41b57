#include "optimize/screen_samples.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

#include "shapes/kernels/batch.h"

using Eigen::Vector3d;

namespace {

constexpr int kBlock = 512;  // points whose deviations are taken in one call

/// The signed deviations of up to kBlock points from the shape. A NaN becomes infinity: it has no order, and
/// such a point is to go first.
void Deviations(const OutputShape& shape, const primfit::PointRefs& points, int begin, int n,
                double* values) {
  if (points.rows != nullptr && points.plane == nullptr) {
    primfit::Distances(shape, points.rows + begin, n, values);
  } else {
    std::array<Vector3d, kBlock> block;
    for (int i = 0; i < n; ++i) block[i] = points[begin + i];
    primfit::Distances(shape, block.data(), n, values);
  }
  std::replace_if(
      values, values + n, [](double d) { return std::isnan(d); }, std::numeric_limits<double>::infinity());
}

}  // namespace

namespace primfit {

int KeepBest(const PointRefs& points, const OutputShape& shape, Scratch<const Vector3d*>& kept) {
  const int n = points.count;
  const int count = static_cast<int>(4LL * n / 5);
  double worst = 0;    // the largest deviation that is kept
  int worstCount = 0;  // how many of that deviation are kept
  {
    const Scratch<double> all(static_cast<std::size_t>(n));
    for (int begin = 0, block = 0; begin < n; begin += block) {
      block = std::min(kBlock, n - begin);
      Deviations(shape, points, begin, block, all.data() + begin);
    }
    std::nth_element(all.data(), all.data() + count - 1, all.data() + n);
    worst = all.data()[count - 1];
    worstCount = static_cast<int>(std::count(all.data(), all.data() + count, worst));
  }
  kept = Scratch<const Vector3d*>(static_cast<std::size_t>(count) + 1);
  const Vector3d** next = kept.data();
  double deviation[kBlock];
  for (int begin = 0, block = 0; begin < n; begin += block) {
    block = std::min(kBlock, n - begin);
    Deviations(shape, points, begin, block, deviation);
    for (int i = 0; i < block; ++i) {
      const bool equal = deviation[i] == worst && worstCount > 0;
      worstCount -= equal ? 1 : 0;
      *next = &points.InSpace(begin + i);  // without a branch: overwritten by the next point where not kept
      next += deviation[i] < worst || equal ? 1 : 0;
    }
  }
  return count;
}

ScreenedPoints::ScreenedPoints(bool screen, const PointRefs& points, const OutputShape& shape)
    : used_(points) {
  if (!screen || points.count <= kLargestUnscreened) return;
  const int count = KeepBest(points, shape, kept_);
  used_ = {count, nullptr, kept_.data(), points.plane};
}

}  // namespace primfit

int screen_samples(bool screen, int n, const Vector3d* points, const OutputShape* shape,
                   const Vector3d**& kept) {
  if (n <= primfit::kLargestUnscreened || !screen) {
    kept = new const Vector3d*[static_cast<std::size_t>(std::max(n, 0))];
    for (int i = 0; i < n; ++i) kept[i] = points + i;
    return n;
  }
  primfit::Scratch<const Vector3d*> best;
  const int count = primfit::KeepBest({n, points}, *shape, best);
  struct Deviant {
    double deviation;
    const Vector3d* point;
  };
  std::vector<Deviant> order(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    order[i].point = best.data()[i];
    Deviations(*shape, {1, order[i].point}, 0, 1, &order[i].deviation);
  }
  // Equal deviations are ordered by address, so that every implementation of sort gives the same order.
  std::sort(order.begin(), order.end(), [](const Deviant& a, const Deviant& b) {
    return a.deviation != b.deviation ? a.deviation < b.deviation : a.point < b.point;
  });
  kept = new const Vector3d*[order.size()];
  std::transform(order.begin(), order.end(), kept, [](const Deviant& d) { return d.point; });
  return count;
}
