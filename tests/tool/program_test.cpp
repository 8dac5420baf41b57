#include <gtest/gtest.h>
#include <sys/stat.h>

#include <Eigen/Geometry>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <numbers>

#include "primfit/fit.h"
#include "primfit/fit/fit_input_params.h"
#include "run_program.h"
#include "support/point_files.h"
#include "support/scenes.h"
#include "support/scratch_folder.h"
#include "support/text_search.h"
#include "support/thread_sanitizer.h"

namespace {

using Eigen::Vector3d;
using point_files::BinaryPly;
using primfit::testing::Clutter;
using primfit::testing::Points;
using primfit::testing::Random;
using run_program::How;
using run_program::Launch;
using run_program::Outcome;
using Json = nlohmann::json;
using Arguments = std::vector<std::string>;

const Vector3d kNormal(0.0, -0.6, 0.8);
const Vector3d kOrigin(1.0, 2.0, 3.0);
constexpr int kInliers = 3000, kOutliers = 1000, kNotFinite = 7;

/// A square of 4 m in the plane, with 2 mm of noise across it; outliers in the cube around it; lost points.
Points Scene(int outliers) {
  Random random;
  const Vector3d corner(2, 2, 2);
  Points points = primfit::testing::Joined(
      PointsOn(OutputPlane(kOrigin, kNormal), kInliers, {-2, 2}, {-2, 2}, 0.002, random),
      Clutter(kOrigin - corner, kOrigin + corner, outliers, random));
  points.insert(points.end(), kNotFinite, Vector3d(0.0, std::numeric_limits<double>::quiet_NaN(), 0.0));
  return points;
}

Vector3d VectorOf(const Json& json) {
  return Vector3d(json.at(0).get<double>(), json.at(1).get<double>(), json.at(2).get<double>());
}

const Json& ShapeOf(const Json& fit) { return fit.at("shapes").at(0); }
const Json& PartOf(const Json& fit, const char* name) {
  return ShapeOf(fit).at("parts").at(name).at("value");
}
const Json& SearchOf(const Json& fit) { return fit.at("report").at("search"); }

Json JsonOf(const Outcome& outcome) {
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(outcome.err, "");
  return Json::parse(outcome.out);
}

class Program : public ScratchFolder {
 protected:
  std::string WriteScene(double metresPerUnit = 1.0, int outliers = kOutliers) const {
    Points points = Scene(outliers);
    for (auto& p : points) p /= metresPerUnit;
    return Write("scene.ply", BinaryPly(points));
  }
  Json Fit(Arguments arguments, const std::string& file) const {
    arguments.insert(arguments.begin(), "plane");
    arguments.insert(arguments.end(), {"--json", "--seed", "5", file});
    return JsonOf(Launch(arguments));
  }
};

TEST_F(Program, FindsAPlaneAndCountsItsPoints) {
  const Json fit = Fit({"--classic"}, WriteScene());
  EXPECT_EQ(fit["report"]["method"], "classic");
  // The tilt of 3000 points with 2 mm of noise over 4 m has a standard deviation of 3e-5, the height one of
  // 4e-5 m: the bounds are more than eight times these.
  EXPECT_LT(VectorOf(PartOf(fit, "normal")).cross(kNormal).norm(), 3e-4);
  EXPECT_LT(std::abs(kNormal.dot(VectorOf(PartOf(fit, "origin")) - kOrigin)), 4e-4);
  EXPECT_NEAR(ShapeOf(fit)["quality"]["rms"].get<double>(), 0.002, 2e-4);
  EXPECT_TRUE(ShapeOf(fit)["quality"]["acceptable"].get<bool>());
  const Json& points = fit["points"];
  EXPECT_EQ(points["total"], kInliers + kOutliers + kNotFinite);
  EXPECT_EQ(points["not_finite"], kNotFinite);
  EXPECT_EQ(points["used"], kInliers + kOutliers);
  EXPECT_EQ(points["sampled"], points["used"]);
  const int inliers = ShapeOf(fit)["inliers"];
  EXPECT_EQ(points["of_no_shape"], kInliers + kOutliers - inliers);
  EXPECT_GE(inliers, 2990);
  EXPECT_LE(inliers, 3030);
  int sum = 0;
  for (const Json& slot : ShapeOf(fit)["quality"]["histogram"]) sum += slot["count"].get<int>();
  EXPECT_EQ(sum, inliers);
}

TEST_F(Program, TellsHowExactlyItKnowsAPlane) {
  const Json fit = Fit({}, WriteScene());
  EXPECT_EQ(fit["report"]["method"], "adaptive");
  EXPECT_NEAR(ShapeOf(fit)["noise"].get<double>(), 0.002, 2e-4);
  EXPECT_NEAR(ShapeOf(fit)["tolerance"].get<double>(), 3 * ShapeOf(fit)["noise"].get<double>(), 1e-12);
  EXPECT_EQ(ShapeOf(fit)["verdict"], "good");
  EXPECT_EQ(SearchOf(fit)["stop_reason"], "confident");
  EXPECT_TRUE(ShapeOf(fit)["converged"].get<bool>());
  EXPECT_GT(SearchOf(fit)["draws"], 0);
  EXPECT_GT(SearchOf(fit)["refinements"], 0);
  const Json& points = fit["points"];
  EXPECT_EQ(points["sampled"], kInliers + kOutliers);
  EXPECT_GE(ShapeOf(fit)["inliers"], 2970);
  EXPECT_LE(ShapeOf(fit)["inliers"], 3020);
  EXPECT_NEAR(ShapeOf(fit)["inlier_share"].get<double>(),
              ShapeOf(fit)["inliers"].get<double>() / (kInliers + kOutliers), 1e-12);

  const Json& covariance = ShapeOf(fit)["covariance"];
  const Json& parameters = covariance["parameters"];
  ASSERT_EQ(parameters.size(), 3U);
  ASSERT_EQ(covariance["matrix"].size(), 3U);
  for (std::size_t i = 0; i < 3; ++i) {
    const double deviation = parameters[i]["standard_deviation"];
    const Json& row = covariance["matrix"].at(i);
    EXPECT_NEAR(row.at(i).get<double>(), deviation * deviation, 1e-9 * deviation * deviation);
    EXPECT_EQ(row.at(0), covariance["matrix"].at(0).at(i));
    const bool isAngle = parameters[i]["name"] == "direction";
    EXPECT_EQ(parameters[i]["unit"], isAngle ? "deg" : "m");
    EXPECT_NEAR(VectorOf(parameters[i]["direction"]).norm(), 1, 1e-9);
    // noise / sqrt(n), for the tilt over the spread 4 m / sqrt(12) of the points
    const double expected =
        0.002 / std::sqrt(kInliers) * (isAngle ? 180 / std::numbers::pi / (4 / std::sqrt(12)) : 1);
    EXPECT_NEAR(deviation, expected, 0.15 * expected) << i;
  }
  // Of the position only how far along the normal is known, there where the points are.
  EXPECT_LT((VectorOf(covariance["position"]) - kOrigin).norm(), 0.2);
}

TEST_F(Program, TakesWhatItIsToldOfAShape) {
  const std::string file = WriteScene();
  const Arguments start = {"--start", "1,2,3,0,-3,4"};
  const auto with = [](Arguments arguments, const Arguments& more) {
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
  };
  const struct {
    Arguments arguments;
    const char* place;
    Json value;
  } rows[] = {
      {{"--noise", "0.004"}, "/shapes/0/tolerance", 0.012},
      {{"--noise", "0.004", "--tolerance", "0.003"}, "/shapes/0/tolerance", 0.003},
      {with(start, {"--most-draws", "1"}), "/report/search/stop_reason", "draw_limit"},
      {with(start, {"--time-limit", "1e-9"}), "/report/search/stop_reason", "time_limit"},
      {with(start, {"--time-limit", "1e-9"}), "/report/search/draws", 0},
  };
  for (const auto& row : rows)
    EXPECT_EQ(Fit(row.arguments, file).at(Json::json_pointer(row.place)), row.value) << row.arguments[0];
  // 1.1458 degrees from the true normal; of them half a degree is given away.
  const Json near = Fit({"--axis-near=0.1,-3,4,0.5", "--accept", "at_limit"}, file);
  EXPECT_NEAR(std::asin(VectorOf(PartOf(near, "normal")).cross(kNormal).norm()) * 180 / std::numbers::pi,
              0.6458, 0.01);
  // What a search finds with few samples is what a larger share of outliers, or more confidence, makes it
  // exceed.
  const auto draws = [&](const Arguments& arguments) {
    return SearchOf(Fit(arguments, file))["draws"].get<int>();
  };
  EXPECT_LT(draws({"--confidence", "0.5"}), draws({"--confidence", "0.999999"}));
  EXPECT_LT(draws({"--outliers", "0.2"}), draws({"--outliers", "0.8"}));
}

TEST_F(Program, TellsOfTheSubsetOfALargeCloud) {
  Points points;
  for (int i = 0; i < 120000; ++i) points.emplace_back(0.01 * (i % 400), 0.01 * (i / 400), 0.5);
  const std::string file = Write("a.ply", BinaryPly<float>(points, "float", std::endian::big));
  EXPECT_EQ(Fit({}, file)["points"]["sampled"], 120000);
  EXPECT_EQ(Fit({"--classic"}, file)["points"]["sampled"], 100000);
  const Json all = Fit({"--classic", "--sample-size", "all"}, file);
  EXPECT_EQ(all["points"]["sampled"], 120000);
  EXPECT_EQ(ShapeOf(all)["inliers"], 120000);
  EXPECT_NEAR(PartOf(all, "origin")[2].get<double>(), 0.5, 1e-9);
}

TEST_F(Program, GivesTheSamePlaneInEveryUnit) {
  const Json metres = Fit({}, WriteScene()), classic = Fit({"--classic"}, WriteScene());
  for (const auto& [name, size] : {std::pair("mm", 0.001), {"cm", 0.01}, {"ft", 0.3048}, {"in", 0.0254}}) {
    SCOPED_TRACE(name);
    const std::string file = WriteScene(size);
    const Json adaptive = Fit({"--unit", name}, file);
    const Json fixed = Fit({"--unit", name, "--classic"}, file);
    for (const auto& [fit, like] : {std::pair(&adaptive, &metres), {&fixed, &classic}}) {
      EXPECT_EQ((*fit)["units"]["length"], name);
      EXPECT_EQ((*fit)["points"], (*like)["points"]);
      EXPECT_LT((VectorOf(PartOf(*fit, "origin")) * size - VectorOf(PartOf(*like, "origin"))).norm(), 1e-9);
      EXPECT_LT((VectorOf(PartOf(*fit, "normal")) - VectorOf(PartOf(*like, "normal"))).norm(), 1e-9);
      for (const char* number : {"rms", "mean", "mean_signed", "largest"}) {
        EXPECT_NEAR(ShapeOf(*fit)["quality"][number].get<double>() * size,
                    ShapeOf(*like)["quality"][number].get<double>(), 1e-9)
            << number;
      }
    }
    for (const char* number : {"noise", "tolerance"})
      EXPECT_NEAR(ShapeOf(adaptive)[number].get<double>() * size, ShapeOf(metres)[number].get<double>(), 1e-9)
          << number;
    const Json &covariance = ShapeOf(adaptive)["covariance"], &inMetres = ShapeOf(metres)["covariance"];
    EXPECT_LT((VectorOf(covariance["position"]) * size - VectorOf(inMetres["position"])).norm(), 1e-9);
    for (std::size_t i = 0; i < 3; ++i) {
      const Json &parameter = covariance["parameters"].at(i), &like = inMetres["parameters"].at(i);
      const double scale = parameter["unit"] == "deg" ? 1 : size;
      EXPECT_NEAR(parameter["standard_deviation"].get<double>() * scale,
                  like["standard_deviation"].get<double>(), 1e-9);
      EXPECT_NEAR(covariance["matrix"][0][i].get<double>() * size * scale,
                  inMetres["matrix"][0][i].get<double>(), 1e-12);
    }
    EXPECT_NEAR(fixed["options"]["tolerance"].get<double>() * size, 0.012, 1e-12);
    EXPECT_NEAR(ShapeOf(fixed)["quality"]["histogram"][0]["to"].get<double>() * size, 0.0015, 1e-12);
  }
  // What the command line gives is in the unit of the file as well.
  for (const Arguments& narrowing : {Arguments{"--tolerance"}, {"--noise"}, {"--classic", "--tolerance"}}) {
    Arguments inMetres = narrowing, inMillimetres = narrowing;
    inMetres.emplace_back("0.001");
    inMillimetres.insert(inMillimetres.end(), {"1", "--unit", "mm"});
    const Json narrow = Fit(inMetres, WriteScene());
    EXPECT_EQ(ShapeOf(narrow)["inliers"], ShapeOf(Fit(inMillimetres, WriteScene(0.001)))["inliers"]);
    EXPECT_LT(ShapeOf(narrow)["inliers"], ShapeOf(metres)["inliers"]);
  }
}

TEST_F(Program, UsesTheRegionOfInterest) {
  Points points;  // three floors of 100 points
  for (int floor = 0; floor < 3; ++floor) {
    for (int i = 0; i < 100; ++i) points.emplace_back(-1.0 + 0.2 * (i % 10), 0.2 * (i / 10), floor);
  }
  const std::string file = Write("a.ply", BinaryPly(points));
  const struct {
    Arguments region;
    double height;
    std::size_t used;
  } rows[] = {
      {{"--box", "-1,0,0.9,1,2,1.1"}, 1, 100},
      {{"--box", "-1,0,2,-0.5,2,2"}, 2, 30},  // the faces of a box belong to it
      {{"--near", "-1,0,0,0.3"}, 0, 4},
      {{"--near=-.2,1,1,.95", "--box", "-5,-5,0.5,5,1,5"}, 1, 39},  // lattice points in a half disc
  };
  for (const auto& row : rows) {
    Arguments arguments = row.region;
    arguments.push_back("--classic");  // four points are too few for the adaptive method
    const Json fit = Fit(arguments, file);
    EXPECT_EQ(fit["points"]["used"], row.used);
    EXPECT_EQ(fit["points"]["outside_region"], 300 - row.used);
    EXPECT_NEAR(PartOf(fit, "origin")[2].get<double>(), row.height, 1e-9);
  }
  // Attributes choose points as well, and of many points every n-th one counts.
  std::string text = "no,e,n,h,class\n";
  for (std::size_t i = 0; i < points.size(); ++i) {
    const Vector3d& p = points[i];
    text += std::to_string(i) + "," + std::to_string(p.x()) + "," + std::to_string(p.y()) + "," +
            std::to_string(p.z()) + "," + std::to_string(i / 100 + 4) + "\n";
  }
  const std::string table = Write("a.csv", text);
  for (const char* where : {"class=5", "class=4.5..5.5,9", "H=1", "no=100..199"}) {
    const Json fit = Fit({"--columns", "2,n,h", "--where", where, "--every", "2"}, table);
    EXPECT_EQ(fit["points"]["used"], 50) << where;
    EXPECT_NEAR(PartOf(fit, "origin")[2].get<double>(), 1, 1e-9) << where;
  }
  // A place that the shape passes leaves the other points in.
  const Json floor = Fit({"--passes", "-1,0,2,0.1"}, file);
  EXPECT_EQ(floor["points"]["used"], 300);
  EXPECT_NEAR(PartOf(floor, "origin")[2].get<double>(), 2, 1e-9);
}

TEST_F(Program, ChecksAGivenShapeAndFitsAllPoints) {
  Points points;  // a level square that rises by 2 mm at one side, and a stray point
  for (int i = 0; i < 400; ++i) points.emplace_back(0.1 * (i % 20), 0.1 * (i / 20), i % 20 == 0 ? 0.002 : 0);
  points.emplace_back(1, 1, 1);
  const std::string file = Write("a.ply", BinaryPly(points));
  const auto check = [&](const std::string& shape, const Arguments& more) {
    Arguments arguments = {"check", file, "--json", "--shape", shape};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const Outcome outcome = run_program::Launch(arguments);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return Json::parse(outcome.out);
  };
  const Json given = check("plane:0,0,0,0,0,1", {"--near", "0,0,0,5"});
  EXPECT_EQ(given["shapes"][0]["kind"], "plane");
  EXPECT_EQ(given["shapes"][0]["inliers"], 401);
  EXPECT_FALSE(given["shapes"][0].contains("verdict")) << "what was given is not judged";
  const Json& error = given["shapes"][0]["quality"]["form_error"];
  EXPECT_NEAR(error["least"].get<double>(), 0, 1e-12);
  EXPECT_NEAR(error["largest"].get<double>(), 1, 1e-12);
  EXPECT_NEAR(given["shapes"][0]["quality"]["rms"].get<double>(), std::sqrt((1 + 20 * 4e-6) / 401), 1e-9);

  // All points are the shape's, and what was fitted is checked again through its stored result, in its unit.
  const std::string stored = Path("stored.json");
  const Outcome fit =
      run_program::Launch({"plane", file, "--all-points", "--output", stored, "--box=-1,-1,-1,3,3,0.5"});
  EXPECT_TRUE(fit.status == 0 || fit.status == 3) << fit.err;
  const Json first = Json::parse(std::ifstream(stored));
  EXPECT_EQ(first["shapes"][0]["inliers"], 400);
  const Json same = check(stored, {"--box=-1,-1,-1,3,3,0.5"});
  EXPECT_NEAR(same["shapes"][0]["quality"]["rms"].get<double>(),
              first["shapes"][0]["quality"]["rms"].get<double>(), 1e-12);
  // The same points in millimetres: the stored shape is in metres.
  for (Vector3d& p : points) p *= 1000;
  const Outcome scaled =
      run_program::Launch({"check", Write("mm.ply", BinaryPly(points)), "--json", "--unit", "mm", "--shape",
                           stored, "--box=-1000,-1000,-1000,3000,3000,500"});
  EXPECT_NEAR(Json::parse(scaled.out)["shapes"][0]["quality"]["rms"].get<double>(),
              1000 * first["shapes"][0]["quality"]["rms"].get<double>(), 1e-9);
}

TEST_F(Program, HoldsAndStartsAsAsked) {
  const std::string metres = WriteScene();
  const Json normalHeld = Fit({"--start", "0,0,0,0,-3,4", "--fix-normal"}, metres);
  EXPECT_EQ(VectorOf(PartOf(normalHeld, "normal")), Vector3d(0, -3, 4).normalized());
  EXPECT_LT(std::abs(kNormal.dot(VectorOf(PartOf(normalHeld, "origin")) - kOrigin)), 4e-4);
  EXPECT_EQ(normalHeld["options"]["fix"], Json({"normal"}));

  // A value beside its option needs no start, and goes before that of one.
  for (const Arguments& start : {Arguments{}, {"--start", "0,0,0,1,0,0"}}) {
    for (const Arguments& held : {Arguments{"--fix-normal", "0,-3,4"}, {"--fix-normal=0,-3,4"}}) {
      Arguments arguments = held;
      arguments.insert(arguments.end(), start.begin(), start.end());
      const Json json = Fit(arguments, metres);
      EXPECT_EQ(ShapeOf(json)["parts"], ShapeOf(normalHeld)["parts"]) << held.size();
      EXPECT_EQ(json["options"]["start"][4], -3.0) << "of the option, not of the start";
    }
  }

  // 1.1 and so on are no round numbers of binary metres: the conversions would change them.
  const std::string millimetres = WriteScene(0.001);
  const Json originHeld =
      Fit({"--unit", "mm", "--start", "1100.1,2000.3,3000.7,0,0,1", "--fix-origin"}, millimetres);
  EXPECT_EQ(VectorOf(PartOf(originHeld, "origin")), Vector3d(1100.1, 2000.3, 3000.7));
  EXPECT_LT(VectorOf(PartOf(originHeld, "normal")).cross(kNormal).norm(), 1e-2);

  // Without a search nothing random is left.
  const std::string clean = WriteScene(1.0, 0);
  const Arguments skip = {"--classic", "--skip-search", "--start", "1,2,3.01,0,-0.62,0.78"};
  const Json refined = Fit(skip, clean);
  EXPECT_LT(VectorOf(PartOf(refined, "normal")).cross(kNormal).norm(), 1e-3);
  EXPECT_EQ(ShapeOf(refined), ShapeOf(Fit(skip, clean)));
}

TEST_F(Program, RepeatsAFitFromTheSeedThatItReports) {
  const std::string file = WriteScene();
  Json first = JsonOf(Launch({"plane", "--json", file}));
  const auto seed = first["report"]["seed"].get<std::uint64_t>();
  Json again = JsonOf(Launch({"plane", "--json", file, "--seed", std::to_string(seed)}));
  for (Json* fit : {&first, &again}) {
    fit->erase("arguments");
    (*fit)["report"].erase("times");
  }
  EXPECT_EQ(first, again);
}

TEST_F(Program, ReportsInTextWithUnits) {
  const std::string file = WriteScene(0.001);
  const auto expect = [&](const Arguments& more, const std::vector<const char*>& lines) {
    Arguments arguments = {"plane", "--seed", "5", "--unit", "mm", file};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const Outcome outcome = Launch(arguments);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");  // no bar where there is no terminal
    for (const char* line : lines) EXPECT_TRUE(Finds(outcome.out, line)) << line << outcome.out;
  };
  expect({}, {"  origin +[-0-9.]+, [-0-9.]+, [-0-9.]+ ± 0\\.0(3|4)[0-9] mm\n",
              "  normal +[-0-9.]+, -?0\\.[0-9]{6}, [-0-9.]+ ± 0\\.00(1|2)[0-9] deg\n",
              "  inliers +[0-9]+ of 4000 .7[45]\\.[0-9] %. within [56]\\.[0-9]{3} mm\n",
              "  noise +[12]\\.[0-9]{3} mm\n", "  rms +[12]\\.[0-9]{3} mm\n",
              "  draws +[0-9]+ samples, [0-9]+ refinements\n",
              "  end +confident that no better shape was missed\n", "  fitting +[0-9.]+ s .seed 5.\n",
              "\nverdict +good: 7[45] % of the points support the shape\n$"});
  expect({"--start", "1000,2000,3000,0,-3,4", "--fix-normal", "--time-limit", "1e-9"},
         {"  origin .* ± .* mm\n", "  normal +-?0\\.0+, -0\\.60+, 0\\.80+ .held.\n",
          "  end +stopped before the search was done, by the time limit\n"});
  expect({"--noise", "2.5", "--tolerance", "6"},
         {"  inliers .* within 6\\.000 mm .told 6\\.000 mm.\n",
          "  noise +(1\\.[6-9]|2\\.[0-2])[0-9]{2} mm .told 2\\.500 mm.\n"});
  expect({"--classic", "--start", "0,0,0,0,-3,4", "--fix-normal"},
         {"plane fitted to .*scene.ply\n", "  origin +[-0-9.]+, [-0-9.]+, [-0-9.]+ mm\n",
          "  normal +0.0+, -0.60+, 0.80+ .held.\n", "  in the file +4007 .PLY binary_little_endian.\n",
          "  no measurement +7 ", "  used +4000\n",
          "  inliers +[0-9]+ of 4000 .7[45]\\.[0-9] %. within 12.000 mm\n", "  rms +[12]\\.[0-9]{3} mm\n",
          "  mean +[0-9.]+ mm\n", "  mean signed +-?[0-9.]+ mm\n", "  largest +1?[0-9]\\.[0-9]{3} mm\n",
          "  0.000 to 1.500 mm +[0-9]+ +[0-9.]+ %  #{40}\n", "  reading +[0-9.]+ s\n",
          "  fitting +[0-9.]+ s .seed [0-9]+.\n$"});
}

TEST_F(Program, ShowsAStoredResultAsItsRunDid) {
  const std::string scene = WriteScene();
  const Arguments commands[] = {{"plane", scene, "--seed", "5", "--noise", "0.002", "--near", "1,2,3,2"},
                                {"plane", scene, "--seed", "5", "--classic"},
                                {"patch", scene, "--seed", "5"},
                                {"info", scene, "--box", "0,0,0,1,2,3"}};
  const std::string file = Path("result.json");
  for (Arguments command : commands) {
    command.insert(command.end(), {"--output", file});
    const Outcome run = Launch(command);
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(Launch({"show", file}).out, run.out);
    const Outcome json = Launch({"show", "--json", "-"}, {.input = file});
    EXPECT_EQ(Launch({"show", Write("again.json", json.out)}).out, run.out);
  }
  const Outcome nothing = Launch({"plane", scene, "--json", "--seed", "5", "--near=9,9,9,1"});
  const Outcome shown = Launch({"show", Write("nothing.json", nothing.out)});
  EXPECT_EQ(shown.status, 0);
  EXPECT_TRUE(Finds(shown.out, "^no plane found in .*: .* lies in --near\n")) << shown.out;
  const Outcome refused = Launch({"show", scene});
  EXPECT_EQ(refused.status, 2);
  EXPECT_EQ(refused.err,
            "primfit: " + scene + ": byte 1: this is no JSON; name a result that primfit has written\n");
}

TEST_F(Program, TellsWhatAFileHolds) {
  const std::string file = Write("a.csv", "id;X;y;z\n1;1,5;2;3\n2;nan;2;3\n3;-4;8;-2\n");
  const Json info = JsonOf(Launch({"info", "--json", file}));
  EXPECT_EQ(info["points"], Json({{"total", 3},
                                  {"marked", 0},
                                  {"passed_over", 0},
                                  {"not_finite", 1},
                                  {"not_where", 0},
                                  {"outside_region", 0},
                                  {"used", 2}}));
  EXPECT_EQ(info["extent"], Json({{"low", {-4.0, 2.0, -2.0}}, {"high", {1.5, 8.0, 3.0}}}));
  EXPECT_EQ(info["input"]["fields"][1]["name"], "X");
  EXPECT_EQ(info["input"]["xxh128"], "3b8625ddbf07cb8b62abea1a28661161");
  EXPECT_EQ(JsonOf(Launch({"info", "--json", "-"}, {.input = file}))["input"]["xxh128"],
            "3b8625ddbf07cb8b62abea1a28661161");
  const Outcome text = Launch({"info", "--unit", "cm", "--box", "0,0,0,9,9,9", file});
  for (const char* part : {"4: id, X, y, z\n", "in the file      3 (text, values between semicolons)\n",
                           "outside region   1\n", "x                1.5000 to 1.5000 cm\n"}) {
    EXPECT_NE(text.out.find(part), std::string::npos) << part << text.out;
  }
  const std::string none = Write("none.ply", point_files::PlyHeader("ascii", 0, "float"));
  EXPECT_FALSE(JsonOf(Launch({"info", "--json", none})).contains("extent"));
}

TEST_F(Program, ReadsStandardInput) {
  const How how{.input = WriteScene()};
  for (const Arguments& file : {Arguments{"-"}, {}, {"--", "-"}}) {
    Arguments arguments = {"plane", "--seed", "5", "--json"};
    arguments.insert(arguments.end(), file.begin(), file.end());
    EXPECT_EQ(JsonOf(Launch(arguments, how))["points"]["used"], kInliers + kOutliers) << file.size();
  }
}

TEST_F(Program, TellsWhatTheCoordinatesLack) {
  // A level floor in whole millimetres behind missing returns.
  Points points(500, Vector3d::Zero());
  Random random;
  for (int i = 0; i < 2000; ++i)
    points.emplace_back(random.Integer(0, 3000) * 0.001, random.Integer(0, 3000) * 0.001,
                        2 + 0.001 * random.Integer(0, 1));
  const std::string file = Write("floor.ply", BinaryPly(points));
  const Outcome text = Launch({"plane", "--seed", "1", "--unit", "m", file});
  EXPECT_TRUE(Finds(text.out, "  set aside +500 .hundreds at one place, as missing returns are stored.\n"))
      << text.out;
  EXPECT_TRUE(Finds(text.out, "  coordinate step +0\\.00(1000|0999) m, coarser than the rest of the noise\n"))
      << text.out;
  const Json json = Fit({}, file);
  EXPECT_EQ(json["points"]["set_aside"], 500);
  EXPECT_NEAR(ShapeOf(json)["coordinate_step"].get<double>(), 0.001, 1e-5);
}

TEST_F(Program, WritesValidJsonForAnyFileName) {
  const std::string file = Write("\xff\"\n.xyz", "1 2 3\n4 5 6\n7 8 1\n");
  EXPECT_EQ(JsonOf(Launch({"info", "--json", file}))["points"]["used"], 3);
}

TEST_F(Program, EndsWithTheStatusAndReasonOfItsTrouble) {
  const std::string scene = WriteScene();
  Write("two.xyz", "0 0 0\n1 0 0\n");
  Write("bad.xyz", "1 2 3\n1 2 x\n");
  Write("lost.xyz", "nan 2 3\n");
  Write("cut.ply", point_files::PlyHeader("ascii", "face 1: uchar n; vertex 0: float x, float y, float z"));
  const struct {
    int status;
    const char* arguments;  // what follows the command lies in the folder of the test
    const char* reason;
  } rows[] = {
      {2, "plain scene.ply", "\"plain\" is no command of this program; did you mean plane?"},
      {2, "xyzzy scene.ply", "\"xyzzy\" is no command of this program: those are line, arc, plane, patch, "},
      {2, "cyl scene.ply",
       "\"cyl\" is no command of this program; did you mean cylinder? See primfit --help"},
      {2, "plane scene.ply --near 1, -2, 3, 1",
       "\"-2,\" was not expected: the numbers of an option stand betw"},
      {2, "plane scene.ply --noise 0,002",
       "--noise \"0,002\" is not a number; decimals stand behind a point"},
      {2, "sphere scene.ply --fix-radius 0,05", "is not a finite number; decimals stand behind a point"},
      {2, "plane scene.ply --near", "primfit: --near needs a value: x,y,z,r; see primfit plane --help"},
      {2, "plane scene.ply --seed 1 --seed 2",
       "--seed stands there more than once; see primfit plane --help"},
      {2, "sphere scene.ply --fix-radius 1 --fix-radius 2", "--fix-radius stands there more than once"},
      {2, "--verison", "\"--verison\" is no option of this program; did you mean --version?"},
      {2, "--json plane", "\"--json\" is no option of this program; those of a command follow it"},
      {2, "plane scene.ply --colour", "\"--colour\" is no option of primfit plane; see primfit plane --help"},
      {2, "sphere --radius-rnage 1,2 scene.ply",
       "\"--radius-rnage\" is no option of primfit sphere; did you "
       "mean --radius-range?"},
      {2, "sphere scene.ply --radius=1,2",
       "\"--radius=1,2\" is no option of primfit sphere; did you mean "
       "--radius-range?"},
      {2, "sphere --toleranc", "did you mean --tolerance?"},
      // An empty value does not take the next argument for its own.
      {2, "sphere scene.ply --radius-range= --json", "\"--radius-range=\" has no value"},
      {2, "sphere scene.ply --radius-range --json", "--radius-range needs 2 numbers"},
      {2, "sphere scene.ply --noise ''", "--noise \"\" is not a number"},
      // Numbers are decimal.
      {2, "plane scene.ply --noise 0x10", "--noise \"0x10\" is not a number"},
      {2, "plane scene.ply --near 0x1,2,3,4", "--near needs 4 numbers"},
      {2, "plane scene.ply --noise inf", "--noise inf is not a length above 0 m"},
      {2, "plane scene.ply --confidence nan", "--confidence nan is not a share above 0 and below 1"},
      {2, "plane scene.ply --most-draws 0x10", "--most-draws \"0x10\" is not a whole number from 1 to"},
      {2, "plane scene.ply --most-draws 2147483648", "is not a whole number from 1 to 2147483647"},
      {2, "plane", "FILE is required"},
      {2, "plane --", "FILE is required"},
      {2, "plane scene.ply scene.ply", "not expected"},
      {2, "plane no.ply", "no.ply: cannot be opened: No such file"},
      {2, "info .", "is a directory"},
      {2, "plane bad.xyz", "bad.xyz: line 2: \"x\" in column 3 is not a number"},
      {2, "plane cut.ply", "0 of the 1 row of element \"face\""},
      {2, "plane scene.ply --unit km", "--unit \"km\""},
      {2, "plane scene.ply --classic --tolerance 0.0009",
       "--tolerance 0.0009 is not a number of at least 0.001 m"},
      {2, "plane scene.ply --classic --unit mm --tolerance 0.9", "at least 1 mm"},
      {2, "plane scene.ply --tolerance nan", "--tolerance"},
      {2, "plane scene.ply --classic --scanner-error -0.001",
       "--scanner-error -0.001 is not within 0 to 1 m"},
      {2, "plane scene.ply --classic --outliers 0.95", "--outliers 0.95 is not within 0 to 0.9"},
      {2, "plane scene.ply --classic --probability 1", "--probability 1 is not within 0 to 0.99"},
      {2, "plane scene.ply --classic --sample-size 2", "from 3 to the 4000 points used"},
      {2, "plane scene.ply --classic --sample-size 4001", "from 3 to the 4000 points used"},
      {2, "plane scene.ply --seed -1", "--seed \"-1\""},
      {2, "plane scene.ply --seed 18446744073709551616", "--seed"},
      {2, "plane scene.ply --near 1,2,3", "--near needs 4 numbers"},
      {2, "plane scene.ply --near ''", "--near needs 4 numbers"},
      {2, "plane scene.ply --near 1,2,3,0", "radius above 0"},
      {2, "plane scene.ply --box 1,2,3,4,5,6,7", "--box needs 6 numbers between commas (x0,y0,z0,x1,y1,z1)"},
      {2, "plane scene.ply --box 0,0,1,1,1,0", "smallest x, y, z first"},
      {2, "plane scene.ply --all-points --noise 1", "--noise and --all-points exclude each other"},
      {2, "plane scene.ply --all-points --classic", "--all-points is an option of the adaptive method"},
      {2, "check scene.ply", "check needs --shape"},
      {2, "check scene.ply --shape cube:1", "cube:1: cannot be opened"},
      {2, "check scene.ply --shape sphere:1,2,3", "--shape needs 4 numbers"},
      {2, "check scene.ply --shape bad.xyz", "bad.xyz: "},
      {2, "plane scene.ply --where class", "--where \"class\" is not an attribute and its values"},
      {2, "plane scene.ply --where =2", "--where \"=2\" is not an attribute and its values"},
      {2, "plane scene.ply --where class=", "--where has no value; write for example 2,6 or 10..20"},
      {2, "plane scene.ply --where class=2,six", "--where: \"six\" is no value and no range"},
      {2, "plane scene.ply --where class=6..2", "--where: \"6..2\" is no value and no range"},
      {2, "plane scene.ply --where class=2..", "no attribute \"class\"; they have x, y, z"},
      {2, "plane scene.ply --scan first", "--scan: \"first\" is no value and no range"},
      {2, "plane scene.ply --every 0", "--every \"0\" is not a whole number from 1 to"},
      {2, "plane scene.ply --columns 1,2", "--columns \"1,2\" is not three columns, such as 2,3,4"},
      {2, "plane scene.ply --columns 1,2,3", "columns can be chosen in text only; this is PLY"},
      {1, "plane scene.ply --where z=1e9..", "0 of 4007 points are left: none that is finite meets --where"},
      {2, "plane scene.ply --box 0,0,inf,1,1,1", "--box needs 6 numbers"},
      {2, "plane scene.ply --fix-origin", "--fix-origin needs a value, or --start with the plane to take"},
      {2, "plane scene.ply --fix-origin 1,2", "--fix-origin needs 3 numbers between commas (origin x,y,z)"},
      {2, "plane scene.ply --fix-origin 1,2,3 --fix-normal 0,0,1", "every part of the plane is held"},
      {2, "plane scene.ply --fix-normal=0,0,0", "--fix-normal has a normal of length 0"},
      {2, "sphere scene.ply --fix-radius=x", "--fix-radius \"x\" is not a finite number"},
      {2, "sphere scene.ply --fix-radius -1", "--fix-radius -1 is not a length above 0 m"},
      {2, "cone scene.ply --fix-half-angle 90",
       "--fix-half-angle has a half-angle of 90 degrees, which is not between"},
      {2, "plane scene.ply --classic --skip-search --fix-normal 0,0,1", "--skip-search needs --start"},
      {2, "elbow scene.ply --through 0,0,0,1,0,0,1 --fix-minor-radius 1", "exclude each other"},
      {2, "plane scene.ply --classic --skip-search", "--skip-search needs --start"},
      {2, "plane scene.ply --classic --start 0,0,0,0,0,1", "--start alone changes nothing"},
      {2, "plane scene.ply --start 0,0,0,0,0,1 --fix-origin --fix-normal", "every part of the plane is held"},
      {2, "plane scene.ply --start 0,0,0,0,0 --fix-normal",
       "--start needs 6 numbers between commas (origin x,y,z, normal x,y,z)"},
      {2, "plane scene.ply --start 0,0,0,0,0,z --fix-normal", "--start needs 6 numbers"},
      {2, "plane scene.ply --start 0,0,0,0,0,0 --fix-normal", "normal of length 0"},
      {1, "plane scene.ply --classic --scanner-error 0.0005", "FitPlane produced a poor fit quality; "},
      {1, "plane two.xyz --classic", "2 of 2 points are left and a plane needs 3"},
      {1, "plane two.xyz", "Not enough points; 2 of 2 points are left and a plane needs more"},
      {1, "plane scene.ply --near 90,90,90,1",
       "0 of 4007 points are left: none that is finite lies in --near"},
      {1, "plane scene.ply --box 90,90,90,91,91,91 --near 1,2,3,9", "none that is finite lies in --box"},
      {1, "plane scene.ply --box 0,0,0,1,2,9 --near 1,4,3,1", "none that is finite lies in both --near and"},
      {1, "plane lost.xyz", "0 of 1 point is left: none is finite"},
      {1, "arc two.xyz --box 0,0,0,0.5,1,1",
       "1 of 2 points are left and an arc needs more: check the file, --box"},
      {1, "plane scene.ply --classic --start 0,0,9,1,0,0 --skip-search",
       "FitPlane failed; give a --start nearer"},
      {2, "pipe scene.ply --radius-hint 1", "a pipe needs --pick"},
      {2, "pipe scene.ply --pick 1,2,3 --classic", "a pipe with --classic needs --radius-hint"},
      {2, "pipe scene.ply --pick 1,2 --radius-hint 1", "--pick needs 3 numbers"},
      {2, "pipe scene.ply --pick 1,2,3 --radius-hint -1", "--radius-hint -1 is not a length"},
      {2, "pipe scene.ply --fix-radius", "--fix-radius"},
      {1, "pipe two.xyz --pick 1,2,3", "2 of 2 points are left and a pipe needs more"},
      {1, "pipe two.xyz --pick 1,2,3 --radius-hint 1 --classic",
       "2 of 2 points are left and a pipe needs 10"},
      {1, "pipe scene.ply --pick 90,90,90 --radius-hint 0.01 --classic",
       "FitCylinder failed; check that --pick"},
      {2, "torus scene.ply --through 0,0,0,-1,0,0,1", "no radius above 0"},
      {2, "elbow scene.ply --through 0,0,0,1,0,0,0", "normal of length 0"},
      {2, "elbow scene.ply --through 0,0,0,1,0,0,1 --start 0,0,0,2,1,0,0,1 --fix-axis", "exclude each other"},
      // Each method refuses what only the other one has.
      {2, "plane scene.ply --scanner-error 0.01",
       "--scanner-error is an option of the fixed pipeline: add --classic"},
      {2, "plane scene.ply --any-quality", "--any-quality is an option of the fixed pipeline: add --classic"},
      {2, "plane scene.ply --classic --noise 0.01",
       "--noise is an option of the adaptive method: leave --classic out"},
      {2, "pipe scene.ply --pick 1,2,3 --radius-hint 1 --classic --time-limit 1",
       "--time-limit is an option of the adaptive method: leave --classic out"},
      {2, "elbow scene.ply --through 0,0,0,1,0,0,1 --radius-range 1,2",
       "--radius-range is an option of the adaptive method; a fit --through a cross-section always takes"},
      {2, "plane scene.ply --noise 0", "--noise 0 is not a length above 0 m"},
      {2, "plane scene.ply --unit mm --tolerance -1", "--tolerance -1 is not a length above 0 mm"},
      {2, "plane scene.ply --outliers 1", "--outliers 1 is not a share of at least 0 and below 1"},
      {2, "plane scene.ply --confidence 1", "--confidence 1 is not a share above 0 and below 1"},
      {2, "plane scene.ply --most-draws 0", "--most-draws \"0\" is not a whole number from 1 to 2147483647"},
      {2, "plane scene.ply --time-limit nan", "--time-limit nan is not a number of seconds above 0"},
      {2, "plane scene.ply --radius-range 1,2", "--radius-range"},
      {2, "sphere scene.ply --radius-range 2,1", "--radius-range \"2,1\" is to have 0 <= low <= high"},
      {2, "sphere scene.ply --axis-near 0,0,1,5", "--axis-near"},
      {2, "cone scene.ply --half-angle-range 0,91", "is to have 0 <= low <= high <= 90"},
      {2, "cone scene.ply --half-angle-range 90,90", "--half-angle-range \"90,90\" is to have 0 <= low"},
      {2, "torus scene.ply --minor-radius-range 1",
       "--minor-radius-range needs 2 numbers between commas (low, high)"},
      {2, "plane scene.ply --axis-near 0,0,0,5", "--axis-near has an axis of length 0"},
      {2, "plane scene.ply --axis-near 0,1e-200,0,5", "--axis-near has an axis of length 0"},
      {2, "plane scene.ply --axis-near 0,1e200,0,5", "--axis-near has an axis of length inf"},
      // Shapes that there are not.
      {2, "sphere scene.ply --start 1,2,3,-1 --fix-radius", "--start has a negative radius, -1"},
      {2, "torus scene.ply --start 1,2,3,1,-1,0,0,1 --fix-axis", "--start has a negative minor-radius"},
      {2, "cylinder scene.ply --start 1,2,3,1,0,0,0 --fix-radius", "--start has an axis of length 0"},
      {2, "sphere scene.ply --start 1,2,nan,1 --fix-radius", "--start needs 4 numbers"},
      {2, "cone scene.ply --start 1,2,3,0,0,0,1 --fix-half-angle", "--start has a half-angle of 0 degrees"},
      {2, "cone scene.ply --start 1,2,3,90,0,0,1 --fix-half-angle", "--start has a half-angle of 90 degrees"},
      // What only the library can see: this length is 0 in metres.
      {2, "plane scene.ply --noise 1e-323 --unit mm", "primfit: --noise must be positive\n"},
      {2, "plane scene.ply --accept weak,fine",
       "--accept \"fine\" is no verdict; name some of ambiguous, at_"},
      {2, "plane scene.ply --accept ''", "--accept \"\" is no verdict"},
      {2, "plane scene.ply --classic --accept weak",
       "--accept is an option of the adaptive method: leave --classic out"},
      {2, "plane scene.ply --axis-near 0,0,1,91", "is to have 0 to 90 degrees as its fourth number"},
      {2, "plane scene.ply --passes 0,0,1,0", "is to have a distance above 0 as its fourth number"},
      {1, "plane scene.ply --time-limit 1e-9",
       "The time limit ended the search before it found a shape; allow a longer --time-limit"},
  };
  for (const auto& row : rows) {
    std::istringstream words(row.arguments);
    Arguments arguments{std::istream_iterator<std::string>(words), {}};
    std::replace(arguments.begin(), arguments.end(), std::string("''"), std::string());
    for (std::size_t i = 1; i < arguments.size() && arguments[i][0] != '-'; ++i)
      arguments[i] = Path(arguments[i]);
    const Outcome outcome = Launch(arguments);
    EXPECT_EQ(outcome.status, row.status) << row.arguments << ": " << outcome.err;
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err.find("primfit: "), 0U) << outcome.err;
    EXPECT_NE(outcome.err.find(row.reason), std::string::npos) << outcome.err << " lacks " << row.reason;
    EXPECT_EQ(outcome.err.find('\n'), outcome.err.size() - 1) << outcome.err;
  }
  EXPECT_EQ(Launch({"plane", scene, "--classic", "--seed", "5", "--scanner-error", "0.0005", "--any-quality"})
                .status,
            0);
  // The library alone would draw no sample at all.
  EXPECT_EQ(Launch({"plane", WriteScene(1.0, 0), "--classic", "--seed", "5", "--outliers", "0"}).status, 0);
}

