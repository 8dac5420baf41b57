#include "cloud.h"

#include <chrono>

#include "io/read_points.h"

namespace primfit::tool {

bool Region::Contains(const Eigen::Vector3d& p) const {
  if (!ball.empty() && (p - Eigen::Vector3d(ball.data())).norm() > ball[3]) return false;
  return box.empty() || ((p.array() >= Eigen::Array3d(box.data())).all() &&
                         (p.array() <= Eigen::Array3d(box.data() + 3)).all());
}

Cloud LoadCloud(const Input& input, double scale) {
  const auto start = std::chrono::steady_clock::now();
  Cloud cloud;
  cloud.file = io::ReadPoints(input.path);
  std::vector<Eigen::Vector3d>& points = cloud.file.points;
  cloud.total = points.size();
  // In place: a second array would cost more than the reading of a binary file.
  std::size_t used = 0;
  for (const Eigen::Vector3d& p : points) {
    if (p.allFinite() && input.region.Contains(p)) points[used++] = scale * p;
  }
  points.resize(used);
  cloud.outside = cloud.total - cloud.file.nonFinite - used;
  cloud.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  return cloud;
}

}  // namespace primfit::tool
