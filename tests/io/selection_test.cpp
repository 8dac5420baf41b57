// Which points of a file count: attributes, conditions and regions while reading, columns that the user
// names; and files that are packed or come through a pipe.
#include "io/selection.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <random>
#include <sstream>

#include "io/attributes.h"
#include "io/read_points.h"
#include "io/summary.h"
#include "support/point_files.h"
#include "support/scratch_folder.h"

namespace {

namespace io = primfit::io;
using point_files::Packed;
using point_files::Points;
using Columns = std::vector<std::vector<double>>;

constexpr std::endian kLittle = std::endian::little;
const io::Readers kReaders = io::NativeReaders();

io::PointCloud Parse(const char* name, const std::string& bytes, const io::ReadRequest& request) {
  return io::ParsePoints(kReaders, name, bytes, request);
}

std::string FaultOf(const char* name, const std::string& bytes, const io::ReadRequest& request) {
  try {
    return std::to_string(Parse(name, bytes, request).points.size()) + " points";
  } catch (const io::ReadError& error) {
    return error.what();
  }
}

TEST(Attributes, AreFoundByTheirUsualNames) {
  struct Row {
    const char* what;
    const char* name;
    std::string bytes;
    std::vector<std::string> attributes;
    Columns expected;
  };
  const std::string ply = "vertex 2: float x, uchar intensity, float y, float z, double gps_time";
  const std::string lists = "vertex 2: list uchar uchar l, float x, float y, float z, int scan_id";
  const std::string pcdText =
      point_files::PcdHeader(1, "ascii", "X Y Z normal_x", "4 4 4 4", "F F F F", "1 1 1 1");
  const std::string pcdColours =
      point_files::PcdHeader(1, "binary", "x y z rgb", "4 4 4 4", "F F F F", "1 1 1 1") +
      Packed(kLittle, 1.0F, 2.0F, 3.0F, 0x00102030U);
  const Row rows[] = {
      {"ascii PLY",
       "a.ply",
       point_files::PlyHeader("ascii", ply) + "1 7 2 3 99.5\n1 8 2 3 98.5\n",
       {"time", "INTENSITY"},
       {{99.5, 98.5}, {7, 8}}},
      {"binary PLY",
       "a.ply",
       point_files::PlyHeader("binary_little_endian", ply) +
           Packed(kLittle, 1.0F, std::uint8_t{200}, 2.0F, 3.0F, 99.5) +
           Packed(kLittle, 1.0F, std::uint8_t{201}, 2.0F, 3.0F, 98.5),
       {"intensity", "time", "intensity"},
       {{200, 201}, {99.5, 98.5}, {200, 201}}},
      {"binary PLY with lists",
       "a.ply",
       point_files::PlyHeader("binary_little_endian", lists) +
           Packed(kLittle, std::uint8_t{1}, std::uint8_t{9}, 1.0F, 2.0F, 3.0F, -4) +
           Packed(kLittle, std::uint8_t{0}, 1.0F, 2.0F, 3.0F, 5),
       {"scan"},
       {{-4, 5}}},
      {"ascii PLY with lists",
       "a.ply",
       point_files::PlyHeader("ascii", lists) + "2 9 9 1 2 3 -4\n0 1 2 3 5\n",
       {"scan"},
       {{-4, 5}}},
      {"ascii PCD with capitals", "a.pcd", pcdText + "1 2 3 0.5\n", {"nx"}, {{0.5}}},
      {"PCD with packed colours", "a.pcd", pcdColours, {"red", "green", "blue"}, {{16}, {32}, {48}}},
      {"CSV", "a.csv", "\"X [m]\",Y,Z,Classification\n1,2,3,6\n", {"classification"}, {{6}}},
      {"asked for twice",
       "a.csv",
       "x,y,z,class\n1,2,3,6\n",
       {"class", "classification", "z"},
       {{6}, {6}, {3}}},
  };
  for (const Row& row : rows) {
    const io::PointCloud cloud = Parse(row.name, row.bytes, {row.attributes, {}});
    EXPECT_EQ(cloud.attributes, row.expected) << row.what;
    EXPECT_EQ(cloud.points, Points(row.expected[0].size(), {1, 2, 3})) << row.what;
  }
}

TEST(Attributes, ThatAreNotThereAreRefusedWithThoseThatAre) {
  const std::string ply =
      point_files::PlyHeader("ascii", "vertex 1: float x, float y, float z, list int int l") + "1 2 3 0\n";
  const std::array<std::array<std::string, 4>, 4> rows = {{
      {"a.ply", ply, "intensity", "a.ply: the points have no attribute \"intensity\"; they have x, y, z, l"},
      {"a.ply", ply, "l", "a.ply: the attribute \"l\" is a list; choose another one"},
      {"a.xyz", "1 2 3 4\n", "i",
       "a.xyz: the points have no attribute \"i\"; the file has no names for its values"},
      {"a.pcd",
       point_files::PcdHeader(1, "ascii", "x y z rgb", "4 4 4 4", "F F F F", "1 1 1 1") + "1 2 3 4e9\n",
       "red",
       "a.pcd: the colours are packed into one number, which text does not keep; export the file as DATA "
       "binary"},
  }};
  for (const auto& [name, bytes, attribute, error] : rows)
    EXPECT_EQ(FaultOf(name.c_str(), bytes, {{attribute}, {}}), error);
}

/// Rows whose first column counts up from 7 as written.
std::string Counted(int rows, const std::string& head = "") {
  std::string text = head;
  for (int i = 0; i < rows; ++i) text += std::to_string(7 + i) + " 1.5 2.5 3.5\n";
  return text;
}

TEST(TextColumns, AreThoseThatTheUserOrTheFileNames) {
  struct Row {
    const char* what;
    std::string text;
    std::vector<std::string> columns;
    std::string expected;  ///< the first point, or the error
  };
  const Row rows[] = {
      {"by number", Counted(20), {"2", "3", "4"}, "1.5 2.5 3.5"},
      {"in any order", Counted(20), {"4", "2", "2"}, "3.5 1.5 1.5"},
      {"by name", Counted(9, "no e n u\n"), {"N", "e", "u"}, "2.5 1.5 3.5"},
      {"by the names of surveying", Counted(20, "point height northing easting\n"), {}, "3.5 2.5 1.5"},
      {"numbers of points",
       Counted(20),
       {},
       "a: line 1: the first column counts up like the numbers of points; say which columns are x, y and z, "
       "such as --columns 2,3,4"},
      {"the same below words",
       Counted(20, "# of a total station\nno a b c\n"),
       {},
       "a: line 3: the first column counts up like the numbers of points; say which columns are x, y and z, "
       "such as --columns 2,3,4"},
      {"as few rows as tell",
       Counted(10),
       {},
       "a: line 1: the first column counts up like the numbers of points; say which columns are x, y and z, "
       "such as --columns 2,3,4"},
      {"too few rows to tell", Counted(9), {}, "7 1.5 2.5"},
      {"no such column", Counted(20), {"2", "3", "5"}, "a: there is no column 5; the rows have 4 columns"},
      {"no such name",
       Counted(20, "no e n u\n"),
       {"e", "n", "z"},
       "a: the points have no attribute \"z\"; they have no, e, n, u"},
  };
  for (const Row& row : rows) {
    std::string got = FaultOf("a", row.text, {{}, row.columns});
    if (got.ends_with(" points")) {
      const Eigen::Vector3d p = Parse("a", row.text, {{}, row.columns}).points.front();
      std::ostringstream text;
      text << p.x() << ' ' << p.y() << ' ' << p.z();
      got = text.str();
    }
    EXPECT_EQ(got, row.expected) << row.what;
  }
}

class Selection : public ScratchFolder {};

TEST_F(Selection, CountsEachReasonForWhichPointsAreLeftOut) {
  std::string text = "x y z intensity class\n";
  for (int i = 0; i < 5000; ++i) {
    const std::string x = i % 10 == 3 ? "nan" : std::to_string(i);
    text += x + " 0 1 " + std::to_string(i % 100) + " " + std::to_string(i % 7) + "\n";
  }
  const std::string path = Write("a.xyz", text);
  const io::Filter filter{
      .region = {.ball = {2500, 0, 0, 1000}, .box = {0, -1, 0, 3000, 1, 2}},
      .where = {{"intensity", {{10, 20}, {50, 50}}}, {"classification", {{2, 2}, {6, 6}}}},
      .every = 2};
  const io::Selection got = io::ReadSelection(kReaders, path, filter, {{"class"}, {}});
  io::SelectionCounts expected{.total = 5000, .notEvery = 2500};
  Points points;
  std::vector<double> classes;
  for (int i = 0; i < 5000; i += 2) {
    const bool where = ((i % 100 >= 10 && i % 100 <= 20) || i % 100 == 50) && (i % 7 == 2 || i % 7 == 6);
    const bool inBall = std::hypot(i - 2500, 1) <= 1000, inBox = i <= 3000;
    expected.notWhere += where ? 0 : 1;
    if (!where) continue;
    expected.inBall += inBall ? 1 : 0;
    expected.inBox += inBox ? 1 : 0;
    expected.outside += inBall && inBox ? 0 : 1;
    if (!inBall || !inBox) continue;
    points.emplace_back(i, 0, 1);
    classes.push_back(i % 7);
  }
  EXPECT_EQ(got.file.points, points);
  EXPECT_EQ(got.file.attributes, Columns{classes});
  EXPECT_EQ(got.total, expected.total);
  EXPECT_EQ(got.notEvery, expected.notEvery);
  EXPECT_EQ(got.nonFinite, 0U) << "they are among those between every second one";
  EXPECT_EQ(got.notWhere, expected.notWhere);
  EXPECT_EQ(got.inBall, expected.inBall);
  EXPECT_EQ(got.inBox, expected.inBox);
  EXPECT_EQ(got.outside, expected.outside);
  EXPECT_EQ(io::ReadSelection(kReaders, path, {}).nonFinite, 500U);
}

TEST(CoordinateStep, IsWhatTheValuesWereRoundedTo) {
  std::mt19937 random(1);
  std::uniform_real_distribution<double> uniform(0, 100);
  const auto of = [&](std::size_t n, const auto& rounded) {
    std::vector<double> values;
    for (std::size_t i = 0; i < n; ++i) values.push_back(rounded(uniform(random)));
    return io::CoordinateStep(values);
  };
  const auto exact = [](double v) { return v; };
  EXPECT_EQ(of(20000, exact), 0);
  EXPECT_EQ(of(2, exact), 0);
  EXPECT_EQ(of(50, [](double) { return 7.25; }), 0) << "a plane of the axes";
  EXPECT_NEAR(of(50, [](double v) { return 4e5 + std::round(v * 100) / 100; }), 0.01, 1e-12);
  EXPECT_NEAR(of(50, [](double v) { return std::round(v * 1e4) * 1e-4 + 5e6; }), 1e-4, 1e-12);
  EXPECT_EQ(of(50, [](double v) { return static_cast<double>(static_cast<float>(5e6 + v)); }), 0.5);
  EXPECT_EQ(of(50, [](double v) { return static_cast<double>(static_cast<float>(v - 50)); }), std::exp2(-18));
  // A camera whose depth is one over whole numbers: its levels are 1.5 to 3 cm apart from 3 to 4 m on.
  const double depth = of(20000, [](double v) { return 500 / std::round(125 + 0.4 * v); });
  EXPECT_GT(depth, 0.015);
  EXPECT_LT(depth, 0.035);
  // A step that is no decimal shows in levels that many values share.
  EXPECT_NEAR(of(3000, [](double v) { return std::round(v * 3) / 3; }), 1.0 / 3, 1e-9);
}

TEST_F(Selection, OfAFileIsSummedUpWithoutItsPoints) {
  std::string text;
  for (int i = 0; i < 600000; ++i)
    text += std::to_string(i % 1000) + " " + std::to_string(0.001 * (i % 777)) + " -5\n";
  const io::Summary summary = io::ReadSummary(kReaders, Write("a.xyz", text + "nan 1 2\n"),
                                              {.region = {.box = {0, 0, -9, 500, 9, 9}}});
  EXPECT_EQ(summary.used, 300600U);
  EXPECT_EQ(summary.nonFinite, 1U);
  EXPECT_EQ(summary.low, Eigen::Vector3d(0, 0, -5));
  EXPECT_EQ(summary.high, Eigen::Vector3d(500, 0.776, -5));
  EXPECT_NEAR((summary.step - Eigen::Vector3d(1, 0.001, 0)).norm(), 0, 1e-9);
}

std::string Gzip(const std::string& bytes) {
  std::string packed(bytes.size() + 1000, '\0');
  z_stream s = {};
  deflateInit2(&s, 1, Z_DEFLATED, 16 + MAX_WBITS, 8, Z_DEFAULT_STRATEGY);
  s.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
  s.avail_in = static_cast<uInt>(bytes.size());
  s.next_out = reinterpret_cast<Bytef*>(packed.data());
  s.avail_out = static_cast<uInt>(packed.size());
  deflate(&s, Z_FINISH);
  packed.resize(s.total_out);
  deflateEnd(&s);
  return packed;
}

TEST_F(Selection, ReadsWhatIsPackedWithGzip) {
  const std::string half = "1 2 3\n4 5 6\n", other = "7 8 9\n";
  const Points points = {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}};
  const io::PointCloud cloud = io::ReadPoints(kReaders, Write("a.xyz.gz", Gzip(half + other)));
  EXPECT_EQ(cloud.points, points);
  EXPECT_EQ(cloud.format, "text, values between blanks in gzip");
  EXPECT_EQ(cloud.bytes, Gzip(half + other).size());
  EXPECT_EQ(io::ReadPoints(kReaders, Write("b.gz", Gzip(half) + Gzip(other))).points, points)
      << "two members";
  EXPECT_EQ(io::ReadPoints(kReaders, Write("c.ply.gz", Gzip(point_files::BinaryPly(points)))).points, points);
  EXPECT_EQ(io::ReadPoints(kReaders, Write("d.gz", Gzip(half) + std::string(512, '\0'))).points.size(), 2U)
      << "padding of a tape or block device";

