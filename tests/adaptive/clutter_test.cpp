// primfit::fit among other things than noise: walls, other pipes, flanges, and what was rounded away.
#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <cmath>
#include <numbers>

#include "primfit/fit.h"
#include "support/scenes.h"

namespace primfit::testing {
namespace {

using Eigen::Vector3d;
using std::numbers::pi;

constexpr double kNoise = 0.002;
constexpr Range kHalfTurn{0, pi};
const Vector3d kX = Vector3d::UnitX(), kY = Vector3d::UnitY(), kZ = Vector3d::UnitZ();

OutputSphere ShapeOf(const FitOutputParamsSphere& s) { return {s.Center(), s.Radius()}; }
OutputCylinder ShapeOf(const FitOutputParamsCylinder& s) { return {s.Origin(), s.Radius(), s.Axis()}; }
OutputCone ShapeOf(const FitOutputParamsCone& s) { return {s.Apex(), s.Angle(), s.Axis()}; }
OutputTorus ShapeOf(const FitOutputParamsTorus& s) {
  return {s.Center(), s.MajorRadius(), s.MinorRadius(), s.Axis()};
}

/// What a caller tells of the thing, which lies in a pose.
template <class Shape>
using Tell = void (*)(const Pose&, FitOptions<Shape>&);

/// A thing to be found in some pose, by points on a part of it, among others.
template <class Shape>
void Finds(const char* name, Points (*thing)(int n, double noise, Random&), int n, Points (*others)(Random&),
           Tell<Shape> tell = nullptr) {
  for (const std::uint64_t seed : {1, 2, 3}) {
    SCOPED_TRACE(std::string(name) + ", seed " + std::to_string(seed));
    Random random(seed);
    const Pose pose = random.AnyPose(50);
    const Points points = pose * Joined(thing(n, kNoise, random), others(random));
    FitOptions<Shape> options;
    options.seed = seed;
    if (tell != nullptr) tell(pose, options);
    const auto found = ShapeOf(fit<Shape>(points, options).shape);
    double squares = 0;
    const Points exact = pose * thing(300, 0, random);
    for (const Vector3d& p : exact) squares += std::pow(found.Distance(p), 2);
    EXPECT_LT(std::sqrt(squares / 300), kNoise / 3);
  }
}

Points Pipe(int n, double noise, Random& r) {
  return PointsOn(OutputCylinder({0, 0, 0}, 0.1, kZ), n, kHalfTurn, {0, 2}, noise, r);
}
/// A square of 3 m behind the pipe.
template <int n>
Points Wall(Random& r) {
  return PointsOn(OutputPlane({0, -0.3, 0}, kY), n, {-1.5, 1.5}, {-1.5, 1.5}, kNoise, r);
}

TEST(Clutter, LeavesThePipeThatIsLookedFor) {
  Finds<Cylinder>("a wall", Pipe, 3000, Wall<3000>);
  Finds<Cylinder>("a wall of most points", Pipe, 3000, Wall<20000>);
  Finds<Cylinder>("a pipe parallel at one and a half radii", Pipe, 3000, [](Random& r) {
    return PointsOn(OutputCylinder({0.15, 0, 0}, 0.04, kZ), 1500, kFullTurn, {0, 2}, kNoise, r);
  });
  Finds<Cylinder>("a flange", Pipe, 3000, [](Random& r) {
    return Joined(PointsOn(OutputCylinder({0, 0, 0.9}, 0.18, kZ), 1200, kHalfTurn, {0, 0.06}, kNoise, r),
                  PointsOn(OutputCylinder({0, 0, 0.98}, 0.18, kZ), 1200, kHalfTurn, {0, 0.06}, kNoise, r));
  });
  Finds<Cylinder>("a tee", Pipe, 3000, [](Random& r) {
    return PointsOn(OutputCylinder({0, 0, 1}, 0.1, kY), 2000, kFullTurn, {0.1, 1.2}, kNoise, r);
  });
}

// Shapes outside of a range or place must not be moved into it before their points are known: else a part of
// the table becomes a thin pipe.
TEST(Clutter, TrueHintsLoseNoShape) {
  const auto mug = [](int n, double noise, Random& r) {
    return PointsOn(OutputCylinder({0, 0, 0}, 0.04, kZ), n, kHalfTurn, {0.01, 0.1}, noise, r);
  };
  const auto table = [](Random& r) {
    return PointsOn(OutputPlane({0, 0, 0}, kZ), 12000, {-0.6, 0.6}, {-0.6, 0.6}, 0.002, r);
  };
  Finds<Cylinder>("radius", mug, 1500, table, [](const Pose&, FitOptions<Cylinder>& o) {
    o.radius = {0.03, 0.05};
  });
  Finds<Cylinder>("axis", mug, 1500, table, [](const Pose& pose, FitOptions<Cylinder>& o) {
    o.axisNear = pose.rotation * kZ;
    o.axisWithin = 0.1;
  });
  Finds<Cylinder>("place", mug, 1500, table, [](const Pose& pose, FitOptions<Cylinder>& o) {
    o.passes = pose * Vector3d(0, 0.04, 0.05);
    o.passesWithin = 0.005;
  });
  const auto sixth = [](int n, double noise, Random& r) {
    return PointsOn(OutputCylinder({0, 0, 0}, 0.4, kZ), n, {0, pi / 3}, {0, 1}, noise, r);
  };
  const auto clutter = [](Random& r) { return Clutter({-0.2, -0.4, -0.2}, {0.6, 0.6, 1.2}, 1000, r); };
  Finds<Cylinder>("noise", sixth, 1000, clutter,
                  [](const Pose&, FitOptions<Cylinder>& o) { o.noise = kNoise; });
}

// The bound of all the noise around so few points takes in much of their cloud, and would prove nothing.
TEST(Clutter, ToldNoiseLosesNoFewPoints) {
  constexpr double kCoarse = 0.005;
  for (const std::uint64_t seed : {1, 2, 3, 4, 5, 6}) {
    Random random(seed);
    const Points points =
        PointsOn(OutputTorus({0, 0, 0}, 0.4, 0.1, kZ), 24, kFullTurn, kFullTurn, kCoarse, random);
    FitOptions<Torus> options;
    options.seed = seed;
    options.noise = kCoarse;
    EXPECT_NEAR(fit<Torus>(points, options).shape.MinorRadius(), 0.1, 3 * kCoarse) << "seed " << seed;
  }
}

TEST(Clutter, LeavesWhatJoinsPipesOrStandsOnAPost) {
  Finds<Elbow>(
      "runs of pipe on both sides",
      [](int n, double noise, Random& r) {
        return PointsOn(OutputTorus({0, 0, 0}, 0.3, 0.1, kZ), n, {0, pi / 2}, kFullTurn, noise, r);
      },
      2500,
      [](Random& r) {
        return Joined(PointsOn(OutputCylinder({0.3, 0, 0}, 0.1, kY), 2500, kFullTurn, {-1.5, 0}, kNoise, r),
                      PointsOn(OutputCylinder({0, 0.3, 0}, 0.1, kX), 2500, kFullTurn, {-1.5, 0}, kNoise, r));
      });
  Finds<Cone>(
      "pipes that it reduces",
      [](int n, double noise, Random& r) {
        return PointsOn(OutputCone({0, 0, 0}, 0.3, kZ), n, kFullTurn, {0.5, 1}, noise, r);
      },
      2000,
      [](Random& r) {
        const double wide = std::tan(0.3);
        return Joined(
            PointsOn(OutputCylinder({0, 0, 1}, wide, kZ), 3000, kFullTurn, {0, 1}, kNoise, r),
            PointsOn(OutputCylinder({0, 0, 0.5}, wide / 2, -kZ), 2000, kFullTurn, {0, 1}, kNoise, r));
      });
  Finds<Sphere>(
      "its post and a wall",
      [](int n, double noise, Random& r) {
        return PointsOn(OutputSphere({0, 0, 0}, 0.2), n, {0, pi / 2}, kFullTurn, noise, r);
      },
      1500,
      [](Random& r) {
        return Joined(Wall<6000>(r),
                      PointsOn(OutputCylinder({0, 0, -0.2}, 0.05, -kZ), 1000, kFullTurn, {0, 1}, kNoise, r));
      });
}

}  // namespace
}  // namespace primfit::testing
