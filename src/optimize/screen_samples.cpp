#include "optimize/screen_samples.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <vector>

#include "shapes/kernels/batch.h"

namespace {

struct index_devi {
  int index;
  double deviation;
};

std::vector<index_devi> SortedDeviations(int n, const Eigen::Vector3d* points, const OutputShape& shape) {
  std::vector<double> deviations(static_cast<std::size_t>(n));
  primfit::Distances(shape, points, n, deviations.data());
  std::vector<index_devi> records(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i) {
    const double d = deviations[i];
    records[i] = {i, std::isnan(d) ? std::numeric_limits<double>::infinity() : d};
  }
  // The index breaks ties, so that every library sorts alike.
  std::sort(records.begin(), records.end(), [](const index_devi& a, const index_devi& b) {
    return a.deviation != b.deviation ? a.deviation < b.deviation : a.index < b.index;
  });
  return records;
}

}  // namespace

int screen_samples(bool screen, int n, const Eigen::Vector3d* points, const OutputShape* shape,
                   const Eigen::Vector3d**& kept) {
  if (n <= kLargestUnscreened || !screen) {
    kept = new const Eigen::Vector3d*[static_cast<std::size_t>(std::max(n, 0))];
    for (int i = 0; i < n; ++i) kept[i] = points + i;
    return n;
  }
  const std::vector<index_devi> records = SortedDeviations(n, points, *shape);
  const int count = static_cast<int>(4LL * n / 5);
  kept = new const Eigen::Vector3d*[static_cast<std::size_t>(count)];
  for (int j = 0; j < count; ++j) kept[j] = points + records[j].index;
  return count;
}
