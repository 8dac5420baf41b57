#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>
#include <random>

#include "io/read_points.h"
#include "support/point_files.h"
#include "support/scratch_folder.h"

namespace {

using namespace point_files;
using primfit::io::PointCloud;
using primfit::io::ReadError;

PointCloud ParsePoints(std::string_view name, std::string_view bytes) {
  return primfit::io::ParsePoints(primfit::io::NativeReaders(), name, bytes);
}
PointCloud ReadPoints(const std::string& path) {
  return primfit::io::ReadPoints(primfit::io::NativeReaders(), path);
}

constexpr std::endian kLittle = std::endian::little;
constexpr std::endian kBig = std::endian::big;
const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();
const Points kPoints = {{1, 2, 3}, {-4.5, 5.25, -6.125}, {7e3, 0, 1e-3}};
const Points kFloats = {{1, 2, 3}, {-4.5, 5.25, -6.125}, {700.5, 0, 0.25}};  // exact in 32 bits
const Points kSmall = {{1, 2, 3}, {100, 0, 127}};                            // exact in every type
const Points kSigned = {{1, -2, 3}, {-128, 0, 127}};
const std::string kAsciiRows = "1 2 3\n-4.5 5.25 -6.125\n7e3 0 1e-3\n";

std::string Show(const Points& points, std::size_t nonFinite) {
  std::ostringstream text;
  text.precision(17);
  for (const auto& p : points) {
    for (const double c : p) text << (std::isnan(c) ? kNaN : c) << ' ';
  }
  text << "not finite: " << nonFinite;
  return text.str();
}

/// The points, or the message of the error.
template <class Read>
std::string ResultOf(const Read& read) {
  try {
    const PointCloud cloud = read();
    return Show(cloud.points, cloud.nonFinite);
  } catch (const ReadError& error) {
    return error.what();
  }
}

struct Readable {
  const char* what;
  std::string bytes;
  Points expected;
  const char* name = "a.xyz";  // matters only where a PCD file does not begin as one
};

void ExpectReadable(const std::vector<Readable>& rows) {
  for (const Readable& row : rows) {
    const auto nonFinite =
        std::count_if(row.expected.begin(), row.expected.end(), [](const auto& p) { return !p.allFinite(); });
    EXPECT_EQ(ResultOf([&] { return ParsePoints(row.name, row.bytes); }),
              Show(row.expected, static_cast<std::size_t>(nonFinite)))
        << row.what;
  }
}

TEST(Ply, ReadsEveryEncodingAndType) {
  const Points holes = {{1, 2, 3}, {kNaN, 1, 2}, {0, -kInf, 0}};
  ExpectReadable({
      {"ascii", PlyHeader("ascii", 3, "float") + kAsciiRows, kPoints, "a.ply"},
      {"the name does not matter", PlyHeader("ascii", 3, "float") + kAsciiRows, kPoints, "a.pcd"},
      {"float", BinaryPly<float>(kFloats, "float"), kFloats},
      {"float32, big", BinaryPly<float>(kFloats, "float32", kBig), kFloats},
      {"double", BinaryPly(kPoints), kPoints},
      {"float64, big", BinaryPly(kPoints, "float64", kBig), kPoints},
      {"char", BinaryPly<std::int8_t>(kSigned, "char"), kSigned},
      {"uint8", BinaryPly<std::uint8_t>(kSmall, "uint8", kBig), kSmall},
      {"int16, big", BinaryPly<std::int16_t>(kSigned, "int16", kBig), kSigned},
      {"ushort", BinaryPly<std::uint16_t>(kSmall, "ushort"), kSmall},
      {"int, big", BinaryPly<std::int32_t>(kSigned, "int", kBig), kSigned},
      {"uint32", BinaryPly<std::uint32_t>(kSmall, "uint32"), kSmall},
      {"int64, big", BinaryPly<std::int64_t>(kSigned, "int64", kBig), kSigned},
      {"not finite", BinaryPly<float>(holes, "float", kBig), holes},
      {"no points", PlyHeader("ascii", 0, "float"), {}},
  });
}

TEST(Ply, SkipsWhatIsNotAPoint) {
  const std::string mixed =
      PlyHeader("binary_big_endian",
                "camera 2: uchar id, list uchar short v\ncomment a b; nothing 99999999999; vertex 2: uchar "
                "red, double z, list int float w, float x, short y\nobj_info end; face 7: list uchar int v") +
      Packed(kBig, std::uint8_t{1}, std::uint8_t{2}, std::int16_t{5}, std::int16_t{6}, std::uint8_t{1},
             std::uint8_t{0}) +
      Packed(kBig, std::uint8_t{200}, 3.0, std::int32_t{1}, 9.0F, 1.0F, std::int16_t{2}) +
      Packed(kBig, std::uint8_t{200}, 6.5, std::int32_t{0}, 4.0F, std::int16_t{-5}) +
      "the faces are not read";
  const std::string asciiMixed = PlyHeader(
      "ascii",
      "camera 2: list uchar short v; vertex 2: list uchar int w, float z, float x, uchar red, float y");
  const auto crLf = [](const std::string& header) { return boost::replace_all_copy(header, "\n", "\r\n"); };
  ExpectReadable({
      {"lists and elements around, big", mixed, {{1, 2, 3}, {4, -5, 6.5}}},
      {"lists and elements around, ascii",
       asciiMixed + "2 7 7\n0\n2 8 8 3 1 200 2\n\n 0 6\t4  200 5 \n3 0 1 2\n",
       {{1, 2, 3}, {4, 5, 6}}},
      {"CR LF", crLf(PlyHeader("ascii", 1, "  float\t") + "1 2 3\n"), {{1, 2, 3}}},
      {"CR LF before binary",
       crLf(PlyHeader("binary_little_endian", 1, "float")) + Packed(kLittle, 1.0F, 2.0F, 3.0F),
       {{1, 2, 3}}},
      {"binary that begins with a line feed",
       PlyHeader("binary_little_endian", 1, "uchar") + "\n\r ",
       {{10, 13, 32}}},
  });
}

TEST(Pcd, ReadsEveryEncodingAndLayout) {
  const auto mixed = [](const char* data) {
    return PcdHeader(2, data, "_ rgb z _ y x n", "1 4 8 1 2 4 4", "U U F U I F F", "3 1 1 2 1 1 2");
  };
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
      {"ascii", PcdHeader(3, "ascii") + kAsciiRows, kPoints},
      {"ascii, any order", mixed("ascii") + "_ _ _ 7 3 _ _ 2 1 8 9\n_ _ _ 7 6.5 _ _ -5 4 8 9", expected},
      {"binary", BinaryPcd(kFloats), kFloats},
      {"binary, any order", mixed("binary") + row(3, 2, 1) + row(6.5, -5, 4) + "trailer", expected},
      {"compressed", CompressedPcd(kFloats), kFloats},
      {"compressed, padding left out", mixed("binary_compressed") + Lzf(withoutPadding), expected},
      {"compressed, padding kept", mixed("binary_compressed") + Lzf(withPadding), expected},
      {"older header",
       "# comment\r\nVERSION .5\r\nCOLUMNS x y z\r\nSIZE 4 4 4\r\nTYPE F U F\r\nPOINTS 2\r\nDATA ascii\r\n1 "
       "2 3\r\nnan 4 -inf\r\n",
       {{1, 2, 3}, {kNaN, 4, -kInf}},
       "a.pcd"},
      {"no magic",
       "FIELDS x y z\nSIZE 4 4 4\nTYPE F F F\nWIDTH 1\nHEIGHT 2\nDATA ascii\n1 2 3\n4 5 6",
       {{1, 2, 3}, {4, 5, 6}},
       "a.pcd"},
      {"no points", CompressedPcd({}), {}},
  });
}

