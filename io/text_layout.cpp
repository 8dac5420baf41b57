// Reading a line and explaining why it cannot be read are two functions. The first runs for every point and
// only answers yes or no; the second runs once before reading ends, and may be slow.
#include "io/text_layout.h"

#include <algorithm>

#include "io/attributes.h"
#include "io/words.h"

namespace primfit::io {

TextLayout::TextLayout(Separator separator, const std::vector<std::size_t>& columns,
                       std::optional<std::size_t> fieldsPerLine)
    : separator_(separator), fieldsPerLine_(fieldsPerLine) {
  for (std::size_t k = 0; k < columns.size(); ++k) {
    if (columns[k] != kNotInLine) values_.push_back({columns[k], k});
  }
  std::stable_sort(values_.begin(), values_.end(),
                   [](const Value& a, const Value& b) { return a.column < b.column; });
}

bool TextLayout::Read(std::string_view line, double* values) const {
  FieldCursor fields(line, separator_);
  std::size_t read = 0;  // columns
  std::size_t last = 0;  // place of the value of the last of them
  for (const Value& v : values_) {
    if (v.column < read) {  // asked for twice
      values[v.place] = values[last];
      continue;
    }
    if (!fields.Skip(v.column - read) || !fields.NextNumber(values[v.place])) return false;
    read = v.column + 1;
    last = v.place;
  }
  std::string_view field;
  return !fieldsPerLine_ || (fields.Skip(*fieldsPerLine_ - read) && !fields.Next(field));
}

std::string TextLayout::Fault(std::string_view line) const {
  const std::size_t needed = fieldsPerLine_.value_or(values_.back().column + 1);
  const std::size_t count = CountFields(line, separator_);
  if (count < needed || (fieldsPerLine_ && count > needed)) {
    return Counted(count, "value") + " where " + (fieldsPerLine_ ? "" : "at least ") +
           std::to_string(needed) + " are needed; correct the line or export the file again";
  }
  for (const Value& c : values_) {
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

std::vector<std::size_t> ColumnsOfScan(const Source& source, std::vector<Field> fields,
                                       const ReadRequest& request) {
  const std::size_t inLine = fields.size();
  fields.push_back({"scan", ""});
  std::vector<std::size_t> columns = {0, 1, 2};
  for (const std::size_t k : FindAttributes(source, fields, request.attributes))
    columns.push_back(k < inLine ? k : kNotInLine);
  return columns;
}

std::uint64_t EstimateRows(std::string_view text) {
  constexpr std::size_t kShortestRow = 6;  // "1 2 3" and a line end
  if (text.empty()) return 0;
  const std::string_view sample = text.substr(0, std::size_t{1} << 16);
  const auto lines = static_cast<double>(std::count(sample.begin(), sample.end(), '\n') + 1);
  const double rows = 1.02 * lines * (static_cast<double>(text.size()) / static_cast<double>(sample.size()));
  return std::min<std::uint64_t>(static_cast<std::uint64_t>(rows) + 1, text.size() / kShortestRow + 1);
}

}  // namespace primfit::io
