// The header of PCD, the format of the Point Cloud Library, versions 0.5 to 0.7, as plain data, and the
// layouts that follow from it. Names, sizes and types of the fields stand in lines of their own, and some
// writers leave entries out or contradict themselves about the number of points, so most checks are possible
// only after the last line.
#ifndef PRIMFIT_IO_PCD_HEADER_H_
#define PRIMFIT_IO_PCD_HEADER_H_

#include <Eigen/Core>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "io/binary_layout.h"
#include "io/read_error.h"
#include "io/rows.h"
#include "io/scalar.h"
#include "io/text_layout.h"

namespace primfit::io {

struct PcdField {
  std::string name;
  std::uint64_t size = 0;  ///< bytes of a value
  char kind =
      0;  ///< I, U or F for signed, unsigned and floating point; 0 when the header has no single letter
  std::uint64_t count = 1;  ///< values that a point has of it
  std::uint64_t Bytes() const { return size * count; }
};

struct PcdHeader {
  std::vector<PcdField> fields;
  std::optional<std::uint64_t> width;
  std::optional<std::uint64_t> height;
  std::optional<std::uint64_t> points;
  std::optional<Eigen::Vector3d> viewpoint;  ///< where the sensor was, in the frame of the points
  std::string encoding;                      ///< ascii, binary or binary_compressed
  TextPlace end;                             ///< where the body begins
};

/// @throws ReadError when a line is no entry of a header or does not fit the fields, or when the "DATA" line
///     is missing
PcdHeader ParsePcdHeader(const Source& source);

/// What a point consists of, and how many there are.
struct PcdPoints {
  std::uint64_t number = 0;
  std::vector<PcdField> fields;
  std::vector<ScalarType> types;             ///< of the fields
  std::array<std::size_t, 3> coordinates{};  ///< indices of the fields x, y and z

  /// Bytes of the fields before one, in a row.
  std::uint64_t BytesBefore(std::size_t field) const;
  std::uint64_t RowBytes() const { return BytesBefore(fields.size()); }
  /// Values of a point.
  std::uint64_t RowValues() const;
};

/// @throws ReadError when a coordinate is missing, a field is of no type of PCD or the number of points is
///     not clear
PcdPoints FindPcdPoints(const Source& source, const PcdHeader& header);

/// One point a line.
/// @param attributes  indices of the fields that are attributes
TextLayout PcdTextLayout(const PcdPoints& points, const std::vector<std::size_t>& attributes);
/// One point after the other, as "binary" has them, without attributes.
BinaryLayout PcdRowLayout(const PcdPoints& points);
/// All values of the first field, then all of the second, as "binary_compressed" has them when it is
/// unpacked; without attributes.
BinaryLayout PcdColumnLayout(const PcdPoints& points);
/// The fields with their columns in one of these layouts. A colour that is packed into one field stands for
/// red, green and blue as well.
/// @param column  of a field, by its index
std::vector<NamedColumn> PcdColumns(const PcdPoints& points, Column (*column)(const PcdPoints&, std::size_t));
Column PcdRowColumn(const PcdPoints& points, std::size_t field);
Column PcdFieldColumn(const PcdPoints& points, std::size_t field);

}  // namespace primfit::io

#endif  // PRIMFIT_IO_PCD_HEADER_H_
