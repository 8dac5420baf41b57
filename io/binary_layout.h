// Where points stand in the binary body of a file. The formats store points row by row (PLY, PCD binary) or
// coordinate by coordinate (PCD binary_compressed), in either order of bytes and in any type. All of that is
// described by three columns, each with an offset and a stride. A format only works out its columns; one
// decoder, which knows no format, reads them.
#ifndef PRIMFIT_IO_BINARY_LAYOUT_H_
#define PRIMFIT_IO_BINARY_LAYOUT_H_

#include <Eigen/Core>
#include <array>
#include <bit>
#include <cstddef>
#include <string_view>

#include "io/point_cloud.h"
#include "io/scalar.h"

namespace primfit::io {

/// Where one value of each point stands.
struct Column {
  std::size_t offset;  ///< bytes from the begin of the body to the value of the first point
  std::size_t stride;  ///< bytes from one point to the next
  ScalarType type;

  bool operator==(const Column&) const = default;
};

struct BinaryLayout {
  std::size_t points;
  std::array<Column, 3> coordinates;  ///< x, y, z
  std::endian order;
  /// A coordinate is scale * number + offset; the format's numbers are integers then.
  std::array<double, 3> scale = {1, 1, 1};
  std::array<double, 3> offset = {0, 0, 0};
};

/// Decodes the points first, first + 1, ..., first + n - 1.
/// @param body  of the file, which must hold all points of the layout
/// @param out   room for n points
void DecodePoints(const BinaryLayout& layout, std::string_view body, std::size_t first, std::size_t n,
                  Eigen::Vector3d* out);

/// Appends all points, and counts those that are not finite.
/// @param body  as above
void AppendPoints(const BinaryLayout& layout, std::string_view body, PointCloud& cloud);

}  // namespace primfit::io

#endif  // PRIMFIT_IO_BINARY_LAYOUT_H_
