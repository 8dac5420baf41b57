// How shapes are judged, chosen among simpler ones, and when the search has judged enough.
#include "adaptive/search/score.h"

#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <cmath>
#include <vector>

#include "adaptive/known_shapes.h"
#include "adaptive/search/confidence.h"
#include "adaptive/search/simpler.h"

namespace primfit::testing {
namespace {

using adaptive::Score;
using adaptive::ScoreBounds;
using adaptive::Scorer;
using Eigen::Vector3d;

/// Relative entropy of a coin that falls on one side with chance p, against q.
double Entropy(double p, double q) { return p * std::log(p / q) + (1 - p) * std::log((1 - p) / (1 - q)); }

/// A level plane or a line along x with a share of the points exactly on it, the others spread evenly in
/// distance beyond 0.03.
Points Planted(double share, int n) {
  Points points;
  for (int i = 0; i < n; ++i) {
    const double rest = (i - share * n) / (n - share * n);
    points.emplace_back(i % 17, 0, i < share * n ? 0 : 0.03 + 0.97 * rest);
  }
  return points;
}

TEST(Score, IsTheEntropyOfAPlantedShareAgainstChance) {
  const Model plane{ShapeKind::kPlane, Vector3d::Zero(), Vector3d::UnitZ(), 0, 0};
  const Model line{ShapeKind::kLine, Vector3d::Zero(), Vector3d::UnitX(), 0, 0};
  for (const Model& m : {plane, line}) {
    for (const double share : {0.1, 0.5, 0.9}) {
      SCOPED_TRACE(::testing::Message() << m.IsCurve() << " " << share);
      const Points points = Planted(share, 2000);
      Scorer scorer(m.IsCurve(), points, {.least = 0.01, .most = 0.25}, 3);
      const Score score = scorer(m);
      EXPECT_EQ(score.tolerance, 0.01);
      EXPECT_EQ(score.inliers, share * 2000);
      EXPECT_NEAR(score.share, share, 1e-12);
      EXPECT_GE(score.backgroundRange, share > 0.8 ? 0.75 : 0.95);
      EXPECT_LE(score.backgroundRange, 1.3);
      const double ratio = 0.01 / score.backgroundRange, chance = m.IsCurve() ? ratio * ratio : ratio;
      EXPECT_NEAR(score.value, 2000 * Entropy(share - 3.0 / 2000, chance), 1e-9 * score.value);
      // Of a fine band the share that is as good is the share itself.
      EXPECT_EQ(scorer.ShareNeededAtFineBound(score), score.share);
    }
  }
}

TEST(Score, FindsTheBandOfFineAndOfCoarseNoise) {
  const Model plane{ShapeKind::kPlane, Vector3d::Zero(), Vector3d::UnitZ(), 0, 0};
  for (const double noise : {0.0, 0.0003, 0.003, 0.03}) {
    SCOPED_TRACE(noise);
    Random random;
    const Points points =
        Joined(PointsOn(OutputPlane({0, 0, 0}, Vector3d::UnitZ()), 1000, {-1, 1}, {-1, 1}, noise, random),
               Clutter({-1, -1, -1}, {1, 1, 1}, 1000, random));
    Scorer scorer(false, points, {.least = 1e-7, .most = 0.25}, 3);
    const Score score = scorer(plane);
    if (noise == 0) {
      EXPECT_LE(score.tolerance, 1e-7);
    } else {
      EXPECT_GT(score.tolerance, 1.5 * noise);
      EXPECT_LT(score.tolerance, 5 * noise);
    }
    EXPECT_NEAR(score.share, 0.5 + score.tolerance / 2, 0.07);
    // A coarse band has points by chance, so fewer in a fine one would say as much.
    if (noise >= 0.03) {
      EXPECT_LT(scorer.ShareNeededAtFineBound(score), score.share - 0.05);
    }
    // A tilted plane scores less, and one beside the points nothing.
    const Model tilted{ShapeKind::kPlane, Vector3d::Zero(), Vector3d(0.2, 0, 1).normalized(), 0, 0};
    EXPECT_LT(scorer(tilted).value, score.value);
    EXPECT_EQ(scorer(Model{ShapeKind::kPlane, {0, 0, 5}, Vector3d::UnitZ(), 0, 0}).value, 0);
  }
}

TEST(Score, ADenseMiddleOfTheCloudIsNoShape) {
  // Nine of ten points are within 0.2 of the plane, but as dense beside any narrow band as in it.
  const Model plane{ShapeKind::kPlane, Vector3d::Zero(), Vector3d::UnitZ(), 0, 0};
  Random random;
  const Points points = Joined(Clutter({-1, -1, -0.2}, {1, 1, 0.2}, 1800, random),
                               Clutter({-1, -1, -1}, {1, 1, 1}, 200, random));
  EXPECT_LT(Scorer(false, points, {.least = 0.01, .most = 0.05}, 3)(plane).value, 10);
}

TEST(Score, HearsTrustedPointsButNotOneAlone) {
  const Model plane{ShapeKind::kPlane, Vector3d::Zero(), Vector3d::UnitZ(), 0, 0};
  const Points points = Planted(0.1, 1000);
  const ScoreBounds bounds{.least = 0.01, .most = 0.25};
  const double untold = Scorer(false, points, bounds, 3)(plane).value;
  std::vector<double> alike(points.size(), 7.0), few = alike, one = alike;
  for (std::size_t i = 0; i < 100; ++i) few[i] = 70;
  one.back() = 1e6;  // off the plane
  EXPECT_NEAR(Scorer(false, points, bounds, 3, alike)(plane).value, untold, 1e-9 * untold);
  EXPECT_GT(Scorer(false, points, bounds, 3, few)(plane).value, 1.2 * untold);
  EXPECT_EQ(Scorer(false, points, bounds, 3, one)(plane).value, untold);
}

TEST(Score, ConfidenceIsThatOfMissingAllDraws) {
  struct Row {
    double share;
    std::size_t sample;
    double efficiency;
  };
  for (const Row& row : {Row{0.5, 3, 0.3}, Row{0.9, 9, 0.15}, Row{1, 2, 0.5}, Row{0.05, 13, 0.15}}) {
    const double chance = row.efficiency * std::pow(row.share, static_cast<double>(row.sample));
    const double nats = adaptive::NatsOfDraw(row.share, row.sample, row.efficiency);
    const double needed = std::log(1 - 0.99) / std::log1p(-chance);
    EXPECT_NEAR(adaptive::ShareOfConfidence(1000, nats, 0.99), 1000 / needed, 1e-9 * 1000 / needed)
        << row.share;
  }
}

TEST(Score, RankedDrawsCountTheInliersOfTheirTiers) {
  // Inliers in the best quarter only: the first two tiers hold a quarter and a half of them.
  Random random;
  const Model plane = KnownShape(ShapeKind::kPlane, random);
  adaptive::RankedPoints ranked;
  ranked.tiers = 3;
  ranked.points = Joined(PointsOn(plane, 256, 0, random), Points(768, plane.center + 5 * plane.axis));
  for (std::size_t i = 0; i < ranked.points.size(); ++i)
    ranked.local.push_back({i, ranked.points[i], plane.axis, 0});
  const adaptive::Hypothesis leader{plane, {.tolerance = 0.01, .share = 0.25}};
  const adaptive::MinimalSolver solver = adaptive::MinimalSolverOf(ShapeKind::kPlane);
  for (const double enough : {0.25, 0.1}) {
    double expected = 0;
    for (const double share : {0.25, 0.5, 1.0}) {
      const double inTier = share * enough / 0.25;
      expected += adaptive::NatsOfDraw(inTier, 3, solver.efficiency) / 6 +
                  adaptive::NatsOfDraw(inTier, 1, solver.orientedEfficiency) / 6;
    }
    EXPECT_NEAR(adaptive::NatsOfRankedDraw(leader, enough, solver, ranked), expected, 1e-12);
  }
}

TEST(Score, ToldFromSimplerShapes) {
  using enum ShapeKind;
  const Vector3d o(0, 0, 0), z = Vector3d::UnitZ();
  Random random;
  struct Row {
    const char* what;
    Model model;
    Points points;
    bool simpler;
  };
  const double noise = 0.003;
  const auto cap = [&](double radius) {
    return PointsOn(OutputSphere(o, radius), 400, {1.53, 1.57}, kFullTurn, noise, random);
  };
  const std::vector<Row> rows = {
      {"whole arc",
       {kArc, o, z, 0, 1},
       PointsOn(OutputCircle(o, 1, z), 400, kFullTurn, noise, random),
       false},
      {"arc of 2 mm sagitta",
       {kArc, o, z, 0, 50},
       PointsOn(OutputCircle(o, 50, z), 400, {0, 0.02}, noise, random),
       true},
      {"whole sphere",
       {kSphere, o, z, 0, 1},
       PointsOn(OutputSphere(o, 1), 400, {-1.5, 1.5}, kFullTurn, noise, random),
       false},
      {"flat cap", {kSphere, o, z, 0, 5}, cap(5), true},
      {"pipe",
       {kCylinder, o, z, 0, 0.3},
       PointsOn(OutputCylinder(o, 0.3, z), 400, kFullTurn, {0, 1}, noise, random),
       false},
      {"wall",
       {kCylinder, o, z, 0, 50},
       PointsOn(OutputCylinder(o, 50, z), 400, {0, 0.02}, {0, 1}, noise, random),
       true},
      {"cone",
       {kCone, o, z, 0, 0.4},
       PointsOn(OutputCone(o, 0.4, z), 400, kFullTurn, {0.5, 1.5}, noise, random),
       false},
      {"pipe as cone",
       {kCone, o, z, 0, 0.002},
       PointsOn(OutputCone(o, 0.002, z), 400, kFullTurn, {150, 151}, noise, random),
       true},
      {"ring",
       {kTorus, o, z, 1, 0.3},
       PointsOn(OutputTorus(o, 1, 0.3, z), 400, kFullTurn, kFullTurn, noise, random),
       false},
      {"pipe as ring",
       {kTorus, o, z, 100, 0.3},
       PointsOn(OutputTorus(o, 100, 0.3, z), 400, {0, 0.01}, kFullTurn, noise, random),
       true},
      {"plane",
       {kPlane, o, z, 0, 0},
       PointsOn(OutputPlane(o, z), 400, {-1, 1}, {-1, 1}, noise, random),
       false},
  };
  for (const Row& row : rows) {
    adaptive::Budget budget;
    EXPECT_LT(LargestDistance(row.model, row.points), 6 * noise) << row.what;
    EXPECT_EQ(adaptive::HasSimpler(row.model, row.points, budget), row.simpler) << row.what;
  }
}

}  // namespace
}  // namespace primfit::testing
