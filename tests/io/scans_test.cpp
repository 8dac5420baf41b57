// The text formats of terrestrial scanning: PTX with its grids and poses, PTS with its counts.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "io/read_points.h"
#include "support/point_files.h"

namespace {

using point_files::Points;
using primfit::io::NativeReaders;
using primfit::io::ParsePoints;
using primfit::io::PointCloud;
using primfit::io::ReadError;
using primfit::io::ReadRequest;

PointCloud Parse(const char* name, const std::string& text, const std::vector<std::string>& attributes = {}) {
  return ParsePoints(NativeReaders(), name, text, {attributes, {}});
}

std::string FaultOf(const char* name, const std::string& text,
                    const std::vector<std::string>& attributes = {}) {
  try {
    return std::to_string(Parse(name, text, attributes).points.size()) + " points";
  } catch (const ReadError& error) {
    return error.what();
  }
}

// A scanner at 100, 200, 10 that is turned by a quarter: its x is the y of the site, its y the negative x.
const std::string kTurned =
    "2\n2\n100 200 10\n0 1 0\n-1 0 0\n0 0 1\n"
    "0 1 0 0\n-1 0 0 0\n0 0 1 0\n100 200 10 1\n"
    "1 0 0 0.25 9 8 7\n0 0 0 0.5 0 0 0\n0 2 0 0.75 6 5 4\n3 0 1 1 3 2 1\n";
// The second scan has neither colours nor a place of its scanner.
const std::string kShifted =
    "1\n2\n0 0 0\n1 0 0\n0 1 0\n0 0 1\n"
    "1 0 0 0\n0 1 0 0\n0 0 1 0\n5 6 7 1\n"
    "0 0 0 0.5\n1 1 1 0.125\n";

TEST(Ptx, PutsAllScansIntoTheirCommonFrame) {
  const PointCloud cloud = Parse("a.ptx", kTurned + kShifted, {"scan", "intensity"});
  EXPECT_EQ(cloud.points, (Points{{100, 201, 10}, {98, 200, 10}, {100, 203, 11}, {6, 7, 8}}));
  EXPECT_EQ(cloud.attributes, (std::vector<std::vector<double>>{{1, 1, 1, 2}, {0.25, 0.75, 1, 0.125}}));
  EXPECT_EQ(cloud.marked, 2U);
  EXPECT_EQ(cloud.format, "PTX, 2 scans");
  ASSERT_EQ(cloud.scans.size(), 2U);
  EXPECT_EQ(cloud.scans[0].points, 4U);
  EXPECT_EQ(cloud.scans[0].station, Eigen::Vector3d(100, 200, 10));
  EXPECT_EQ(cloud.scans[1].station, Eigen::Vector3d(5, 6, 7)) << "where the matrix puts the scanner";
  EXPECT_EQ(Parse("a.ptx", kTurned, {"blue"}).attributes, (std::vector<std::vector<double>>{{7, 4, 1}}));
  // The contents tell it, whatever the name is.
  EXPECT_EQ(Parse("a.txt", kTurned).points.size(), 3U);
}

TEST(Ptx, FaultsAreToldWithPlaceAndReason) {
  struct Row {
    std::string text;
    const char* error;
    std::vector<std::string> attributes = {};
  };
  const std::string cut = kTurned.substr(0, kTurned.rfind("3 0 1"));
  const Row rows[] = {
      {cut, "a.ptx: line 13: the file ends after 3 of the 4 points of scan 1; copy or export it again"},
      {kTurned + "1 1 1 1\n", "a.ptx: line 15: \"1 1 1 1\" is no number of columns of a scan; if the scan"},
      {kTurned + "1\n", "a.ptx: line 15: the file ends inside the header of a scan; copy or export it again"},
      {kTurned + "1\nx\n", "a.ptx: line 16: \"x\" is no number of rows of a scan"},
      {kTurned + "1\n1\n0 0\n", "a.ptx: line 17: \"0 0\" is not the scanner's place, which is 3 numbers"},
      {kTurned + kShifted.substr(0, 40) + "nan 0 0 0\n", "is not a row of the scan's matrix"},
      {"4000000000\n4000000000\n" + kTurned.substr(4),
       "a.ptx: line 10: the header promises 16000000000000000000 points, but the rest of the file has room"},
      {cut + "3 0 x 1 3 2 1\n", "a.ptx: line 14: \"x\" in column 3 is not a number"},
      {cut + "3 0 1\n", "a.ptx: line 14: 3 values where 7 are needed"},
      {kTurned + kShifted,
       "a.ptx: the points have no attribute \"red\"; they have x, y, z, intensity, scan",
       {"red"}},
      {"hello\n", "a.ptx: line 1: \"hello\" is no number of columns of a scan"},
  };
  for (const Row& row : rows) {
    const std::string fault = FaultOf("a.ptx", row.text, row.attributes);
    EXPECT_NE(fault.find(row.error), std::string::npos) << fault << "\nlacks " << row.error;
  }
}

TEST(Pts, ReadsScansAndWhatTheirColumnsAre) {
  const PointCloud cloud =
      Parse("a.pts", "2\n1 2 3 -700 10 20 30\n4 5 6 -800 11 21 31\n1\n7 8 9 -900 12 22 32\n",
            {"blue", "scan", "intensity"});
  EXPECT_EQ(cloud.points, (Points{{1, 2, 3}, {4, 5, 6}, {7, 8, 9}}));
  EXPECT_EQ(cloud.attributes,
            (std::vector<std::vector<double>>{{30, 31, 32}, {1, 1, 2}, {-700, -800, -900}}));
  EXPECT_EQ(cloud.scans.size(), 2U);
  EXPECT_TRUE(cloud.notes.empty());
  EXPECT_EQ(Parse("a.pts", "1\n1 2 3 10 20 30\n", {"green"}).attributes[0][0], 20);
  EXPECT_EQ(Parse("a.pts", "1,2,3\n4,5,6\n").points.size(), 2U) << "a file of this name without a count";
}

TEST(Pts, MorePointsThanTheCountAreReadAndTold) {
  const PointCloud cloud = Parse("a.pts", "1\n1 2 3\n4 5 6\n1\n7 8 9\n");
  EXPECT_EQ(cloud.points.size(), 3U);
  EXPECT_EQ(cloud.notes, (std::vector<std::string>{"line 1 promises 1 point, but 2 follow; all were read"}));
  EXPECT_EQ(FaultOf("a.pts", "2\n1 2 3\n1\n7 8 9\n"),
            "a.pts: line 3: the next count line comes after 1 of the 2 points that line 1 promises; copy or "
            "export the file again");
}

}  // namespace