  const auto faultOf = [&](const std::string& bytes) {
    try {
      io::ReadPoints(kReaders, Write("f.gz", bytes));
    } catch (const io::ReadError& error) {
      return std::string(error.what());
    }
    return std::string("no error");
  };
  const std::string packed = Gzip(half + other);
  for (std::size_t size = 2; size < packed.size(); ++size)
    ASSERT_NE(faultOf(packed.substr(0, size)).find("ends inside its gzip data"), std::string::npos) << size;
  std::string damaged = packed;
  damaged[packed.size() - 6] ^= 1;  // of the checksum
  EXPECT_NE(faultOf(damaged).find("gzip data are damaged"), std::string::npos);
  EXPECT_NE(faultOf(Gzip(packed)).find("compressed with gzip twice"), std::string::npos);
}

TEST_F(Selection, KeepsMuchThatIsUnpackedInATemporaryFile) {
  std::string text;
  for (int i = 0; text.size() < (std::size_t{40} << 20); ++i) text += std::to_string(i) + " 0.25 -1\n";
  const auto rows = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
  const std::string path = Write("a.xyz.gz", Gzip(text));
  EXPECT_EQ(io::ReadPoints(kReaders, path).points.size(), rows);
  ::setenv("TMPDIR", Path("no such folder").c_str(), 1);
  try {
    io::ReadPoints(kReaders, path);
    ADD_FAILURE() << "no error";
  } catch (const io::ReadError& error) {
    EXPECT_NE(std::string(error.what()).find("set TMPDIR to a folder with room"), std::string::npos);
  }
  ::unsetenv("TMPDIR");
}

}  // namespace
