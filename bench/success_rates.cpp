// How often each shape is found, 100 seeds a cell, printed as tables in Markdown.
//
// usage: success_rates                                   the table of points, outliers and coverage
//        success_rates POINTS OUTLIERS [SEEN]            one row of it, such as 5000 0.6 0.5
//        success_rates pipes                             a picked pipe beside another one and a wall
#include <fmt/format.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <numbers>
#include <string_view>

#include "api/primitives.h"
#include "primfit/primfit.h"
#include "scenes.h"

namespace primfit::bench {
namespace {

using Eigen::Vector3d;

constexpr int kSeeds = 100;

/// The normal of the plane within which a curve was refined. The record of a line does not hold it; the shape
/// of the same fit does, whose own normal lies in that plane.
Vector3d RefinedPlane(const OutputShape& curve, const Points& points, double outlierShare,
                      std::uint64_t seed) {
  if (const auto* circle = dynamic_cast<const OutputCircle*>(&curve)) return circle->Axis();
  FitInputParams<FitConstraintsLine> params;
  params.SetOutlierPercentage(outlierShare);
  const ScopedSeed scope(seed);
  const auto fitted =
      RunPipeline<LinePrimitive>(points.data(), static_cast<int>(points.size()), params, nullptr);
  return fitted.Shape().Direction().cross(fitted.Shape().Normal());
}

/// Whether the true points lie within twice the noise of a curve, counted only within the plane of normal m.
bool IsNearInPlane(const Scene& scene, const OutputShape& curve, const Vector3d& m) {
  double sum = 0;
  for (const Vector3d& p : scene.inliers) {
    const Vector3d v = p - curve.ClosestPoint(p);
    sum += (v - v.dot(m) * m).squaredNorm();
  }
  return std::sqrt(sum / static_cast<double>(scene.inliers.size())) < 2 * scene.noise;
}

/// How many of the seeds found a shape; of a curve also how many within the plane of its refinement.
struct Count {
  int found = 0;
  int inPlane = 0;
};

Count CountFound(const Primitive& primitive, const SceneOptions& options, double coverage) {
  Count count;
  for (std::uint64_t seed = 0; seed < kSeeds; ++seed) {
    const Scene scene = MakeScene(primitive, primitive.part(primitive.truth, coverage), options, seed);
    const double outlierShare = OutlierShare(options.outliers);
    try {
      Found fit;
      {
        const ScopedSeed scope(seed);
        fit = primitive.fit(scene.points, outlierShare);
      }
      count.found += IsNear(scene, *fit.shape) ? 1 : 0;
      if (dynamic_cast<const OutputCurve*>(fit.shape.get()) == nullptr) continue;
      const Vector3d plane = RefinedPlane(*fit.shape, scene.points, outlierShare, seed);
      count.inPlane += IsNearInPlane(scene, *fit.shape, plane) ? 1 : 0;
    } catch (const std::exception&) {  // no acceptable fit
    }
  }
  return count;
}

void PrintHeader() {
  fmt::print(
      "| points | outliers | seen | line in plane | line | arc in plane | arc | plane | sphere | cylinder | "
      "cone | torus |\n|---|---|---|---|---|---|---|---|---|---|---|---|\n");
}

void PrintRow(int points, double outliers, double coverage) {
  fmt::print("| {} | {:.0f} % | {:.0f} % |", points, 100 * outliers, 100 * coverage);
  for (const char* name : {"line", "arc", "plane", "sphere", "cylinder", "cone", "torus"}) {
    const Count count = CountFound(PrimitiveNamed(name), {.points = points, .outliers = outliers}, coverage);
    const bool curve = std::string_view(name) == "line" || std::string_view(name) == "arc";
    if (curve) fmt::print(" {} |", count.inPlane);
    fmt::print(" {} |", count.found);
    std::fflush(stdout);
  }
  fmt::print("\n");
}

void PrintTable() {
  const struct {
    int points;
    double outliers, coverage;
  } rows[] = {{500, 0.2, 1},  {5000, 0.2, 1},   {100000, 0.2, 1},  {500, 0.5, 1},
              {5000, 0.5, 1}, {500, 0.6, 1},    {5000, 0.6, 1},    {500, 0.7, 1},
              {5000, 0.7, 1}, {5000, 0.2, 0.5}, {5000, 0.2, 0.25}, {5000, 0.2, 1.0 / 6}};
  PrintHeader();
  for (const auto& row : rows) PrintRow(row.points, row.outliers, row.coverage);
}

/// Two crossing pipes and a wall in survey coordinates, all seen from one side; the first pipe is the picked
/// one.
struct Plant {
  Plant(double share, std::uint64_t seed) : random(seed) {
    constexpr int kPoints = 4000;
    const int onPipe = static_cast<int>(share * kPoints), onOther = (kPoints - onPipe) / 2;
    const Pose pose = random.AnyPose().pretranslate(Vector3d(500000, 4000000, 100));
    const Primitive& cylinder = PrimitiveNamed("cylinder");
    const Range side{0, 3.5}, length{-1, 1};
    const auto turned = [&](const Vector3d& at, const Vector3d& axis) -> Pose {
      return pose * Eigen::Translation3d(at) * Eigen::Quaterniond::FromTwoVectors(Vector3d::UnitZ(), axis);
    };
    pipe = PointsOn(cylinder, {kRadius, 0, side, length}, pose, onPipe, kNoise, random);
    const Points other = PointsOn(cylinder, {0.08, 0, side, length},
                                  turned({0.25, 0, 0.2}, Vector3d::UnitY()), onOther, kNoise, random);
    const Primitive& plane = PrimitiveNamed("plane");
    const Points wall = PointsOn(plane, plane.truth, turned({-0.3, 0, 0}, Vector3d::UnitX()),
                                 kPoints - onPipe - onOther, kNoise, random);
    all = pipe;
    all.insert(all.end(), other.begin(), other.end());
    all.insert(all.end(), wall.begin(), wall.end());
  }
  static constexpr double kRadius = 0.1;
  Random random;
  Points pipe, all;
};

int CountPipes(double share, double outlierShare, double hint) {
  int found = 0;
  FitInputParams<FitConstraintsCylinder> params;
  params.SetOutlierPercentage(outlierShare);
  for (std::uint64_t seed = 0; seed < kSeeds; ++seed) {
    const Plant plant(share, seed);
    const ScopedSeed scope(seed);
    const std::unique_ptr<OutputCylinder> result(
        ConsensusRansacCylinder(plant.pipe[0], hint * Plant::kRadius, plant.all.data(),
                                static_cast<int>(plant.all.size()), params, nullptr));
    found += result && RootMeanSquare(*result, plant.pipe) < 2 * kNoise ? 1 : 0;
  }
  return found;
}

void PrintPipes() {
  const struct {
    double share, outlierShare;
  } rows[] = {{0.6, 0.4}, {0.6, 0.5}, {0.5, 0.5}, {0.4, 0.6}, {0.3, 0.7}};
  fmt::print(
      "| points on the pipe | outlier share | true hint | twice | 0.6 times |\n|---|---|---|---|---|\n");
  for (const auto& row : rows) {
    fmt::print("| {:.0f} % | {:.1f} |", 100 * row.share, row.outlierShare);
    for (const double hint : {1.0, 2.0, 0.6}) {
      fmt::print(" {} |", CountPipes(row.share, row.outlierShare, hint));
      std::fflush(stdout);
    }
    fmt::print("\n");
  }
}

}  // namespace
}  // namespace primfit::bench

int main(int argc, char** argv) {
  using namespace primfit::bench;
  if (argc == 1) {
    PrintTable();
  } else if (std::string_view(argv[1]) == "pipes") {
    PrintPipes();
  } else if (const int points = std::atoi(argv[1]); argc > 2 && points > 0) {
    PrintHeader();
    PrintRow(points, std::atof(argv[2]), argc > 3 ? std::atof(argv[3]) : 1);
  } else {
    fmt::print(stderr, "usage: success_rates [pipes | POINTS OUTLIERS [SEEN]]\n");
    return 1;
  }
}