TEST_F(Program, TellsAboutItselfInEveryUsualWay) {
  const std::string help = Launch({"--help"}).out, planeHelp = Launch({"plane", "--help"}).out;
  const struct {
    Arguments arguments;
    int status;
    std::string out, err;
  } rows[] = {
      {{"--version"}, 0, "primfit " PRIMFIT_VERSION "\n", ""},
      {{"-v"}, 0, "primfit " PRIMFIT_VERSION "\n", ""},
      {{"plane", "-v"}, 0, "primfit " PRIMFIT_VERSION "\n", ""},
      {{"-h"}, 0, help, ""},
      {{"help"}, 0, help, ""},
      {{"help", "plane"}, 0, planeHelp, ""},
      {{"plane", "-h"}, 0, planeHelp, ""},
      {{"help", "plain"},
       2,
       "",
       "primfit: \"plain\" is no command of this program; did you mean plane? See primfit --help\n"},
      {{}, 2, "", help},  // a script that has lost its arguments must not pass for a success
  };
  for (const auto& row : rows) {
    const Outcome outcome = Launch(row.arguments);
    EXPECT_EQ(outcome.status, row.status);
    EXPECT_EQ(outcome.out, row.out);
    EXPECT_EQ(outcome.err, row.err);
  }
}

TEST_F(Program, HelpsForEveryCommand) {
  const Outcome help = Launch({"plane", "--help"});
  EXPECT_EQ(help.status, 0);
  for (const char* option :
       {"--tolerance",  "--scanner-error", "--outliers",    "--probability", "--sample-size", "--start",
        "--fix-origin", "--fix-normal",    "--skip-search", "--refine-once", "--any-quality", "--seed",
        "--near",       "--box",           "--unit",        "--json",        "--quiet",       "--classic",
        "--noise",      "--confidence",    "--most-draws",  "--time-limit",  "--axis-near",   "--passes",
        "--output",     "--labels",        "--deviations",  "--inliers",     "--rest"}) {
    // Every option tells its default.
    EXPECT_TRUE(
        Finds(help.out, std::string("\n  ") + option + "[ \n][^-]*(--start|ft-us)?[^-]*\\([ \n]*default"))
        << option;
  }
  for (const char* command : {"plane", "info"})
    EXPECT_NE(Launch({"--help"}).out.find(command), std::string::npos);
}

