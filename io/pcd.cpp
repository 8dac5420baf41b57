// PCD, the format of the Point Cloud Library. The stages: header and layout (pcd_header.h); for
// "binary_compressed", the values unpacked; the points. Every length that the file states is compared with
// the bytes that are there before memory is taken for it.
#include <lzf.h>

#include <bit>
#include <cstdint>
#include <string>
#include <vector>

#include "io/attributes.h"
#include "io/formats.h"
#include "io/pcd_header.h"
#include "io/words.h"

namespace primfit::io {

namespace {

void ReadTextBody(const Source& source, const TextPlace& begin, const PcdPoints& points,
                  const ReadRequest& request, PointSink& sink) {
  CheckRoomForRows(source, begin, points.number, points.RowValues());
  sink.Expect(points.number);
  LineReader lines(source.bytes, begin);
  const std::vector<Field> fields = FieldsOf(PcdColumns(points, PcdRowColumn));
  std::vector<std::size_t> attributes = FindAttributes(source, fields, request.attributes);
  for (const std::size_t k : attributes) {
    if (k >= points.fields.size())
      throw ReadError(source.name, "",
                      "the colours are packed into one number, which text does not keep; export the file as "
                      "DATA binary");
  }
  const TextLayout layout = PcdTextLayout(points, attributes);
  const auto same = [&](std::string_view) -> const TextLayout& { return layout; };
  const std::uint64_t rows = StreamRows(source, lines, points.number, same, attributes.size(), sink);
  if (rows == points.number) return;
  source.FailAtLine(lines.Number(), "the file ends after " + std::to_string(rows) + " of " +
                                        Counted(points.number, "point") + "; copy or export it again");
}

void ReadBinaryBody(const Source& source, std::size_t begin, const PcdPoints& points,
                    const ReadRequest& request, PointSink& sink) {
  const std::uint64_t row = points.RowBytes();
  const std::size_t room = (source.bytes.size() - begin) / row;
  if (points.number > room) {
    source.FailAtByte(source.bytes.size(), "the file ends after " + std::to_string(room) + " of " +
                                               Counted(points.number, "point") + " of " +
                                               Counted(row, "byte") + " from byte " + std::to_string(begin) +
                                               " on; copy or export it again");
  }
  BinaryLayout layout = PcdRowLayout(points);
  layout.attributes = ColumnsOf(source, PcdColumns(points, PcdRowColumn), request);
  StreamPoints(layout, source, begin, sink);
}

/// The compressed body: two lengths of 32 bits, then a stream of LZF.
struct PackedValues {
  std::string_view stream;
  std::size_t unpackedSize;
};

PackedValues FindPackedValues(const Source& source, std::size_t begin) {
  constexpr std::size_t kLengths = 8;
  if (source.bytes.size() - begin < kLengths) {
    source.FailAtByte(source.bytes.size(),
                      "the file ends before the lengths of its compressed data; copy it again");
  }
  const auto length = [&](std::size_t at) {
    return static_cast<std::size_t>(
        LoadNumber(ScalarType::kUint32, source.bytes.data() + at, std::endian::little));
  };
  const std::size_t packed = length(begin);
  if (packed > source.bytes.size() - begin - kLengths) {
    source.FailAtByte(source.bytes.size(), "the file ends inside its " + std::to_string(packed) +
                                               " bytes of compressed data; copy or export it again");
  }
  return {source.bytes.substr(begin + kLengths, packed), length(begin + 4)};
}

/// Whether all points together take so many bytes; divided, since the product may exceed 64 bits.
bool TakeExactly(const PcdPoints& points, std::size_t bytes) {
  return bytes % points.RowBytes() == 0 && bytes / points.RowBytes() == points.number;
}

/// The same without the fields "_", with which writers fill gaps between the others.
PcdPoints WithoutPadding(PcdPoints points) {
  for (PcdField& field : points.fields) {
    if (field.name == "_") field.count = 0;
  }
  return points;
}

std::vector<char> Unpack(const Source& source, std::size_t begin, const PackedValues& packed,
                         const PcdPoints& points) {
  // A back-reference of LZF, three bytes, stands for 264 bytes at most; a promise beyond that is not
  // believed.
  constexpr std::size_t kMostExpansion = 88;
  if (!TakeExactly(points, packed.unpackedSize) ||
      packed.unpackedSize / kMostExpansion > packed.stream.size()) {
    source.FailAtByte(begin, "the compressed data promise " + Counted(packed.unpackedSize, "byte") +
                                 ", which are not " + Counted(points.number, "point") + " of " +
                                 Counted(points.RowBytes(), "byte") + "; export the file again");
  }
  std::vector<char> values(packed.unpackedSize);
  if (values.empty()) return values;
  const auto size = [](std::size_t bytes) { return static_cast<unsigned>(bytes); };
  if (lzf_decompress(packed.stream.data(), size(packed.stream.size()), values.data(), size(values.size())) !=
      values.size()) {
    source.FailAtByte(begin + 8, "the compressed data are damaged; copy or export the file again");
  }
  return values;
}

void ReadCompressedBody(const Source& source, std::size_t begin, PcdPoints points, const ReadRequest& request,
                        PointSink& sink) {
  const PackedValues packed = FindPackedValues(source, begin);
  // Most writers leave the bytes of padding out of the compressed data although the header names it; the size
  // tells.
  if (!TakeExactly(points, packed.unpackedSize)) points = WithoutPadding(std::move(points));
  const std::vector<char> values = Unpack(source, begin, packed, points);
  BinaryLayout layout = PcdColumnLayout(points);
  layout.attributes = ColumnsOf(source, PcdColumns(points, PcdFieldColumn), request);
  StreamPoints(layout, {source.name, {values.data(), values.size()}}, 0, sink);
}

}  // namespace

bool LooksLikePcd(std::string_view bytes) {
  if (bytes.starts_with("# .PCD")) return true;
  LineReader lines(bytes);
  for (std::string_view line; lines.NextFilled(line);) {
    line = Trimmed(line);
    if (!line.starts_with('#')) return line.starts_with("VERSION ") || line.starts_with("VERSION\t");
  }
  return false;
}

FileHead ReadPcd(const Source& source, const ReadRequest& request, PointSink& sink) {
  const PcdHeader header = ParsePcdHeader(source);
  const PcdPoints points = FindPcdPoints(source, header);
  FileHead head;
  head.format = "PCD " + header.encoding;
  for (const NamedColumn& c : PcdColumns(points, PcdRowColumn)) {
    if (head.fields.size() < points.fields.size()) head.fields.push_back(c.field);
  }
  if (header.viewpoint) head.scans.push_back({points.number, header.viewpoint});
  if (header.encoding == "ascii") {
    ReadTextBody(source, header.end, points, request, sink);
  } else if (header.encoding == "binary") {
    ReadBinaryBody(source, header.end.byte, points, request, sink);
  } else {
    ReadCompressedBody(source, header.end.byte, points, request, sink);
  }
  return head;
}

}  // namespace primfit::io
