// PLY (Turk 1994, Stanford triangle format). Only the element "vertex" matters here; elements before it are
// skipped, and what follows it is not looked at. The stages: header (ply_header.h), the layout of a row
// (ply_rows.h), the points.
#include <array>
#include <bit>
#include <cstdint>
#include <string>
#include <vector>

#include "io/formats.h"
#include "io/ply_header.h"
#include "io/ply_rows.h"
#include "io/words.h"

namespace primfit::io {

namespace {

std::vector<Field> FieldsOf(const PlyElement& vertex) {
  std::vector<Field> fields;
  for (const PlyProperty& p : vertex.properties) {
    fields.push_back({p.name, (p.IsList() ? "list of " : "") + std::string(NameOf(p.type))});
  }
  return fields;
}

[[noreturn]] void FailAtEndOfText(const Source& source, const LineReader& lines, const PlyElement& element,
                                  std::uint64_t rows) {
  source.FailAtLine(lines.Number(), "the file ends after " + std::to_string(rows) + " of the " +
                                        Counted(element.rows, "row") + " of element " + Quoted(element.name) +
                                        "; copy or export it again");
}

void SkipTextElement(const Source& source, const PlyElement& element, LineReader& lines) {
  if (element.properties.empty()) return;  // its rows take no lines
  std::string_view line;
  for (std::uint64_t i = 0; i < element.rows; ++i) {
    if (!lines.NextFilled(line)) FailAtEndOfText(source, lines, element, i);
  }
}

void ReadTextBody(const Source& source, const PlyHeader& header, const PlyVertices& vertices,
                  PointCloud& cloud) {
  LineReader lines(source.bytes, header.end);
  for (std::size_t e = 0; e < vertices.element; ++e) SkipTextElement(source, header.elements[e], lines);
  const PlyElement& vertex = header.elements[vertices.element];
  CheckRoomForRows(source, lines.Place(), vertex.rows, vertex.properties.size());
  Reserve(cloud, vertex.rows);
  std::uint64_t rows = 0;
  if (vertex.HasList()) {
    const auto ofLine = [&](std::string_view line) {
      return PlyTextLayout(source, lines.Number(), vertex, vertices.coordinates, line);
    };
    rows = AppendRows(source, lines, vertex.rows, ofLine, cloud);
  } else {
    const TextLayout layout(Separator::kBlanks, vertices.coordinates, vertex.properties.size());
    const auto same = [&](std::string_view) -> const TextLayout& { return layout; };
    rows = AppendRows(source, lines, vertex.rows, same, cloud);
  }
  if (rows < vertex.rows) FailAtEndOfText(source, lines, vertex, rows);
}

/// Refuses an element of which the rest of the file, from a byte on, cannot hold the promised rows.
void CheckRoom(const Source& source, const PlyElement& element, std::size_t from) {
  const std::size_t row = element.SmallestRow();
  if (row == 0) return;
  const std::size_t room = (source.bytes.size() - from) / row;
  if (element.rows <= room) return;
  source.FailAtByte(source.bytes.size(), "the file ends after " + std::to_string(room) + " of the " +
                                             Counted(element.rows, "row") + " of element " +
                                             Quoted(element.name) + " that begin at byte " +
                                             std::to_string(from) + "; copy or export it again");
}

/// @return the byte after the element
std::size_t SkipBinaryElement(const Source& source, const PlyElement& element, std::endian order,
                              std::size_t from) {
  CheckRoom(source, element, from);
  if (!element.HasList()) return from + element.rows * element.SmallestRow();
  PlyRow row{{}, from};
  for (std::uint64_t i = 0; i < element.rows; ++i) LocatePlyRow(source, element, order, row.end, row);
  return row.end;
}

void ReadRowsWithLists(const Source& source, const PlyElement& vertex,
                       const std::array<std::size_t, 3>& coordinates, std::endian order, std::size_t from,
                       PointCloud& cloud) {
  Reserve(cloud, vertex.rows);
  PlyRow row{{}, from};
  Eigen::Vector3d point;
  for (std::uint64_t i = 0; i < vertex.rows; ++i) {
    LocatePlyRow(source, vertex, order, row.end, row);
    for (std::size_t axis = 0; axis < 3; ++axis) {
      const std::size_t property = coordinates[axis];
      const char* at = source.bytes.data() + row.properties[property];
      point[static_cast<Eigen::Index>(axis)] = LoadNumber(vertex.properties[property].type, at, order);
    }
    AppendPoint(point, cloud);
  }
}

void ReadBinaryBody(const Source& source, const PlyHeader& header, const PlyVertices& vertices,
                    PointCloud& cloud) {
  const std::endian order = header.encoding == "binary_big_endian" ? std::endian::big : std::endian::little;
  std::size_t from = header.end.byte;
  for (std::size_t e = 0; e < vertices.element; ++e) {
    from = SkipBinaryElement(source, header.elements[e], order, from);
  }
  const PlyElement& vertex = header.elements[vertices.element];
  CheckRoom(source, vertex, from);
  if (vertex.HasList()) {
    ReadRowsWithLists(source, vertex, vertices.coordinates, order, from, cloud);
  } else {
    AppendPoints(PlyBinaryLayout(vertex, vertices.coordinates, order), source.bytes.substr(from), cloud);
  }
}

}  // namespace

bool LooksLikePly(std::string_view bytes) {
  return bytes.starts_with("ply") &&
         (bytes.size() == 3 || std::string_view(" \t\r\n").find(bytes[3]) != std::string_view::npos);
}

PointCloud ReadPly(const Source& source) {
  if (!LooksLikePly(source.bytes))
    source.FailAtByte(0, "is no PLY file: it does not begin with the line \"ply\"; check what wrote it");
  const PlyHeader header = ParsePlyHeader(source);
  const PlyVertices vertices = FindPlyVertices(source, header);
  PointCloud cloud;
  cloud.format = "PLY " + header.encoding;
  cloud.fields = FieldsOf(header.elements[vertices.element]);
  if (header.encoding == "ascii") {
    ReadTextBody(source, header, vertices, cloud);
  } else {
    ReadBinaryBody(source, header, vertices, cloud);
  }
  return cloud;
}

}  // namespace primfit::io
