// PLY (Turk 1994, Stanford triangle format). Only the element "vertex" matters here; elements before it are
// skipped, and what follows it is not looked at. The stages: header (ply_header.h), the layout of a row
// (ply_rows.h), the points.
#include <bit>
#include <cstdint>
#include <string>
#include <vector>

#include "io/attributes.h"
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

/// The indices of x, y and z among the properties, then those of the attributes that a request names.
std::vector<std::size_t> PropertiesOf(const Source& source, const PlyElement& vertex,
                                      const PlyVertices& vertices, const ReadRequest& request) {
  std::vector<std::size_t> properties(vertices.coordinates.begin(), vertices.coordinates.end());
  for (const std::size_t k : FindAttributes(source, FieldsOf(vertex), request.attributes)) {
    if (vertex.properties[k].IsList())
      throw ReadError(
          source.name, "",
          "the attribute " + Quoted(vertex.properties[k].name) + " is a list; choose another one");
    properties.push_back(k);
  }
  return properties;
}

void ReadTextBody(const Source& source, const PlyHeader& header, std::size_t element,
                  const std::vector<std::size_t>& properties, PointSink& sink) {
  LineReader lines(source.bytes, header.end);
  for (std::size_t e = 0; e < element; ++e) SkipTextElement(source, header.elements[e], lines);
  const PlyElement& vertex = header.elements[element];
  CheckRoomForRows(source, lines.Place(), vertex.rows, vertex.properties.size());
  sink.Expect(vertex.rows);
  const std::size_t attributes = properties.size() - 3;
  std::uint64_t rows = 0;
  if (vertex.HasList()) {
    const auto ofLine = [&](std::string_view line) {
      return PlyTextLayout(source, lines.Number(), vertex, properties, line);
    };
    rows = StreamRows(source, lines, vertex.rows, ofLine, attributes, sink);
  } else {
    const TextLayout layout(Separator::kBlanks, properties, vertex.properties.size());
    const auto same = [&](std::string_view) -> const TextLayout& { return layout; };
    rows = StreamRows(source, lines, vertex.rows, same, attributes, sink);
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
                       const std::vector<std::size_t>& properties, std::endian order, std::size_t from,
                       PointSink& sink) {
  sink.Expect(vertex.rows);
  PlyRow row{{}, from};
  BlockBuilder block(properties.size() - 3, sink);
  std::vector<double> values(properties.size());
  for (std::uint64_t i = 0; i < vertex.rows; ++i) {
    LocatePlyRow(source, vertex, order, row.end, row);
    for (std::size_t v = 0; v < properties.size(); ++v) {
      const std::size_t property = properties[v];
      const char* at = source.bytes.data() + row.properties[property];
      values[v] = LoadNumber(vertex.properties[property].type, at, order);
    }
    block.Add(values.data());
  }
  block.Flush();
}

void ReadBinaryBody(const Source& source, const PlyHeader& header, std::size_t element,
                    const std::vector<std::size_t>& properties, PointSink& sink) {
  const std::endian order = header.encoding == "binary_big_endian" ? std::endian::big : std::endian::little;
  std::size_t from = header.end.byte;
  for (std::size_t e = 0; e < element; ++e) from = SkipBinaryElement(source, header.elements[e], order, from);
  const PlyElement& vertex = header.elements[element];
  CheckRoom(source, vertex, from);
  if (vertex.HasList()) {
    ReadRowsWithLists(source, vertex, properties, order, from, sink);
  } else {
    StreamPoints(PlyBinaryLayout(vertex, properties, order), source, from, sink);
  }
}

}  // namespace

bool LooksLikePly(std::string_view bytes) {
  return bytes.starts_with("ply") &&
         (bytes.size() == 3 || std::string_view(" \t\r\n").find(bytes[3]) != std::string_view::npos);
}

FileHead ReadPly(const Source& source, const ReadRequest& request, PointSink& sink) {
  if (!LooksLikePly(source.bytes))
    source.FailAtByte(0, "is no PLY file: it does not begin with the line \"ply\"; check what wrote it");
  const PlyHeader header = ParsePlyHeader(source);
  const PlyVertices vertices = FindPlyVertices(source, header);
  const PlyElement& vertex = header.elements[vertices.element];
  const std::vector<std::size_t> properties = PropertiesOf(source, vertex, vertices, request);
  FileHead head;
  head.format = "PLY " + header.encoding;
  head.fields = FieldsOf(vertex);
  if (header.encoding == "ascii") {
    ReadTextBody(source, header, vertices.element, properties, sink);
  } else {
    ReadBinaryBody(source, header, vertices.element, properties, sink);
  }
  return head;
}

}  // namespace primfit::io
