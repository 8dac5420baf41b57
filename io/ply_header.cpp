// One function for each kind of entry. Entries are checked as they are read, because an error can then name
// the line that has to be corrected. What only the whole header shows (whether there are vertices, and
// whether they have x, y and z) is checked at its end.
#include "io/ply_header.h"

#include <algorithm>

#include "io/header_line.h"

namespace primfit::io {

namespace {

std::string ParseEncoding(HeaderLine& line) {
  std::string_view encoding;
  line.values.Next(encoding);
  if (encoding != "ascii" && encoding != "binary_little_endian" && encoding != "binary_big_endian") {
    line.Fail("unknown format " + Quoted(encoding) +
              "; PLY has ascii, binary_little_endian, binary_big_endian");
  }
  return std::string(encoding);
}

PlyElement ParseElement(HeaderLine& line) {
  std::string_view name;
  std::string_view number;
  line.values.Next(name);
  line.values.Next(number);
  const std::optional<std::uint64_t> rows = ParseCount(number);
  if (!rows) line.Fail("element " + Quoted(name) + " has no count; " + Quoted(number) + " is not one");
  return {std::string(name), *rows, {}};
}

ScalarType LengthTypeByName(const HeaderLine& line, std::string_view name) {
  const std::optional<ScalarType> type = ScalarTypeByName(name);
  if (!type || *type == ScalarType::kFloat32 || *type == ScalarType::kFloat64) {
    line.Fail(Quoted(name) + " is no integer type of PLY, as the length of a list needs");
  }
  return *type;
}

/// "float x", or "list uchar int vertex_indices": the type of the length, that of what the list holds, the
/// name.
PlyProperty ParseProperty(HeaderLine& line) {
  std::string_view word;
  std::optional<ScalarType> lengthType;
  line.values.Next(word);
  if (word == "list") {
    line.values.Next(word);
    lengthType = LengthTypeByName(line, word);
    line.values.Next(word);
  }
  const std::optional<ScalarType> type = ScalarTypeByName(word);
  std::string_view name;
  if (!type || !line.values.Next(name))
    line.Fail(Quoted(word) + " is no type of PLY, or the property has no name");
  return {std::string(name), *type, lengthType};
}

void ParseEntry(HeaderLine& line, PlyHeader& header) {
  if (line.keyword == "format") {
    header.encoding = ParseEncoding(line);
  } else if (line.keyword == "element") {
    header.elements.push_back(ParseElement(line));
  } else if (line.keyword == "property") {
    if (header.elements.empty())
      line.Fail("a property stands before the first element; export the file again");
    header.elements.back().properties.push_back(ParseProperty(line));
  } else if (line.keyword != "ply" && line.keyword != "comment" && line.keyword != "obj_info") {
    line.Fail(Quoted(line.keyword) +
              " is no entry of a PLY header; correct the line or export the file again");
  }
}

}  // namespace

bool PlyElement::HasList() const {
  return std::any_of(properties.begin(), properties.end(), [](const PlyProperty& p) { return p.IsList(); });
}

std::size_t PlyElement::SmallestRow() const {
  std::size_t size = 0;
  for (const PlyProperty& p : properties) size += p.SmallestSize();
  return size;
}

PlyHeader ParsePlyHeader(const Source& source) {
  PlyHeader header;
  LineReader lines(source.bytes);
  for (std::string_view text; lines.NextFilled(text);) {
    HeaderLine line(source, lines, text);
    if (line.keyword == "end_header") {
      if (header.encoding.empty())
        line.Fail("the header ends without a \"format\" line; export the file again");
      header.end = lines.Place();
      return header;
    }
    ParseEntry(line, header);
  }
  source.FailAtLine(lines.Number(), "the file ends before \"end_header\"; copy or export it again");
}

PlyVertices FindPlyVertices(const Source& source, const PlyHeader& header) {
  const auto vertex = std::find_if(header.elements.begin(), header.elements.end(),
                                   [](const PlyElement& e) { return e.name == "vertex"; });
  if (vertex == header.elements.end()) {
    source.FailAtLine(header.end.line, "the header has no element \"vertex\"; the file holds no points");
  }
  PlyVertices vertices{static_cast<std::size_t>(vertex - header.elements.begin())};
  for (std::size_t axis = 0; axis < 3; ++axis) {
    const auto at =
        std::find_if(vertex->properties.begin(), vertex->properties.end(),
                     [&](const PlyProperty& p) { return p.name == kAxisNames[axis] && !p.IsList(); });
    if (at == vertex->properties.end()) {
      source.FailAtLine(header.end.line, "the element \"vertex\" has no number " + Quoted(kAxisNames[axis]) +
                                             "; export the file with x, y and z");
    }
    vertices.coordinates[axis] = static_cast<std::size_t>(at - vertex->properties.begin());
  }
  return vertices;
}

}  // namespace primfit::io
