// PCD, the format of the Point Cloud Library, versions 0.5 to 0.7.
#include <lzf.h>

#include <algorithm>
#include <array>
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

struct PcdField {
  std::string name;
  std::uint64_t size = 0;
  char kind = 0;
  std::uint64_t count = 1;
  std::uint64_t Bytes() const { return size * count; }
};

std::optional<Scalar> TypeOf(const PcdField& field) {
  const std::string bits = std::to_string(8 * field.size);
  switch (field.kind) {
    case 'I':
      return ScalarByName("int" + bits);
    case 'U':
      return ScalarByName("uint" + bits);
    case 'F':
      return ScalarByName("float" + bits);
    default:
      return std::nullopt;
  }
}

class PcdReader {
 public:
  explicit PcdReader(const Source& source) : source_(source), lines_(source.bytes) {}

  PointCloud Read() {
    ReadHeader();
    FindAxes();
    for (const PcdField& field : fields_) {
      const std::optional<Scalar> type = TypeOf(field);
      if (!type) {
        FailHere("the field " + Quoted(field.name) +
                 " has no type and size of PCD (I, U with 1, 2, 4, 8 or F with 4, 8)");
      }
      cloud_.fields.push_back({field.name, std::string(NameOf(*type))});
    }
    points_ = PointCount();
    cloud_.format = "PCD " + data_;
    if (data_ == "ascii") {
      ReadAscii();
    } else if (data_ == "binary") {
      ReadBinary();
    } else {
      ReadCompressed();
    }
    return std::move(cloud_);
  }

 private:
  [[noreturn]] void FailHere(const std::string& reason) const { source_.FailAtLine(lines_.Number(), reason); }

  void ReadHeader() {
    for (std::string_view line; lines_.NextFilled(line);) {
      FieldCursor values(line, Separator::kBlanks);
      std::string_view keyword;
      values.Next(keyword);
      if (keyword.starts_with('#') || keyword == "VERSION" || keyword == "VIEWPOINT") continue;
      if (keyword == "DATA") return ReadEncoding(values);
      if (keyword == "FIELDS" || keyword == "COLUMNS") {
        fields_.clear();
        for (std::string_view name; values.Next(name);) fields_.push_back({std::string(name)});
      } else if (keyword == "SIZE") {
        EachField(keyword, values, [&](PcdField& f, std::string_view v) { f.size = Number(keyword, v); });
      } else if (keyword == "TYPE") {
        EachField(keyword, values,
                  [](PcdField& f, std::string_view v) { f.kind = v.size() == 1 ? v[0] : '\0'; });
      } else if (keyword == "COUNT") {
        EachField(keyword, values, [&](PcdField& f, std::string_view v) { f.count = Number(keyword, v); });
      } else if (keyword == "WIDTH" || keyword == "HEIGHT" || keyword == "POINTS") {
        std::string_view value;
        values.Next(value);
        (keyword == "WIDTH" ? width_ : keyword == "HEIGHT" ? height_ : pointsLine_) = Number(keyword, value);
      } else {
        FailHere(Quoted(keyword) + " is no entry of a PCD header; correct the line or export the file again");
      }
    }
    FailHere("the file ends before the \"DATA\" line of its header; copy or export it again");
  }

  template <class Set>
  void EachField(std::string_view keyword, FieldCursor& values, Set set) {
    std::string_view value;
    for (PcdField& field : fields_) {
      if (!values.Next(value)) FailHere(std::string(keyword) + " has fewer values than FIELDS has names");
      set(field, value);
    }
    if (values.Next(value)) FailHere(std::string(keyword) + " has more values than FIELDS has names");
  }

  /// Sizes beyond 32 bits make no sense here, and below them sums and products cannot overflow.
  std::uint64_t Number(std::string_view keyword, std::string_view value) const {
    const std::optional<std::uint64_t> number = ParseCount(value);
    if (!number || *number > UINT32_MAX)
      FailHere(std::string(keyword) + " " + Quoted(value) + " is not a number of 32 bits");
    return *number;
  }

  void ReadEncoding(FieldCursor& values) {
    std::string_view encoding;
    values.Next(encoding);
    if (encoding != "ascii" && encoding != "binary" && encoding != "binary_compressed") {
      FailHere("unknown DATA " + Quoted(encoding) + "; PCD has ascii, binary, binary_compressed");
    }
    data_ = encoding;
  }

  void FindAxes() {
    constexpr std::array<std::string_view, 3> kNames = {"x", "y", "z"};
    for (std::size_t axis = 0; axis < 3; ++axis) {
      const auto at = std::find_if(fields_.begin(), fields_.end(),
                                   [&](const PcdField& f) { return f.name == kNames[axis] && f.count > 0; });
      if (at == fields_.end()) {
        FailHere("the header has no field " + Quoted(kNames[axis]) + "; export the file with x, y and z");
      }
      axes_[axis] = static_cast<std::size_t>(at - fields_.begin());
    }
  }

  std::uint64_t PointCount() const {
    const std::optional<std::uint64_t> grid =
        width_ ? std::optional(*width_ * height_.value_or(1)) : std::nullopt;
    if (!grid && !pointsLine_) FailHere("the header has neither POINTS nor WIDTH; export the file again");
    if (grid && pointsLine_ && *grid != *pointsLine_) {
      FailHere("POINTS is " + std::to_string(*pointsLine_) + ", but WIDTH times HEIGHT is " +
               std::to_string(*grid) + "; correct the header");
    }
    return pointsLine_ ? *pointsLine_ : *grid;
  }

