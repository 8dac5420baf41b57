// Where points stand in text with one point a line: the counterpart of binary_layout.h for text clouds and
// for the ascii bodies of PLY and PCD. A format works out the columns; what is here reads the lines and says
// what is wrong with a line.
#ifndef PRIMFIT_IO_TEXT_LAYOUT_H_
#define PRIMFIT_IO_TEXT_LAYOUT_H_

#include <Eigen/Core>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "io/point_cloud.h"
#include "io/read_error.h"
#include "io/rows.h"

namespace primfit::io {

/// Where the coordinates stand among the fields of a line.
class TextLayout {
 public:
  /// @param columns        of x, y and z, from 0
  /// @param fieldsPerLine  that every line has; none: any number that reaches to the coordinates
  TextLayout(Separator separator, std::array<std::size_t, 3> columns,
             std::optional<std::size_t> fieldsPerLine);

  /// @return false when the line does not have this layout; point is then undefined
  bool Read(std::string_view line, Eigen::Vector3d& point) const;
  /// Why Read() returned false, with what to do about it.
  std::string Fault(std::string_view line) const;

 private:
  struct Coordinate {
    std::size_t column;
    Eigen::Index axis;
  };
  Separator separator_;
  std::array<Coordinate, 3> coordinates_;  // by column, since a line is read from left to right
  std::optional<std::size_t> fieldsPerLine_;
};

/// Refuses a header that promises more rows than the rest of the file can hold, before memory is taken for
/// them. Each field takes a digit and a separator at least.
/// @param from    the end of the header
/// @param fields  that a row has at least
/// @throws ReadError
void CheckRoomForRows(const Source& source, const TextPlace& from, std::uint64_t rows, std::size_t fields);

/// Appends the points of the next lines, and stops early where the text ends.
/// @param layoutOf  the layout of a line: layoutOf(line) -> TextLayout or a reference to one
/// @return          number of points
/// @throws ReadError at a line that does not have its layout
template <class LayoutOf>
std::uint64_t AppendRows(const Source& source, LineReader& lines, std::uint64_t rows, LayoutOf layoutOf,
                         PointCloud& cloud) {
  std::string_view line;
  Eigen::Vector3d point;
  for (std::uint64_t i = 0; i < rows; ++i) {
    if (!lines.NextFilled(line)) return i;
    const TextLayout& layout = layoutOf(line);
    if (!layout.Read(line, point)) source.FailAtLine(lines.Number(), layout.Fault(line));
    AppendPoint(point, cloud);
  }
  return rows;
}

}  // namespace primfit::io

#endif  // PRIMFIT_IO_TEXT_LAYOUT_H_
