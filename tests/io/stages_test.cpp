// The stages of the readers, each alone: headers as data, the layouts that follow from them, blocks of rows
// decoded.
#include <gtest/gtest.h>

#include <cmath>

#include "io/binary_layout.h"
#include "io/pcd_header.h"
#include "io/ply_rows.h"
#include "support/point_files.h"

namespace {

namespace io = primfit::io;
using io::Column;
using io::ScalarType;
using point_files::Packed;
using point_files::PlyHeader;

constexpr std::endian kLittle = std::endian::little;
constexpr std::endian kBig = std::endian::big;
using Indices = std::array<std::size_t, 3>;

template <class Stage>
std::string ErrorOf(const Stage& stage) {
  try {
    stage();
  } catch (const io::ReadError& error) {
    return error.what();
  }
  return "no error";
}

struct MalformedHeader {
  std::string header;
  const char* error;
};

TEST(PlyHeader, ThatIsMalformedIsToldInFull) {
  const MalformedHeader rows[] = {
      {"ply\nelement vertex 1", "a: line 2: the file ends before \"end_header\"; copy or export it again"},
      {"ply\n\nformat ascii2 1.0",
       "a: line 3: unknown format \"ascii2\"; PLY has ascii, binary_little_endian, binary_big_endian"},
      {"ply\nformat",
       "a: line 2: unknown format \"\"; PLY has ascii, binary_little_endian, binary_big_endian"},
      {"ply\nelement vertex", "a: line 2: element \"vertex\" has no count; \"\" is not one"},
      {"ply\nelement 7", "a: line 2: element \"7\" has no count; \"\" is not one"},
      {"ply\nelement v 18446744073709551616",
       "a: line 2: element \"v\" has no count; \"18446744073709551616\" is not one"},
      {"ply\nproperty int x", "a: line 2: a property stands before the first element; export the file again"},
      {"ply\nelement v 1\nproperty int", "a: line 3: \"int\" is no type of PLY, or the property has no name"},
      {"ply\nelement v 1\nproperty list",
       "a: line 3: \"list\" is no integer type of PLY, as the length of a list needs"},
      {"ply\nelement v 1\nproperty list uchar",
       "a: line 3: \"uchar\" is no type of PLY, or the property has no name"},
      {"ply\nelement v 1\nproperty list uchar text s",
       "a: line 3: \"text\" is no type of PLY, or the property has no name"},
      {"ply\nelement v 1\nproperty list double int s",
       "a: line 3: \"double\" is no integer type of PLY, as the length of a list needs"},
      {"ply\nFormat ascii 1.0",
       "a: line 2: \"Format\" is no entry of a PLY header; correct the line or export the file again"},
      {"ply\nend_header", "a: line 2: the header ends without a \"format\" line; export the file again"},
      {PlyHeader("ascii", "face 1: int x"),
       "a: line 5: the header has no element \"vertex\"; the file holds no points"},
      {PlyHeader("ascii", "vertex 1: int x, list int int y, int z"),
       "a: line 7: the element \"vertex\" has no number \"y\"; export the file with x, y and z"},
  };
  for (const auto& [header, error] : rows) {
    const io::Source source{"a", header};
    EXPECT_EQ(ErrorOf([&] { io::FindPlyVertices(source, io::ParsePlyHeader(source)); }), error);
  }
}

TEST(PcdHeader, ThatIsMalformedIsToldInFull) {
  const std::string xyz = "FIELDS x y z\nSIZE 4 4 4\nTYPE F F F\n";
  const MalformedHeader rows[] = {
      {xyz, "a: line 3: the file ends before the \"DATA\" line of its header; copy or export it again"},
      {xyz + "DATA", "a: line 4: unknown DATA \"\"; PCD has ascii, binary, binary_compressed"},
      {xyz + "DATUM ascii",
       "a: line 4: \"DATUM\" is no entry of a PCD header; correct the line or export the file again"},
      {"SIZE 4 4 4\n" + xyz, "a: line 1: SIZE has more values than FIELDS has names"},
      {xyz + "COUNT 1 1", "a: line 4: COUNT has fewer values than FIELDS has names"},
      {xyz + "COUNT 1 1 4294967296", "a: line 4: COUNT \"4294967296\" is not a number of 32 bits"},
      {xyz + "SIZE 4 four 4", "a: line 4: SIZE \"four\" is not a number of 32 bits"},
      {xyz + "POINTS", "a: line 4: POINTS \"\" is not a number of 32 bits"},
      {xyz + "HEIGHT 1.5", "a: line 4: HEIGHT \"1.5\" is not a number of 32 bits"},
      {xyz + "COUNT 1 0 1\nPOINTS 1\nDATA ascii",
       "a: line 6: the header has no field \"y\"; export the file with x, y and z"},
      {xyz + "TYPE F F f\nPOINTS 1\nDATA ascii",
       "a: line 6: the field \"z\" has no type and size of PCD (I, U with 1, 2, 4, 8 or F with 4, 8)"},
      {xyz + "TYPE F F FF\nPOINTS 1\nDATA ascii",
       "a: line 6: the field \"z\" has no type and size of PCD (I, U with 1, 2, 4, 8 or F with 4, 8)"},
      {xyz + "SIZE 4 4 2\nPOINTS 1\nDATA ascii",
       "a: line 6: the field \"z\" has no type and size of PCD (I, U with 1, 2, 4, 8 or F with 4, 8)"},
      {xyz + "HEIGHT 1\nDATA ascii",
       "a: line 5: the header has neither POINTS nor WIDTH; export the file again"},
      {xyz + "WIDTH 4294967295\nHEIGHT 4294967295\nPOINTS 1\nDATA ascii",
       "a: line 7: POINTS is 1, but WIDTH times HEIGHT is 18446744065119617025; correct the header"},
  };
  for (const auto& [header, error] : rows) {
    const io::Source source{"a", header};
    EXPECT_EQ(ErrorOf([&] { io::FindPcdPoints(source, io::ParsePcdHeader(source)); }), error);
  }
}

TEST(PlyHeader, SaysWhereTheBodyBegins) {
  const std::string body = "\n\r ", text = PlyHeader("ascii", 1, "uchar") + body;
  const io::PlyHeader header = io::ParsePlyHeader({"a", text});
  EXPECT_EQ(header.end.line, 7U);
  EXPECT_EQ(text.substr(header.end.byte), body);
}

/// uchar red, double z, short y, float x
io::PlyElement MixedElement() {
  return {"vertex",
          9,
          {{"red", ScalarType::kUint8, {}},
           {"z", ScalarType::kFloat64, {}},
           {"y", ScalarType::kInt16, {}},
           {"x", ScalarType::kFloat32, {}}}};
}

/// Two values of padding, a double z, a short y, three floats of which the first is x.
io::PcdPoints MixedPcd() {
  return {9,
          {{"_", 1, 'U', 2}, {"z", 8, 'F', 1}, {"y", 2, 'I', 1}, {"x", 4, 'F', 3}},
          {ScalarType::kUint8, ScalarType::kFloat64, ScalarType::kInt16, ScalarType::kFloat32},
          {3, 2, 1}};
}

TEST(Layout, FollowsFromTheHeader) {
  struct Row {
    const char* what;
    io::BinaryLayout got;
    std::array<Column, 3> expected;
    std::endian order = kLittle;
  };
  constexpr ScalarType kX = ScalarType::kFloat32, kY = ScalarType::kInt16, kZ = ScalarType::kFloat64;
  const Row rows[] = {
      {"PLY",
       io::PlyBinaryLayout(MixedElement(), {3, 2, 1}, kBig),
       {{{11, 15, kX}, {9, 15, kY}, {1, 15, kZ}}},
       kBig},
      {"PCD, row by row", io::PcdRowLayout(MixedPcd()), {{{12, 24, kX}, {10, 24, kY}, {2, 24, kZ}}}},
      {"PCD, column by column",
       io::PcdColumnLayout(MixedPcd()),
       {{{9 * 12, 12, kX}, {9 * 10, 2, kY}, {9 * 2, 8, kZ}}}},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(row.got.points, 9U) << row.what;
    EXPECT_EQ(row.got.coordinates, row.expected) << row.what;
    EXPECT_EQ(row.got.order, row.order) << row.what;
  }
}

TEST(Layout, DecodesAnyBlockOfRows) {
  constexpr std::size_t kPoints = 9;
  std::string byRow, xs, ys, zs;
  for (std::size_t i = 0; i < kPoints; ++i) {
    const auto x = static_cast<float>(i) + 0.5F;
    const auto y = static_cast<std::int16_t>(-100 * static_cast<int>(i));
    const double z = 1e9 + static_cast<double>(i);
    byRow += Packed(kBig, std::uint8_t{255}, z, y, x);
    xs += Packed(kLittle, x, 7.0F, 8.0F);
    ys += Packed(kLittle, y);
    zs += Packed(kLittle, z);
  }
  const std::string byColumn = std::string(2 * kPoints, '_') + zs + ys + xs;
  const io::BinaryLayout rowLayout = io::PlyBinaryLayout(MixedElement(), {3, 2, 1}, kBig);
  const io::BinaryLayout columnLayout = io::PcdColumnLayout(MixedPcd());
  for (std::size_t first = 0; first < kPoints; ++first) {
    for (std::size_t n = 0; first + n <= kPoints; ++n) {
      std::vector<Eigen::Vector3d> expected(n);
      io::PointBlock a, b;
      a.Resize(n);
      b.Resize(n);
      for (std::size_t k = 0; k < n; ++k) {
        const auto i = static_cast<double>(first + k);
        expected[k] = {i + 0.5, -100 * i, 1e9 + i};
      }
      io::DecodePoints(rowLayout, byRow, first, a);
      io::DecodePoints(columnLayout, byColumn, first, b);
      EXPECT_EQ(a.points, expected) << n << " rows from " << first;
      EXPECT_EQ(b.points, expected) << n << " rows from " << first;
    }
  }
}

TEST(Layout, CountsPointsThatAreNotFiniteInEveryBlock) {
  std::string body;
  for (int i = 0; i < 3000; ++i) body += Packed(kLittle, 1.0, i % 1000 == 999 ? std::nan("") : 2.0, 3.0);
  const auto column = [](std::size_t offset) { return Column{offset, 24, ScalarType::kFloat64}; };
  io::PointCloud cloud;
  io::Collector collector(cloud);
  io::StreamPoints({3000, {column(0), column(8), column(16)}, {}, kLittle}, {"a", body}, 0, collector);
  EXPECT_EQ(cloud.nonFinite, 3U);
}

TEST(PlyRows, ListsMoveWhatFollowsThem) {
  const io::PlyElement element{"vertex",
                               1,
                               {{"x", ScalarType::kUint8, {}},
                                {"l", ScalarType::kInt16, ScalarType::kUint8},
                                {"y", ScalarType::kUint8, {}},
                                {"m", ScalarType::kUint8, ScalarType::kInt16},
                                {"z", ScalarType::kUint8, {}}}};
  const std::string bytes =
      "##" + Packed(kBig, 'x', std::uint8_t{2}, std::int16_t{5}, std::int16_t{6}, 'y', std::int16_t{0}, 'z');
  io::PlyRow row;
  io::LocatePlyRow({"a", bytes}, element, kBig, 2, row);
  EXPECT_EQ(row.properties, (std::vector<std::size_t>{2, 3, 8, 9, 11}));
  EXPECT_EQ(row.end, bytes.size());

  const std::string line = "1 2 50 60 2 0 3";
  std::array<double, 4> values{};
  ASSERT_TRUE(io::PlyTextLayout({"a", line}, 1, element, {0, 2, 4, 2}, line).Read(line, values.data()));
  EXPECT_EQ(values, (std::array<double, 4>{1, 2, 3, 2}));
}

}  // namespace