  void ReadAscii() {
    std::uint64_t perLine = 0;
    std::array<std::size_t, 3> columns{};
    for (std::size_t k = 0; k < fields_.size(); ++k) {
      for (std::size_t axis = 0; axis < 3; ++axis) {
        if (axes_[axis] == k) columns[axis] = perLine;
      }
      perLine += fields_[k].count;
    }
    const std::size_t most = MostRows(source_.bytes.size() - lines_.Offset(), perLine);
    if (points_ > most) {
      FailHere("the header promises " + Counted(points_, "point") +
               ", but the rest of the file has room for " + std::to_string(most) +
               " at most; copy or export it again");
    }
    Reserve(cloud_, points_);
    const RowShape shape(Separator::kBlanks, columns, perLine);
    std::string_view line;
    Eigen::Vector3d point;
    for (std::uint64_t i = 0; i < points_; ++i) {
      if (!lines_.NextFilled(line)) {
        FailHere("the file ends after " + std::to_string(i) + " of " + Counted(points_, "point") +
                 "; copy or export it again");
      }
      if (!shape.Read(line, point)) FailHere(shape.Fault(line));
      AppendPoint(point, cloud_);
    }
  }

  void ReadBinary() {
    const std::uint64_t row = RowBytes();
    const std::size_t at = lines_.Offset();
    const std::size_t room = (source_.bytes.size() - at) / row;
    if (points_ > room) {
      source_.FailAtByte(source_.bytes.size(), "the file ends after " + std::to_string(room) + " of " +
                                                   Counted(points_, "point") + " of " + Counted(row, "byte") +
                                                   " from byte " + std::to_string(at) +
                                                   " on; copy or export it again");
    }
    std::array<Column, 3> columns{};
    for (std::size_t axis = 0; axis < 3; ++axis) {
      columns[axis] = {source_.bytes.data() + at + BytesBefore(axes_[axis]), row,
                       *TypeOf(fields_[axes_[axis]])};
    }
    AppendPoints(columns, std::endian::little, points_, cloud_);
  }

  /// Two lengths of 32 bits, then the LZF stream of all values of the first field, all of the second, ...
  void ReadCompressed() {
    const std::size_t at = lines_.Offset();
    if (source_.bytes.size() - at < 8) {
      source_.FailAtByte(source_.bytes.size(),
                         "the file ends before the lengths of its compressed data; copy it again");
    }
    const char* head = source_.bytes.data() + at;
    const auto packed = static_cast<std::size_t>(Load(Scalar::kUint32, head, std::endian::little));
    const auto unpacked = static_cast<std::size_t>(Load(Scalar::kUint32, head + 4, std::endian::little));
    if (packed > source_.bytes.size() - at - 8) {
      source_.FailAtByte(source_.bytes.size(), "the file ends inside its " + std::to_string(packed) +
                                                   " bytes of compressed data; copy or export it again");
    }
    DropPaddingUnless(unpacked);
    // A back-reference of LZF, three bytes, stands for 264 bytes at most; a promise beyond that is not
    // believed.
    constexpr std::size_t kMostExpansion = 88;
    if (!Fills(unpacked) || unpacked / kMostExpansion > packed) {
      source_.FailAtByte(at, "the compressed data promise " + Counted(unpacked, "byte") + ", which are not " +
                                 Counted(points_, "point") + " of " + Counted(RowBytes(), "byte") +
                                 "; export the file again");
    }
    std::vector<char> values(unpacked);
    if (unpacked > 0 && lzf_decompress(head + 8, static_cast<unsigned>(packed), values.data(),
                                       static_cast<unsigned>(unpacked)) != unpacked) {
      source_.FailAtByte(at + 8, "the compressed data are damaged; copy or export the file again");
    }
    std::array<Column, 3> columns{};
    for (std::size_t axis = 0; axis < 3; ++axis) {
      const PcdField& field = fields_[axes_[axis]];
      columns[axis] = {values.data() + BytesBefore(axes_[axis]) * points_, field.Bytes(), *TypeOf(field)};
    }
    AppendPoints(columns, std::endian::little, points_, cloud_);
  }

  /// Most writers name padding fields "_" but leave their bytes out of the compressed data; the size tells.
  void DropPaddingUnless(std::size_t unpacked) {
    if (Fills(unpacked)) return;
    for (PcdField& field : fields_) {
      if (field.name == "_") field.count = 0;
    }
  }

  /// Whether all points take just so many bytes; divided, since the product may exceed 64 bits.
  bool Fills(std::size_t bytes) const { return bytes % RowBytes() == 0 && bytes / RowBytes() == points_; }

  std::uint64_t BytesBefore(std::size_t field) const {
    std::uint64_t bytes = 0;
    for (std::size_t k = 0; k < field; ++k) bytes += fields_[k].Bytes();
    return bytes;
  }
  std::uint64_t RowBytes() const { return BytesBefore(fields_.size()); }

  Source source_;
  LineReader lines_;
  std::vector<PcdField> fields_;
  std::array<std::size_t, 3> axes_{};
  std::optional<std::uint64_t> width_;
  std::optional<std::uint64_t> height_;
  std::optional<std::uint64_t> pointsLine_;
  std::string data_;
  std::uint64_t points_ = 0;
  PointCloud cloud_;
};

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

PointCloud ReadPcd(const Source& source) { return PcdReader(source).Read(); }

}  // namespace primfit::io
