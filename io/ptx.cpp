// PTX, a text format of terrestrial scanning that keeps what a scanner saw as grids. Each scan has a header
// of ten lines: number of columns and of rows, the scanner's place and axes, and a matrix that takes the
// points from the scanner's frame to that of all scans (rows times matrix, so that its last row is the
// shift). Then a line for each point of the grid follows, column by column; directions without a return are
// "0 0 0".
#include <Eigen/Core>
#include <array>
#include <optional>
#include <string>

#include "io/formats.h"
#include "io/rows.h"
#include "io/text_layout.h"
#include "io/words.h"

namespace primfit::io {

namespace {

/// Numbers of a line, and no others.
template <int kCount>
std::optional<Eigen::Matrix<double, kCount, 1>> NumbersOf(std::string_view line) {
  Eigen::Matrix<double, kCount, 1> numbers;
  FieldCursor fields(line, Separator::kBlanks);
  std::string_view field;
  for (double& number : numbers) {
    if (!fields.Next(field) || !ParseNumber(field, number)) return std::nullopt;
  }
  if (fields.Next(field)) return std::nullopt;
  return numbers;
}

/// The header of a scan.
struct Grid {
  std::uint64_t columns = 0, rows = 0;
  Eigen::Vector3d station;   ///< the scanner's place as its line says it
  Eigen::Matrix3d rotation;  ///< a row of coordinates times it, plus the shift
  Eigen::RowVector3d shift;
};

class HeaderReader {
 public:
  HeaderReader(const Source& source, LineReader& lines) : source_(source), lines_(lines) {}

  /// @return nothing at the end of the text
  std::optional<Grid> Next() {
    Grid grid;
    std::string_view line;
    if (!lines_.NextFilled(line)) return std::nullopt;
    grid.columns = Count(line, "columns");
    grid.rows = Count(Line(), "rows");
    grid.station = Numbers<3>("the scanner's place");
    for (int axis = 0; axis < 3; ++axis) Numbers<3>("an axis of the scanner");
    for (int k = 0; k < 4; ++k) {
      const Eigen::Vector4d row = Numbers<4>("a row of the scan's matrix");
      if (k < 3) grid.rotation.row(k) = row.head<3>();
      if (k == 3) grid.shift = row.head<3>();
    }
    return grid;
  }

 private:
  std::string_view Line() {
    std::string_view line;
    if (!lines_.NextFilled(line))
      source_.FailAtLine(lines_.Number(),
                         "the file ends inside the header of a scan; copy or export it again");
    return line;
  }
  std::uint64_t Count(std::string_view line, const char* what) {
    const std::optional<std::uint64_t> count = ParseCount(Trimmed(line));
    if (!count || *count > UINT32_MAX)
      source_.FailAtLine(lines_.Number(), Quoted(line) + " is no number of " + what +
                                              " of a scan; if the scan before it has more points than its "
                                              "header says, export the file again");
    return *count;
  }
  template <int kCount>
  Eigen::Matrix<double, kCount, 1> Numbers(const char* what) {
    const std::string_view line = Line();
    const auto numbers = NumbersOf<kCount>(line);
    if (!numbers || !numbers->allFinite())
      source_.FailAtLine(lines_.Number(), Quoted(line) + " is not " + what + ", which is " +
                                              std::to_string(kCount) + " numbers; export the file again");
    return *numbers;
  }

  const Source& source_;
  LineReader& lines_;
};

std::vector<Field> FieldsOf(std::size_t columns) {
  std::vector<Field> fields;
  for (const char* name : {"x", "y", "z", "intensity", "red", "green", "blue"}) {
    if (fields.size() < columns) fields.push_back({name, ""});
  }
  fields.resize(columns);
  return fields;
}

/// Where a scanner stood. Its own line says it; writers that do not know it leave zeros there, and the points
/// of a scanner begin at its place then, which the matrix moves.
Eigen::Vector3d StationOf(const Grid& grid) {
  return grid.station.isZero(0) ? Eigen::Vector3d(grid.shift) : grid.station;
}

/// Passes on the points of a grid in the frame of all scans.
/// @return how many directions had no return
std::uint64_t StreamGrid(const Source& source, const Grid& grid, const ReadRequest& request,
                         LineReader& lines, FileHead& head, PointSink& sink) {
  std::vector<double> values(3 + request.attributes.size(), static_cast<double>(head.scans.size() + 1));
  BlockBuilder block(request.attributes.size(), sink);
  std::optional<TextLayout> layout;  // by the first line
  std::uint64_t missing = 0;
  const std::uint64_t points = grid.columns * grid.rows;
  std::string_view line;
  for (std::uint64_t i = 0; i < points; ++i) {
    if (i % PointBlock::kMostPoints == 0) source.DoneBefore(lines.Place().byte);
    if (!lines.NextFilled(line))
      source.FailAtLine(lines.Number(), "the file ends after " + std::to_string(i) + " of the " +
                                            Counted(points, "point") + " of scan " +
                                            std::to_string(head.scans.size() + 1) +
                                            "; copy or export it again");
    if (!layout) {
      const std::vector<Field> fields = FieldsOf(CountFields(line, Separator::kBlanks));
      layout.emplace(Separator::kBlanks, ColumnsOfScan(source, fields, request), fields.size());
      if (head.fields.empty()) head.fields = fields;
    }
    if (!layout->Read(line, values.data())) source.FailAtLine(lines.Number(), layout->Fault(line));
    Eigen::Map<Eigen::RowVector3d> point(values.data());
    if (point.isZero(0)) {
      ++missing;
      continue;
    }
    point = (point * grid.rotation + grid.shift).eval();
    block.Add(values.data());
  }
  block.Flush();
  return missing;
}

}  // namespace

bool LooksLikePtx(std::string_view bytes) {
  LineReader lines(bytes);
  std::string_view line;
  for (int i = 0; i < 10; ++i) {
    if (!lines.NextFilled(line)) return false;
    const bool fits = i < 2   ? ParseCount(Trimmed(line)).has_value()
                      : i < 6 ? NumbersOf<3>(line).has_value()
                              : NumbersOf<4>(line).has_value();
    if (!fits) return false;
  }
  return true;
}

FileHead ReadPtx(const Source& source, const ReadRequest& request, PointSink& sink) {
  FileHead head;
  head.format = "PTX";
  LineReader lines(source.bytes);
  HeaderReader headers(source, lines);
  while (const std::optional<Grid> grid = headers.Next()) {
    const std::uint64_t points = grid->columns * grid->rows;
    CheckRoomForRows(source, lines.Place(), points, 3);
    if (head.scans.empty()) sink.Expect(EstimateRows(source.bytes.substr(lines.Place().byte)));
    head.marked += StreamGrid(source, *grid, request, lines, head, sink);
    head.scans.push_back({points, StationOf(*grid)});
  }
  if (head.scans.empty()) source.FailAtLine(lines.Number(), "the file holds no scan; export it again");
  head.format += head.scans.size() == 1 ? "" : ", " + Counted(head.scans.size(), "scan");
  return head;
}

}  // namespace primfit::io
