// Reading a line and explaining why it cannot be read are two functions. The first runs for every point and
// only answers yes or no; the second runs once before reading ends, and may be slow.
#include "io/text_layout.h"

#include <algorithm>

#include "io/words.h"

namespace primfit::io {

TextLayout::TextLayout(Separator separator, std::array<std::size_t, 3> columns,
                       std::optional<std::size_t> fieldsPerLine)
    : separator_(separator),
      coordinates_{{{columns[0], 0}, {columns[1], 1}, {columns[2], 2}}},
      fieldsPerLine_(fieldsPerLine) {
  std::sort(coordinates_.begin(), coordinates_.end(),
            [](const Coordinate& a, const Coordinate& b) { return a.column < b.column; });
}

bool TextLayout::Read(std::string_view line, Eigen::Vector3d& point) const {
  FieldCursor fields(line, separator_);
  std::size_t read = 0;
  std::string_view field;
  for (const Coordinate& c : coordinates_) {
    if (!fields.Skip(c.column - read) || !fields.Next(field)) return false;
    if (!ParseNumber(field, point[c.axis], separator_ == Separator::kSemicolon)) return false;
    read = c.column + 1;
  }
  return !fieldsPerLine_ || (fields.Skip(*fieldsPerLine_ - read) && !fields.Next(field));
}

std::string TextLayout::Fault(std::string_view line) const {
  const std::size_t needed = fieldsPerLine_.value_or(coordinates_.back().column + 1);
  const std::size_t count = CountFields(line, separator_);
  if (count < needed || (fieldsPerLine_ && count > needed)) {
    return Counted(count, "value") + " where " + (fieldsPerLine_ ? "" : "at least ") +
           std::to_string(needed) + " are needed; correct the line or export the file again";
  }
  for (const Coordinate& c : coordinates_) {
    FieldCursor fields(line, separator_);
    fields.Skip(c.column);
    std::string_view field;
    double value = 0;
    fields.Next(field);
    if (ParseNumber(field, value, separator_ == Separator::kSemicolon)) continue;
    return Quoted(field) + " in column " + std::to_string(c.column + 1) +
           " is not a number; correct it or write nan" +
           (separator_ == Separator::kComma ? " (decimal commas need semicolons between the values)" : "");
  }
  return "is not a point";
}

void CheckRoomForRows(const Source& source, const TextPlace& from, std::uint64_t rows, std::size_t fields) {
  const std::size_t room = (source.bytes.size() - from.byte + 1) / (2 * fields);
  if (rows <= room) return;
  source.FailAtLine(from.line, "the header promises " + Counted(rows, "point") +
                                   ", but the rest of the file has room for " + std::to_string(room) +
                                   " at most; copy or export it again");
}

}  // namespace primfit::io