TEST(Text, ReadsTheUsualForms) {
  const Points two = {{1, 2, 3}, {-4.5, 5.25, 6}};
  ExpectReadable({
      {"blanks", "1 2 3\n-4.5 5.25 6\n", two},
      {"no line end at the end", "1 2 3\n-4.5 5.25 6", two},
      {"tabs, indent, empty lines", "\n\t1\t2 3 \n\n  -4.5   5.25\t6\n \n", two},
      {"CR LF and byte order mark", "\xef\xbb\xbf\x31 2 3\r\n-4.5 5.25 6\r\n", two},
      {"CR alone", "1 2 3\r-4.5 5.25 6\r", two},
      {"commas", "1,2,3\n-4.5, 5.25 ,6,\n", two},
      {"semicolons", "1;2;3\n-4.5; 5.25;6\n", two},
      {"decimal commas", "1,0;2;3,\n-4,5;5,25;6e0\n", two},
      {"comments", "# a 1 2 3\n// b\n; c\n% d\n1 2 3\n# 7 8 9\n-4.5 5.25 6 # e\n", two},
      {"extra columns", "1 2 3 255 name\n-4.5 5.25 6 0\n", two},
      {"names", "name,Z,intensity,\"X\",Y [m]\np 1,3,9,1,2\np 2,6,9,-4.5,5.25\n", two},
      {"names without coordinates", "Exported by a scanner\nEasting Northing Height\n1 2 3\n-4.5 5.25 6\n",
       two},
      {"names in a comment", "//Z X Y\n3 1 2\n6 -4.5 5.25\n", two},
      {"prose in a comment", "# intensity x y z follow each other\n1 2 3 9\n-4.5 5.25 6 9\n", two},
      {"count line", "2\n1 2 3 -1000 4 5 6\n-4.5 5.25 6 -1000 4 5 6\n", two},
      {"count lines", "1\n1 2 3\n1\n-4.5 5.25 6\n", two},
      {"numbers", "+1 2. .3e1\n-45E-1 525.00e-02 0.6D+1\n", two},
      {"not finite",
       "nan NaN -nan\ninf -Infinity +inf\n1.#QNAN 1.#INF -1.#IND00\n1 2 1e999\n",
       {{kNaN, kNaN, kNaN}, {kInf, -kInf, kInf}, {kNaN, kInf, kNaN}, {1, 2, kInf}}},
      {"nearest double", "0.1 1e-320 123456789.123456789123456789\n", {{0.1, 1e-320, 123456789.12345679}}},
  });
}