// Help and JSON said what was typed into the program, which the library did not do.
TEST_F(Program, HasTheDefaultsOfTheLibrary) {
  const std::string file = WriteScene();
  const primfit::FitOptionsBase adaptive;
  const FitInputParams<FitConstraintsPlane> classic;
  const Json told = Fit({}, file)["options"], fixed = Fit({"--classic"}, file)["options"];
  EXPECT_EQ(told["confidence"], adaptive.confidence);
  EXPECT_EQ(told["most_draws"], adaptive.mostDraws);
  EXPECT_EQ(fixed["tolerance"], classic.InlierDistanceThreshold());
  EXPECT_EQ(fixed["outliers"], classic.OutlierPercentage());
  EXPECT_EQ(fixed["scanner_error"], classic.ScannerError());
  EXPECT_EQ(fixed["probability"], classic.SuccessProbability());
  EXPECT_EQ(fixed["sample_size"], classic.SampleSize());
  const std::string help = Launch({"plane", "--help"}).out;
  const auto expect = [&](const char* option, const char* before, double value) {
    std::ostringstream text;
    text << option << " [^(]*\\(default" << before << "[ \n]+" << value << "[^0-9.]";
    EXPECT_TRUE(Finds(help, text.str())) << text.str() << help;
  };
  expect("--confidence", "", adaptive.confidence);
  expect("--most-draws", "", adaptive.mostDraws);
  expect("--tolerance", ":[^)]*--classic", classic.InlierDistanceThreshold());
  expect("--outliers", ":[^)]*--classic", classic.OutlierPercentage());
  expect("--scanner-error", "", classic.ScannerError());
  expect("--probability", "", classic.SuccessProbability());
  expect("--sample-size", "", classic.SampleSize());
}

