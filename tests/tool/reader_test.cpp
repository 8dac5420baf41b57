#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>
#include <random>

#include "io/read_points.h"
#include "point_files.h"
#include "scratch_folder.h"

namespace {

using namespace point_files;
using primfit::io::ParsePoints;
using primfit::io::PointCloud;
using primfit::io::ReadError;
using primfit::io::ReadPoints;

constexpr std::endian kLittle = std::endian::little;
constexpr std::endian kBig = std::endian::big;
const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();
const Points kPoints = {{1, 2, 3}, {-4.5, 5.25, -6.125}, {7e3, 0, 1e-3}};
const Points kFloats = {{1, 2, 3}, {-4.5, 5.25, -6.125}, {700.5, 0, 0.25}};  // exact in 32 bits
const Points kSmall = {{1, 2, 3}, {100, 0, 127}};                            // exact in every type
const Points kSigned = {{1, -2, 3}, {-128, 0, 127}};

std::string Show(const Points& points) {
  std::ostringstream text;
  for (const auto& p : points) text << "(" << p.transpose() << ") ";
  return text.str();
}

bool Same(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }

::testing::AssertionResult SamePoints(const Points& got, const Points& expected) {
  const bool same = got.size() == expected.size() &&
                    std::equal(got.begin(), got.end(), expected.begin(), [](const auto& a, const auto& b) {
                      return Same(a.x(), b.x()) && Same(a.y(), b.y()) && Same(a.z(), b.z());
                    });
  if (same) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "got " << Show(got) << "instead of " << Show(expected);
}

struct Readable {
  const char* what;
  std::string name;
  std::string bytes;
  Points expected;
};

void ExpectReadable(const std::vector<Readable>& rows) {
  for (const Readable& row : rows) {
    SCOPED_TRACE(row.what);
    try {
      const PointCloud cloud = ParsePoints(row.name, row.bytes);
      EXPECT_TRUE(SamePoints(cloud.points, row.expected));
      EXPECT_EQ(cloud.nonFinite, std::count_if(row.expected.begin(), row.expected.end(),
                                               [](const auto& p) { return !p.allFinite(); }));
    } catch (const ReadError& error) {
      ADD_FAILURE() << error.what();
    }
  }
}

const char kAsciiRows[] = "1 2 3\n-4.5 5.25 -6.125\n7e3 0 1e-3\n";

std::string Ply(const std::string& header, const std::string& body) {
  return "ply\n" + header + "end_header\n" + body;
}

TEST(Ply, ReadsEveryEncodingAndType) {
  ExpectReadable({
      {"ascii", "a.ply", PlyHeader("ascii", 3, "float") + kAsciiRows, kPoints},
      {"the name does not matter", "a.xyz", PlyHeader("ascii", 3, "float") + kAsciiRows, kPoints},
      {"float", "a.ply", BinaryPly<float>(kLittle, "float", kFloats), kFloats},
      {"float32, big", "a.ply", BinaryPly<float>(kBig, "float32", kFloats), kFloats},
      {"double", "a.ply", BinaryPly<double>(kLittle, "double", kPoints), kPoints},
      {"float64, big", "a.ply", BinaryPly<double>(kBig, "float64", kPoints), kPoints},
      {"char", "a.ply", BinaryPly<std::int8_t>(kLittle, "char", kSigned), kSigned},
      {"uint8", "a.ply", BinaryPly<std::uint8_t>(kBig, "uint8", kSmall), kSmall},
      {"int16, big", "a.ply", BinaryPly<std::int16_t>(kBig, "int16", kSigned), kSigned},
      {"ushort", "a.ply", BinaryPly<std::uint16_t>(kLittle, "ushort", kSmall), kSmall},
      {"int, big", "a.ply", BinaryPly<std::int32_t>(kBig, "int", kSigned), kSigned},
      {"uint32", "a.ply", BinaryPly<std::uint32_t>(kLittle, "uint32", kSmall), kSmall},
      {"int64, big", "a.ply", BinaryPly<std::int64_t>(kBig, "int64", kSigned), kSigned},
      {"not finite",
       "a.ply",
       BinaryPly<float>(kBig, "float", {{1, 2, 3}, {kNaN, 1, 2}, {0, -kInf, 0}}),
       {{1, 2, 3}, {kNaN, 1, 2}, {0, -kInf, 0}}},
      {"no points", "a.ply", PlyHeader("ascii", 0, "float"), {}},
  });
}

TEST(Ply, SkipsWhatIsNotAPoint) {
  const std::string mixed =
      "format binary_big_endian 1.0\ncomment a b\nelement camera 2\nproperty uchar id\nproperty list uchar "
      "short v\n"
      "element nothing 99999999999\nelement vertex 2\nproperty uchar red\nproperty double z\nproperty list "
      "int float w\n"
      "property float x\nproperty short y\nobj_info end\nelement face 7\nproperty list uchar int "
      "vertex_indices\n";
  const std::string mixedBody =
      Packed(kBig, std::uint8_t{1}, std::uint8_t{2}, std::int16_t{5}, std::int16_t{6}, std::uint8_t{1},
             std::uint8_t{0}) +
      Packed(kBig, std::uint8_t{200}, 3.0, std::int32_t{1}, 9.0F, 1.0F, std::int16_t{2}) +
      Packed(kBig, std::uint8_t{200}, 6.5, std::int32_t{0}, 4.0F, std::int16_t{-5}) +
      "the faces are not read";
  const std::string asciiMixed =
      "format ascii 1.0\nelement camera 2\nproperty list uchar short v\nelement vertex 2\nproperty list "
      "uchar int w\n"
      "property float z\nproperty float x\nproperty uchar red\nproperty float y\n";
  ExpectReadable({
      {"lists and elements around, big", "a.ply", Ply(mixed, mixedBody), {{1, 2, 3}, {4, -5, 6.5}}},
      {"lists and elements around, ascii",
       "a.ply",
       Ply(asciiMixed, "2 7 7\n0\n2 8 8 3 1 200 2\n\n 0 6\t4  200 5 \n3 0 1 2\n"),
       {{1, 2, 3}, {4, 5, 6}}},
      {"CR LF",
       "a.ply",
       "ply\r\nformat ascii 1.0\r\ncomment x\r\nelement vertex 1\r\nproperty float x\r\nproperty  "
       "float\ty\r\n"
       "property float z\r\nend_header\r\n1 2 3\r\n",
       {{1, 2, 3}}},
      {"CR LF before binary",
       "a.ply",
       "ply\r\nformat binary_little_endian 1.0\r\nelement vertex 1\r\nproperty float x\r\nproperty float "
       "y\r\n"
       "property float z\r\nend_header\r\n" +
           Packed(kLittle, 1.0F, 2.0F, 3.0F),
       {{1, 2, 3}}},
      {"binary that begins with a line feed",
       "a.ply",
       PlyHeader("binary_little_endian", 1, "uchar") + "\n\r ",
       {{10, 13, 32}}},
  });
}

TEST(Pcd, ReadsEveryEncodingAndLayout) {
  const std::string fields = "_ rgb z _ y x n";
  const std::string sizes = "1 4 8 1 2 4 4";
  const std::string types = "U U F U I F F";
  const std::string counts = "3 1 1 2 1 1 2";
  const auto row = [](double z, std::int16_t y, float x) {
    return Packed(kLittle, '_', '_', '_', std::uint32_t{7}, z, '_', '_', y, x, 8.0F, 9.0F);
  };
  const std::string withoutPadding =
      Packed(kLittle, std::uint32_t{7}, std::uint32_t{7}, 3.0, 6.5, std::int16_t{2}, std::int16_t{-5}, 1.0F,
             4.0F, 8.0F, 8.0F, 9.0F, 9.0F);
  const std::string withPadding =
      std::string(6, '_').append(withoutPadding, 0, 24).append("____").append(withoutPadding, 24);
  const Points expected = {{1, 2, 3}, {4, -5, 6.5}};
  ExpectReadable({
      {"ascii", "a.pcd", PcdHeader("x y z", "4 4 4", "F F F", "1 1 1", 3, "ascii") + kAsciiRows, kPoints},
      {"ascii, any order", "a.pcd",
       PcdHeader(fields, sizes, types, counts, 2, "ascii") +
           "_ _ _ 7 3 _ _ 2 1 8 9\n_ _ _ 7 6.5 _ _ -5 4 8 9",
       expected},
      {"binary", "a.pcd", BinaryPcd(kFloats), kFloats},
      {"binary, any order", "a.pcd",
       PcdHeader(fields, sizes, types, counts, 2, "binary") + row(3, 2, 1) + row(6.5, -5, 4) + "trailer",
       expected},
      {"compressed", "a.pcd", CompressedPcd(kFloats), kFloats},
      {"compressed, padding left out", "a.pcd",
       PcdHeader(fields, sizes, types, counts, 2, "binary_compressed") + Lzf(withoutPadding), expected},
      {"compressed, padding kept", "a.pcd",
       PcdHeader(fields, sizes, types, counts, 2, "binary_compressed") + Lzf(withPadding), expected},
      {"older header",
       "a.pcd",
       "# comment\r\nVERSION .5\r\nCOLUMNS x y z\r\nSIZE 4 4 4\r\nTYPE F U F\r\nPOINTS 2\r\nDATA ascii\r\n1 "
       "2 3\r\nnan 4 -inf\r\n",
       {{1, 2, 3}, {kNaN, 4, -kInf}}},
      {"no magic",
       "a.pcd",
       "FIELDS x y z\nSIZE 4 4 4\nTYPE F F F\nWIDTH 1\nHEIGHT 2\nDATA ascii\n1 2 3\n4 5 6",
       {{1, 2, 3}, {4, 5, 6}}},
      {"by contents", "a.dat", BinaryPcd(kFloats), kFloats},
      {"no points", "a.pcd", CompressedPcd({}), {}},
  });
}

TEST(Text, ReadsTheUsualForms) {
  const Points two = {{1, 2, 3}, {-4.5, 5.25, 6}};
  ExpectReadable({
      {"blanks", "a.xyz", "1 2 3\n-4.5 5.25 6\n", two},
      {"no line end at the end", "a.xyz", "1 2 3\n-4.5 5.25 6", two},
      {"tabs, indent, empty lines", "a.asc", "\n\t1\t2 3 \n\n  -4.5   5.25\t6\n \n", two},
      {"CR LF and byte order mark", "a.txt",
       "\xef\xbb\xbf"
       "1 2 3\r\n-4.5 5.25 6\r\n",
       two},
      {"CR alone", "a.txt", "1 2 3\r-4.5 5.25 6\r", two},
      {"commas", "a.csv", "1,2,3\n-4.5, 5.25 ,6,\n", two},
      {"semicolons", "a.csv", "1;2;3\n-4.5; 5.25;6\n", two},
      {"decimal commas", "a.csv", "1,0;2;3,\n-4,5;5,25;6e0\n", two},
      {"comments", "a.xyz", "# a 1 2 3\n// b\n; c\n% d\n1 2 3\n# 7 8 9\n-4.5 5.25 6 # e\n", two},
      {"extra columns", "a.txt", "1 2 3 255 name\n-4.5 5.25 6 0\n", two},
      {"names", "a.csv", "name,Z,intensity,\"X\",Y [m]\np 1,3,9,1,2\np 2,6,9,-4.5,5.25\n", two},
      {"names without coordinates", "a.txt",
       "Exported by a scanner\nEasting Northing Height\n1 2 3\n-4.5 5.25 6\n", two},
      {"names in a comment", "a.asc", "//Z X Y\n3 1 2\n6 -4.5 5.25\n", two},
      {"prose in a comment", "a.asc", "# intensity x y z follow each other\n1 2 3 9\n-4.5 5.25 6 9\n", two},
      {"count line", "a.pts", "2\n1 2 3 -1000 4 5 6\n-4.5 5.25 6 -1000 4 5 6\n", two},
      {"count lines", "a.pts", "1\n1 2 3\n1\n-4.5 5.25 6\n", two},
      {"unknown extension", "a.neu", "1 2 3\n-4.5 5.25 6\n", two},
      {"numbers", "a.xyz", "+1 2. .3e1\n-45E-1 525.00e-02 0.6D+1\n", two},
      {"not finite",
       "a.xyz",
       "nan NaN -nan\ninf -Infinity +inf\n1.#QNAN 1.#INF -1.#IND00\n1 2 1e999\n",
       {{kNaN, kNaN, kNaN}, {kInf, -kInf, kInf}, {kNaN, kInf, kNaN}, {1, 2, kInf}}},
      {"nearest double",
       "a.xyz",
       "0.1 1e-320 123456789.123456789123456789\n",
       {{0.1, 1e-320, 123456789.12345679}}},
  });
}

TEST(Text, TellsItsColumns) {
  const PointCloud cloud = ParsePoints("a.csv", "X;y;z;\"label\"\n1;2;3;a\n");
  ASSERT_EQ(cloud.fields.size(), 4U);
  EXPECT_EQ(cloud.fields[0].name, "X");
  EXPECT_EQ(cloud.format, "text, values between semicolons");
  EXPECT_EQ(ParsePoints("a.xyz", "1 2 3 4 5\n").fields.size(), 5U);
}

std::string MessageOf(const std::string& name, const std::string& bytes) {
  try {
    const PointCloud cloud = ParsePoints(name, bytes);
    return "no error, points " + Show(cloud.points);
  } catch (const ReadError& error) {
    return error.what();
  }
}

TEST(Faults, AreToldWithPlaceAndReason) {
  struct Row {
    const char* name;
    std::string bytes;
    std::string place;
    const char* reason;
  };
  const std::string huge = "18446744073709551615";
  const std::string bigPly = BinaryPly<float>(kBig, "float", kFloats);
  const std::string floatPcd = BinaryPcd(kFloats);
  const std::string asciiPly = PlyHeader("ascii", 2, "float");
  const std::string listPly =
      "ply\nformat binary_little_endian 1.0\nelement vertex 1\nproperty list uint64 double w\n"
      "property float x\nproperty float y\nproperty float z\nend_header\n";
  const auto pcd = [](const std::string& data) {
    return PcdHeader("x y z", "4 4 4", "F F F", "1 1 1", 2, data);
  };
  const std::size_t body = pcd("binary_compressed").size();
  const std::string compressedAt = "byte " + std::to_string(body);
  const std::vector<Row> rows = {
      {"a.ply", "", "", "the file is empty"},
      {"a.ply", "solid x\n", "byte 0", "no PLY file"},
      {"a.ply", "plywood\n", "byte 0", "no PLY file"},
      {"a.ply", "ply\nformat ascii 1.0\n", "line 2", "before \"end_header\""},
      {"a.ply", "ply\nformat utf8 1.0\n", "line 2", "unknown format \"utf8\""},
      {"a.ply", "ply\nelement vertex 1\nend_header\n", "line 3", "without a \"format\" line"},
      {"a.ply", "ply\nelement vertex many\n", "line 2", "\"many\""},
      {"a.ply", "ply\nelement vertex -1\n", "line 2", "\"-1\""},
      {"a.ply", "ply\nproperty float x\n", "line 2", "before the first element"},
      {"a.ply", "ply\nelement v 1\nproperty quad x\n", "line 3", "\"quad\""},
      {"a.ply", "ply\nelement v 1\nproperty list float int x\n", "line 3", "no integer type"},
      {"a.ply", "ply\nfromat ascii 1.0\n", "line 2", "\"fromat\" is no entry"},
      {"a.ply", "ply\nformat ascii 1.0\nelement face 1\nproperty int x\nend_header\n", "line 5",
       "no element \"vertex\""},
      {"a.ply", "ply\nformat ascii 1.0\nelement vertex 1\nproperty int x\nproperty int y\nend_header\n",
       "line 6", "\"z\""},
      {"a.ply", asciiPly + "1 2 3\n4 5 x6\n", "line 9", "\"x6\" in column 3 is not a number"},
      {"a.ply", asciiPly + "1 2 3\n44 5\n", "line 9", "2 values where 3 are needed"},
      {"a.ply", asciiPly + "1 2 3 4\n5 6 7\n", "line 8", "4 values where 3 are needed"},
      {"a.ply", asciiPly + "1 2 3333333\n", "line 8", "after 1 of the 2 rows"},
      {"a.ply", PlyHeader("ascii", 1000, "float") + "1 2 3\n", "line 7", "promises 1000 points"},
      {"a.ply",
       "ply\nformat ascii 1.0\nelement vertex " + huge +
           "\nproperty int x\nproperty int y\nproperty int z\nend_header\n1 2 3\n",
       "line 7", "18446744073709551615"},
      {"a.ply",
       "ply\nformat ascii 1.0\nelement f 3\nproperty int k\nelement vertex 0\nproperty int x\nproperty int "
       "y\nproperty int z\nend_header\n1\n",
       "line 10", "after 1 of the 3 rows of element \"f\""},
      {"a.ply",
       "ply\nformat ascii 1.0\nelement vertex 1\nproperty list int int w\nproperty int x\nproperty int "
       "y\nproperty int z\nend_header\n" +
           huge + " 1 2 3\n",
       "line 9", "4 values where"},
      {"a.ply",
       "ply\nformat ascii 1.0\nelement vertex 1\nproperty list int int w\nproperty int x\nproperty int "
       "y\nproperty int z\nend_header\n-1 1 2 3\n",
       "line 9", "\"-1\" is no length"},
      {"a.ply", bigPly.substr(0, bigPly.size() - 13), "byte " + std::to_string(bigPly.size() - 13),
       "after 1 of the 3 rows"},
      {"a.ply", PlyHeader("binary_big_endian", SIZE_MAX, "float") + "1234", "byte", "18446744073709551615"},
      {"a.ply", listPly + Packed(kLittle, std::uint64_t{1} << 62, 1.0F, 2.0F, 3.0F), "byte",
       "inside element \"vertex\""},
      {"a.pcd", "solid x\n", "line 1", "\"solid\" is no entry of a PCD header"},
      {"a.pcd", "VERSION 0.7\nFIELDS x y z\n", "line 2", "before the \"DATA\" line"},
      {"a.pcd", "VERSION 0.7\nFIELDS x y z\nSIZE 4 4\n", "line 3", "SIZE has fewer values"},
      {"a.pcd", "VERSION 0.7\nFIELDS x y z\nTYPE F F F F\n", "line 3", "TYPE has more values"},
      {"a.pcd", "VERSION 0.7\nWIDTH -3\n", "line 2", "WIDTH \"-3\""},
      {"a.pcd", "VERSION 0.7\nDATA binary_lzma\n", "line 2", "\"binary_lzma\""},
      {"a.pcd", "VERSION 0.7\nFIELDS x y\nSIZE 4 4\nTYPE F F\nPOINTS 1\nDATA ascii\n1 2\n", "line 6",
       "no field \"z\""},
      {"a.pcd", PcdHeader("x y z", "4 4 3", "F F F", "1 1 1", 1, "binary"), "line 11", "field \"z\""},
      {"a.pcd", "VERSION 0.7\nFIELDS x y z\nSIZE 4 4 4\nTYPE F F F\nDATA ascii\n1 2 3\n", "line 5",
       "neither POINTS nor WIDTH"},
      {"a.pcd", "VERSION 0.7\nFIELDS x y z\nSIZE 4 4 4\nTYPE F F F\nWIDTH 3\nPOINTS 4\nDATA ascii\n1 2 3\n",
       "line 7", "POINTS is 4"},
      {"a.pcd", pcd("ascii") + "1 2 3\n4 5 six\n", "line 13", "\"six\" in column 3"},
      {"a.pcd", pcd("ascii") + "1 2 3\n", "line 11", "promises 2 points"},
      {"a.pcd", pcd("ascii") + "1 2 3        \n", "line 12", "after 1 of 2 points"},
      {"a.pcd", floatPcd.substr(0, floatPcd.size() - 1), "byte " + std::to_string(floatPcd.size() - 1),
       "after 2 of 3 points of 12 bytes"},
      {"a.pcd", pcd("binary_compressed") + "1234", "byte", "before the lengths"},
      {"a.pcd", pcd("binary_compressed") + Packed(kLittle, 99U, 24U), "byte", "inside its 99 bytes"},
      {"a.pcd", pcd("binary_compressed") + Lzf(std::string(30, 'a')), compressedAt,
       "30 bytes, which are not 2 points of 12"},
      {"a.pcd", pcd("binary_compressed") + Packed(kLittle, 4U, 24U) + "\xff\xff\xff\xff", "byte", "damaged"},
      {"a.pcd",
       PcdHeader("x y z", "4 4 4", "F F F", "1 1 1", 357913941, "binary_compressed") +
           Packed(kLittle, 2U, 4294967292U) + "ab",
       "byte", "promise 4294967292 bytes"},
      {"a.pcd",
       PcdHeader("x y z", "4 4 4", "F F F", "1 4294967295 4294967295", 4294967295, "binary_compressed") +
           Packed(kLittle, 2U, 36U) + "ab",
       "byte", "which are not"},
      {"a.xyz", "1 2 3\n4 5 6e\n", "line 2", "\"6e\" in column 3 is not a number"},
      {"a.xyz", "1 2 3\n\n4 5\n", "line 3", "2 values where at least 3 are needed"},
      {"a.xyz", "1 2 3\n4 0x10 6\n", "line 2", "\"0x10\""},
      {"a.csv", "1,2,3\n4,,6\n", "line 2", "\"\" in column 2"},
      {"a.csv", "1,5 2,5 3,5\n", "line 1", "decimal commas need semicolons"},
      {"a.csv", "1.000,5;2;3\n", "line 1", "\"1.000,5\""},
      {"a.csv", "id,x,y,z\n1,2,3\n", "line 2", "3 values where at least 4"},
      {"a.xyz", "1 2 3\nabc\n", "line 2", "1 value where"},
      {"a.xyz", "Point1 1 2 3\n", "line 1", "\"Point1\" in column 1"},
      {"a.xyz", "nothing but\nwords\n", "line 2", "without a line of three numbers"},
      {"a.pts", "3\n1 2 3\n4 5 6\n", "line 3", "2 of the 3 points that line 1 promises"},
      {"a.pts", "1\n1 2 3\n4 5 6\n", "line 3", "a point more than the 1"},
      {"a.pts", "2\n1 2 3\n2\n4 5 6\n", "line 3", "1 of the 2 points"},
      {"a.pts", "3\n", "line 1", "0 of the 3 points"},
      {"a.xyz", std::string("1 2 3\n\0\1", 8), "byte 6", "neither PLY nor PCD nor text"},
      {"a.xyz", "\x1f\x8b\x08", "byte 0", "gzip"},
      {"a\nb\x1b.xyz", "1 \x1b[2J 3\n", "line 1", "\"?[2J\""},
  };
  for (const Row& row : rows) {
    const std::string message = MessageOf(row.name, row.bytes);
    EXPECT_NE(message.find(": " + row.place), std::string::npos) << message << " lacks " << row.place;
    EXPECT_NE(message.find(row.reason), std::string::npos) << message << " lacks " << row.reason;
    EXPECT_EQ(message.find_first_of("\n\x1b"), std::string::npos) << message;
  }
}

using Files = ScratchFolder;

TEST_F(Files, AreMappedOrReadToTheEnd) {
  const std::string path = Write("a.PLY", BinaryPly<float>(kLittle, "float", kFloats));
  const PointCloud cloud = ReadPoints(path);
  EXPECT_TRUE(SamePoints(cloud.points, kFloats));
  EXPECT_EQ(cloud.bytes, std::filesystem::file_size(path));
  const std::string pipe = Path("pipe");
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  std::string rows;
  for (int i = 0; i < 50000; ++i) rows += "1 2 3\n";
  const pid_t writer = ::fork();
  if (writer == 0) {
    std::ofstream(pipe) << rows;
    ::_exit(0);
  }
  EXPECT_EQ(ReadPoints(pipe).points.size(), 50000U);
}

TEST_F(Files, ThatCannotBeReadSaySo) {
  const auto messageOf = [](const std::string& path) {
    try {
      ReadPoints(path);
      return std::string("no error");
    } catch (const ReadError& error) {
      return std::string(error.what());
    }
  };
  EXPECT_NE(messageOf(Path("none.ply")).find("none.ply: cannot be opened: No such file"), std::string::npos);
  EXPECT_NE(messageOf(folder_.string()).find("is a directory"), std::string::npos);
  EXPECT_NE(messageOf("/dev/null").find("is a device"), std::string::npos);
  EXPECT_NE(messageOf(Write("empty.xyz", "")).find("the file is empty"), std::string::npos);
  const std::string secret = Write("secret.xyz", "1 2 3\n");
  std::filesystem::permissions(folder_, std::filesystem::perms::all);
  std::filesystem::permissions(secret, std::filesystem::perms::none);
  const uid_t user = ::geteuid();
  if (user == 0) ::seteuid(65534);  // the superuser may read anything
  const std::string message = messageOf(secret);
  if (user == 0) ::seteuid(0);
  EXPECT_NE(message.find("Permission denied"), std::string::npos) << message;
}

std::vector<std::pair<std::string, std::string>> Samples() {
  return {
      {"a.ply", PlyHeader("ascii", 3, "float") + kAsciiRows},
      {"a.ply", BinaryPly<float>(kLittle, "float", kFloats)},
      {"a.ply", BinaryPly<double>(kBig, "double", kPoints)},
      {"a.ply", Ply("format binary_little_endian 1.0\nelement vertex 3\nproperty list uchar uchar "
                    "l\nproperty float x\n"
                    "property float y\nproperty float z\n",
                    Packed(kLittle, std::uint8_t{0}, 1.0F, 2.0F, 3.0F) +
                        Packed(kLittle, std::uint8_t{1}, 'a', 1.0F, 2.0F, 3.0F) +
                        Packed(kLittle, std::uint8_t{0}, 1.0F, 2.0F, 3.0F))},
      {"a.pcd", PcdHeader("x y z", "4 4 4", "F F F", "1 1 1", 3, "ascii") + kAsciiRows},
      {"a.pcd", BinaryPcd(kFloats)},
      {"a.pcd", CompressedPcd(kFloats)},
      {"a.pts", std::string("3\n") + kAsciiRows},
      {"a.csv", "n;x;y;z\na;1;2;3\nb;4,5;5;6\nc;7;8;9\n"},
  };
}

TEST(Truncation, NeverPassesForAWholeFile) {
  for (const auto& [name, bytes] : Samples()) {
    const bool promises = name != "a.csv";  // only the promise of a header tells that rows are missing
    ASSERT_EQ(ParsePoints(name, bytes).points.size(), 3U);
    for (std::size_t size = 0; size < bytes.size(); ++size) {
      const std::string cut =
          bytes.substr(0, size);  // its own block: reading past it is seen by the sanitizer
      try {
        const std::size_t got = ParsePoints(name, cut).points.size();
        // The last line of text may lose its line end or its last digits and stay a line.
        EXPECT_TRUE(!promises || (got == 3 && size + 5 > bytes.size())) << name << " cut at " << size;
        EXPECT_LE(got, 3U);
      } catch (const ReadError&) {
      }
    }
  }
}

TEST(Mutation, NeverCrashesNorInventsPoints) {
  std::mt19937 random(20240607);
  const auto below = [&](std::size_t n) {
    return std::uniform_int_distribution<std::size_t>(0, n - 1)(random);
  };
  const auto samples = Samples();
  const std::string digits = "0123456789-+.,; \n\r\t\xff";
  std::size_t read = 0;
  for (int trial = 0; trial < 6000; ++trial) {
    auto [name, bytes] = samples[below(samples.size())];
    for (std::size_t change = 1 + below(4); change > 0; --change) {
      const std::size_t at = below(bytes.size());
      switch (below(4)) {
        case 0:
          bytes[at] = static_cast<char>(below(256));
          break;
        case 1:
          bytes[at] = digits[below(digits.size())];
          break;
        case 2:
          bytes.insert(at, bytes.substr(below(bytes.size()), below(20)));
          break;
        default:
          bytes.erase(at, 1 + below(8));
          break;
      }
      if (bytes.empty()) bytes.push_back('1');
    }
    try {
      const PointCloud cloud = ParsePoints(name, bytes);
      ++read;
      EXPECT_LE(cloud.points.size(), bytes.size() / 3) << "trial " << trial;
      EXPECT_LE(cloud.nonFinite, cloud.points.size()) << "trial " << trial;
    } catch (const ReadError&) {
    }
  }
  EXPECT_GT(read, 500U);  // else the mutations are so rough that only headers are tested
}

}  // namespace
