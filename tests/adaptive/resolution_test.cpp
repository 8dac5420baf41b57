// How finely coordinates are given: what is told of their steps, and what fits make of it.
#include "adaptive/scene/resolution.h"

#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "primfit/fit.h"
#include "support/gtest_support.h"
#include "support/scenes.h"

namespace primfit::testing {
namespace {

using adaptive::Resolution;
using Eigen::Vector3d;
using std::numbers::pi;

const Vector3d kZ = Vector3d::UnitZ();

Points Rounded(Points points, double step, int axes = 3) {
  for (Vector3d& p : points) {
    for (int axis = 0; axis < axes; ++axis) p[axis] = std::round(p[axis] / step) * step;
  }
  return points;
}
Points InFloats(Points points) {
  for (Vector3d& p : points) p = p.cast<float>().cast<double>();
  return points;
}
/// Depths along z as a stereo camera measures them: whole disparities.
Points Disparities(Points points, double baseline) {
  for (Vector3d& p : points) p.z() = baseline / std::round(baseline / p.z());
  return points;
}

TEST(Resolution, TellsStepsFromPlacesOfAThing) {
  Random random;
  const Points pipe = PointsOn(OutputCylinder({0, 0, 0}, 0.5, kZ), 2000, kFullTurn, {0, 2}, 0.002, random);
  const auto grid = [](const Points& points) {
    return Resolution(points, Vector3d::Zero(), points.size()).GridStep();
  };
  EXPECT_EQ(grid(pipe), 0);
  EXPECT_EQ(grid(Rounded(pipe, 0.0625, 1)), 0) << "one axis is no grid";
  EXPECT_EQ(grid(Rounded(pipe, 0.0625, 2)), 0.0625);
  EXPECT_EQ(grid(Rounded(pipe, 0.0625, 3)), 0.0625);
  Points strays = Rounded(pipe, 0.0625);
  strays[7] = Vector3d(1e15, -1e16, 3e38);
  EXPECT_EQ(grid(strays), 0.0625);

  const auto steps = [](const Points& points, const Vector3d& at) {
    return Resolution(points, Vector3d::Zero(), points.size()).RoundedAt(at);
  };
  // A level floor has the step of the other axes; depths of a camera have steps of their own everywhere.
  Points floor = PointsOn(OutputPlane({0, 0, 2}, kZ), 500, {-1, 1}, {-1, 1}, 0, random);
  EXPECT_TRUE(steps(floor, {0, 0, 2}).isZero(0));
  EXPECT_TRUE(Near(steps(Rounded(floor, 0.001), {0, 0, 2}), Vector3d::Constant(0.001), 1e-9));
  const Points room = Disparities(Clutter({-1, -1, 1}, {1, 1, 4}, 3000, random), 100);
  EXPECT_NEAR(steps(room, {0, 0, 1.5}).z(), 1.5 * 1.5 / 100, 0.003);
  EXPECT_NEAR(steps(room, {0, 0, 3.5}).z(), 3.5 * 3.5 / 100, 0.02);
  // The spacing of a synthetic grid is no step of its one height; that of a depth map is, where heights show
  // it.
  Points lattice;
  for (int i = 0; i < 400; ++i) lattice.emplace_back(0.2 * (i % 20), 0.2 * (i / 20), 2);
  EXPECT_EQ(steps(lattice, {0, 0, 2}).z(), 0);
  for (Vector3d& p : lattice) p.z() += 0.2 * std::round(random.Gauss(0.5));
  EXPECT_NEAR(steps(lattice, {0, 0, 2}).z(), 0.2, 1e-9);
  // Faces of a box at few heights, and rings of a mesh, are places of the thing.
  Points box;
  for (const double z : {0.0, 1.0})
    box = Joined(std::move(box), PointsOn(OutputPlane({0, 0, z}, kZ), 500, {-1, 1}, {-1, 1}, 0, random));
  EXPECT_TRUE(steps(box, {0, 0, 0}).isZero(0));
  // Floats in [1, 2) are 2^-23 apart; of doubles that were not rounded there is no step.
  EXPECT_TRUE(Near(steps(InFloats(pipe), {1.5, 1.5, 1.5}), Vector3d::Constant(0x1p-23), 1e-15));
  EXPECT_TRUE(steps(pipe, {1.5, 1.5, 1.5}).isZero(0));
}

template <class Shape>
void ExpectWhole(const Points& points, std::uint64_t seed) {
  FitOptions<Shape> options;
  options.seed = seed;
  const auto fit = primfit::fit<Shape>(points, options);
  EXPECT_EQ(fit.inliers.size(), points.size())
      << "seed " << seed << ", largest distance " << fit.quality.maxDistance << ", tolerance "
      << fit.report.tolerance;
  EXPECT_GT(fit.report.noise, 0);
  EXPECT_LT(fit.report.noise, 1e-9);
}

TEST(Resolution, ExactShapesLoseNoPoint) {
  // The noise of exact points is their rounding; estimated without that it left out up to 14 of 1000.
  for (std::uint64_t seed = 0; seed < 15; ++seed) {
    Random random(seed);
    const Vector3d o = random.InCube(3), axis = random.Direction();
    ExpectWhole<Line>(PointsOn(OutputLine(o, axis), 1000, {-1, 1}, 0, random), seed);
    ExpectWhole<Arc>(PointsOn(OutputCircle(o, 0.5, axis), 1000, {0, 2}, 0, random), seed);
    ExpectWhole<Plane>(PointsOn(OutputPlane(o, axis), 1000, {-1, 1}, {-1, 1}, 0, random), seed);
    ExpectWhole<Sphere>(PointsOn(OutputSphere(o, 0.5), 1000, {0, 1}, kFullTurn, 0, random), seed);
    ExpectWhole<Cylinder>(PointsOn(OutputCylinder(o, 0.5, axis), 1000, {0, 2}, {0, 1}, 0, random), seed);
    ExpectWhole<Cone>(PointsOn(OutputCone(o, 0.4, axis), 1000, {0, 4}, {0.5, 1.5}, 0, random), seed);
    ExpectWhole<Torus>(PointsOn(OutputTorus(o, 1, 0.3, axis), 1000, {0, 3}, kFullTurn, 0, random), seed);
  }
}

/// The share of parameters of a plane, over many clouds, that are within three of their standard deviations.
template <class Make>
double ShareWithinThree(const Make& make) {
  int within = 0, all = 0;
  for (std::uint64_t seed = 0; seed < 100; ++seed) {
    Random random(seed);
    OutputPlane truth({0, 0, 0}, kZ);
    FitOptions<Plane> options;
    options.seed = seed;
    const auto fit = primfit::fit<Plane>(make(random, truth), options);
    const Vector3d n = truth.Normal() * (truth.Normal().dot(fit.shape.Normal()) < 0 ? -1 : 1);
    for (const FitParameter& p : fit.covariance.parameters) {
      const double off = p.IsAngle() ? p.direction.dot(n - fit.shape.Normal())
                                     : n.dot(truth.Center() - fit.covariance.position);
      ++all;
      within += std::abs(off) <= 3 * p.standardDeviation ? 1 : 0;
    }
  }
  return static_cast<double>(within) / all;
}

TEST(Resolution, RoundedCoordinatesAreInTheCovariance) {
  // A plane nearly level on a grid of a millimetre: its heights step once or twice, and no number of points
  // helps.
  for (const double noise : {0.0, 0.0003, 0.001}) {
    for (const double degrees : {0.0, 0.05, 0.2, 3.0}) {
      const double share = ShareWithinThree([&](Random& random, OutputPlane& truth) {
        const double tilt = degrees * pi / 180, turn = random.Uniform(0, 2 * pi);
        truth =
            OutputPlane({1, 2, random.Uniform(0, 0.001)},
                        {std::sin(tilt) * std::cos(turn), std::sin(tilt) * std::sin(turn), std::cos(tilt)});
        return Rounded(PointsOn(truth, 2000, {-0.5, 0.5}, {-0.5, 0.5}, noise, random), 0.001);
      });
      EXPECT_GE(share, 0.98) << degrees << " degrees, noise " << noise;
    }
  }
  // A wall before a camera that measures a hundred depths.
  for (const double noise : {0.0, 0.003}) {
    const double share = ShareWithinThree([&](Random& random, OutputPlane& truth) {
      truth = OutputPlane({0, 0, random.Uniform(1.5, 2.5)}, (kZ + 0.005 * random.InCube(1)).normalized());
      return Disparities(Joined(PointsOn(truth, 3000, {-0.5, 0.5}, {-0.5, 0.5}, noise, random),
                                Clutter({-1, -1, 1}, {1, 1, 4}, 1000, random)),
                         100);
    });
    EXPECT_GE(share, 0.98) << "noise " << noise;
  }
}

TEST(Resolution, NeighboursAStepAwayAreInliers) {
  // Noise of a third of the step leaves one point in eight a step away from the others: these used to be left
  // out, the noise to be 1e-85, and the verdict good.
  Random random;
  const Points floor =
      Rounded(PointsOn(OutputPlane({0, 0, 2}, kZ), 3000, {-1, 1}, {-1, 1}, 0.0003, random), 0.001);
  const auto level = fit<Plane>(floor);
  EXPECT_GT(level.inliers.size(), 2980U);
  EXPECT_GT(level.report.noise, 0.0003);
  EXPECT_NEAR(level.report.step, 0.001, 1e-5);
  EXPECT_LT(level.report.noise, std::hypot(0.0003, 0.001 / std::sqrt(12)));
  EXPECT_NE(level.report.reason.find("rounded more coarsely"), std::string::npos) << level.report.reason;
  // The grid of a terrain model is exact: its spacing is no noise of a slope.
  Points terrain;
  for (int i = 0; i < 2500; ++i) {
    const double x = i % 50, y = i / 50;
    terrain.emplace_back(x, y, 0.3 * x - 0.1 * y + random.Gauss(0.01));
  }
  const auto slope = fit<Plane>(terrain);
  EXPECT_NEAR(slope.report.noise, 0.01 / std::sqrt(1 + 0.3 * 0.3 + 0.1 * 0.1), 0.001);
  EXPECT_EQ(slope.report.step, 0);
}

TEST(Resolution, SurveyCoordinatesInFloatsAreNotGood) {
  // At 4 000 000 floats are a quarter apart: a pipe of 84 mm came out as 251.456 +- 0.038 mm, good.
  for (std::uint64_t seed = 0; seed < 10; ++seed) {
    Random random(seed);
    const Points pipe = InFloats(PointsOn(OutputCylinder({500000, 4000000, 100}, 0.0841, random.Direction()),
                                          3000, kFullTurn, {0, 1}, 0.001, random));
    try {
      const auto found = fit<Cylinder>(pipe);
      const double deviation = found.covariance.parameters.back().standardDeviation;
      EXPECT_TRUE(found.report.verdict != Verdict::kGood ||
                  std::abs(found.shape.Radius() - 0.0841) < 3 * deviation)
          << found.shape.Radius() << " +- " << deviation << ", " << found.report.reason;
    } catch (const FitError& error) {
      EXPECT_STREQ(error.what(), "No shape stands out from chance");
    }
  }
}

}  // namespace
}  // namespace primfit::testing
