// PLY (Turk 1994, Stanford triangle format): the element "vertex".
#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "io/formats.h"
#include "io/rows.h"
#include "io/scalar.h"
#include "io/words.h"

namespace primfit::io {

namespace {

struct Property {
  std::string name;
  Scalar type;
  std::optional<Scalar> count;  // type of a list's length
  std::size_t SmallestSize() const { return SizeOf(count.value_or(type)); }
};

struct Element {
  std::string name;
  std::uint64_t count;
  std::vector<Property> properties;

  bool HasList() const {
    return std::any_of(properties.begin(), properties.end(),
                       [](const Property& p) { return p.count.has_value(); });
  }
  /// Bytes of a row; with lists, of one whose lists are empty.
  std::size_t SmallestRow() const {
    std::size_t size = 0;
    for (const Property& p : properties) size += p.SmallestSize();
    return size;
  }
};

struct Header {
  std::string encoding;
  std::vector<Element> elements;
};

using Axes = std::array<std::size_t, 3>;  // index of the properties x, y, z

class PlyReader {
 public:
  explicit PlyReader(const Source& source) : source_(source), lines_(source.bytes) {}

  PointCloud Read() {
    ReadHeader();
    const auto vertex = std::find_if(header_.elements.begin(), header_.elements.end(),
                                     [](const Element& e) { return e.name == "vertex"; });
    if (vertex == header_.elements.end())
      FailHere("the header has no element \"vertex\"; the file holds no points");
    const Axes axes = FindAxes(*vertex);
    for (const Property& p : vertex->properties) {
      cloud_.fields.push_back({p.name, (p.count ? "list of " : "") + std::string(NameOf(p.type))});
    }
    cloud_.format = "PLY " + header_.encoding;
    if (header_.encoding == "ascii") {
      for (auto e = header_.elements.begin(); e != vertex; ++e) SkipAsciiElement(*e);
      ReadAsciiVertices(*vertex, axes);
    } else {
      order_ = header_.encoding == "binary_big_endian" ? std::endian::big : std::endian::little;
      std::size_t at = lines_.Offset();
      for (auto e = header_.elements.begin(); e != vertex; ++e) at = SkipBinaryElement(*e, at);
      ReadBinaryVertices(*vertex, axes, at);
    }
    return std::move(cloud_);
  }

 private:
  [[noreturn]] void FailHere(const std::string& reason) const { source_.FailAtLine(lines_.Number(), reason); }

  void ReadHeader() {
    for (std::string_view line; lines_.NextFilled(line);) {
      FieldCursor fields(line, Separator::kBlanks);
      std::string_view keyword;
      fields.Next(keyword);
      if (keyword == "end_header") {
        if (header_.encoding.empty())
          FailHere("the header ends without a \"format\" line; export the file again");
        return;
      }
      if (keyword == "format") {
        ReadFormat(fields);
      } else if (keyword == "element") {
        ReadElement(fields);
      } else if (keyword == "property") {
        ReadProperty(fields);
      } else if (keyword != "ply" && keyword != "comment" && keyword != "obj_info") {
        FailHere(Quoted(keyword) + " is no entry of a PLY header; correct the line or export the file again");
      }
    }
    FailHere("the file ends before \"end_header\"; copy or export it again");
  }

  void ReadFormat(FieldCursor& fields) {
    std::string_view encoding;
    fields.Next(encoding);
    if (encoding != "ascii" && encoding != "binary_little_endian" && encoding != "binary_big_endian") {
      FailHere("unknown format " + Quoted(encoding) +
               "; PLY has ascii, binary_little_endian, binary_big_endian");
    }
    header_.encoding = encoding;
  }

  void ReadElement(FieldCursor& fields) {
    std::string_view name;
    std::string_view number;
    fields.Next(name);
    fields.Next(number);
    const std::optional<std::uint64_t> count = ParseCount(number);
    if (!count) FailHere("element " + Quoted(name) + " has no count; " + Quoted(number) + " is not one");
    header_.elements.push_back({std::string(name), *count, {}});
  }