TEST_F(Program, TellsInJsonThatNothingWasFound) {
  const std::string file = WriteScene();
  const struct {
    Arguments arguments;
    const char* reason;
    const char* method;
  } rows[] = {
      {{"--near=90,90,90,1"}, "none that is finite lies in --near", "adaptive"},
      {{"--time-limit", "1e-9"}, "The time limit ended the search before it found a shape", "adaptive"},
      {{"--classic", "--scanner-error", "0.0005"}, "FitPlane produced a poor fit quality", "classic"},
  };
  for (const auto& row : rows) {
    Arguments arguments = {"plane", "--json", "--unit", "m", "--seed", "5", file};
    arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
    const Outcome outcome = Launch(arguments);
    EXPECT_EQ(outcome.status, 1);
    const Json nothing = Json::parse(outcome.out);
    EXPECT_EQ(nothing["status"], "nothing");
    const std::string reason = nothing["reason"];
    EXPECT_NE(reason.find(row.reason), std::string::npos) << reason;
    EXPECT_EQ(outcome.err, "primfit: " + file + ": " + reason + "\n");
    EXPECT_EQ(nothing["command"], "plane");
    EXPECT_EQ(nothing["input"]["path"], file);
    EXPECT_EQ(nothing["units"]["length"], "m");
    EXPECT_EQ(nothing["report"]["method"], row.method);
    EXPECT_EQ(nothing["points"]["total"], kInliers + kOutliers + kNotFinite);
    EXPECT_EQ(nothing["report"]["seed"], 5);
    EXPECT_EQ(nothing["shapes"], Json::array());
  }
  EXPECT_EQ(Fit({}, file)["status"], "fitted");
}