TEST(Text, TellsItsColumns) {
  const PointCloud cloud = ParsePoints("a.csv", "X;y;z;\"label\"\n1;2;3;a\n");
  ASSERT_EQ(cloud.fields.size(), 4U);
  EXPECT_EQ(cloud.fields[0].name, "X");
  EXPECT_EQ(cloud.format, "text, values between semicolons");
  EXPECT_EQ(ParsePoints("a.xyz", "1 2 3 4 5\n").fields.size(), 5U);
}

TEST(Faults, AreToldWithPlaceAndReason) {
  struct Row {
    std::string bytes, place;
    const char* reason;
    const char* name = "a.xyz";
  };
  const std::string huge = "18446744073709551615", bigPly = BinaryPly<float>(kFloats, "float", kBig);
  const std::string floatPcd = BinaryPcd(kFloats), asciiPly = PlyHeader("ascii", 2, "float");
  const std::string listPly = PlyHeader("ascii", "vertex 1: list int int w, int x, int y, int z");
  const std::string binaryListPly =
      PlyHeader("binary_little_endian", "vertex 1: list uint64 double w, float x, float y, float z");
  const std::string asciiPcd = PcdHeader(2, "ascii"), packedPcd = PcdHeader(2, "binary_compressed");
  const Row rows[] = {
      {"", "", "the file is empty"},
      {"solid x\n", "byte 0", "no PLY file", "a.ply"},
      {"plywood\n", "byte 0", "no PLY file", "A.PLY"},
      {"ply\nformat ascii 1.0\n", "line 2", "before \"end_header\""},
      {"ply\nformat utf8 1.0\n", "line 2", "unknown format \"utf8\""},
      {"ply\nelement vertex 1\nend_header\n", "line 3", "without a \"format\" line"},
      {"ply\nelement vertex many\n", "line 2", "\"many\""},
      {"ply\nelement vertex -1\n", "line 2", "\"-1\""},
      {"ply\nproperty float x\n", "line 2", "before the first element"},
      {"ply\nelement v 1\nproperty quad x\n", "line 3", "\"quad\""},
      {"ply\nelement v 1\nproperty list float int x\n", "line 3", "no integer type"},
      {"ply\nfromat ascii 1.0\n", "line 2", "\"fromat\" is no entry"},
      {PlyHeader("ascii", "face 1: int x"), "line 5", "no element \"vertex\""},
      {PlyHeader("ascii", "vertex 1: int x, int y"), "line 6", "\"z\""},
      {asciiPly + "1 2 3\n4 5 x6\n", "line 9", "\"x6\" in column 3 is not a number"},
      {asciiPly + "1 2 3\n44 5\n", "line 9", "2 values where 3 are needed"},
      {asciiPly + "1 2 3 4\n5 6 7\n", "line 8", "4 values where 3 are needed"},
      {asciiPly + "1 2 3333333\n", "line 8", "after 1 of the 2 rows"},
      {PlyHeader("ascii", 1000, "float") + "1 2 3\n", "line 7", "promises 1000 points"},
      {PlyHeader("ascii", SIZE_MAX, "int") + "1 2 3\n", "line 7", "18446744073709551615"},
      {PlyHeader("ascii", "f 3: int k; vertex 0: int x, int y, int z") + "1\n", "line 10",
       "after 1 of the 3 rows of element \"f\""},
      {listPly + huge + " 1 2 3\n", "line 9", "4 values where"},
      {listPly + "-1 1 2 3\n", "line 9", "\"-1\" is no length"},
      {bigPly.substr(0, bigPly.size() - 13), "byte " + std::to_string(bigPly.size() - 13),
       "after 1 of the 3 rows"},
      {PlyHeader("binary_big_endian", SIZE_MAX, "float") + "1234", "byte", "18446744073709551615"},
      {binaryListPly + Packed(kLittle, std::uint64_t{1} << 62, 1.0F, 2.0F, 3.0F), "byte",
       "inside element \"vertex\""},
      {PlyHeader("binary_little_endian", "e 1: list char char w; vertex 1: char x, char y, char z") + "\xff",
       "byte", "the list \"w\" has a negative length"},
      {"solid x\n", "line 1", "\"solid\" is no entry of a PCD header", "a.pcd"},
      {"VERSION 0.7\nFIELDS x y z\n", "line 2", "before the \"DATA\" line", "a.pcd"},
      {"VERSION 0.7\nFIELDS x y z\nSIZE 4 4\n", "line 3", "SIZE has fewer values", "a.pcd"},
      {"VERSION 0.7\nFIELDS x y z\nTYPE F F F F\n", "line 3", "TYPE has more values", "a.pcd"},
      {"VERSION 0.7\nWIDTH -3\n", "line 2", "WIDTH \"-3\"", "a.pcd"},
      {"VERSION 0.7\nDATA binary_lzma\n", "line 2", "\"binary_lzma\"", "a.pcd"},
      {PcdHeader(1, "ascii", "x y", "4 4", "F F", "1 1") + "1 2\n", "line 11", "no field \"z\""},
      {PcdHeader(1, "binary", "x y z", "4 4 3"), "line 11", "field \"z\""},
      {"FIELDS x y z\nSIZE 4 4 4\nTYPE F F F\nDATA ascii\n1 2 3\n", "line 4", "neither POINTS nor WIDTH",
       "a.pcd"},
      {"FIELDS x y z\nSIZE 4 4 4\nTYPE F F F\nWIDTH 3\nPOINTS 4\nDATA ascii\n1 2 3\n", "line 6",
       "POINTS is 4", "a.pcd"},
      {asciiPcd + "1 2 3\n4 5 six\n", "line 13", "\"six\" in column 3"},
      {asciiPcd + "1 2 3\n", "line 11", "promises 2 points"},
      {asciiPcd + "1 2 3        \n", "line 12", "after 1 of 2 points"},
      {floatPcd.substr(0, floatPcd.size() - 1), "byte " + std::to_string(floatPcd.size() - 1),
       "after 2 of 3 points of 12 bytes"},
      {packedPcd + "1234", "byte", "before the lengths"},
      {packedPcd + Packed(kLittle, 99U, 24U), "byte", "inside its 99 bytes"},
      {packedPcd + Lzf(std::string(30, 'a')), "byte " + std::to_string(packedPcd.size()),
       "30 bytes, which are not 2 points of 12"},
      {packedPcd + Packed(kLittle, 4U, 24U) + "\xff\xff\xff\xff", "byte", "damaged"},
      {PcdHeader(357913941, "binary_compressed") + Packed(kLittle, 2U, 4294967292U) + "ab", "byte",
       "promise 4294967292 bytes"},
      {PcdHeader(4294967295, "binary_compressed", "x y z", "4 4 4", "F F F", "1 4294967295 4294967295") +
           Packed(kLittle, 2U, 36U) + "ab",
       "byte", "which are not"},
      {"1 2 3\n4 5 6e\n", "line 2", "\"6e\" in column 3 is not a number"},
      {"1 2 3\n\n4 5\n", "line 3", "2 values where at least 3 are needed"},
      {"1 2 3\n4 0x10 6\n", "line 2", "\"0x10\""},
      {"1,2,3\n4,,6\n", "line 2", "\"\" in column 2"},
      {"1,5 2,5 3,5\n", "line 1", "decimal commas need semicolons"},
      {"1.000,5;2;3\n", "line 1", "\"1.000,5\""},
      {"id,x,y,z\n1,2,3\n", "line 2", "3 values where at least 4"},
      {"1 2 3\nabc\n", "line 2", "1 value where"},
      {"Point1 1 2 3\n", "line 1", "\"Point1\" in column 1"},
      {"nothing but\nwords\n", "line 2", "without a line of three numbers"},
      {"3\n1 2 3\n4 5 6\n", "line 3", "2 of the 3 points that line 1 promises"},
      {"2\n1 2 3\n2\n4 5 6\n", "line 3", "1 of the 2 points"},
      {"3\n", "line 1", "0 of the 3 points", "a.pts"},
      {std::string("1 2 3\n\0\1", 8), "byte 6", "of no format that is read, nor text"},
      {"BZh91AY", "byte 0", "compressed with bzip2"},
      {"\x28\xb5\x2f\xfd 1", "byte 0", "compressed with zstd"},
      {"ASTM-E57", "byte 0", "E57"},
      {"\x1f\x8b\x08", "byte 0", "gzip"},
      {"1 \x1b[2J 3\n", "line 1", "\"?[2J\"", "a\nb\x1b.xyz"},
  };
  for (const Row& row : rows) {
    const std::string message = ResultOf([&] { return ParsePoints(row.name, row.bytes); });
    EXPECT_NE(message.find(": " + row.place), std::string::npos) << message << " lacks " << row.place;
    EXPECT_NE(message.find(row.reason), std::string::npos) << message << " lacks " << row.reason;
    EXPECT_EQ(message.find_first_of("\n\x1b"), std::string::npos) << message;
  }
}

