// PTS, a text format of terrestrial scanning: for each scan a line with the number of its points, then a
// point a line: coordinates, and mostly an intensity and a colour, by the number of the columns. Programs
// that edit such files often leave the count as it was: more points than it says are read and told, fewer are
// an error, because a file that was cut short looks like that.
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

/// The fields of a row with so many columns; unnamed where no writer is known for them.
std::vector<Field> FieldsOf(std::size_t columns) {
  switch (columns) {
    case 4:
      return {{"x", ""}, {"y", ""}, {"z", ""}, {"intensity", ""}};
    case 6:
      return {{"x", ""}, {"y", ""}, {"z", ""}, {"red", ""}, {"green", ""}, {"blue", ""}};
    case 7:
      return {{"x", ""}, {"y", ""}, {"z", ""}, {"intensity", ""}, {"red", ""}, {"green", ""}, {"blue", ""}};
    default: {
      std::vector<Field> fields(columns);
      for (std::size_t axis = 0; axis < std::min<std::size_t>(3, columns); ++axis)
        fields[axis].name = kAxisNames[axis];
      return fields;
    }
  }
}

/// The scan that is read: what its count line says, and what has come.
struct CountedScan {
  std::uint64_t promised;
  std::size_t line;  ///< number of the count line
  std::uint64_t points = 0;
};

/// Ends a scan: fewer points than promised are an error, more are noted.
void Close(const Source& source, const CountedScan& scan, std::size_t line, const char* what,
           FileHead& head) {
  if (scan.points < scan.promised)
    source.FailAtLine(line, std::string(what) + " after " + std::to_string(scan.points) + " of the " +
                                Counted(scan.promised, "point") + " that line " + std::to_string(scan.line) +
                                " promises; copy or export the file again");
  if (scan.points > scan.promised)
    head.notes.push_back("line " + std::to_string(scan.line) + " promises " +
                         Counted(scan.promised, "point") + ", but " + std::to_string(scan.points) +
                         " follow; all were read");
  head.scans.push_back({scan.points, std::nullopt});
}

/// The next line that is neither empty nor a comment.
bool NextRow(LineReader& lines, std::string_view& line) {
  while (lines.NextFilled(line)) {
    line = Trimmed(line);
    if (CommentMarkLength(line) == 0) return true;
  }
  return false;
}

/// Passes on the points of all scans.
/// @param row  the first line after the first count line
void StreamScans(const Source& source, CountedScan scan, std::string_view row,
                 const std::vector<std::size_t>& columns, LineReader& lines, FileHead& head,
                 PointSink& sink) {
  const TextLayout layout(SeparatorOf(row), columns, std::nullopt);
  BlockBuilder block(columns.size() - 3, sink);
  std::vector<double> values(columns.size(), 1.0);
  do {
    if (layout.Read(row, values.data())) {
      block.Add(values.data());
      if (++scan.points % PointBlock::kMostPoints == 0) source.DoneBefore(lines.Place().byte);
      continue;
    }
    const std::optional<std::uint64_t> count = ParseCount(row);
    if (!count) source.FailAtLine(lines.Number(), layout.Fault(row));
    Close(source, scan, lines.Number(), "the next count line comes", head);
    scan = {*count, lines.Number()};
    std::fill(values.begin() + 3, values.end(), static_cast<double>(head.scans.size() + 1));
  } while (NextRow(lines, row));
  Close(source, scan, lines.Number(), "the text ends", head);
  block.Flush();
}

}  // namespace

bool LooksLikePts(std::string_view bytes) {
  LineReader lines(bytes);
  std::string_view count, row;
  if (!NextRow(lines, count) || !NextRow(lines, row) || !ParseCount(count)) return false;
  const TextLayout layout(SeparatorOf(row), {0, 1, 2}, std::nullopt);
  std::array<double, 3> point{};
  return layout.Read(row, point.data());
}

FileHead ReadPts(const Source& source, const ReadRequest& request, PointSink& sink) {
  LineReader lines(source.bytes);
  std::string_view line, row;
  const std::optional<std::uint64_t> count = NextRow(lines, line) ? ParseCount(line) : std::nullopt;
  // Files of this name without a count, or with words before it, are plain text.
  if (!count) return ReadText(source, request, sink);
  const CountedScan first{*count, lines.Number()};
  FileHead head;
  if (!NextRow(lines, row)) {
    Close(source, first, lines.Number(), "the text ends", head);
    source.FailAtLine(lines.Number(), "the text ends without a line of three numbers; is it a point cloud?");
  }
  head.format = "PTS";
  head.fields = FieldsOf(CountFields(row, SeparatorOf(row)));
  sink.Expect(EstimateRows(source.bytes.substr(lines.Place().byte - row.size())));
  StreamScans(source, first, row, ColumnsOfScan(source, head.fields, request), lines, head, sink);
  return head;
}

}  // namespace primfit::io
