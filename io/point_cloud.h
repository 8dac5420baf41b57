// The result of reading, as plain data, so that the program, its report and the tests can use clouds that
// come from no file. Points are doubles, whatever type the file has, because all that comes after reading
// works with doubles.
#ifndef PRIMFIT_IO_POINT_CLOUD_H_
#define PRIMFIT_IO_POINT_CLOUD_H_

#include <Eigen/Core>
#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace primfit::io {

/// A value that every point of a file has.
struct Field {
  std::string name;  ///< as the file has it; empty where it has none
  std::string type;  ///< such as "float32"; empty in text clouds, which name no types
};

/// What a file says of its coordinates; nothing of it changes them.
struct CoordinateReference {
  /// Metres in the file's unit of length, horizontally and vertically; 0 where it says nothing.
  double horizontalMetres = 0;
  double verticalMetres = 0;
  std::string system;  ///< name of the coordinate system, or its code such as "EPSG:25832"; empty for none
};

/// The points of a file, in its order, unit and frame.
struct PointCloud {
  std::vector<Eigen::Vector3d> points;  ///< points without measurement (NaN, infinite) included
  std::size_t nonFinite = 0;            ///< how many of the points have a coordinate that is not finite
  std::string format;                   ///< such as "PLY binary_little_endian"
  std::vector<Field> fields;            ///< what the file says of each point, coordinates included
  std::size_t bytes = 0;                ///< size of the file
  std::string xxh128;                   ///< checksum of its bytes; see checksum.h
  CoordinateReference reference;
};

/// The names by which headers call the coordinates.
inline constexpr std::array<std::string_view, 3> kAxisNames = {"x", "y", "z"};

/// Makes room for n more points. The memory asks for huge pages: mapping a large cloud page by page takes
/// longer than filling it.
void Reserve(PointCloud& cloud, std::size_t n);

/// Appends one point.
inline void AppendPoint(const Eigen::Vector3d& p, PointCloud& cloud) {
  cloud.points.push_back(p);
  if (!p.allFinite()) ++cloud.nonFinite;
}

}  // namespace primfit::io

#endif  // PRIMFIT_IO_POINT_CLOUD_H_