using Files = ScratchFolder;

TEST_F(Files, AreMappedOrReadToTheEnd) {
  const std::string path = Write("a.PLY", BinaryPly<float>(kFloats, "float"));
  const PointCloud cloud = ReadPoints(path);
  EXPECT_EQ(cloud.points, kFloats);
  EXPECT_EQ(cloud.bytes, std::filesystem::file_size(path));
  const std::string pipe = Path("pipe");
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  const pid_t writer = ::fork();
  if (writer == 0) {
    std::ofstream out(pipe);
    for (int i = 0; i < 50000; ++i) out << "1 2 3\n";
    out.close();
    ::_exit(0);
  }
  EXPECT_EQ(ReadPoints(pipe).points.size(), 50000U);
}

TEST_F(Files, ThatCannotBeReadSaySo) {
  const std::string secret = Write("secret.xyz", "1 2 3\n");
  std::filesystem::permissions(folder_, std::filesystem::perms::all);
  std::filesystem::permissions(secret, std::filesystem::perms::none);
  const std::pair<std::string, const char*> rows[] = {
      {Path("none.ply"), "none.ply: cannot be opened: No such file"},
      {folder_.string(), "is a directory"},
      {"/dev/null", "is a device"},
      {Write("empty.xyz", ""), "the file is empty"},
      {secret, "Permission denied"}};
  const uid_t user = ::geteuid();
  if (user == 0) ::seteuid(65534);  // the superuser may read anything
  for (const auto& [path, reason] : rows) {
    const std::string message = ResultOf([&, &path = path] { return ReadPoints(path); });
    EXPECT_NE(message.find(reason), std::string::npos) << message;
  }
  if (user == 0) ::seteuid(0);
}

