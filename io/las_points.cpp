// The point formats are tables: values in the order in which they stand, each with its size. Formats 0 to 5
// have 20 bytes in common and formats 6 to 10 have 30; time, colours and wave packets follow in that order.
#include "io/las_points.h"

#include <cstring>
#include <iterator>
#include <string>
#include <utility>

namespace primfit::io {

namespace {

constexpr int kFirstOfVersion14 = 6;  // point format from which on the bytes are arranged anew

/// A value that a point format has at a fixed byte.
struct Value {
  const char* name;
  std::size_t offset;
  ScalarType type;
  unsigned firstBit = 0;
  unsigned bits = 0;
};

constexpr Value kOldValues[] = {{"intensity", 12, ScalarType::kUint16},
                                {"return_number", 14, ScalarType::kUint8, 0, 3},
                                {"number_of_returns", 14, ScalarType::kUint8, 3, 3},
                                {"classification", 15, ScalarType::kUint8, 0, 5},
                                {"scan_angle", 16, ScalarType::kInt8},
                                {"user_data", 17, ScalarType::kUint8},
                                {"point_source_id", 18, ScalarType::kUint16}};
constexpr Value kNewValues[] = {{"intensity", 12, ScalarType::kUint16},
                                {"return_number", 14, ScalarType::kUint8, 0, 4},
                                {"number_of_returns", 14, ScalarType::kUint8, 4, 4},
                                {"scanner_channel", 15, ScalarType::kUint8, 4, 2},
                                {"classification", 16, ScalarType::kUint8},
                                {"user_data", 17, ScalarType::kUint8},
                                {"scan_angle", 18, ScalarType::kInt16},
                                {"point_source_id", 20, ScalarType::kUint16}};

/// What may follow these, in this order.
struct Parts {
  bool time, colours, nearInfrared, wavePacket;
};
constexpr Parts kParts[] = {
    {false, false, false, false}, {true, false, false, false}, {false, true, false, false},
    {true, true, false, false},   {true, false, false, true},  {true, true, false, true},
    {true, false, false, false},  {true, true, false, false},  {true, true, true, false},
    {true, false, false, true},   {true, true, true, true}};

/// Columns that stand one after the other.
class Columns {
 public:
  Columns(const LasHeader& header, std::size_t begin) : stride_(header.recordLength), at_(begin) {}

  void Append(const std::string& name, ScalarType type, double scale = 1, double origin = 0) {
    if (at_ + SizeOf(type) <= stride_)
      columns_.push_back({{name, std::string(NameOf(type))}, Column{at_, stride_, type, scale, origin}});
    at_ += SizeOf(type);
  }
  void AppendBytes(const std::string& name, std::size_t bytes) {
    columns_.push_back({{name, std::to_string(bytes) + " bytes"}, std::nullopt});
    at_ += bytes;
  }
  void AppendAt(const Value& v) {
    std::string type(NameOf(v.type));
    if (v.bits != 0) type = std::to_string(v.bits) + " bits";
    columns_.push_back({{v.name, type}, Column{v.offset, stride_, v.type, 1, 0, v.firstBit, v.bits}});
  }
  std::vector<NamedColumn> Take() { return std::move(columns_); }

