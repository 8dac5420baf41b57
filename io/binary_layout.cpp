// Decoding goes block by block, and within a block column by column. Blocks are so small that their rows stay
// in the first-level cache meanwhile, so that each byte comes from memory once.
#include "io/binary_layout.h"

#include <algorithm>
#include <cstdint>

#include "io/attributes.h"

namespace primfit::io {

namespace {

/// Decodes a column.
/// @param out   where the first value goes
/// @param step  doubles from there to the place of the next
void DecodeColumn(const Column& column, std::endian order, const char* at, std::size_t n, double* out,
                  std::size_t step) {
  LoadNumbers({at, column.stride, column.type}, order, n, out, step);
  if (column.bits != 0) {
    const std::uint64_t mask = (std::uint64_t{1} << column.bits) - 1;
    for (std::size_t i = 0; i < n; ++i) {
      const auto number = static_cast<std::uint64_t>(out[i * step]);
      out[i * step] = static_cast<double>(number >> column.firstBit & mask);
    }
  }
  if (column.scale == 1 && column.origin == 0) return;
  for (std::size_t i = 0; i < n; ++i) out[i * step] = column.scale * out[i * step] + column.origin;
}

}  // namespace

std::vector<Field> FieldsOf(const std::vector<NamedColumn>& columns) {
  std::vector<Field> fields;
  for (const NamedColumn& c : columns) fields.push_back(c.field);
  return fields;
}

std::vector<Column> ColumnsOf(const Source& source, const std::vector<NamedColumn>& columns,
                              const ReadRequest& request) {
  std::vector<Column> found;
  for (const std::size_t k : FindAttributes(source, FieldsOf(columns), request.attributes)) {
    if (!columns[k].column)
      throw ReadError(source.name, "",
                      "the attribute " + Quoted(columns[k].field.name) + " is no number (" +
                          columns[k].field.type + "); choose another one");
    found.push_back(*columns[k].column);
  }
  return found;
}

void DecodePoints(const BinaryLayout& layout, std::string_view body, std::size_t first, PointBlock& block) {
  const std::size_t n = block.points.size();
  if (n == 0) return;
  const auto begin = [&](const Column& c) { return body.data() + c.offset + first * c.stride; };
  for (std::size_t axis = 0; axis < 3; ++axis) {
    const Column& column = layout.coordinates[axis];
    DecodeColumn(column, layout.order, begin(column), n, block.points.front().data() + axis, 3);
  }
  for (std::size_t k = 0; k < layout.attributes.size(); ++k) {
    const Column& column = layout.attributes[k];
    DecodeColumn(column, layout.order, begin(column), n, block.attributes[k].data(), 1);
  }
}

void StreamPoints(const BinaryLayout& layout, const Source& source, std::size_t body, PointSink& sink) {
  sink.Expect(layout.points);
  // Columns that stand one after the other are all needed to the end.
  const std::size_t row = layout.coordinates[0].stride;
  const bool byRow = std::all_of(layout.coordinates.begin(), layout.coordinates.end(),
                                 [&](const Column& c) { return c.stride == row && c.offset < row; });
  PointBlock block;
  block.attributes.resize(layout.attributes.size());
  for (std::size_t first = 0; first < layout.points; first += PointBlock::kMostPoints) {
    block.Resize(std::min(PointBlock::kMostPoints, layout.points - first));
    DecodePoints(layout, source.bytes.substr(body), first, block);
    sink.Take(block);
    if (byRow) source.DoneBefore(body + first * row);
  }
}

}  // namespace primfit::io
