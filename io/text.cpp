// Text clouds: XYZ, ASC, TXT, CSV, PTS and whatever else holds a point a line. There is no standard, and the
// file name says little, so the contents have to show the separator, the columns and the comments. Two
// stages: the lines before the first point, then the points. The second is strict: a line that does not look
// like the first point is an error, since its point would otherwise be lost without notice.
#include <algorithm>
#include <array>
#include <optional>
#include <string>

#include "io/formats.h"
#include "io/rows.h"
#include "io/text_layout.h"
#include "io/words.h"

namespace primfit::io {

namespace {

constexpr std::size_t kShortestRow = 6;  // "1 2 3" and a line end

/// Length of the mark that begins a comment, 0 when the line is none.
std::size_t CommentMarkLength(std::string_view line) {
  if (line.starts_with("//")) return 2;
  return line.starts_with('#') || line.starts_with(';') || line.starts_with('%') ? 1 : 0;
}

Separator SeparatorOf(std::string_view line) {
  if (line.find(';') != std::string_view::npos) return Separator::kSemicolon;
  return line.find(',') != std::string_view::npos ? Separator::kComma : Separator::kBlanks;
}

bool HasNumber(std::string_view line) {
  const Separator separator = SeparatorOf(line);
  FieldCursor fields(line, separator);
  double value = 0;
  for (std::string_view field; fields.Next(field);) {
    if (ParseNumber(field, value, separator == Separator::kSemicolon)) return true;
  }
  return false;
}

/// The bare name of a column: X, "x" and x [m] are all x.
std::string BareName(std::string_view field) {
  if (field.size() > 1 && field.front() == '"' && field.back() == '"')
    field = field.substr(1, field.size() - 2);
  std::string name(Trimmed(field.substr(0, field.find_first_of("[("))));
  std::transform(name.begin(), name.end(), name.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return name;
}

/// A line that names the columns, x, y and z among them.
struct ColumnNames {
  std::vector<Field> fields;
  std::array<std::size_t, 3> coordinates{};  ///< columns of x, y, z
  bool inComment = false;
};

/// @return nothing when x, y and z are not among the names
std::optional<ColumnNames> ParseColumnNames(std::string_view line) {
  ColumnNames columns;
  std::vector<std::string> names;
  FieldCursor cursor(line, SeparatorOf(line));
  for (std::string_view field; cursor.Next(field);) {
    columns.fields.push_back({std::string(field), ""});
    names.push_back(BareName(field));
  }
  for (std::size_t axis = 0; axis < 3; ++axis) {
    const auto at = std::find(names.begin(), names.end(), kAxisNames[axis]);
    if (at == names.end()) return std::nullopt;
    columns.coordinates[axis] = static_cast<std::size_t>(at - names.begin());
  }
  return columns;
}

/// Number of points to make room for, by the lines of the first part of the text.
std::size_t EstimateRows(std::string_view bytes) {
  const std::string_view sample = bytes.substr(0, std::size_t{1} << 16);
  const auto lines = static_cast<std::size_t>(std::count(sample.begin(), sample.end(), '\n')) + 1;
  const double rows = 1.02 * static_cast<double>(bytes.size()) / static_cast<double>(sample.size()) *
                      static_cast<double>(lines);
  return std::min(static_cast<std::size_t>(rows) + 1, bytes.size() / kShortestRow + 1);
}

/// A line with nothing but the number of points that follow. PTS has one before each scan.
struct CountLine {
  std::uint64_t points;
  std::size_t line;          ///< its number
  std::size_t pointsBefore;  ///< of the file, before the line
};

/// Refuses a count line that was followed by another number of points.
/// @param line    number of the line at which that shows, and what happens there
/// @param points  of the file so far
void CheckCount(const Source& source, const std::optional<CountLine>& count, std::size_t line,
                const char* what, std::size_t points) {
  if (!count) return;
  const std::size_t got = points - count->pointsBefore;
  if (got == count->points) return;
  source.FailAtLine(line, std::string(what) + " after " + std::to_string(got) + " of the " +
                              Counted(count->points, "point") + " that line " + std::to_string(count->line) +
                              " promises; copy or export the file again");
}

/// Replaces the count line by this line if it is one.
/// @return whether it is
bool TakeCountLine(const Source& source, std::size_t line, std::string_view text, std::size_t points,
                   std::optional<CountLine>& count) {
  const std::optional<std::uint64_t> number = ParseCount(text);
  if (!number) return false;
  CheckCount(source, count, line, "the next count line comes", points);
  count = {*number, line, points};
  return true;
}

/// What stands before the first point: names of columns, prose without numbers, and the count line of PTS.
struct Preamble {
  std::optional<ColumnNames> names;
  std::optional<CountLine> count;
  std::string_view firstRow;  ///< the line of the first point
};

void NoteNames(std::string_view line, bool inComment, std::optional<ColumnNames>& names) {
  if (names && inComment && !names->inComment) return;
  std::optional<ColumnNames> found = ParseColumnNames(line);
  if (!found) return;
  names = std::move(found);
  names->inComment = inComment;
}

/// Reads up to the first line that holds a number and is no count.
Preamble ReadPreamble(const Source& source, LineReader& lines) {
  Preamble preamble;
  for (std::string_view line; lines.NextFilled(line);) {
    if (lines.Number() == 1 && line.starts_with("\xef\xbb\xbf")) line.remove_prefix(3);  // byte order mark
    line = Trimmed(line);
    if (const std::size_t mark = CommentMarkLength(line); mark > 0) {
      NoteNames(line.substr(mark), true, preamble.names);
    } else if (line.empty() || TakeCountLine(source, lines.Number(), line, 0, preamble.count)) {
      continue;
    } else if (HasNumber(line)) {
      preamble.firstRow = line;
      return preamble;
    } else {
      NoteNames(line, false, preamble.names);
    }
  }
  CheckCount(source, preamble.count, lines.Number(), "the text ends", 0);
  source.FailAtLine(lines.Number(), "the text ends without a line of three numbers; is it a point cloud?");
}

void AppendRow(const Source& source, std::size_t number, std::string_view line, const TextLayout& layout,
               std::optional<CountLine>& count, PointCloud& cloud) {
  Eigen::Vector3d point;
  if (!layout.Read(line, point)) {
    if (count && TakeCountLine(source, number, line, cloud.points.size(), count)) return;
    source.FailAtLine(number, layout.Fault(line));
  }
  AppendPoint(point, cloud);
  if (count && cloud.points.size() - count->pointsBefore > count->points) {
    source.FailAtLine(number, "a point more than the " + std::to_string(count->points) +
                                  " of the count line " + std::to_string(count->line) +
                                  "; correct that line or remove it");
  }
}

/// Appends the first row and all that follow it.
void AppendAllRows(const Source& source, const Preamble& preamble, const TextLayout& layout,
                   LineReader& lines, PointCloud& cloud) {
  std::optional<CountLine> count = preamble.count;
  std::string_view line = preamble.firstRow;
  do {
    line = Trimmed(line);
    if (CommentMarkLength(line) == 0) AppendRow(source, lines.Number(), line, layout, count, cloud);
  } while (lines.NextFilled(line));
  CheckCount(source, count, lines.Number(), "the text ends", cloud.points.size());
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

PointCloud ReadText(const Source& source) {
  constexpr std::size_t kProbe = 4096;
  if (const std::size_t at = source.bytes.substr(0, kProbe).find('\0'); at != std::string_view::npos) {
    source.FailAtByte(at, "is neither PLY nor PCD nor text; convert the file to one of them first");
  }
  LineReader lines(source.bytes);
  const Preamble preamble = ReadPreamble(source, lines);
  const Separator separator = SeparatorOf(preamble.firstRow);
  const std::size_t columns = CountFields(preamble.firstRow, separator);
  // The names in a comment may be prose; those of as many columns as there are hardly ever are.
  const std::optional<ColumnNames>& names = preamble.names;
  const bool named = names && (!names->inComment || names->fields.size() == columns);
  PointCloud cloud;
  cloud.format = "text, " + std::string(NameOf(separator));
  cloud.fields = named ? names->fields : std::vector<Field>(columns);
  const TextLayout layout(separator, named ? names->coordinates : std::array<std::size_t, 3>{0, 1, 2},
                          std::nullopt);
  Reserve(cloud, EstimateRows(source.bytes.substr(lines.Place().byte - preamble.firstRow.size())));
  AppendAllRows(source, preamble, layout, lines, cloud);
  return cloud;
}

}  // namespace primfit::io
