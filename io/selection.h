// The points of a file that count: those that are finite and in the part of space that the user asked for.
// What is left out is counted by its reason, because a region without points is usually a mistake in one of
// its two parts, and the user has to see in which.
#ifndef PRIMFIT_IO_SELECTION_H_
#define PRIMFIT_IO_SELECTION_H_

#include <Eigen/Core>
#include <cstddef>
#include <string>
#include <vector>

#include "io/point_cloud.h"
#include "io/readers.h"

namespace primfit::io {

/// The part of space that counts, in the unit of the file. Both kinds given mean what lies in both.
struct Region {
  std::vector<double> ball;  ///< x, y, z, radius; empty for none
  std::vector<double> box;   ///< smallest x, y, z, largest x, y, z; empty for none
  bool Everywhere() const { return ball.empty() && box.empty(); }
  bool InBall(const Eigen::Vector3d& p) const;  ///< true where there is none
  bool InBox(const Eigen::Vector3d& p) const;   ///< true where there is none
};

/// A file's points that are finite and in the region, in the order of the file.
struct Selection {
  PointCloud file;          ///< its points are the ones that count; nonFinite is that of the file
  std::size_t total = 0;    ///< points of the file
  std::size_t outside = 0;  ///< finite points that are not in the region
  std::size_t inBall = 0;   ///< finite points in the region's ball alone
  std::size_t inBox = 0;    ///< finite points in the region's box alone
  double seconds = 0;       ///< that reading took

  std::size_t Used() const { return file.points.size(); }
};

/// Reads and selects the points.
/// @param path  "-" reads standard input
/// @throws ReadError
Selection ReadSelection(const Readers& readers, const std::string& path, const Region& region);

}  // namespace primfit::io

#endif  // PRIMFIT_IO_SELECTION_H_