  void ReadProperty(FieldCursor& fields) {
    if (header_.elements.empty())
      FailHere("a property stands before the first element; export the file again");
    std::string_view word;
    std::optional<Scalar> count;
    fields.Next(word);
    if (word == "list") {
      count = ReadType(fields, word);
      fields.Next(word);
    }
    const std::optional<Scalar> type = ScalarByName(word);
    std::string_view name;
    if (!type || !fields.Next(name))
      FailHere(Quoted(word) + " is no type of PLY, or the property has no name");
    header_.elements.back().properties.push_back({std::string(name), *type, count});
  }

  Scalar ReadType(FieldCursor& fields, std::string_view& word) const {
    fields.Next(word);
    const std::optional<Scalar> type = ScalarByName(word);
    if (!type || *type == Scalar::kFloat32 || *type == Scalar::kFloat64) {
      FailHere(Quoted(word) + " is no integer type of PLY, as the length of a list needs");
    }
    return *type;
  }

  Axes FindAxes(const Element& vertex) const {
    constexpr std::array<std::string_view, 3> kNames = {"x", "y", "z"};
    Axes axes{};
    for (std::size_t axis = 0; axis < 3; ++axis) {
      const auto at =
          std::find_if(vertex.properties.begin(), vertex.properties.end(),
                       [&](const Property& p) { return p.name == kNames[axis] && !p.count.has_value(); });
      if (at == vertex.properties.end()) {
        FailHere("the element \"vertex\" has no number " + Quoted(kNames[axis]) +
                 "; export the file with x, y and z");
      }
      axes[axis] = static_cast<std::size_t>(at - vertex.properties.begin());
    }
    return axes;
  }

  // ---- ascii: a row a line ----

  void SkipAsciiElement(const Element& e) {
    if (e.properties.empty()) return;
    std::string_view line;
    for (std::uint64_t i = 0; i < e.count; ++i) {
      if (!lines_.NextFilled(line)) FailAsciiEnd(e, i);
    }
  }

  void ReadAsciiVertices(const Element& vertex, const Axes& axes) {
    const std::size_t most = MostRows(source_.bytes.size() - lines_.Offset(), vertex.properties.size());
    if (vertex.count > most) {
      FailHere("the header promises " + Counted(vertex.count, "point") +
               ", but the rest of the file has room for " + std::to_string(most) +
               " at most; copy or export it again");
    }
    Reserve(cloud_, vertex.count);
    const bool hasList = vertex.HasList();
    RowShape shape(Separator::kBlanks, axes, vertex.properties.size());
    std::string_view line;
    Eigen::Vector3d point;
    for (std::uint64_t i = 0; i < vertex.count; ++i) {
      if (!lines_.NextFilled(line)) FailAsciiEnd(vertex, i);
      if (hasList) shape = ShapeOfLine(vertex, axes, line);
      if (!shape.Read(line, point)) FailHere(shape.Fault(line));
      AppendPoint(point, cloud_);
    }
  }

  /// Lists move the fields behind them.
  RowShape ShapeOfLine(const Element& vertex, const Axes& axes, std::string_view line) const {
    Axes columns{};
    FieldCursor fields(line, Separator::kBlanks);
    std::size_t column = 0;
    for (std::size_t k = 0; k < vertex.properties.size(); ++k) {
      for (std::size_t axis = 0; axis < 3; ++axis) {
        if (axes[axis] == k) columns[axis] = column;
      }
      ++column;
      std::string_view field;
      const bool present = fields.Next(field);
      if (!vertex.properties[k].count || !present) continue;
      const std::optional<std::uint64_t> length = ParseCount(field);
      if (!length) FailHere(Quoted(field) + " is no length of the list " + Quoted(vertex.properties[k].name));
      // No line is longer than the file: whatever exceeds it is reported as too few values.
      column += static_cast<std::size_t>(std::min<std::uint64_t>(*length, source_.bytes.size()));
      fields.Skip(static_cast<std::size_t>(std::min<std::uint64_t>(*length, line.size())));
    }
    return {Separator::kBlanks, columns, column};
  }

