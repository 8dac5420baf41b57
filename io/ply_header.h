// The header of PLY (Turk 1994, Stanford triangle format) as plain data. It says of which elements the file
// consists, in which order, how many rows each has and which properties a row has. Elements before the points
// have to be skipped, so all of them are kept.
#ifndef PRIMFIT_IO_PLY_HEADER_H_
#define PRIMFIT_IO_PLY_HEADER_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "io/point_cloud.h"
#include "io/read_error.h"
#include "io/rows.h"
#include "io/scalar.h"

namespace primfit::io {

struct PlyProperty {
  std::string name;
  ScalarType type;                       ///< of a list: of what it holds
  std::optional<ScalarType> lengthType;  ///< of the length that a list begins with; none: a single number

  bool IsList() const { return lengthType.has_value(); }
  /// Bytes of the number; of a list, those of its length.
  std::size_t SmallestSize() const { return SizeOf(lengthType.value_or(type)); }
};

struct PlyElement {
  std::string name;
  std::uint64_t rows;
  std::vector<PlyProperty> properties;

  bool HasList() const;
  /// Bytes of a row; with lists, of one whose lists are empty.
  std::size_t SmallestRow() const;
};

struct PlyHeader {
  std::string encoding;  ///< ascii, binary_little_endian or binary_big_endian
  std::vector<PlyElement> elements;
  TextPlace end;  ///< where the body begins
};

/// @throws ReadError when a line is no entry of a header, or when its end or its "format" line is missing
PlyHeader ParsePlyHeader(const Source& source);

/// The points among what a header describes.
struct PlyVertices {
  std::size_t element;                       ///< index of the element "vertex"
  std::array<std::size_t, 3> coordinates{};  ///< indices of its properties x, y and z
};

/// @throws ReadError when there is no such element, or a coordinate is missing or a list
PlyVertices FindPlyVertices(const Source& source, const PlyHeader& header);

}  // namespace primfit::io

#endif  // PRIMFIT_IO_PLY_HEADER_H_
