// Where points stand in the binary body of a file. The formats store points row by row (PLY, LAS, PCD binary)
// or value by value (PCD binary_compressed), in either order of bytes and in any type. All of that is
// described by columns, each with an offset and a stride. A format only works out its columns; one decoder,
// which knows no format, reads them.
#ifndef PRIMFIT_IO_BINARY_LAYOUT_H_
#define PRIMFIT_IO_BINARY_LAYOUT_H_

#include <array>
#include <bit>
#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

#include "io/point_cloud.h"
#include "io/read_error.h"
#include "io/scalar.h"

namespace primfit::io {

/// Where one value of each point stands, and how it follows from the number there.
struct Column {
  std::size_t offset;  ///< bytes from the begin of the body to the number of the first point
  std::size_t stride;  ///< bytes from one point to the next
  ScalarType type;
  double scale = 1;  ///< the value is scale * number + origin
  double origin = 0;
  unsigned firstBit = 0;  ///< of an integer that shares its bytes with others: the lowest of its bits
  unsigned bits = 0;      ///< how many it has; 0: the number is all of its type

  bool operator==(const Column&) const = default;
};

struct BinaryLayout {
  std::size_t points;
  std::array<Column, 3> coordinates;  ///< x, y, z
  std::vector<Column> attributes;     ///< in the order of the request
  std::endian order;
};

/// A value that every point of a file has, and where it stands; without a column it is no single number.
struct NamedColumn {
  Field field;
  std::optional<Column> column;
};

std::vector<Field> FieldsOf(const std::vector<NamedColumn>& columns);

/// The columns of the attributes that a request names.
/// @throws ReadError for those that the file does not have or that are no numbers
std::vector<Column> ColumnsOf(const Source& source, const std::vector<NamedColumn>& columns,
                              const ReadRequest& request);

/// Decodes the points first, first + 1, ... that a block has room for.
/// @param body  of the file, which must hold all points of the layout
void DecodePoints(const BinaryLayout& layout, std::string_view body, std::size_t first, PointBlock& block);

/// Passes on all points, block by block.
/// @param body  byte of the source at which the points begin
void StreamPoints(const BinaryLayout& layout, const Source& source, std::size_t body, PointSink& sink);

}  // namespace primfit::io

#endif  // PRIMFIT_IO_BINARY_LAYOUT_H_