  [[noreturn]] void FailAsciiEnd(const Element& e, std::uint64_t rows) const {
    FailHere("the file ends after " + std::to_string(rows) + " of the " + Counted(e.count, "row") +
             " of element " + Quoted(e.name) + "; copy or export it again");
  }

  // ---- binary ----

  std::size_t SkipBinaryElement(const Element& e, std::size_t at) const {
    CheckRoom(e, at);
    if (!e.HasList()) return at + e.count * e.SmallestRow();
    for (std::uint64_t i = 0; i < e.count; ++i) {
      at = WalkRow(e, at, [](std::size_t, const char*) {});
    }
    return at;
  }

  void ReadBinaryVertices(const Element& vertex, const Axes& axes, std::size_t at) {
    CheckRoom(vertex, at);
    if (vertex.HasList()) return ReadVaryingRows(vertex, axes, at);
    std::array<Column, 3> columns{};
    for (std::size_t axis = 0; axis < 3; ++axis) {
      std::size_t offset = 0;
      for (std::size_t k = 0; k < axes[axis]; ++k) offset += vertex.properties[k].SmallestSize();
      columns[axis] = {source_.bytes.data() + at + offset, vertex.SmallestRow(),
                       vertex.properties[axes[axis]].type};
    }
    AppendPoints(columns, order_, vertex.count, cloud_);
  }

  void ReadVaryingRows(const Element& vertex, const Axes& axes, std::size_t at) {
    Reserve(cloud_, vertex.count);
    Eigen::Vector3d point;
    for (std::uint64_t i = 0; i < vertex.count; ++i) {
      at = WalkRow(vertex, at, [&](std::size_t property, const char* value) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
          if (axes[axis] != property) continue;
          point[static_cast<Eigen::Index>(axis)] = Load(vertex.properties[property].type, value, order_);
        }
      });
      AppendPoint(point, cloud_);
    }
  }

  /// A row with lists, from a byte on. visit(index, address) sees every property that is no list.
  /// @return the byte after it
  template <class Visit>
  std::size_t WalkRow(const Element& e, std::size_t at, Visit visit) const {
    const auto need = [&](double bytes) {
      if (bytes > static_cast<double>(source_.bytes.size() - at)) {
        source_.FailAtByte(at,
                           "the file ends inside element " + Quoted(e.name) + "; copy or export it again");
      }
    };
    for (std::size_t k = 0; k < e.properties.size(); ++k) {
      const Property& p = e.properties[k];
      need(static_cast<double>(p.SmallestSize()));
      const char* value = source_.bytes.data() + at;
      at += p.SmallestSize();
      if (!p.count) {
        visit(k, value);
        continue;
      }
      const double length = Load(*p.count, value, order_);
      if (length < 0) source_.FailAtByte(at, "the list " + Quoted(p.name) + " has a negative length");
      const double bytes = length * static_cast<double>(SizeOf(p.type));
      need(bytes);
      at += static_cast<std::size_t>(bytes);
    }
    return at;
  }

  void CheckRoom(const Element& e, std::size_t at) const {
    const std::size_t row = e.SmallestRow();
    if (row == 0 || e.count <= (source_.bytes.size() - at) / row) return;
    source_.FailAtByte(source_.bytes.size(),
                       "the file ends after " + std::to_string((source_.bytes.size() - at) / row) +
                           " of the " + Counted(e.count, "row") + " of element " + Quoted(e.name) +
                           " that begin at byte " + std::to_string(at) + "; copy or export it again");
  }

  Source source_;
  LineReader lines_;
  Header header_;
  std::endian order_ = std::endian::little;
  PointCloud cloud_;
};

}  // namespace

bool LooksLikePly(std::string_view bytes) {
  return bytes.starts_with("ply") &&
         (bytes.size() == 3 || std::string_view(" \t\r\n").find(bytes[3]) != std::string_view::npos);
}

PointCloud ReadPly(const Source& source) {
  if (!LooksLikePly(source.bytes))
    source.FailAtByte(0, "is no PLY file: it does not begin with the line \"ply\"; check what wrote it");
  return PlyReader(source).Read();
}

}  // namespace primfit::io
