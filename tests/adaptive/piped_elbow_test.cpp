// An elbow together with its own pipes: the surface, its refinement, the bend between two pipes, and the
// whole fit.
#include "adaptive/joints/piped_elbow.h"

#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

#include "adaptive/joints/elbow_starts.h"
#include "adaptive/joints/pipe_growth.h"
#include "adaptive/joints/pipe_support.h"
#include "adaptive/joints/refine_piped_elbow.h"
#include "primfit/fit.h"
#include "support/gtest_support.h"
#include "support/scenes.h"

namespace primfit::testing {
namespace {

using adaptive::ElbowSurface;
using adaptive::ElbowVector;
using adaptive::PipedElbow;
using Eigen::Vector3d;
using std::numbers::pi;

/// An elbow at the origin about z, from x on, with pipes of some lengths; none of length 0.
struct Piping {
  double major, minor, sweep, first, second;
  bool isHalfSeen = false;  // from above
};

Vector3d At(double angle) { return {std::cos(angle), std::sin(angle), 0}; }

/// Points around the centre line, as many on each length of it.
Points PointsOf(const Piping& piping, double perLength, double noise, Random& random) {
  const Vector3d begin = piping.major * At(0), end = piping.major * At(piping.sweep);
  Points points;
  const auto add = [&](double length, const auto& placeAndRadial) {
    for (int i = 0; i < static_cast<int>(perLength * length); ++i) {
      const auto [place, radial] = placeAndRadial(random.Uniform(0, length));
      const double around = random.Uniform(0, piping.isHalfSeen ? pi : 2 * pi);
      const Vector3d normal = std::cos(around) * radial + std::sin(around) * Vector3d::UnitZ();
      points.push_back(place + (piping.minor + random.Gauss(noise)) * normal);
    }
  };
  using Place = std::pair<Vector3d, Vector3d>;
  add(piping.sweep * piping.major,
      [&](double s) { return Place(piping.major * At(s / piping.major), At(s / piping.major)); });
  add(piping.first, [&](double s) { return Place(begin - s * At(pi / 2), At(0)); });
  add(piping.second, [&](double s) { return Place(end + s * At(piping.sweep + pi / 2), At(piping.sweep)); });
  return points;
}

PipedElbow ElbowOf(const Piping& piping) {
  PipedElbow elbow;
  elbow.torus = {ShapeKind::kTorus, Vector3d::Zero(), Vector3d::UnitZ(), piping.major, piping.minor};
  elbow.start = Vector3d::UnitX();
  elbow.sweep = piping.sweep;
  elbow.pipes[0].exists = piping.first > 0;
  elbow.pipes[1].exists = piping.second > 0;
  return elbow;
}

constexpr Piping kPipings[] = {{0.3, 0.1, pi / 2, 1, 0.5},
                               {0.15, 0.1, pi / 6, 0.4, 2},
                               {0.4, 0.1, pi, 0.5, 0.5},
                               {0.6, 0.1, 1.2 * pi, 0.3, 0.3}};

TEST(PipedElbow, DistanceIsThatToTheDenselySampledCentreLine) {
  Random random;
  for (const Piping& piping : kPipings) {
    const ElbowSurface surface(ElbowOf(piping));
    Points line;
    for (double s = 0; s <= 1; s += 1e-4) {
      line.push_back(piping.major * At(s * piping.sweep));
      line.push_back(piping.major * At(0) - 5 * s * At(pi / 2));
      line.push_back(piping.major * At(piping.sweep) + 5 * s * At(piping.sweep + pi / 2));
    }
    for (int i = 0; i < 100; ++i) {
      const Vector3d p = random.InCube(1.5);
      const auto nearest = std::min_element(line.begin(), line.end(), [&](const auto& a, const auto& b) {
        return (a - p).squaredNorm() < (b - p).squaredNorm();
      });
      const double expected = (*nearest - p).norm() - piping.minor;
      const auto foot = surface.FootOf(p);
      // Beside no part is only what lies behind the centre of an arc.
      if (foot.part == adaptive::ElbowPart::kNone) continue;
      EXPECT_NEAR(foot.distance, expected, 1e-3) << piping.sweep << ", " << p.transpose();
    }
  }
}

TEST(PipedElbow, GradientIsThatOfFiniteDifferences) {
  Random random;
  for (const Piping& piping : kPipings) {
    const PipedElbow elbow = ElbowOf(piping);
    const ElbowSurface surface(elbow);
    for (const Vector3d& p : PointsOf(piping, 100, 0.01, random)) {
      const auto foot = surface.FootOf(p);
      const ElbowVector gradient = surface.Gradient(p, foot);
      for (int k = 0; k < adaptive::kElbowParameters; ++k) {
        constexpr double kStep = 1e-6;
        const ElbowVector step = kStep * ElbowVector::Unit(k);
        const double ahead = ElbowSurface(Moved(elbow, step)).FootOf(p).distance;
        const double behind = ElbowSurface(Moved(elbow, -step)).FootOf(p).distance;
        EXPECT_NEAR(gradient[k], (ahead - behind) / (2 * kStep), 1e-4) << "parameter " << k;
      }
    }
  }
}

TEST(PipedElbow, RefinesExactPointsToTheTruth) {
  Random random;
  for (const Piping& piping : kPipings) {
    const PipedElbow truth = ElbowOf(piping);
    const Points points = PointsOf(piping, 3000, 0, random);
    ElbowVector off;
    for (int k = 0; k < adaptive::kElbowParameters; ++k) off[k] = random.Uniform(-0.01, 0.01);
    adaptive::Budget budget;
    const auto refined = Refine(Moved(truth, off), 0, points, {}, 50, budget);
    ASSERT_TRUE(refined);
    EXPECT_NEAR(refined->elbow.torus.major, piping.major, 1e-9);
    EXPECT_NEAR(refined->elbow.torus.minor, piping.minor, 1e-9);
    EXPECT_NEAR(refined->elbow.sweep, piping.sweep, 1e-9);
    EXPECT_NEAR(refined->elbow.start.y(), 0, 1e-9);
  }
}

TEST(PipedElbow, FindsTheBendBetweenTwoPipesInOneDimension) {
  Random random;
  for (const Piping& piping : {kPipings[0], kPipings[1], kPipings[2]}) {
    const Points points = PointsOf(piping, 3000, 0.001, random);
    const Vector3d end = piping.major * At(piping.sweep), onwards = At(piping.sweep + pi / 2);
    const auto pipe = [&](const Vector3d& from, const Vector3d& along, double length) {
      return adaptive::FoundPipe{{ShapeKind::kCylinder, from, along, 0, piping.minor},
                                 from + length / 2 * along};
    };
    // Which sense an axis has says nothing.
    const auto pairs =
        PairsOf(pipe(piping.major * At(0), -At(pi / 2), piping.first), pipe(end, onwards, piping.second));
    ASSERT_EQ(pairs.size(), piping.sweep == pi ? 2 : 1);
    double least = 1e300, radius = 0, sweep = 0;
    for (const auto& pair : pairs) {
      const auto best = BestBetween(pair, points, 0.02);
      if (!best || TruncatedSquares(*best, points, 0.02) > least) continue;
      least = TruncatedSquares(*best, points, 0.02);
      radius = best->torus.major;
      sweep = best->sweep;
    }
    // Of a small bend the radius hardly matters: it is found as its sagitta.
    EXPECT_LT(std::abs(radius - piping.major) * (1 - std::cos(piping.sweep / 2)), 0.25 * piping.minor);
    EXPECT_NEAR(sweep, piping.sweep, 1e-9);
  }
}

TEST(PipedElbow, SupportsPipesAsFarAsPointsGo) {
  Random random;
  const Piping piping{0.3, 0.1, pi / 2, 1, 0.5};
  const PipedElbow elbow = ElbowOf(piping);
  const Points pipes = PointsOf(piping, 6000, 0.002, random);
  const auto lengths = SupportedLengths(elbow, pipes, 0.006);
  EXPECT_NEAR(lengths[0], 1, 0.05);
  EXPECT_NEAR(lengths[1], 0.5, 0.05);
  // A wall that touches both where they would be has points within the band, but only in a strip.
  const Points wall = Joined(
      PointsOf({0.3, 0.1, pi / 2, 0, 0}, 6000, 0.002, random),
      PointsOn(OutputPlane({0, 0, -0.1}, Vector3d::UnitZ()), 20000, {-1.5, 1.5}, {-1.5, 1.5}, 0.002, random));
  for (const double length : SupportedLengths(elbow, wall, 0.006)) EXPECT_EQ(length, 0);
}

// A torus that was fitted alone is askew, and an arc that was seen in part ends too early.
TEST(PipedElbow, GrowsPipesOutOfAnArcThatEndsElsewhere) {
  Random random;
  const Piping piping{0.3, 0.1, pi / 2, 1, 0};
  Points points = PointsOf(piping, 1000, 0.002, random);
  for (const Vector3d& p : Points(points)) points.emplace_back(p + 0.35 * Vector3d::UnitZ());
  for (const double offBy : {-0.2, 0.0, 0.2}) {
    PipedElbow elbow = ElbowOf(piping);
    elbow.torus.major *= 1.05;
    elbow.start = At(offBy);
    elbow.sweep -= 2 * offBy;
    adaptive::Budget budget;
    const auto grown = GrowPipe(elbow, 0, 0.006, points, budget);
    ASSERT_TRUE(grown) << offBy;
    EXPECT_NEAR(grown->pipe.cylinder.minor, 0.1, 0.002);
    EXPECT_GT(std::abs(grown->pipe.cylinder.axis.y()), 0.9999);
    EXPECT_NEAR(grown->length, 1, 0.15);
    EXPECT_FALSE(GrowPipe(elbow, 1, 0.006, points, budget)) << offBy;
  }
}

/// A wall that hides the other half of pipes, with twice as many points as these.
Points WallBeneath(const Piping& piping, Random& random) {
  const Vector3d beneath = -2.5 * piping.minor * Vector3d::UnitZ();
  return PointsOn(OutputPlane(beneath, Vector3d::UnitZ()), 12000, {-1.2, 1.2}, {-1.2, 1.2}, 0.002, random);
}

/// What lies about an elbow.
struct Surroundings {
  double clutter = 0;     ///< as many stray points, times those of the elbow with its pipes
  bool hasWall = false;   ///< a radius beneath
  bool hasLines = false;  ///< the same again on both sides
  bool isPicked = false;  ///< the fit is told a point of the bend
};

/// What the fit must know of an elbow whose pipes are in the cloud.
void ExpectElbow(const Piping& piping, const char* what, const Surroundings& in = {}) {
  for (const std::uint64_t seed : {1, 2, 3}) {
    SCOPED_TRACE(std::string(what) + ", seed " + std::to_string(seed));
    Random random(seed);
    const double length = piping.sweep * piping.major + piping.first + piping.second;
    Points points = PointsOf(piping, 6000 / length, 0.02 * piping.minor, random);
    const auto strays = static_cast<int>(in.clutter * static_cast<double>(points.size()));
    const Points own = points;
    for (int i = 0; i < strays; ++i) points.push_back(random.InCube(8 * piping.minor));
    for (const double side : {-4.5, 4.5}) {
      for (const Vector3d& p : in.hasLines ? own : Points())
        points.emplace_back(p + side * piping.minor * Vector3d::UnitZ());
    }
    if (in.hasWall) points = Joined(points, WallBeneath(piping, random));
    const Pose pose = random.AnyPose(50);
    FitOptions<Elbow> options;
    options.seed = seed;
    const Vector3d top = piping.major * At(piping.sweep / 2) + piping.minor * Vector3d::UnitZ();
    if (in.isPicked) options.passes = pose * top;
    const auto result = fit<Elbow>(pose * points, options);
    const double bendError = result.shape.MajorRadius() - piping.major;
    EXPECT_LT(std::abs(bendError), 0.025 * piping.major);
    EXPECT_LT(std::abs(bendError), 4 * result.covariance.parameters[5].standardDeviation);
    EXPECT_LT(std::abs(result.shape.Angle() - piping.sweep), 4 * result.extents.sizes[0]);
    const Vector3d start = pose.rotation * Vector3d::UnitX();
    const Vector3d end = pose.rotation * At(piping.sweep);
    const bool isTurned = result.shape.Axis().dot(pose.rotation * Vector3d::UnitZ()) < 0;
    EXPECT_LT((result.shape.XAxis() - (isTurned ? end : start)).norm(), 0.05);
    EXPECT_EQ(result.report.verdict, Verdict::kGood) << result.report.reason;
    EXPECT_TRUE(result.report.converged);
  }
}

TEST(PipedElbow, IsFittedWithItsPipes) {
  ExpectElbow({0.3, 0.1, pi / 2, 1, 1}, "long pipes");
  ExpectElbow({0.3, 0.1, pi / 2, 0.3, 0.3}, "short pipes");
  ExpectElbow({0.15, 0.1, pi / 2, 0.4, 2}, "a short and a long pipe", {.clutter = 0.3});
  ExpectElbow({0.3, 0.1, pi / 4, 1, 1}, "a small bend", {.clutter = 0.3});
  ExpectElbow({0.3, 0.1, pi, 0.8, 0.5}, "half a turn");
  ExpectElbow({0.3, 0.1, pi / 2, 1, 1, true}, "half seen", {.clutter = 0.3});
  ExpectElbow({0.3, 0.1, pi / 2, 1, 0}, "one pipe");
  ExpectElbow({0.3, 0.1, pi / 2, 0.8, 0.8, true}, "on a wall", {.hasWall = true});
  ExpectElbow({0.3, 0.1, pi / 2, 1, 1, true}, "picked among others", {.hasLines = true, .isPicked = true});
}

}  // namespace
}  // namespace primfit::testing
