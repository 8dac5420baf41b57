#ifndef PRIMFIT_IO_POINT_CLOUD_H_
#define PRIMFIT_IO_POINT_CLOUD_H_

#include <Eigen/Core>
#include <cstddef>
#include <string>
#include <vector>

namespace primfit::io {

/// A value that every point of a file has.
struct Field {
  std::string name;  ///< as the file has it; empty where it has none
  std::string type;  ///< such as "float32"; empty in text clouds, which name no types
};

/// The points of a file, in its order, unit and frame.
struct PointCloud {
  std::vector<Eigen::Vector3d> points;  ///< points without measurement (NaN, infinite) included
  std::size_t nonFinite = 0;            ///< how many of the points have a coordinate that is not finite
  std::string format;                   ///< such as "PLY binary_little_endian"
  std::vector<Field> fields;            ///< what the file says of each point, coordinates included
  std::size_t bytes = 0;                ///< size of the file
};

}  // namespace primfit::io

#endif  // PRIMFIT_IO_POINT_CLOUD_H_
