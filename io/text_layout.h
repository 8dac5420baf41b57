// Where points stand in text with one point a line: the counterpart of binary_layout.h for text clouds and
// for the ascii bodies of PLY and PCD. A format works out the columns; what is here reads the lines and says
// what is wrong with a line.
#ifndef PRIMFIT_IO_TEXT_LAYOUT_H_
#define PRIMFIT_IO_TEXT_LAYOUT_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "io/point_cloud.h"
#include "io/read_error.h"
#include "io/rows.h"

namespace primfit::io {

/// The column of a value that does not stand in the line, such as the number of the scan.
inline constexpr std::size_t kNotInLine = static_cast<std::size_t>(-1);

/// Where the values stand among the fields of a line.
class TextLayout {
 public:
  /// @param columns        of x, y and z, from 0, then those of attributes; values of kNotInLine are left as
  ///                       they are
  /// @param fieldsPerLine  that every line has; none: any number that reaches to the values
  TextLayout(Separator separator, const std::vector<std::size_t>& columns,
             std::optional<std::size_t> fieldsPerLine);

  /// @param values  room for coordinates and attributes, in the order of the columns
  /// @return        false when the line does not have this layout; the values are then undefined
  bool Read(std::string_view line, double* values) const;
  /// Why Read() returned false, with what to do about it.
  std::string Fault(std::string_view line) const;

 private:
  struct Value {
    std::size_t column;
    std::size_t place;  // among the values
  };
  Separator separator_;
  std::vector<Value> values_;  // by column, since a line is read from left to right
  std::optional<std::size_t> fieldsPerLine_;
};

/// Refuses a header that promises more rows than the rest of the file can hold, before memory is taken for
/// them. Each field takes a digit and a separator at least.
/// @param from    the end of the header
/// @param fields  that a row has at least
/// @throws ReadError
void CheckRoomForRows(const Source& source, const TextPlace& from, std::uint64_t rows, std::size_t fields);

/// The columns of x, y and z, which come first, and of the attributes that a request names, in a format that
/// counts its scans: the number of the scan is an attribute that stands in no line.
/// @param fields  of a line
/// @throws ReadError for an attribute that is none of these
std::vector<std::size_t> ColumnsOfScan(const Source& source, std::vector<Field> fields,
                                       const ReadRequest& request);

/// Number of points to make room for, by the lengths of the first lines of a text.
std::uint64_t EstimateRows(std::string_view text);

/// Passes on the points of the next lines, and stops early where the text ends.
/// @param layoutOf    the layout of a line: layoutOf(line) -> TextLayout or a reference to one
/// @param attributes  that a point has
/// @return            number of points
/// @throws ReadError at a line that does not have its layout
template <class LayoutOf>
std::uint64_t StreamRows(const Source& source, LineReader& lines, std::uint64_t rows, LayoutOf layoutOf,
                         std::size_t attributes, PointSink& sink) {
  BlockBuilder block(attributes, sink);
  std::vector<double> values(3 + attributes);
  std::string_view line;
  for (std::uint64_t i = 0; i < rows; ++i) {
    if (i % PointBlock::kMostPoints == 0) source.DoneBefore(lines.Place().byte);
    if (!lines.NextFilled(line)) {
      rows = i;
      break;
    }
    const TextLayout& layout = layoutOf(line);
    if (!layout.Read(line, values.data())) source.FailAtLine(lines.Number(), layout.Fault(line));
    block.Add(values.data());
  }
  block.Flush();
  return rows;
}

}  // namespace primfit::io

#endif  // PRIMFIT_IO_TEXT_LAYOUT_H_
