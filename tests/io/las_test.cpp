// LAS files are built here byte by byte from the tables of the format, so that a mistake in the
// reader's own table of places shows.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "io/las_reference.h"
#include "io/read_points.h"

namespace {

using primfit::io::CoordinateReference;
using primfit::io::PointCloud;
using primfit::io::ReadError;

template <class T>
void Put(std::string& bytes, std::size_t at, T value) {
  if (bytes.size() < at + sizeof(T)) bytes.resize(at + sizeof(T));
  std::memcpy(bytes.data() + at, &value, sizeof(T));  // the machine is little-endian as the format is
}

struct Record {
  const char* user;
  std::uint16_t id;
  std::string data;
};

struct LasFile {
  int minor = 2;
  int format = 0;
  int extraBytes = 0;
  std::vector<Record> records{}, extended{};
  double scale = 0.001;
  double offset = 400000;
  std::vector<std::array<std::int32_t, 3>> points = {{1, 2, 3}, {-4000, 5250, -6125}, {2147483647, 0, 1}};

  std::string Bytes() const {
    constexpr int kSizes[] = {20, 28, 26, 34, 57, 63, 30, 36, 38, 59, 67};
    const std::size_t head = minor == 4 ? 375 : minor == 3 ? 235 : 227;
    std::string bytes(head, '\0');
    bytes.replace(0, 4, "LASF");
    bytes[24] = 1;
    bytes[25] = static_cast<char>(minor);
    Put(bytes, 94, static_cast<std::uint16_t>(head));
    Put(bytes, 100, static_cast<std::uint32_t>(records.size()));
    bytes[104] = static_cast<char>(format);
    const int size = kSizes[format] + extraBytes;
    Put(bytes, 105, static_cast<std::uint16_t>(size));
    Put(bytes, 107, static_cast<std::uint32_t>(format < 6 ? points.size() : 0));
    for (std::size_t axis = 0; axis < 3; ++axis) {
      Put(bytes, 131 + 8 * axis, scale);
      Put(bytes, 155 + 8 * axis, offset);
    }
    for (const Record& record : records) Append(record, 2, bytes);
    Put(bytes, 96, static_cast<std::uint32_t>(bytes.size()));
    for (const auto& p : points) {
      const std::size_t at = bytes.size();
      bytes.resize(at + static_cast<std::size_t>(size), '\x51');
      for (std::size_t axis = 0; axis < 3; ++axis) Put(bytes, at + 4 * axis, p[axis]);
    }
    if (minor == 4) {
      Put(bytes, 235, static_cast<std::uint64_t>(bytes.size()));
      Put(bytes, 243, static_cast<std::uint32_t>(extended.size()));
      Put(bytes, 247, static_cast<std::uint64_t>(points.size()));
      for (const Record& record : extended) Append(record, 8, bytes);
    }
    return bytes;
  }

