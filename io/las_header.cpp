#include "io/las_header.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "io/scalar.h"
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
                      "the points are compressed (LAZ), which this program reads only with a library that "
                      "its host adds; unpack them, such as with: pdal translate in.laz out.las");
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

}  // namespace primfit::io