TEST_F(Program, EndsWithAStatusOfItsOwnForADoubtfulVerdict) {
  Random random;
  const Vector3d corner(2, 2, 2);
  const std::string weak =
      Write("weak.ply", BinaryPly(primfit::testing::Joined(
                            PointsOn(OutputPlane(kOrigin, kNormal), 300, {-2, 2}, {-2, 2}, 0.002, random),
                            Clutter(kOrigin - corner, kOrigin + corner, 4000, random))));
  const std::string ball = Write(
      "cap.ply", BinaryPly(PointsOn(OutputSphere(kOrigin, 1), 500, {1.52, 1.57}, {0, 6.28}, 0.001, random)));
  const struct {
    Arguments arguments;
    const char* verdict;
  } rows[] = {
      {{"plane", WriteScene()}, "good"},
      {{"plane", WriteScene(), "--axis-near=0.1,-3,4,0.5"}, "at_limit"},
      {{"plane", weak}, "weak"},
      {{"sphere", ball}, "ambiguous"},
  };
  for (const auto& row : rows) {
    const std::string verdict = row.verdict;
    for (const char* accept : {"", "at_limit", "weak,ambiguous,at_limit"}) {
      Arguments arguments = row.arguments;
      arguments.insert(arguments.end(), {"--json", "--seed", "5"});
      if (*accept != 0) arguments.insert(arguments.end(), {"--accept", accept});
      const Outcome outcome = Launch(arguments);
      const bool good = verdict == "good" || std::string(accept).find(verdict) != std::string::npos;
      EXPECT_EQ(outcome.status, good ? 0 : 3) << verdict << " " << accept;
      EXPECT_EQ(ShapeOf(Json::parse(outcome.out))["verdict"], verdict);
      EXPECT_EQ(Json::parse(outcome.out)["status"], "fitted");
    }
  }
  EXPECT_EQ(Launch({"plane", "--seed", "5", "--classic", WriteScene()}).status, 0);
}

