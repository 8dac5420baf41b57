// What a file holds, without keeping its points: their box, and how finely their coordinates are given.
#ifndef PRIMFIT_IO_SUMMARY_H_
#define PRIMFIT_IO_SUMMARY_H_

#include <Eigen/Core>
#include <cmath>
#include <cstddef>
#include <string>
#include <vector>

#include "io/point_cloud.h"
#include "io/selection.h"

namespace primfit::io {

/// The step by which the values of a coordinate were rounded; 0 where none shows. It is the coarsest of
/// three: the step of 32-bit numbers at the largest value where all values are such numbers; a power of ten
/// (to the sixth decimal) of which all values are multiples; and the gap between levels that most values
/// share with others, such as the depths of a camera.
double CoordinateStep(std::vector<double> values);

/// The points of a file that count, summed up.
struct Summary : SelectionCounts {
  FileHead head;
  std::size_t used = 0;  ///< points that count
  Eigen::Vector3d low = Eigen::Vector3d::Constant(HUGE_VAL);
  Eigen::Vector3d high = Eigen::Vector3d::Constant(-HUGE_VAL);
  Eigen::Vector3d step = Eigen::Vector3d::Zero();  ///< of each coordinate, see CoordinateStep
  double seconds = 0;                              ///< that reading took
};

/// Reads a file and sums up the points that count. Steps are told from a quarter of a million of them.
/// @param path  "-" reads standard input
/// @throws ReadError
Summary ReadSummary(const Readers& readers, const std::string& path, const Filter& filter,
                    const ReadRequest& request = {});

}  // namespace primfit::io

#endif  // PRIMFIT_IO_SUMMARY_H_