 private:
  static void Append(const Record& record, std::size_t lengthSize, std::string& bytes) {
    const std::size_t at = bytes.size();
    bytes.resize(at + 52 + lengthSize, '\0');
    bytes.replace(at + 2, std::strlen(record.user), record.user);
    Put(bytes, at + 18, record.id);
    Put(bytes, at + 20, static_cast<std::uint16_t>(record.data.size()));
    bytes += record.data;
  }
};

std::uint32_t Get32(const std::string& bytes, std::size_t at) {
  std::uint32_t value = 0;
  std::memcpy(&value, bytes.data() + at, sizeof value);
  return value;
}

PointCloud Parse(const std::string& bytes, const std::vector<std::string>& attributes = {}) {
  return primfit::io::ParsePoints(primfit::io::NativeReaders(), "a.las", bytes, {attributes, {}});
}
std::string FaultOf(const std::string& bytes) {
  try {
    return std::to_string(Parse(bytes).points.size()) + " points";
  } catch (const ReadError& error) {
    return error.what();
  }
}

TEST(Las, ReadsEveryVersionAndPointFormat) {
  for (int minor = 0; minor <= 4; ++minor) {
    for (int format = 0; format <= 10; ++format) {
      const LasFile file{.minor = minor, .format = format, .extraBytes = format % 3};
      if (format >= 6 && minor < 4) continue;  // they came with 1.4
      const PointCloud cloud = Parse(file.Bytes());
      ASSERT_EQ(cloud.points.size(), 3U) << minor << ' ' << format;
      for (std::size_t i = 0; i < 3; ++i) {
        for (int axis = 0; axis < 3; ++axis)
          EXPECT_EQ(cloud.points[i][axis], 0.001 * file.points[i][static_cast<std::size_t>(axis)] + 400000);
      }
      EXPECT_EQ(cloud.fields[3].name, "intensity");
      EXPECT_EQ(cloud.fields.back().name, format % 5 >= 4 || format == 5 || format == 10 ? "wave_packet"
                                          : format == 8                                  ? "near_infrared"
                                          : format == 0                                  ? "point_source_id"
                                          : format == 1 || format == 6                   ? "gps_time"
                                                                                         : "blue");
    }
  }
}

TEST(Las, TellsExtraBytesByTheirNames) {
  std::string description(192, '\0');
  description[2] = 9;  // float32
  description.replace(4, 9, "amplitude");
  const LasFile file{.extraBytes = 4, .records = {{"LASF_Spec", 4, description}}};
  const PointCloud cloud = Parse(file.Bytes());
  EXPECT_EQ(cloud.fields.back().name, "amplitude");
  EXPECT_EQ(cloud.fields.back().type, "float32");
}

TEST(Las, ReadsAttributesOfEveryPointFormat) {
  using Values = std::vector<double>;
  const std::vector<std::string> names = {
      "intensity", "return_number", "number_of_returns", "classification", "scan_angle", "user_data", "scan"};
  for (int format = 0; format <= 10; ++format) {
    const bool old = format < 6;
    std::string bytes = LasFile{.minor = 4, .format = format}.Bytes();
    const auto begin = static_cast<std::size_t>(Get32(bytes, 96));
    Put(bytes, begin + 12, std::uint16_t{60000});
    bytes[begin + 14] = static_cast<char>(old ? 0b11'101'010 : 0b1101'1010);
    bytes[begin + 15] = static_cast<char>(old ? 0b011'00110 : 0b1111'1011);
    if (old) {
      bytes[begin + 16] = -90;
      bytes[begin + 17] = static_cast<char>(250);
      Put(bytes, begin + 18, std::uint16_t{4660});
    } else {
      bytes[begin + 16] = static_cast<char>(200);
      bytes[begin + 17] = static_cast<char>(250);
      Put(bytes, begin + 18, static_cast<std::uint16_t>(-30000));
      Put(bytes, begin + 20, std::uint16_t{4660});
    }
    const Values expected =
        old ? Values{60000, 2, 5, 6, -90, 250, 4660} : Values{60000, 10, 13, 200, -30000, 250, 4660};
    const PointCloud cloud = Parse(bytes, names);
    for (std::size_t k = 0; k < names.size(); ++k)
      EXPECT_EQ(cloud.attributes[k][0], expected[k]) << names[k] << " of format " << format;
  }
}

TEST(Las, ReadsTimeAndColoursWhereTheyStand) {
  // Places in formats 0 to 10 of the time, of red and of the near infrared; 0 for none.
  constexpr std::size_t kTime[] = {0, 20, 0, 20, 20, 20, 22, 22, 22, 22, 22};
  constexpr std::size_t kRed[] = {0, 0, 20, 28, 0, 28, 0, 30, 30, 0, 30};
  constexpr std::size_t kInfrared[] = {0, 0, 0, 0, 0, 0, 0, 0, 36, 0, 36};
  for (std::size_t format = 0; format <= 10; ++format) {
    std::string bytes = LasFile{.minor = 4, .format = static_cast<int>(format)}.Bytes();
    const auto begin = static_cast<std::size_t>(Get32(bytes, 96));
    const auto expectReads = [&](const char* name, std::size_t place, auto value) {
      if (place == 0) return;
      Put(bytes, begin + place, value);
      EXPECT_EQ(Parse(bytes, {name}).attributes[0][0], value) << name << " of format " << format;
    };
    expectReads("time", kTime[format], 1234.5);
    expectReads("blue", kRed[format] == 0 ? 0 : kRed[format] + 4, std::uint16_t{777});
    expectReads("near_infrared", kInfrared[format], std::uint16_t{555});
  }
}

TEST(Las, LeavesWithheldPointsOut) {
  for (const int format : {0, 6}) {
    std::string bytes = LasFile{.minor = 4, .format = format}.Bytes();
    const auto begin = static_cast<std::size_t>(Get32(bytes, 96));
    bytes[begin + 15] = static_cast<char>(format == 0 ? 0x80 : 0x04);
    const PointCloud cloud = Parse(bytes, {"user_data"});
    EXPECT_EQ(cloud.points.size(), 2U) << format;
    EXPECT_EQ(cloud.attributes[0].size(), 2U) << format;
    EXPECT_EQ(cloud.marked, 1U) << format;
  }
}

TEST(Las, ExtraBytesHaveScaleAndOffset) {
  std::string scaled(192, '\0'), pair(192, '\0');
  scaled[2] = 4;       // int16
  scaled[3] = 8 + 16;  // with scale and offset
  scaled.replace(4, 9, "Amplitude");
  Put(scaled, 112, 0.5);
  Put(scaled, 136, 100.0);
  pair[2] = 11;  // two uint8
  pair.replace(4, 4, "pair");
  const LasFile file{.extraBytes = 4, .records = {{"LASF_Spec", 4, scaled + pair}}};
  std::string bytes = file.Bytes();
  const auto first = static_cast<std::size_t>(Get32(bytes, 96)) + 20;
  Put(bytes, first, static_cast<std::uint16_t>(-6));
  bytes[first + 3] = 9;
  const PointCloud cloud = Parse(bytes, {"amplitude", "pair_1"});
  EXPECT_EQ(cloud.attributes[0][0], 97);
  EXPECT_EQ(cloud.attributes[1][0], 9);
}

std::string GeoKeys(const std::vector<std::array<std::uint16_t, 4>>& keys) {
  std::string bytes;
  Put(bytes, 0, std::uint16_t{1});
  Put(bytes, 2, std::uint16_t{1});
  Put(bytes, 4, std::uint16_t{0});
  Put(bytes, 6, static_cast<std::uint16_t>(keys.size()));
  for (const auto& key : keys) {
    for (const std::uint16_t number : key) Put(bytes, bytes.size(), number);
  }
  return bytes;
}

TEST(Las, KeepsUnitAndCoordinateSystem) {
  constexpr double kSurveyFoot = 1200.0 / 3937.0;
  const std::string text =
      "COMPD_CS[\"NAD83 / Ohio North + NAVD88\",PROJCS[\"NAD83 / Ohio "
      "North\",GEOGCS[\"NAD83\",UNIT[\"degree\","
      "0.0174532925199433]],UNIT[\"US survey "
      "foot\",0.304800609601219]],VERT_CS[\"NAVD88\",UNIT[\"metre\",1]]]";
  struct Case {
    LasFile file;
    CoordinateReference expected;
  };
  const Case cases[] = {
      {{}, {0, 0, ""}},
      {{.records = {{"LASF_Projection", 34735, GeoKeys({{3072, 0, 1, 25832}, {3076, 0, 1, 9001}})}}},
       {1, 0, "EPSG:25832"}},
      {{.records = {{"LASF_Projection", 34735,
                     GeoKeys({{3073, 34737, 6, 3}, {3076, 0, 1, 9003}, {4099, 0, 1, 9002}})},
                    {"LASF_Projection", 34737, "ab|Ohio N|"}}},
       {kSurveyFoot, 0.3048, "Ohio N"}},
      {{.minor = 4, .extended = {{"LASF_Projection", 2112, text}}},
       {0.304800609601219, 1, "NAD83 / Ohio North + NAVD88"}},
      {{.records = {{"LASF_Projection", 2112, "GEOGCS[\"WGS 84\",UNIT[\"degree\",0.017]]"}}},
       {0, 0, "WGS 84"}},
      // A value behind the end of the text, and a directory that is cut short.
      {{.records = {{"LASF_Projection", 34735, GeoKeys({{3073, 34737, 6, 300}})}}}, {0, 0, ""}},
      {{.records = {{"LASF_Projection", 34735, "abc"}}}, {0, 0, ""}},
  };
  for (const Case& c : cases) {
    const CoordinateReference got = Parse(c.file.Bytes()).reference;
    EXPECT_EQ(got.system, c.expected.system);
    EXPECT_DOUBLE_EQ(got.horizontalMetres, c.expected.horizontalMetres) << got.system;
    EXPECT_DOUBLE_EQ(got.verticalMetres, c.expected.verticalMetres) << got.system;
  }
}

TEST(Las, FaultsAreToldWithPlaceAndReason) {
  const auto changed = [](LasFile file, auto change) {
    std::string bytes = file.Bytes();
    change(bytes);
    return bytes;
  };
  const LasFile plain;
  struct Case {
    std::string bytes;
    const char* fault;
  };
  const Case cases[] = {
      {plain.Bytes().substr(0, 226), "byte 226: the file ends inside its header"},
      {LasFile{.minor = 4}.Bytes().substr(0, 300), "byte 300: the file ends inside its header"},
      {changed(plain, [](std::string& b) { b[25] = 5; }), "version 1.5 is none of LAS 1.0 to 1.4"},
      {changed(plain, [](std::string& b) { b[104] = static_cast<char>(0x83); }),
       "the points are compressed (LAZ)"},
      {changed(plain, [](std::string& b) { b[104] = 11; }), "point format 11 is none"},
      {changed(plain, [](std::string& b) { b[105] = 19; }), "a point of format 0 takes 20 bytes, not 19"},
      {changed(plain, [](std::string& b) { Put(b, 96, std::uint32_t{100}); }), "which is inside the header"},
      {changed(plain, [](std::string& b) { Put(b, 96, std::uint32_t{100000}); }),
       "the file ends before its points"},
      {changed(plain, [](std::string& b) { Put(b, 107, std::uint32_t{4}); }),
       "byte 287: the file ends after 3 of 4 points of 20 bytes"},
      {changed(plain, [](std::string& b) { Put(b, 139, 0.0); }), "byte 139: the scale or offset of Y"},
      {changed(plain, [](std::string& b) { Put(b, 155, std::nan("")); }),
       "byte 131: the scale or offset of X"},
      {changed({.minor = 4}, [](std::string& b) { Put(b, 247, std::uint64_t{2}); }),
       "the header promises 3 points here and 2 at byte 247"},
      {changed({.minor = 4, .format = 6}, [](std::string& b) { Put(b, 247, ~std::uint64_t{0}); }),
       "the file ends after 3 of 18446744073709551615 points"},
  };
  for (const Case& c : cases)
    EXPECT_NE(FaultOf(c.bytes).find(c.fault), std::string::npos) << FaultOf(c.bytes);
}

TEST(Las, RecordsThatAreCutShortLeaveThePoints) {
  std::string bytes = LasFile{.records = {{"LASF_Projection", 34735, "abcd"}}}.Bytes();
  Put(bytes, 227 + 20, std::uint16_t{65535});  // the record's length
  Put(bytes, 100, ~std::uint32_t{0});          // number of records
  EXPECT_EQ(FaultOf(bytes), "3 points");
}

}  // namespace