TEST_F(Program, SaysWhenItsOutputIsLost) {
  const std::string scene = WriteScene();
  const Arguments commands[] = {
      {"plane", "--seed", "5", scene}, {"info", "--json", scene}, {"plane", "--help"}, {"--version"}};
  for (const Arguments& arguments : commands) {
    for (const bool full : {false, true}) {
      const Outcome lost = Launch(arguments, {.output = full ? "/dev/full" : "", .closedPipe = !full});
      EXPECT_EQ(lost.status, 2) << arguments[0];
      EXPECT_EQ(lost.err, std::string("primfit: the result could not be written: ") +
                              (full ? "No space left on device\n" : "Broken pipe\n"));
    }
  }
}

TEST_F(Program, WritesWholeFilesOrNone) {
  const std::string scene = WriteScene(), old = Write("old.ply", "old");
  const auto fit = [&](const Arguments& more, long limit = 0) {
    Arguments arguments = {"plane", "--seed", "5", "--json", scene};
    arguments.insert(arguments.end(), more.begin(), more.end());
    How how;
    how.longestFile = limit;
    return Launch(arguments, how);
  };
  // The result is printed although the files cannot be written.
  const Outcome full = fit({"--output", "/dev/full"});
  EXPECT_EQ(full.status, 2);
  EXPECT_EQ(Json::parse(full.out)["status"], "fitted");
  EXPECT_EQ(full.err,
            "primfit: /dev/full: cannot be written: No space left on device; make room, or name a file "
            "elsewhere\n");
  const Outcome cut = fit({"--labels", old, "--output", Path("r.json")}, 8192);
  EXPECT_EQ(cut.status, 2);
  EXPECT_TRUE(Finds(cut.err, "^primfit: .*/old.ply: cannot be written: File too large; [^\n]*\n$"))
      << cut.err;
  std::size_t files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder_)) files += entry.exists() ? 1 : 0;
  EXPECT_EQ(files, 3U);  // the scene, the old file, the result
  EXPECT_EQ(std::filesystem::file_size(old), 3U);

  const std::pair<Arguments, const char*> refused[] = {
      {{"--rest", scene}, "--rest \".*scene.ply\" is the file that is read; name another"},
      {{"--rest", old, "--labels", Path("./old.ply")}, "--labels and --rest both name"},
      {{"--labels", "-"}, "--labels \"-\" is to be the name of a file"},
      {{"--deviations", Path("none/d.ply")}, "none/d.ply: cannot be written: No such file or directory"},
      {{"--deviations", Path("none/d.ply"), "--near=9,9,9,1"}, "none/d.ply: cannot be written"}};
  for (const auto& [arguments, reason] : refused) {
    const Outcome outcome = fit(arguments);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_TRUE(Finds(outcome.err, reason)) << outcome.err;
  }
  // Nothing found: a result, and no points.
  EXPECT_EQ(fit({"--near=9,9,9,1", "--labels", old, "--output", Path("n.json")}).status, 1);
  EXPECT_EQ(std::filesystem::file_size(old), 3U);
  EXPECT_EQ(Launch({"show", Path("n.json")}).out.find("no plane found"), 0U);
}

