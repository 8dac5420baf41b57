// Text clouds: XYZ, ASC, TXT, CSV and whatever else holds a point a line. There is no standard, and the file
// name says little, so the contents have to show the separator, the columns and the comments. Two stages: the
// lines before the first point, then the points. The second is strict: a line that does not look like the
// first point is an error, since its point would otherwise be lost without notice.
#include <algorithm>
#include <array>
#include <optional>
#include <string>

#include "io/attributes.h"
#include "io/formats.h"
#include "io/rows.h"
#include "io/text_layout.h"
#include "io/words.h"

namespace primfit::io {

namespace {

bool HasNumber(std::string_view line) {
  const Separator separator = SeparatorOf(line);
  FieldCursor fields(line, separator);
  double value = 0;
  for (std::string_view field; fields.Next(field);) {
    if (ParseNumber(field, value, separator == Separator::kSemicolon)) return true;
  }
  return false;
}

/// A line that names the columns, x, y and z among them.
struct ColumnNames {
  std::vector<Field> fields;
  std::array<std::size_t, 3> coordinates{};  ///< columns of x, y, z
  bool inComment = false;
};

std::vector<Field> FieldsOf(std::string_view line) {
  std::vector<Field> fields;
  FieldCursor cursor(line, SeparatorOf(line));
  for (std::string_view field; cursor.Next(field);) fields.push_back({std::string(field), ""});
  return fields;
}

/// What stands before the first point: names of columns, and prose without numbers.
struct Preamble {
  std::optional<ColumnNames> names;
  std::vector<Field> lastLine;  ///< the words of the last line that is no comment
  std::string_view firstRow;    ///< the line of the first point
};

void NoteNames(std::string_view line, bool inComment, Preamble& preamble) {
  std::vector<Field> fields = FieldsOf(line);
  if (!inComment) preamble.lastLine = fields;
  std::optional<ColumnNames>& names = preamble.names;
  if (names && inComment && !names->inComment) return;
  if (const auto coordinates = FindCoordinates(fields))
    names = ColumnNames{std::move(fields), *coordinates, inComment};
}

/// Reads up to the first line that holds a number.
Preamble ReadPreamble(const Source& source, LineReader& lines) {
  Preamble preamble;
  for (std::string_view line; lines.NextFilled(line);) {
    if (lines.Number() == 1 && line.starts_with("\xef\xbb\xbf")) line.remove_prefix(3);  // byte order mark
    line = Trimmed(line);
    if (const std::size_t mark = CommentMarkLength(line); mark > 0) {
      NoteNames(line.substr(mark), true, preamble);
    } else if (HasNumber(line)) {
      preamble.firstRow = line;
      return preamble;
    } else if (!line.empty()) {
      NoteNames(line, false, preamble);
    }
  }
  source.FailAtLine(lines.Number(), "the text ends without a line of three numbers; is it a point cloud?");
}

/// Whether the first column is the number of the point: whole numbers without a decimal point that count up
/// one by one. Fewer rows than these are no evidence.
bool FirstColumnCounts(std::string_view firstRow, LineReader lines, Separator separator) {
  constexpr int kEvidence = 10;
  std::string_view line = firstRow;
  std::optional<std::uint64_t> last;
  for (int row = 0; row < kEvidence; ++row) {
    FieldCursor fields(line, separator);
    std::string_view field;
    fields.Next(field);
    const std::optional<std::uint64_t> number = ParseCount(field);
    if (!number || (last && *number != *last + 1)) return false;
    last = number;
    if (row + 1 < kEvidence && !lines.NextFilled(line)) return false;
  }
  return true;
}

/// A column by its number from 1 or by its name.
std::size_t ColumnOf(const Source& source, const std::string& column, const std::vector<Field>& fields) {
  const std::optional<std::uint64_t> number = ParseCount(column);
  if (number && *number >= 1 && *number <= fields.size()) return static_cast<std::size_t>(*number - 1);
  if (number)
    throw ReadError(source.name, "",
                    "there is no column " + column + "; the rows have " + Counted(fields.size(), "column"));
  return FindAttributes(source, fields, {column}).front();
}

/// The format as it is told, the fields, and the columns of x, y and z.
struct TextForm {
  Separator separator;
  std::vector<Field> fields;
  std::vector<std::size_t> columns;
};

/// What the lines before the points and the first of them show.
TextForm FormOf(const Source& source, const Preamble& preamble, const LineReader& lines,
                const ReadRequest& request) {
  TextForm form{SeparatorOf(preamble.firstRow), {}, {0, 1, 2}};
  const std::size_t count = CountFields(preamble.firstRow, form.separator);
  // The names in a comment may be prose; those of as many columns as there are hardly ever are.
  const std::optional<ColumnNames>& names = preamble.names;
  const bool named = names && (!names->inComment || names->fields.size() == count);
  form.fields.resize(count);
  if (named) {
    form.fields = names->fields;
    form.columns.assign(names->coordinates.begin(), names->coordinates.end());
  } else if (preamble.lastLine.size() == count) {
    form.fields = preamble.lastLine;
  }
  if (!request.columns.empty()) {
    for (std::size_t axis = 0; axis < 3; ++axis)
      form.columns[axis] = ColumnOf(source, request.columns[axis], form.fields);
  } else if (!named && count > 3 && FirstColumnCounts(preamble.firstRow, lines, form.separator)) {
    source.FailAtLine(lines.Number(),
                      "the first column counts up like the numbers of points; say which columns are x, y and "
                      "z, such as --columns 2,3,4");
  }
  return form;
}

/// Passes on the first row and all that follow it.
void StreamAllRows(const Source& source, std::string_view line, const TextLayout& layout,
                   std::size_t attributes, LineReader& lines, PointSink& sink) {
  BlockBuilder block(attributes, sink);
  std::vector<double> values(3 + attributes);
  std::size_t row = 0;
  do {
    line = Trimmed(line);
    if (CommentMarkLength(line) != 0) continue;
    if (!layout.Read(line, values.data())) source.FailAtLine(lines.Number(), layout.Fault(line));
    block.Add(values.data());
    if (++row % PointBlock::kMostPoints == 0) source.DoneBefore(lines.Place().byte);
  } while (lines.NextFilled(line));
  block.Flush();
}

const char* NameOf(Separator separator) {
  switch (separator) {
    case Separator::kComma:
      return "values between commas";
    case Separator::kSemicolon:
      return "values between semicolons";
    case Separator::kBlanks:
      break;
  }
  return "values between blanks";
}

}  // namespace

FileHead ReadText(const Source& source, const ReadRequest& request, PointSink& sink) {
  constexpr std::size_t kProbe = 4096;
  if (const std::size_t at = source.bytes.substr(0, kProbe).find('\0'); at != std::string_view::npos) {
    source.FailAtByte(at,
                      "is of no format that is read, nor text; convert the file to LAS, PLY or text first");
  }
  LineReader lines(source.bytes);
  const Preamble preamble = ReadPreamble(source, lines);
  TextForm form = FormOf(source, preamble, lines, request);
  for (const std::size_t k : FindAttributes(source, form.fields, request.attributes))
    form.columns.push_back(k);
  FileHead head;
  head.format = "text, " + std::string(NameOf(form.separator));
  head.fields = form.fields;
  const TextLayout layout(form.separator, form.columns, std::nullopt);
  sink.Expect(EstimateRows(source.bytes.substr(lines.Place().byte - preamble.firstRow.size())));
  StreamAllRows(source, preamble.firstRow, layout, form.columns.size() - 3, lines, sink);
  return head;
}

}  // namespace primfit::io
