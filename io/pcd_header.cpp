// One function for each kind of entry, then one for each thing that follows from all of them. Numbers are
// limited to 32 bits when they are parsed: larger ones make no sense here, and with them sums and products of
// later stages could overflow.
#include "io/pcd_header.h"

#include <algorithm>

#include "io/attributes.h"
#include "io/header_line.h"

namespace primfit::io {

namespace {

std::uint64_t ParseNumber32(const HeaderLine& line, std::string_view value) {
  const std::optional<std::uint64_t> number = ParseCount(value);
  if (!number || *number > UINT32_MAX)
    line.Fail(std::string(line.keyword) + " " + Quoted(value) + " is not a number of 32 bits");
  return *number;
}

std::uint64_t ParseOnlyNumber32(HeaderLine& line) {
  std::string_view value;
  line.values.Next(value);
  return ParseNumber32(line, value);
}

std::vector<PcdField> ParseNames(HeaderLine& line) {
  std::vector<PcdField> fields;
  for (std::string_view name; line.values.Next(name);) fields.push_back({std::string(name)});
  return fields;
}

/// Takes a value for each field: set(field, value).
template <class Set>
void ParseForEachField(HeaderLine& line, std::vector<PcdField>& fields, Set set) {
  std::string_view value;
  for (PcdField& field : fields) {
    if (!line.values.Next(value))
      line.Fail(std::string(line.keyword) + " has fewer values than FIELDS has names");
    set(field, value);
  }
  if (line.values.Next(value))
    line.Fail(std::string(line.keyword) + " has more values than FIELDS has names");
}

std::string ParseEncoding(HeaderLine& line) {
  std::string_view encoding;
  line.values.Next(encoding);
  if (encoding != "ascii" && encoding != "binary" && encoding != "binary_compressed") {
    line.Fail("unknown DATA " + Quoted(encoding) + "; PCD has ascii, binary, binary_compressed");
  }
  return std::string(encoding);
}

/// Where the sensor was; nothing for what writers put there who do not know it, the origin and no turn.
std::optional<Eigen::Vector3d> ParseViewpoint(HeaderLine& line) {
  Eigen::Matrix<double, 7, 1> numbers;  // place, and a quaternion w, x, y, z
  std::string_view value;
  for (double& number : numbers) {
    if (!line.values.Next(value) || !ParseNumber(value, number)) return std::nullopt;
  }
  const Eigen::Vector3d place = numbers.head<3>();
  const bool unknown = place.isZero(0) && numbers.tail<3>().isZero(0);
  return unknown || !place.allFinite() ? std::nullopt : std::optional(place);
}

void ParseEntry(HeaderLine& line, PcdHeader& header) {
  const std::string_view keyword = line.keyword;
  if (keyword.starts_with('#') || keyword == "VERSION") return;
  if (keyword == "FIELDS" || keyword == "COLUMNS") {
    header.fields = ParseNames(line);
  } else if (keyword == "SIZE") {
    ParseForEachField(line, header.fields,
                      [&](PcdField& f, std::string_view v) { f.size = ParseNumber32(line, v); });
  } else if (keyword == "TYPE") {
    ParseForEachField(line, header.fields,
                      [](PcdField& f, std::string_view v) { f.kind = v.size() == 1 ? v[0] : '\0'; });
  } else if (keyword == "COUNT") {
    ParseForEachField(line, header.fields,
                      [&](PcdField& f, std::string_view v) { f.count = ParseNumber32(line, v); });
  } else if (keyword == "WIDTH") {
    header.width = ParseOnlyNumber32(line);
  } else if (keyword == "HEIGHT") {
    header.height = ParseOnlyNumber32(line);
  } else if (keyword == "POINTS") {
    header.points = ParseOnlyNumber32(line);
  } else if (keyword == "VIEWPOINT") {
    header.viewpoint = ParseViewpoint(line);
  } else {
    line.Fail(Quoted(keyword) + " is no entry of a PCD header; correct the line or export the file again");
  }
}

std::array<std::size_t, 3> FindCoordinates(const Source& source, const PcdHeader& header) {
  std::array<std::size_t, 3> coordinates{};
  for (std::size_t axis = 0; axis < 3; ++axis) {
    const auto at = std::find_if(header.fields.begin(), header.fields.end(), [&](const PcdField& f) {
      return BareName(f.name) == kAxisNames[axis] && f.count > 0;
    });
    if (at == header.fields.end()) {
      source.FailAtLine(header.end.line, "the header has no field " + Quoted(kAxisNames[axis]) +
                                             "; export the file with x, y and z");
    }
    coordinates[axis] = static_cast<std::size_t>(at - header.fields.begin());
  }
  return coordinates;
}

ScalarType TypeOf(const Source& source, const PcdHeader& header, const PcdField& field) {
  const std::string bits = std::to_string(8 * field.size);
  std::optional<ScalarType> type;
  if (field.kind == 'I') type = ScalarTypeByName("int" + bits);
  if (field.kind == 'U') type = ScalarTypeByName("uint" + bits);
  if (field.kind == 'F') type = ScalarTypeByName("float" + bits);
  if (!type) {
    source.FailAtLine(header.end.line,
                      "the field " + Quoted(field.name) +
                          " has no type and size of PCD (I, U with 1, 2, 4, 8 or F with 4, 8)");
  }
  return *type;
}

std::uint64_t NumberOfPoints(const Source& source, const PcdHeader& header) {
  if (!header.width && !header.points) {
    source.FailAtLine(header.end.line, "the header has neither POINTS nor WIDTH; export the file again");
  }
  if (!header.width) return *header.points;
  const std::uint64_t grid = *header.width * header.height.value_or(1);
  if (header.points && grid != *header.points) {
    source.FailAtLine(header.end.line, "POINTS is " + std::to_string(*header.points) +
                                           ", but WIDTH times HEIGHT is " + std::to_string(grid) +
                                           "; correct the header");
  }
  return grid;
}

}  // namespace

PcdHeader ParsePcdHeader(const Source& source) {
  PcdHeader header;
  LineReader lines(source.bytes);
  for (std::string_view text; lines.NextFilled(text);) {
    HeaderLine line(source, lines, text);
    if (line.keyword == "DATA") {
      header.encoding = ParseEncoding(line);
      header.end = lines.Place();
      return header;
    }
    ParseEntry(line, header);
  }
  source.FailAtLine(lines.Number(),
                    "the file ends before the \"DATA\" line of its header; copy or export it again");
}

PcdPoints FindPcdPoints(const Source& source, const PcdHeader& header) {
  PcdPoints points;
  points.fields = header.fields;
  points.coordinates = FindCoordinates(source, header);
  for (const PcdField& field : header.fields) points.types.push_back(TypeOf(source, header, field));
  points.number = NumberOfPoints(source, header);
  return points;
}

std::uint64_t PcdPoints::BytesBefore(std::size_t field) const {
  std::uint64_t bytes = 0;
  for (std::size_t k = 0; k < field; ++k) bytes += fields[k].Bytes();
  return bytes;
}

std::uint64_t PcdPoints::RowValues() const {
  std::uint64_t values = 0;
  for (const PcdField& field : fields) values += field.count;
  return values;
}

TextLayout PcdTextLayout(const PcdPoints& points, const std::vector<std::size_t>& attributes) {
  std::vector<std::size_t> fields(points.coordinates.begin(), points.coordinates.end());
  fields.insert(fields.end(), attributes.begin(), attributes.end());
  std::vector<std::size_t> columns;
  for (const std::size_t field : fields) {
    std::uint64_t before = 0;
    for (std::size_t k = 0; k < field; ++k) before += points.fields[k].count;
    columns.push_back(static_cast<std::size_t>(before));
  }
  return {Separator::kBlanks, columns, points.RowValues()};
}

Column PcdRowColumn(const PcdPoints& points, std::size_t field) {
  return {points.BytesBefore(field), points.RowBytes(), points.types[field]};
}

Column PcdFieldColumn(const PcdPoints& points, std::size_t field) {
  return {points.BytesBefore(field) * points.number, points.fields[field].Bytes(), points.types[field]};
}

namespace {

BinaryLayout LayoutBy(Column (*column)(const PcdPoints&, std::size_t), const PcdPoints& points) {
  const auto [x, y, z] = points.coordinates;
  return {points.number, {column(points, x), column(points, y), column(points, z)}, {}, std::endian::little};
}

}  // namespace

BinaryLayout PcdRowLayout(const PcdPoints& points) { return LayoutBy(PcdRowColumn, points); }
BinaryLayout PcdColumnLayout(const PcdPoints& points) { return LayoutBy(PcdFieldColumn, points); }

std::vector<NamedColumn> PcdColumns(const PcdPoints& points,
                                    Column (*column)(const PcdPoints&, std::size_t)) {
  std::vector<NamedColumn> columns;
  for (std::size_t k = 0; k < points.fields.size(); ++k) {
    columns.push_back({{points.fields[k].name, std::string(NameOf(points.types[k]))}, column(points, k)});
  }
  for (std::size_t k = 0; k < points.fields.size(); ++k) {
    const PcdField& field = points.fields[k];
    if ((field.name != "rgb" && field.name != "rgba") || field.size != 4 || field.count != 1) continue;
    // Bytes of an integer from the highest: unused or alpha, red, green, blue; often declared as a float.
    Column packed = column(points, k);
    packed.type = ScalarType::kUint32;
    packed.bits = 8;
    for (const char* name : {"blue", "green", "red"}) {
      columns.push_back({{name, "8 bits of " + field.name}, packed});
      packed.firstBit += 8;
    }
  }
  return columns;
}

}  // namespace primfit::io