TEST_F(Program, StopsTheSearchOnControlC) {
  // 100000 points of which a tenth or less is expected on the plane: thousands of samples.
  Random random;
  const Points points =
      primfit::testing::Joined(PointsOn(OutputPlane(kOrigin, kNormal), 20000, {0, 10}, {0, 10}, 0, random),
                               Clutter({0, 0, 0}, {10, 10, 10}, 80000, random));
  const std::string file = Write("a.ply", BinaryPly(points));
  for (const Arguments& method :
       {Arguments{"--classic", "--outliers", "0.9", "--any-quality"},
        {"--outliers", "0.999", "--most-draws", "2000000000", "--start", "1,2,3,0,-3,4"}}) {
    How how;
    how.terminal = true;
    bool sent = false;
    how.onError = [&](const std::string& err, int terminal) {
      if (sent || err.find("searching [") == std::string::npos) return;
      sent = ::write(terminal, "\x03", 1) == 1;
    };
    Arguments arguments = {"plane", "--json", "--seed", "5", file};
    arguments.insert(arguments.end(), method.begin(), method.end());
    const Outcome outcome = Launch(arguments, how);
    EXPECT_TRUE(sent);
    EXPECT_EQ(outcome.status, 130);
    EXPECT_NE(outcome.err.find("primfit: stopped by Ctrl-C: the result is the best found until then"),
              std::string::npos)
        << outcome.err;
    const Json fit = Json::parse(outcome.out);
    EXPECT_EQ(fit["status"], "stopped");
    EXPECT_EQ(fit["shapes"].size(), 1U);
    EXPECT_EQ(fit["report"].value(Json::json_pointer("/search/stop_reason"), "stopped"), "stopped");
  }
}

