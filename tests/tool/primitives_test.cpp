// The sub-commands: each finds its shape among outliers, in the user's units.
#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>

#include "primfit/fit/scoped_seed.h"
#include "primfit/fit_c.h"
#include "run_program.h"
#include "support/point_files.h"
#include "support/scenes.h"
#include "support/scratch_folder.h"

namespace {

using Eigen::Vector3d;
using primfit::testing::kFullTurn;
using primfit::testing::Points;
using primfit::testing::PointsOn;
using primfit::testing::Random;
using run_program::Launch;
using Json = nlohmann::json;
using Arguments = std::vector<std::string>;

constexpr int kCount = 2000;
constexpr double kNoise = 0.001;
const Vector3d kPlace(2, -1, 3);
const Vector3d kAxis = Vector3d(1, -2, 2) / 3;

/// What fits a row: both methods, or the adaptive one, which may say that a size is at an end of its range.
enum Methods { kBoth, kAdaptive, kAtLimit };

struct Row {
  const char* command;
  Arguments arguments;
  std::function<Points(Random&)> points;
  Json shape;  // in millimetres and degrees; the parts that the points determine
  double within = 10;
  Methods methods = kBoth;

  bool Holds() const {
    return std::any_of(arguments.begin(), arguments.end(),
                       [](const std::string& argument) { return argument.starts_with("--fix"); });
  }
};

std::string Comma(const Vector3d& v) {
  return std::to_string(v.x()) + "," + std::to_string(v.y()) + "," + std::to_string(v.z());
}

std::vector<Row> Rows() {
  const OutputCylinder cylinder(kPlace, 0.2, kAxis);
  const OutputCone cone(kPlace, 0.4, kAxis);
  const OutputTorus torus(kPlace, 0.8, 0.2, kAxis);
  const double quarter = std::numbers::pi / 2;
  const auto rod = [](Random& r) { return PointsOn(OutputLine(kPlace, kAxis), kCount, {0, 2}, kNoise, r); };
  const auto arc = [](Random& r) {
    return PointsOn(OutputCircle(kPlace, 0.5, kAxis), kCount, {1, 3}, kNoise, r);
  };
  const auto sheet = [](Random& r) {
    return PointsOn(OutputPlane(kPlace, kAxis), kCount, {0, 1}, {0, 2}, kNoise, r);
  };
  const auto ball = [](Random& r) {
    return PointsOn(OutputSphere(kPlace, 0.5), kCount, {-1.5, 1.5}, {0, 3}, kNoise, r);
  };
  const auto pipe = [=](Random& r) { return PointsOn(cylinder, kCount, kFullTurn, {0, 1.5}, kNoise, r); };
  const auto horn = [=](Random& r) { return PointsOn(cone, kCount, kFullTurn, {0.5, 1.5}, kNoise, r); };
  const auto bend = [=](Random& r) { return PointsOn(torus, kCount, {0, quarter}, kFullTurn, kNoise, r); };
  const Json place = {2000, -1000, 3000}, axis = {kAxis.x(), kAxis.y(), kAxis.z()};
  // A cross-section of the bend: centred on the middle circle, about its tangent. A point of the pipe.
  const Vector3d e1 = (torus.Eval(0.5, 0) - kPlace).normalized();
  const std::string section =
      "--through=" + Comma(1000 * (kPlace + 0.8 * e1)) + ",200," + Comma(kAxis.cross(e1));
  const std::string pick = "--pick=" + Comma(1000 * (kPlace + 0.2 * e1 + 0.7 * kAxis));
  const std::string passes = "--passes=" + Comma(1000 * (kPlace + 0.5 * e1)) + ",5";
  return {
      {"line", {}, rod, {{"direction", axis}, {"length", 2000}}},
      {"arc",
       {},
       arc,
       {{"center", place}, {"radius", 500}, {"normal", axis}, {"swept-angle", 180 / quarter}}},
      {"patch", {}, sheet, {{"normal", axis}, {"outline", 2e6}}},
      {"sphere", {}, ball, {{"center", place}, {"radius", 500}}},
      {"cylinder", {}, pipe, {{"radius", 200}, {"axis", axis}}},
      {"cylinder", {"--start=0,0,0,205,1,-2,2", "--fix-radius"}, pipe, {{"radius", 205}, {"axis", axis}}},
      {"bounded-cylinder", {}, pipe, {{"radius", 200}, {"axis", axis}, {"height", 1500}}},
      {"pipe", {pick, "--radius-hint", "300"}, pipe, {{"radius", 200}, {"axis", axis}}},
      {"cone", {}, horn, {{"apex", place}, {"half-angle", 72 / std::numbers::pi}, {"axis", axis}}},
      {"bounded-cone",
       {},
       horn,
       {{"apex", place}, {"half-angle", 72 / std::numbers::pi}, {"height0", 500}, {"height1", 1500}}},
      {"torus", {}, bend, {{"center", place}, {"major-radius", 800}, {"minor-radius", 200}, {"axis", axis}}},
      {"elbow", {}, bend, {{"center", place}, {"major-radius", 800}, {"swept-angle", 90}}},
      {"elbow", {section}, bend, {{"center", place}, {"major-radius", 800}, {"minor-radius", 200}}, 30},
      // What leaves its range ends at the end of it.
      {"arc", {"--radius-range=300,499"}, arc, {{"radius", 499}, {"normal", axis}}, 1e-6, kAtLimit},
      {"sphere", {"--radius-range=501,600"}, ball, {{"radius", 501}}, 1e-6, kAtLimit},
      {"bounded-cylinder",
       {"--radius-range=100,199", "--axis-near=1,-2,2,5"},
       pipe,
       {{"radius", 199}, {"axis", axis}},
       1e-6,
       kAtLimit},
      {"cone", {"--half-angle-range=23.1,30"}, horn, {{"half-angle", 23.1}, {"axis", axis}}, 1e-6, kAtLimit},
      {"torus",
       {"--radius-range=801,900", "--minor-radius-range=100,199"},
       bend,
       {{"major-radius", 801}, {"minor-radius", 199}},
       1e-6,
       kAtLimit},
      {"elbow",
       {"--start=2000,-1000,3000,810,205,1,-2,2", "--fix-minor-radius"},
       bend,
       {{"minor-radius", 205}, {"axis", axis}},
       1e-6},
      // A part alone is held at the value beside its option.
      {"arc", {"--fix-radius", "505"}, arc, {{"radius", 505}, {"normal", axis}}, 1e-6, kAdaptive},
      {"sphere", {"--fix-radius", "505"}, ball, {{"radius", 505}}, 1e-6},
      {"cylinder", {"--fix-radius", "205"}, pipe, {{"radius", 205}, {"axis", axis}}, 1e-6},
      {"cylinder", {"--fix-axis", "1,-2,2"}, pipe, {{"radius", 200}, {"axis", axis}}},
      {"bounded-cylinder", {"--fix-radius", "205"}, pipe, {{"radius", 205}, {"axis", axis}}, 1e-6},
      {"cone", {"--fix-half-angle", "23"}, horn, {{"half-angle", 23}, {"axis", axis}}, 1e-6},
      {"bounded-cone", {"--fix-half-angle", "23"}, horn, {{"half-angle", 23}, {"axis", axis}}, 1e-6},
      {"torus", {"--fix-major-radius", "805"}, bend, {{"major-radius", 805}, {"axis", axis}}, 1e-6},
      {"torus", {"--fix-minor-radius", "205"}, bend, {{"minor-radius", 205}, {"axis", axis}}, 1e-6},
      {"elbow", {"--fix-minor-radius", "205"}, bend, {{"minor-radius", 205}, {"axis", axis}}, 1e-6},
      // Only the direction of the arc is free.
      {"arc",
       {"--start=2000,-1000,3000,500,1,-2,1.9", "--fix-center", "--fix-radius", passes},
       arc,
       {{"center", place}, {"radius", 500}, {"normal", axis}},
       1e-6,
       kAdaptive},
  };
}

Vector3d VectorOf(const Json& json) {
  return {json[0].get<double>(), json[1].get<double>(), json[2].get<double>()};
}

/// Area that the corners enclose.
double Area(const Json& outline) {
  Vector3d doubled = Vector3d::Zero();
  for (std::size_t i = 0; i < outline.size(); ++i)
    doubled +=
        VectorOf(outline[i]["position"]).cross(VectorOf(outline[(i + 1) % outline.size()]["position"]));
  return doubled.norm() / 2;
}

/// Compares a result with what a row expects.
void Check(const Row& row, const Json& fit) {
  const Json& shape = fit["shapes"].at(0);
  for (const auto& [part, truth] : row.shape.items()) {
    const Json& value = part == "outline" ? shape.at(part) : shape.at("parts").at(part).at("value");
    SCOPED_TRACE(part + " " + value.dump());
    if (part == "outline")
      EXPECT_NEAR(Area(value), truth.get<double>(), 5e4);
    else if (!truth.is_array())
      EXPECT_NEAR(value.get<double>(), truth.get<double>(), row.within);
    else if (part == "center" || part == "apex")
      EXPECT_LT((VectorOf(value) - VectorOf(truth)).norm(), row.within);
    else
      EXPECT_LT(VectorOf(value).cross(VectorOf(truth)).norm(), 0.01);
  }
}

using Commands = ScratchFolder;

// 2000 points with 1 mm of noise and 200 around them, but for shapes whose ends an outlier would push out.
// The refinement of the fixed pipeline stops where its steps fall below a two-hundredth of the scanner error.
TEST_F(Commands, FindTheirShapeInTheUnitOfTheFile) {
  int index = 0;
  for (const Row& row : Rows()) {
    SCOPED_TRACE(std::string(row.command) + " " + std::to_string(row.arguments.size()));
    Random random(static_cast<std::uint64_t>(++index));
    Points points = row.points(random);
    const bool bounded =
        row.shape.contains("outline") || row.shape.contains("swept-angle") || row.shape.contains("height1");
    for (int i = 0; i < kCount / 10 && !bounded; ++i) points.push_back(kPlace + random.InCube(1));
    for (Vector3d& p : points) p *= 1000;
    const std::string file = Write("cloud.ply", point_files::BinaryPly(points));
    for (const bool classic : {false, true}) {
      if (classic && row.methods != kBoth) continue;
      SCOPED_TRACE(classic);
      Arguments arguments = {row.command, "--unit", "mm", "--json", "--seed", "1", file, "--outliers", "0.2"};
      if (classic) arguments.emplace_back("--classic");
      // A part that is held at a wrong value leaves the points another form.
      if (row.Holds() && !classic) arguments.insert(arguments.end(), {"--accept", "misfit"});
      if (row.methods == kAtLimit) arguments.insert(arguments.end(), {"--accept", "at_limit"});
      arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
      const auto outcome = Launch(arguments);
      ASSERT_EQ(outcome.status, 0) << outcome.err;
      Check(row, Json::parse(outcome.out));
    }
  }
}

// The same search on the same points: each number is that of the C interface, an angle in degrees.
TEST_F(Commands, TellTheirNumbersInTheOrderOfC) {
  const std::string_view kinds[] = {
      "line", "arc",          "plane", "patch", "sphere", "cylinder", "bounded-cylinder",
      "cone", "bounded-cone", "torus", "elbow"};
  for (const Row& row : Rows()) {
    const auto* kind = std::find(std::begin(kinds), std::end(kinds), row.command);
    if (!row.arguments.empty() || kind == std::end(kinds)) continue;
    SCOPED_TRACE(row.command);
    Random random(1);
    const Points points = row.points(random);
    const std::string file = Write("cloud.ply", point_files::BinaryPly(points));
    const Json fit = Json::parse(Launch({row.command, "--json", "--seed", "1", file}).out);
    const std::vector<double> numbers = fit["shapes"].at(0).at("numbers");
    const primfit::ScopedSeed seed(1);
    primfit_result* c = nullptr;
    ASSERT_EQ(
        primfit_fit(static_cast<int>(kind - kinds), points.size(), points[0].data(), 3, nullptr, &c, nullptr),
        0);
    ASSERT_EQ(numbers.size(), static_cast<std::size_t>(c->number_count));
    for (std::size_t i = 0; i < numbers.size(); ++i) {
      const bool isAngle = (numbers.size() == 11 && i == 10) || (numbers.size() == 12 && i == 8) ||
                           (std::string_view(row.command).find("cone") != std::string_view::npos && i == 3);
      EXPECT_NEAR(numbers[i], c->numbers[i] * (isAngle ? 180 / std::numbers::pi : 1), 1e-12) << i;
    }
    primfit_free(c);
  }
}

/// The bytes behind the header of a PLY file, for a fixed size of its rows.
std::vector<std::string> RowsOf(const std::string& path, std::size_t size) {
  std::ifstream file(path, std::ios::binary);
  const std::string all{std::istreambuf_iterator<char>(file), {}};
  std::vector<std::string> rows;
  for (std::size_t at = all.find("end_header\n") + 11; at + size <= all.size(); at += size)
    rows.push_back(all.substr(at, size));
  return rows;
}
template <class T>
T NumberAt(const std::string& row, std::size_t at) {
  T number;
  std::memcpy(&number, row.data() + at, sizeof number);
  return number;
}

Vector3d VectorAt(const std::string& row) {
  return {NumberAt<double>(row, 0), NumberAt<double>(row, 8), NumberAt<double>(row, 16)};
}

// Survey coordinates, so that these are doubles, in feet, so that the library sees others than the files
// have.
TEST_F(Commands, WriteTheirPoints) {
  constexpr double kFoot = 0.3048;
  const Vector3d center = Vector3d(500000, 4000000, 100) / kFoot;
  Random random(1);
  Points points;
  for (const Vector3d& p :
       PointsOn(OutputSphere(Vector3d::Zero(), 0.5), kCount, {-1.5, 1.5}, {0, 6}, kNoise, random))
    points.push_back(center + p / kFoot);
  points.insert(points.end(), {center, center + Vector3d(0, 0, 9), Vector3d(NAN, 0, 0)});
  const std::string file = Write("cloud.ply", point_files::BinaryPly(points));
  points.pop_back();
  for (const bool classic : {false, true}) {
    Arguments arguments = {"sphere", "--seed", "1", "--unit", "ft", file, "--json"};
    if (classic) arguments.emplace_back("--classic");
    for (const char* name : {"labels", "deviations", "inliers", "rest"})
      arguments.insert(arguments.end(), {std::string("--") + name, Path(name)});
    const auto outcome = Launch(arguments);
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const Json fit = Json::parse(outcome.out), &shape = fit["shapes"][0], &quality = shape["quality"];
    const auto labels = RowsOf(Path("labels"), 28), deviations = RowsOf(Path("deviations"), 35);
    ASSERT_EQ(labels.size(), points.size());
    ASSERT_EQ(deviations.size(), points.size());
    const double tolerance = shape["tolerance"],
                 range = 3 * shape.value("noise", quality["rms"].get<double>());
    double least = 1e9, largest = -1e9;
    std::size_t inliers = 0;
    for (std::size_t i = 0; i < points.size(); ++i) {
      const double deviation = NumberAt<double>(deviations[i], 24);
      EXPECT_EQ(VectorAt(labels[i]), points[i]);
      EXPECT_EQ(VectorAt(deviations[i]), points[i]);
      EXPECT_NEAR(deviation, (points[i] - center).norm() - 0.5 / kFoot, 0.001);
      const bool on = NumberAt<std::int32_t>(labels[i], 24) == 0;
      EXPECT_EQ(on, std::abs(deviation) <= tolerance) << deviation;
      const auto red = static_cast<unsigned char>(deviations[i][32]),
                 blue = static_cast<unsigned char>(deviations[i][34]);
      EXPECT_EQ(deviations[i].substr(32) == "\x60\x60\x60", !on);
      if (!on) continue;
      ++inliers;
      least = std::min(least, deviation);
      largest = std::max(largest, deviation);
      EXPECT_TRUE(std::abs(deviation) < 0.01 * range || (red > blue) == (deviation > 0)) << deviation;
    }
    EXPECT_EQ(inliers, shape["inliers"]);
    EXPECT_EQ(fit["points"]["of_no_shape"], points.size() - inliers);
    EXPECT_EQ(RowsOf(Path("inliers"), 24).size(), inliers);
    EXPECT_EQ(RowsOf(Path("rest"), 24).size(), points.size() - inliers);
    EXPECT_NEAR(quality["form_error"]["least"].get<double>(), least, 1e-9);
    EXPECT_NEAR(quality["form_error"]["largest"].get<double>(), largest, 1e-9);
  }
}

// Along the line an end is known to about the gap between neighbours, which is much more here than what the
// noise leaves open across it.
TEST_F(Commands, TellHowExactlyTheEndOfALineIsKnown) {
  Random random(1);
  const std::string file =
      Write("line.ply",
            point_files::BinaryPly(PointsOn(OutputLine(kPlace, kAxis), kCount, {0, 2}, kNoise, random)));
  const std::string report = Launch({"line", "--seed", "1", file}).out;
  double end = 0;
  ASSERT_EQ(std::sscanf(report.c_str() + report.find(" ± "), " ± %lf m", &end), 1) << report;
  const double gap = 2.0 / kCount;
  EXPECT_GT(end, 0.5 * gap) << report;
  EXPECT_LT(end, 3 * gap) << report;
}

}  // namespace
