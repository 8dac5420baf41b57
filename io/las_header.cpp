#include "io/las_header.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "io/words.h"

namespace primfit::io {

namespace {

/// Places in the header; those of versions 1.3 and 1.4 follow what every version has.
enum Place : std::size_t {
  kVersionMajor = 24,
  kVersionMinor = 25,
  kHeaderSize = 94,
  kPointsBegin = 96,
  kRecordCount = 100,
  kPointFormat = 104,
  kRecordLength = 105,
  kLegacyPoints = 107,
  kScale = 131,
  kOffset = 155,
  kSmallestHeader = 227,
  kExtendedBegin = 235,  // of 1.4
  kExtendedCount = 243,
  kPoints = 247,
  kSmallestHeader14 = 375
};

/// Bytes of a point of each format without extra bytes.
constexpr std::size_t kPointSizes[] = {20, 28, 26, 34, 57, 63, 30, 36, 38, 59, 67};
constexpr int kCompressed = 0x80;  ///< set in the point format by writers of LAZ

double NumberAt(const Source& source, std::size_t at, ScalarType type) {
  return LoadNumber(type, source.bytes.data() + at, std::endian::little);
}
std::uint64_t CountAt(const Source& source, std::size_t at, std::size_t size) {
  std::uint64_t value = 0;
  for (std::size_t i = size; i-- > 0;) value = value << 8 | static_cast<unsigned char>(source.bytes[at + i]);
  return value;
}

/// A text of fixed length, up to its first zero.
std::string_view TextAt(std::string_view bytes, std::size_t at, std::size_t size) {
  const std::string_view text = bytes.substr(at, size);
  return text.substr(0, text.find('\0'));
}

void CheckScale(const Source& source, const LasHeader& header) {
  for (std::size_t axis = 0; axis < 3; ++axis) {
    if (std::isfinite(header.scale[axis]) && header.scale[axis] != 0 && std::isfinite(header.offset[axis]))
      continue;
    source.FailAtByte(kScale + 8 * axis,
                      std::string("the scale or offset of ") + "XYZ"[axis] +
                          " is no number that coordinates can have; export the file again");
  }
}

void CheckRoom(const Source& source, const LasHeader& header) {
  if (header.pointsBegin > source.bytes.size())
    source.FailAtByte(source.bytes.size(), "the file ends before its points, which begin at byte " +
                                               std::to_string(header.pointsBegin) +
                                               "; copy or export it again");
  const std::uint64_t room = (source.bytes.size() - header.pointsBegin) / header.recordLength;
  if (header.points <= room) return;
  source.FailAtByte(source.bytes.size(),
                    "the file ends after " + std::to_string(room) + " of " + Counted(header.points, "point") +
                        " of " + Counted(header.recordLength, "byte") + "; copy or export it again");
}

int PointFormatOf(const Source& source) {
  const int format = static_cast<unsigned char>(source.bytes[kPointFormat]);
  if ((format & kCompressed) != 0)
    source.FailAtByte(kPointFormat,
                      "the points are compressed (LAZ), which this program does not read; convert it to LAS");
  if (format >= std::ssize(kPointSizes))
    source.FailAtByte(kPointFormat,
                      "point format " + std::to_string(format) + " is none of LAS 1.0 to 1.4 (0 to 10)");
  return format;
}

/// The number of points: versions 1.4 have one of 64 bits, and 0 in the old place where that cannot hold it.
std::uint64_t PointsOf(const Source& source, int minorVersion) {
  const std::uint64_t legacy = CountAt(source, kLegacyPoints, 4);
  if (minorVersion < 4) return legacy;
  const std::uint64_t points = CountAt(source, kPoints, 8);
  if (legacy != 0 && points != 0 && legacy != points)
    source.FailAtByte(kLegacyPoints, "the header promises " + std::to_string(legacy) + " points here and " +
                                         std::to_string(points) + " at byte " + std::to_string(kPoints) +
                                         "; export the file again");
  return points != 0 ? points : legacy;
}

}  // namespace

LasHeader ParseLasHeader(const Source& source) {
  const auto require = [&](std::size_t size) {
    if (source.bytes.size() < size)
      source.FailAtByte(source.bytes.size(), "the file ends inside its header; copy or export it again");
  };
  require(kSmallestHeader);
  const int major = source.bytes[kVersionMajor];
  LasHeader header;
  header.minorVersion = source.bytes[kVersionMinor];
  if (major != 1 || header.minorVersion < 0 || header.minorVersion > 4)
    source.FailAtByte(kVersionMajor, "version " + std::to_string(major) + "." +
                                         std::to_string(header.minorVersion) + " is none of LAS 1.0 to 1.4");
  if (header.minorVersion == 4) require(kSmallestHeader14);
  header.pointFormat = PointFormatOf(source);
  header.pointsBegin = static_cast<std::size_t>(CountAt(source, kPointsBegin, 4));
  if (header.pointsBegin < kSmallestHeader)
    source.FailAtByte(kPointsBegin, "the points are to begin at byte " + std::to_string(header.pointsBegin) +
                                        ", which is inside the header; export the file again");
  header.recordLength = static_cast<std::size_t>(CountAt(source, kRecordLength, 2));
  const std::size_t least = kPointSizes[header.pointFormat];
  if (header.recordLength < least)
    source.FailAtByte(kRecordLength, "a point of format " + std::to_string(header.pointFormat) + " takes " +
                                         std::to_string(least) + " bytes, not " +
                                         std::to_string(header.recordLength) + "; export the file again");
  header.points = PointsOf(source, header.minorVersion);
  for (std::size_t axis = 0; axis < 3; ++axis) {
    header.scale[axis] = NumberAt(source, kScale + 8 * axis, ScalarType::kFloat64);
    header.offset[axis] = NumberAt(source, kOffset + 8 * axis, ScalarType::kFloat64);
  }
  CheckScale(source, header);
  CheckRoom(source, header);
  return header;
}

namespace {

/// The records of one list. @param lengthSize  bytes of a record's length: 2, of extended records 8
void AppendRecords(const Source& source, std::size_t begin, std::uint64_t count, std::size_t lengthSize,
                   std::vector<LasRecord>& records) {
  const std::size_t headSize = 52 + lengthSize;
  const std::size_t size = source.bytes.size();
  for (std::uint64_t i = 0; i < count && begin <= size && size - begin >= headSize; ++i) {
    const std::uint64_t length = CountAt(source, begin + 20, lengthSize);
    const std::size_t data = begin + headSize;
    if (length > size - data) return;
    records.push_back({TextAt(source.bytes, begin + 2, 16), static_cast<int>(CountAt(source, begin + 18, 2)),
                       source.bytes.substr(data, static_cast<std::size_t>(length))});
    begin = data + static_cast<std::size_t>(length);
  }
}

/// The fields of a point format.
std::vector<Field> StandardFields(int format) {
  const bool legacy = format < 6;
  std::vector<Field> fields = {{"X", "int32"}, {"Y", "int32"}, {"Z", "int32"}, {"intensity", "uint16"}};
  const char* bits = legacy ? "3 bits" : "4 bits";
  fields.push_back({"return_number", bits});
  fields.push_back({"number_of_returns", bits});
  fields.push_back({"classification", legacy ? "5 bits" : "uint8"});
  fields.push_back({"scan_angle", legacy ? "int8" : "int16"});
  fields.push_back({"user_data", "uint8"});
  fields.push_back({"point_source_id", "uint16"});
  const auto is = [&](std::initializer_list<int> formats) {
    return std::find(formats.begin(), formats.end(), format) != formats.end();
  };
  if (is({1, 3, 4, 5, 6, 7, 8, 9, 10})) fields.push_back({"gps_time", "float64"});
  if (is({2, 3, 5, 7, 8, 10}))
    for (const char* colour : {"red", "green", "blue"}) fields.push_back({colour, "uint16"});
  if (is({8, 10})) fields.push_back({"near_infrared", "uint16"});
  if (is({4, 5, 9, 10})) fields.push_back({"wave_packet", "29 bytes"});
  return fields;
}

}  // namespace

std::vector<LasRecord> FindLasRecords(const Source& source, const LasHeader& header) {
  std::vector<LasRecord> records;
  AppendRecords(source, static_cast<std::size_t>(CountAt(source, kHeaderSize, 2)),
                CountAt(source, kRecordCount, 4), 2, records);
  if (header.minorVersion == 4) {
    const std::uint64_t begin = CountAt(source, kExtendedBegin, 8);
    if (begin >= header.pointsBegin && begin < source.bytes.size())
      AppendRecords(source, static_cast<std::size_t>(begin), CountAt(source, kExtendedCount, 4), 8, records);
  }
  return records;
}

std::vector<Field> LasFields(const LasHeader& header, const std::vector<LasRecord>& records) {
  constexpr std::size_t kDescription = 192;
  constexpr const char* kTypes[] = {"bytes", "uint8",  "int8",  "uint16",  "int16",  "uint32",
                                    "int32", "uint64", "int64", "float32", "float64"};
  std::vector<Field> fields = StandardFields(header.pointFormat);
  for (const LasRecord& record : records) {
    if (record.user != "LASF_Spec" || record.id != 4) continue;
    for (std::size_t at = 0; at + kDescription <= record.data.size(); at += kDescription) {
      const auto type = static_cast<unsigned char>(record.data[at + 2]);
      fields.push_back(
          {std::string(TextAt(record.data, at + 4, 32)), type < std::size(kTypes) ? kTypes[type] : ""});
    }
  }
  return fields;
}

BinaryLayout LasLayout(const LasHeader& header) {
  BinaryLayout layout{static_cast<std::size_t>(header.points), {}, std::endian::little};
  for (std::size_t axis = 0; axis < 3; ++axis) {
    layout.coordinates[axis] = {4 * axis, header.recordLength, ScalarType::kInt32};
  }
  layout.scale = header.scale;
  layout.offset = header.offset;
  return layout;
}

}  // namespace primfit::io