TEST_F(Program, CanBeEndedWhileItReads) {
  if (PRIMFIT_THREAD_SANITIZER != 0) GTEST_SKIP() << "it calls no handler while read() waits";
  const std::string pipe = Path("pipe.xyz");
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  const auto signalled = [&](const char* command, int signal) {
    // The program is the only reader and sees no end of file while this end is open.
    How how;
    how.input = pipe;
    const int writer = ::open(pipe.c_str(), O_RDWR | O_CLOEXEC);
    how.onStart = [&](pid_t child) {
      const char row[] = "1 2 3\n";
      EXPECT_GT(::write(writer, row, sizeof row - 1), 0);
      int left = 1;
      while (left > 0) ::ioctl(writer, FIONREAD, &left);  // until the program has taken it
      ::kill(child, signal);
    };
    const Outcome outcome = Launch({command, "-"}, how);
    ::close(writer);
    return outcome;
  };
  for (const char* command : {"info", "plane"}) {
    const Outcome stopped = signalled(command, SIGINT);
    EXPECT_EQ(stopped.status, 130);
    EXPECT_EQ(stopped.err, "primfit: stopped by Ctrl-C before there was a result\n");
    EXPECT_EQ(stopped.out, "");
  }
  const Outcome shrunk = signalled("info", SIGBUS);  // what a mapped file that becomes shorter raises
  EXPECT_EQ(shrunk.status, 2);
  EXPECT_NE(shrunk.err.find("became shorter"), std::string::npos);
}

}  // namespace
