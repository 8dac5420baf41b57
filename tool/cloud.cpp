#include "cloud.h"

#include <chrono>

#include "io/read_points.h"

namespace primfit::tool {

bool Region::Contains(const Eigen::Vector3d& p) const {
  if (ball) {
    const auto& [x, y, z, r] = *ball;
    if ((p - Eigen::Vector3d(x, y, z)).norm() > r) return false;
  }
  if (!box) return true;
  const auto& b = *box;
  return b[0] <= p.x() && p.x() <= b[3] && b[1] <= p.y() && p.y() <= b[4] && b[2] <= p.z() && p.z() <= b[5];
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
