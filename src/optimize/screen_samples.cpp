#include "optimize/screen_samples.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <vector>

#include "shapes/kernels/batch.h"

using Eigen::Vector3d;

namespace {

/// Deviations of up to kMost points, a NaN as infinity.
class Deviations {
 public:
  static constexpr int kMost = 512;
  const double* Of(const OutputShape& shape, const Vector3d* points, int n) {
    Fill(shape, points, n, values_);
    return values_;
  }
  static void Fill(const OutputShape& shape, const Vector3d* points, int n, double* values) {
    primfit::Distances(shape, points, n, values);
    std::replace_if(
        values, values + n, [](double d) { return std::isnan(d); }, std::numeric_limits<double>::infinity());
  }

 private:
  double values_[kMost];
};

}  // namespace

namespace primfit {

int KeepBest(int n, const Vector3d* points, const OutputShape& shape,
             std::unique_ptr<const Vector3d*[]>& kept) {
  const int count = static_cast<int>(4LL * n / 5);
  double worst = 0;    // the largest deviation that is kept
  int worstCount = 0;  // how many of that deviation are kept
  {
    const auto all = std::make_unique_for_overwrite<double[]>(static_cast<std::size_t>(n));
    Deviations::Fill(shape, points, n, all.get());
    std::nth_element(all.get(), all.get() + count - 1, all.get() + n);
    worst = all[count - 1];
    worstCount = static_cast<int>(std::count(all.get(), all.get() + count, worst));
  }
  kept = std::make_unique_for_overwrite<const Vector3d*[]>(static_cast<std::size_t>(count) + 1);
  const Vector3d** next = kept.get();
  Deviations deviations;
  for (int begin = 0; begin < n; begin += Deviations::kMost) {
    const int block = std::min(Deviations::kMost, n - begin);
    const double* deviation = deviations.Of(shape, points + begin, block);
    for (int i = 0; i < block; ++i) {
      const bool equal = deviation[i] == worst && worstCount > 0;
      worstCount -= equal ? 1 : 0;
      *next = points + begin + i;  // written also where it is not kept; the place behind the last is spare
      next += deviation[i] < worst || equal ? 1 : 0;
    }
  }
  return count;
}

}  // namespace primfit

int screen_samples(bool screen, int n, const Vector3d* points, const OutputShape* shape,
                   const Vector3d**& kept) {
  if (n <= primfit::kLargestUnscreened || !screen) {
    kept = new const Vector3d*[static_cast<std::size_t>(std::max(n, 0))];
    for (int i = 0; i < n; ++i) kept[i] = points + i;
    return n;
  }
  std::unique_ptr<const Vector3d*[]> best;
  const int count = primfit::KeepBest(n, points, *shape, best);
  struct Deviant {
    double deviation;
    const Vector3d* point;
  };
  std::vector<Deviant> order(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    Deviations::Fill(*shape, best[i], 1, &order[i].deviation);
    order[i].point = best[i];
  }
  // The place breaks ties, so that every library sorts alike.
  std::sort(order.begin(), order.end(), [](const Deviant& a, const Deviant& b) {
    return a.deviation != b.deviation ? a.deviation < b.deviation : a.point < b.point;
  });
  for (int i = 0; i < count; ++i) best[i] = order[i].point;
  kept = best.release();
  return count;
}