 private:
  std::size_t stride_;
  std::size_t at_;
  std::vector<NamedColumn> columns_;
};

void AppendStandard(const LasHeader& header, Columns& columns) {
  if (header.pointFormat < kFirstOfVersion14) {
    for (const Value& v : kOldValues) columns.AppendAt(v);
  } else {
    for (const Value& v : kNewValues) columns.AppendAt(v);
  }
  constexpr std::size_t kWavePacket = 29;
  const Parts parts = kParts[header.pointFormat];
  if (parts.time) columns.Append("gps_time", ScalarType::kFloat64);
  if (parts.colours) {
    for (const char* colour : {"red", "green", "blue"}) columns.Append(colour, ScalarType::kUint16);
  }
  if (parts.nearInfrared) columns.Append("near_infrared", ScalarType::kUint16);
  if (parts.wavePacket) columns.AppendBytes("wave_packet", kWavePacket);
}

double Float64At(std::string_view bytes, std::size_t at) {
  return LoadNumber(ScalarType::kFloat64, bytes.data() + at, std::endian::little);
}

/// The value that one description of the record "extra bytes" is about.
void AppendExtra(std::string_view description, Columns& columns) {
  constexpr std::size_t kType = 2, kOptions = 3, kName = 4, kNameSize = 32, kScale = 112, kOffset = 136;
  constexpr unsigned kHasScale = 8, kHasOffset = 16;
  constexpr ScalarType kTypes[] = {ScalarType::kUint8,  ScalarType::kInt8,   ScalarType::kUint16,
                                   ScalarType::kInt16,  ScalarType::kUint32, ScalarType::kInt32,
                                   ScalarType::kUint64, ScalarType::kInt64,  ScalarType::kFloat32,
                                   ScalarType::kFloat64};
  const auto type = static_cast<unsigned char>(description[kType]);
  const auto options = static_cast<unsigned char>(description[kOptions]);
  std::string name(description.substr(kName, kNameSize));
  name.resize(std::strlen(name.c_str()));
  if (type == 0) return columns.AppendBytes(name, options);
  const std::size_t elements = 1 + (type - 1U) / std::size(kTypes);  // 2 and 3 are of older versions
  const ScalarType scalar = kTypes[(type - 1U) % std::size(kTypes)];
  for (std::size_t k = 0; k < elements; ++k) {
    const double scale = (options & kHasScale) != 0 ? Float64At(description, kScale + 8 * k) : 1;
    const double origin = (options & kHasOffset) != 0 ? Float64At(description, kOffset + 8 * k) : 0;
    columns.Append(elements == 1 ? name : name + "_" + std::to_string(k), scalar, scale, origin);
  }
}

}  // namespace

std::vector<NamedColumn> LasColumns(const LasHeader& header, const std::vector<LasRecord>& records) {
  constexpr std::size_t kDescription = 192;  // bytes
  constexpr int kExtraBytes = 4;             // record
  constexpr int kMostTypes = 30;
  Columns columns(header, header.pointFormat < kFirstOfVersion14 ? 20 : 22);
  AppendStandard(header, columns);
  for (const LasRecord& record : records) {
    if (record.user != "LASF_Spec" || record.id != kExtraBytes) continue;
    for (std::size_t at = 0; at + kDescription <= record.data.size(); at += kDescription) {
      const std::string_view description = record.data.substr(at, kDescription);
      if (static_cast<unsigned char>(description[2]) > kMostTypes) break;  // its size is not known
      AppendExtra(description, columns);
    }
  }
  std::vector<NamedColumn> all;
  const BinaryLayout layout = LasLayout(header);
  for (std::size_t axis = 0; axis < 3; ++axis)
    all.push_back({{std::string(1, "XYZ"[axis]), "int32"}, layout.coordinates[axis]});
  for (NamedColumn& c : columns.Take()) all.push_back(std::move(c));
  return all;
}

Column LasWithheldColumn(const LasHeader& header) {
  const unsigned bit = header.pointFormat < kFirstOfVersion14 ? 7 : 2;
  return {15, header.recordLength, ScalarType::kUint8, 1, 0, bit, 1};
}

BinaryLayout LasLayout(const LasHeader& header) {
  BinaryLayout layout{static_cast<std::size_t>(header.points), {}, {}, std::endian::little};
  for (std::size_t axis = 0; axis < 3; ++axis) {
    layout.coordinates[axis] = {4 * axis, header.recordLength, ScalarType::kInt32, header.scale[axis],
                                header.offset[axis]};
  }
  return layout;
}

}  // namespace primfit::io