std::vector<std::string> Samples() {
  return {PlyHeader("ascii", 3, "float") + kAsciiRows,
          BinaryPly<float>(kFloats, "float"),
          BinaryPly(kPoints, "double", kBig),
          PlyHeader("binary_little_endian", "vertex 3: list uchar uchar l, float x, float y, float z") +
              Packed(kLittle, std::uint8_t{0}, 1.0F, 2.0F, 3.0F) +
              Packed(kLittle, std::uint8_t{1}, 'a', 1.0F, 2.0F, 3.0F) +
              Packed(kLittle, std::uint8_t{0}, 1.0F, 2.0F, 3.0F),
          PcdHeader(3, "ascii") + kAsciiRows,
          BinaryPcd(kFloats),
          CompressedPcd(kFloats),
          "3\n" + kAsciiRows,
          "n;x;y;z\na;1;2;3\nb;4,5;5;6\nc;7;8;9\n"};
}

TEST(Truncation, NeverPassesForAWholeFile) {
  for (const std::string& bytes : Samples()) {
    const bool promises = bytes[0] != 'n';  // only the promise of a header tells that rows are missing
    ASSERT_EQ(ParsePoints("a", bytes).points.size(), 3U);
    for (std::size_t size = 0; size < bytes.size(); ++size) {
      // A block of its own: reading past it is seen by the sanitizer.
      const std::string cut = bytes.substr(0, size);
      try {
        const std::size_t got = ParsePoints("a", cut).points.size();
        // The last line of text may lose its line end or its last digits and stay a line.
        EXPECT_TRUE(!promises || (got == 3 && size + 5 > bytes.size())) << bytes << " cut at " << size;
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
    std::string bytes = samples[below(samples.size())];
    for (std::size_t change = 1 + below(4); change > 0; --change) {
      const std::size_t at = below(bytes.size()), kind = below(4);
      if (kind == 0) bytes[at] = static_cast<char>(below(256));
      if (kind == 1) bytes[at] = digits[below(digits.size())];
      if (kind == 2) bytes.insert(at, bytes.substr(below(bytes.size()), below(20)));
      if (kind == 3) bytes.erase(at, 1 + below(8));
      if (bytes.empty()) bytes.push_back('1');
    }
    try {
      const PointCloud cloud = ParsePoints(trial % 3 == 0 ? "a.pcd" : "a.xyz", bytes);
      ++read;
      EXPECT_LE(cloud.points.size(), bytes.size() / 3) << "trial " << trial;
      EXPECT_LE(cloud.nonFinite, cloud.points.size()) << "trial " << trial;
    } catch (const ReadError&) {
    }
  }
  EXPECT_GT(read, 400U);  // else the mutations are so rough that only headers are tested
}

}  // namespace
