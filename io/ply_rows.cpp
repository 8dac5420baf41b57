// The length of a list comes from the file and may be any number. It is therefore compared with what is left
// of the file before it is added to a place: in binary rows as a double, which overflows for no length; in
// text after it is cut down to the size of the file.
#include "io/ply_rows.h"

#include <algorithm>
#include <optional>

namespace primfit::io {

BinaryLayout PlyBinaryLayout(const PlyElement& element, const std::vector<std::size_t>& properties,
                             std::endian order) {
  std::vector<Column> columns;
  for (const std::size_t property : properties) {
    std::size_t offset = 0;
    for (std::size_t k = 0; k < property; ++k) offset += element.properties[k].SmallestSize();
    columns.push_back({offset, element.SmallestRow(), element.properties[property].type});
  }
  return {element.rows, {columns[0], columns[1], columns[2]}, {columns.begin() + 3, columns.end()}, order};
}

TextLayout PlyTextLayout(const Source& source, std::size_t line, const PlyElement& element,
                         const std::vector<std::size_t>& properties, std::string_view text) {
  std::vector<std::size_t> columns(properties.size());
  FieldCursor fields(text, Separator::kBlanks);
  std::size_t column = 0;
  for (std::size_t k = 0; k < element.properties.size(); ++k) {
    for (std::size_t v = 0; v < properties.size(); ++v) {
      if (properties[v] == k) columns[v] = column;
    }
    ++column;
    std::string_view field;
    const bool present = fields.Next(field);
    const PlyProperty& property = element.properties[k];
    if (!property.IsList() || !present) continue;
    const std::optional<std::uint64_t> length = ParseCount(field);
    if (!length) {
      source.FailAtLine(line, Quoted(field) + " is no length of the list " + Quoted(property.name));
    }
    // No line is longer than the file: whatever exceeds it is reported as too few values.
    column += static_cast<std::size_t>(std::min<std::uint64_t>(*length, source.bytes.size()));
    fields.Skip(static_cast<std::size_t>(std::min<std::uint64_t>(*length, text.size())));
  }
  return {Separator::kBlanks, columns, column};
}

void LocatePlyRow(const Source& source, const PlyElement& element, std::endian order, std::size_t begin,
                  PlyRow& row) {
  std::size_t at = begin;
  const auto need = [&](double bytes) {
    if (bytes <= static_cast<double>(source.bytes.size() - at)) return;
    source.FailAtByte(at,
                      "the file ends inside element " + Quoted(element.name) + "; copy or export it again");
  };
  row.properties.resize(element.properties.size());
  for (std::size_t k = 0; k < element.properties.size(); ++k) {
    const PlyProperty& property = element.properties[k];
    const std::size_t size = property.SmallestSize();
    need(static_cast<double>(size));
    row.properties[k] = at;
    at += size;
    if (!property.IsList()) continue;
    const double length = LoadNumber(*property.lengthType, source.bytes.data() + row.properties[k], order);
    if (length < 0) source.FailAtByte(at, "the list " + Quoted(property.name) + " has a negative length");
    const double bytes = length * static_cast<double>(SizeOf(property.type));
    need(bytes);
    at += static_cast<std::size_t>(bytes);
  }
  row.end = at;
}

}  // namespace primfit::io
