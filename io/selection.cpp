// The selection is made after reading, and in place: the points that count move to the front of their array.
#include "io/selection.h"

#include <chrono>

#include "io/read_points.h"

namespace primfit::io {

bool Region::InBall(const Eigen::Vector3d& p) const {
  return ball.empty() || (p - Eigen::Vector3d(ball.data())).norm() <= ball[3];
}

bool Region::InBox(const Eigen::Vector3d& p) const {
  return box.empty() || ((p.array() >= Eigen::Array3d(box.data())).all() &&
                         (p.array() <= Eigen::Array3d(box.data() + 3)).all());
}

Selection ReadSelection(const Readers& readers, const std::string& path, const Region& region) {
  const auto start = std::chrono::steady_clock::now();
  Selection cloud;
  cloud.file = ReadPoints(readers, path);
  std::vector<Eigen::Vector3d>& points = cloud.file.points;
  cloud.total = points.size();
  // In place: a second array would cost more than the reading of a binary file.
  std::size_t used = 0;
  for (const Eigen::Vector3d& p : points) {
    if (!p.allFinite()) continue;
    const bool inBall = region.InBall(p), inBox = region.InBox(p);
    cloud.inBall += inBall ? 1 : 0;
    cloud.inBox += inBox ? 1 : 0;
    if (inBall && inBox) points[used++] = p;
  }
  points.resize(used);
  cloud.outside = cloud.total - cloud.file.nonFinite - used;
  cloud.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  return cloud;
}

}  // namespace primfit::io
