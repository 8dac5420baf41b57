// Shapes that are shown by a place on them, small ones among the many points of a whole scan.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <set>
#include <vector>

#include "adaptive/place_candidate.h"
#include "adaptive/scene/connected_region.h"
#include "adaptive/scene/local_noise.h"
#include "adaptive/scene/nested_balls.h"
#include "primfit/fit.h"
#include "support/scenes.h"

namespace primfit {
namespace {

using namespace adaptive;
using namespace testing;
using Eigen::Vector3d;
using std::numbers::pi;

constexpr double kNoise = 0.002;
const Vector3d kX = Vector3d::UnitX(), kY = Vector3d::UnitY(), kZ = Vector3d::UnitZ();

/// A room with a pipe, a ball, a cone and a shelf, each with about a hundredth of the points.
Points Room(Random& r) {
  Points room = PointsOn(OutputPlane({0, 0, 0}, kZ), 30000, {-3, 3}, {-3, 3}, kNoise, r);
  room = Joined(room, PointsOn(OutputPlane({3, 0, 1}, kX), 20000, {-3, 3}, {-1, 1}, kNoise, r));
  room = Joined(room, PointsOn(OutputCylinder({2.8, 0, 0}, 0.06, kZ), 600, kFullTurn, {0, 2}, kNoise, r));
  room =
      Joined(room, PointsOn(OutputSphere({-1, -1, 0.2}, 0.2), 600, {-pi / 2, pi / 2}, kFullTurn, kNoise, r));
  room = Joined(room, PointsOn(OutputCone({1, -1, 0.6}, 0.3, -kZ), 600, kFullTurn, {0.2, 0.6}, kNoise, r));
  return Joined(room, PointsOn(OutputPlane({-1, 2, 1}, kZ), 500, {-0.3, 0.3}, {-0.2, 0.2}, kNoise, r));
}

/// The fit of what is at a place, as a click on one of its points gives that.
template <class Shape>
FitResult<Shape> At(const Vector3d& place, std::uint64_t seed, const Points& points) {
  FitOptions<Shape> options;
  options.seed = seed;
  options.passes = place;
  options.passesWithin = 3 * kNoise;
  return fit<Shape>(points, options);
}

TEST(Place, FindsWhatHasAHundredthOfThePoints) {
  for (const std::uint64_t seed : {1, 2, 3, 4, 5}) {
    Random random(seed);
    const Points room = Room(random);
    const Vector3d survey(4e5, 5e6, 300);  // a survey's origin is far away
    Points far = room;
    for (Vector3d& p : far) p += survey;
    EXPECT_NEAR(At<Cylinder>({2.74, 0, 1}, seed, room).shape.Radius(), 0.06, 0.001);
    EXPECT_NEAR(At<Cylinder>(survey + Vector3d(2.74, 0, 1), seed, far).shape.Radius(), 0.06, 0.001);
    const auto ball = At<Sphere>({-1, -1, 0.4}, seed, room);
    EXPECT_NEAR(ball.shape.Radius(), 0.2, 0.001);
    EXPECT_EQ(ball.report.verdict, Verdict::kGood) << ball.report.reason;  // a small share is no doubt here
    EXPECT_NEAR(static_cast<double>(At<Plane>({-1, 2, 1}, seed, room).inliers.size()), 500, 15);
    EXPECT_NEAR(At<Cone>({1 - 0.4 * std::tan(0.3), -1, 0.2}, seed, room).shape.Angle(), 0.3, 0.01);
  }
}

// Nothing but the gap between them tells two tables of one height apart.
TEST(Place, TakesOnlyWhatIsConnectedWithIt) {
  Random random(1);
  // Three metres apart, with a stray point between them.
  Points tables = PointsOn(OutputPlane({0, 0, 1}, kZ), 3000, {-0.5, 0.5}, {-0.5, 0.5}, kNoise, random);
  tables =
      Joined(tables, PointsOn(OutputPlane({4, 0, 1}, kZ), 3000, {-0.5, 0.5}, {-0.5, 0.5}, kNoise, random));
  tables.emplace_back(2, 0, 1);
  const auto table = At<Plane>({0.1, 0.1, 1}, 1, tables);
  EXPECT_NEAR(static_cast<double>(table.inliers.size()), 3000, 30);
  for (const std::uint32_t i : table.inliers) EXPECT_LT(tables[i].x(), 1);
}

TEST(Place, RefusesAKindThatIsNotThere) {
  Random random(1);
  const Points room = Room(random);
  const auto isDoubtful = [&](const auto& find) {
    try {
      return find().report.verdict != Verdict::kGood;
    } catch (const FitError&) {
      return true;
    }
  };
  EXPECT_TRUE(isDoubtful([&] { return At<Sphere>({3, 2, 1}, 1, room); })) << "a wall";
  EXPECT_TRUE(isDoubtful([&] { return At<Cone>({0, 1, 0}, 1, room); })) << "a floor";
  EXPECT_TRUE(isDoubtful([&] { return At<Plane>({-1, -1, 0.4}, 1, room); })) << "a ball";
}

TEST(Place, BallsHoldTheNearestPointsAndAllInTheEnd) {
  Random random(1);
  const Points points = Clutter({-1, -1, -1}, {1, 1, 1}, 1000, random);
  const NestedBalls balls(points, Vector3d::Zero());
  ASSERT_EQ(balls.Count(), 6U);  // 32, 64, ..., 512, 1000
  for (std::size_t ball = 0; ball < balls.Count(); ++ball) {
    const std::set<std::uint32_t> in(balls.Indices(ball).begin(), balls.Indices(ball).end());
    EXPECT_EQ(in.size(), ball + 1 < balls.Count() ? 32U << ball : points.size());
    for (std::uint32_t i = 0; i < points.size(); ++i)
      EXPECT_EQ(points[i].norm() <= balls.Radius(ball), in.contains(i));
  }
}

// A scanner's points are dense near it, sparse far away, and in rows.
TEST(Place, ConnectsSparsePointsAndRowsButNotAcrossGaps) {
  Points floor;
  for (double range = 1; range < 20; range *= 1.05)
    for (double angle = -0.5; angle < 0.5; angle += 0.02)
      floor.emplace_back(range * std::cos(angle), range * std::sin(angle), 0);
  const std::size_t whole = floor.size();
  for (int i = 0; i < 40; ++i) floor.emplace_back(-3 - 0.1 * (i % 8), 0.1 * (i / 8), 0);
  const Connected connected = ConnectedWith({1, 0, 0}, floor);
  EXPECT_EQ(connected.count, whole);
  const ConnectedRegion region(floor, connected);
  EXPECT_TRUE(region.Has({15, 1, 0}));
  EXPECT_FALSE(region.Has({-3.2, 0.2, 0}));
}

TEST(Place, TheNoiseFromNeighbourToNeighbourIsThatOfTheSurface) {
  for (const double noise : {0.001, 0.004}) {
    Random random(1);
    Points ball = PointsOn(OutputSphere({0, 0, 0}, 1), 3000, {-pi / 2, pi / 2}, kFullTurn, noise, random);
    const Sample sample({}, std::vector<std::uint32_t>(ball.size()), ball);
    EXPECT_NEAR(LocalNoise(sample, kX).value_or(0) / noise, 1, 0.35);
  }
  Random random(1);
  const Points cloud = Clutter({-1, -1, -1}, {1, 1, 1}, 1000, random);
  EXPECT_FALSE(LocalNoise(Sample({}, std::vector<std::uint32_t>(cloud.size()), cloud), kX));
}

TEST(Place, PrefersTheLargerUnlessItIsMuchCoarserForLittle) {
  const Surroundings in{.localNoise = 0.002, .leastNoise = 0.002, .room = 1};
  const Model plane{ShapeKind::kPlane, {0, 0, 0}, kZ};
  const auto candidate = [&](double noise, double support) {
    return PlaceCandidate{plane, noise, 3 * noise, support};
  };
  const PlaceCandidate best = candidate(0.002, 1000);
  EXPECT_TRUE(IsPreferred(candidate(0.0021, 1500), best, in)) << "as fine";
  EXPECT_FALSE(IsPreferred(candidate(0.0021, 900), best, in)) << "smaller";
  EXPECT_FALSE(IsPreferred(candidate(0.005, 2000), best, in)) << "between two walls";
  EXPECT_TRUE(IsPreferred(candidate(0.005, 9000), best, in)) << "an uneven wall of which the best is a piece";
  EXPECT_FALSE(IsPreferred(candidate(0.05, 50000), best, in)) << "coarser than real surfaces are uneven";
  EXPECT_TRUE(IsPreferred(best, candidate(0.005, 2000), in)) << "one of two walls";
  EXPECT_FALSE(IsPreferred(candidate(0.0001, 20), best, in)) << "a row of points with one height";
}

}  // namespace
}  // namespace primfit
