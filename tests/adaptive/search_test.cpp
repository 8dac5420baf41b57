// From samples to hypotheses: what is drawn, what candidates go through it, and which hypothesis comes first.
#include "adaptive/search/search.h"

#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

#include "adaptive/known_shapes.h"
#include "adaptive/search/local_optimisation.h"
#include "adaptive/search/oriented.h"
#include "adaptive/search/rival_search.h"
#include "adaptive/search/sampler.h"
#include "support/gtest_support.h"

namespace primfit::testing {
namespace {

using adaptive::Budget;
using adaptive::Candidates;
using adaptive::Dice;
using adaptive::Plausible;
using adaptive::RankedPoints;
using adaptive::Sample;
using adaptive::Sampler;
using adaptive::SearchOutcome;
using adaptive::SearchTask;
using adaptive::Units;
using Eigen::Vector3d;

/// All points in their order, in units of one.
Sample SampleOf(const Points& points, std::vector<double> trust = {}) {
  std::vector<std::uint32_t> indices(points.size());
  std::iota(indices.begin(), indices.end(), std::uint32_t{0});
  return {Units{}, std::move(indices), points, std::move(trust)};
}

/// The normal of a surface or the direction of a curve.
Vector3d DirectionAt(const Model& m, const Vector3d& p) {
  if (m.kind == ShapeKind::kLine) return m.axis;
  if (m.kind == ShapeKind::kArc) return m.axis.cross(p - m.center).normalized();
  return WithShape(m, [&](const auto& shape) { return Vector3d(shape.EvalNormal(p)); });
}

TEST(Search, ExactDirectionsGiveTheShapeBack) {
  for (const ShapeKind kind : kAllKinds) {
    SCOPED_TRACE(static_cast<int>(kind));
    const adaptive::MinimalSolver solver = adaptive::MinimalSolverOf(kind);
    int found = 0;
    for (std::uint64_t seed = 0; seed < 100; ++seed) {
      Random random(seed);
      const Model m = KnownShape(kind, random);
      std::vector<adaptive::OrientedPoint> sample;
      for (const Vector3d& p : PointsOn(m, static_cast<int>(solver.orientedSampleSize), 0, random))
        sample.push_back({p, (random.Integer(0, 1) == 0 ? 1 : -1) * DirectionAt(m, p)});
      const Candidates candidates = solver.throughOriented(sample);
      const Points others = PointsOn(m, 50, 0, random);
      bool isAmong = false;
      for (int i = 0; i < candidates.count; ++i)
        isAmong |= LargestDistance(candidates.models[static_cast<std::size_t>(i)], others) < 1e-6;
      found += isAmong ? 1 : 0;
      EXPECT_TRUE(isAmong || kind == ShapeKind::kTorus || candidates.count == 0) << seed;
    }
    // Nearly parallel directions determine nothing.
    EXPECT_GE(found, kind == ShapeKind::kCone ? 70 : 85);
  }
}

TEST(Search, SamplesAreOfFreePointsOnly) {
  Random random;
  const Model wall{ShapeKind::kPlane, {0, 0, 0}, Vector3d::UnitZ(), 0, 0};
  const Model floor{ShapeKind::kPlane, {0, 0, 5}, Vector3d(1, 0, 1).normalized(), 0, 0};
  Points points = Joined(PointsOn(wall, 700, 0, random), PointsOn(floor, 300, 0, random));
  std::vector<double> trust(1000, 1.0);
  for (std::size_t i = 0; i < 700; ++i) trust[i] = 5;
  for (const bool trusted : {false, true}) {
    Sample sample = SampleOf(points, trusted ? trust : std::vector<double>{});
    sample.free.Remove([](std::size_t i) { return i < 700; });
    const Sampler sampler(ShapeKind::kPlane, sample);
    const RankedPoints ranked = adaptive::RankByVariation(sample, false);
    Dice dice(1);
    for (int draw = 0; draw < 100; ++draw) {
      for (const Candidates& c : {adaptive::DrawFromAnywhere(sampler, draw, dice),
                                  adaptive::DrawFromRanked(sampler, ranked, draw, dice)}) {
        ASSERT_EQ(c.count, 1);
        EXPECT_TRUE(Parallel(c.models[0].axis, floor.axis, 1e-6)) << draw;
      }
    }
  }
}

TEST(Search, DrawsByWeight) {
  const adaptive::WeightedDraw draw({1, 0, 4, 5});
  std::vector<int> counts(4);
  Dice dice(1);
  for (int i = 0; i < 10000; ++i) ++counts[draw.Draw(dice)];
  EXPECT_NEAR(counts[0], 1000, 150);
  EXPECT_EQ(counts[1], 0);
  EXPECT_NEAR(counts[2], 4000, 250);
}

TEST(Search, RanksPointsOfShapesBeforeClutter) {
  Random random;
  for (const ShapeKind kind : {ShapeKind::kCylinder, ShapeKind::kArc}) {
    const Model m = KnownShape(kind, random);
    // Arguments are evaluated in any order, so the two are made one after the other.
    const Points clutter = Clutter(m.center - Vector3d(3, 3, 3), m.center + Vector3d(3, 3, 3), 1000, random);
    Points points = Joined(PointsOn(m, 1000, 0.001, random), clutter);
    random.Shuffle(points);
    const Sample sample = SampleOf(points);
    const RankedPoints ranked = adaptive::RankByVariation(sample, m.IsCurve());
    const std::size_t best = adaptive::TierSize(ranked.points.size(), 3, 9);
    EXPECT_LT(
        LargestDistance(m, Points(ranked.points.begin(), ranked.points.begin() + static_cast<int>(best))),
        0.02);
    EXPECT_EQ(best, 128U);
    const RankedPoints near = adaptive::RankByDistance(sample, m.center, m.IsCurve());
    EXPECT_EQ(near.points.size(), 2000U);
    EXPECT_TRUE(std::is_sorted(
        near.points.begin(), near.points.end(),
        [&](const Vector3d& a, const Vector3d& b) { return (a - m.center).norm() < (b - m.center).norm(); }));
  }
  struct Row {
    std::size_t count;
    int tier;
    std::size_t size;
  };
  for (const Row& row :
       {Row{1024, 0, 1024}, Row{1024, 3, 128}, Row{100, 3, 36}, Row{20, 2, 20}, Row{0, 1, 0}})
    EXPECT_EQ(adaptive::TierSize(row.count, row.tier, 9), row.size) << row.count << " " << row.tier;
}

TEST(Search, PlausibleHoldsInEveryUnit) {
  const Units units{{10, 20, 30}, 4};
  FitOptionsBase options;
  options.radius = {0.1, 0.5};
  options.axisNear = Vector3d(0, 0, 2);
  options.axisWithin = 0.1;
  options.passes = Vector3d(1000, 0, 1);
  options.passesWithin = 0.2;
  const Vector3d origin(1000, 0, 0);
  struct Row {
    const char* what;
    double radius, tilt;
    unsigned atEnd;
  };
  for (const Row& row :
       {Row{"inside", 0.3, 0.05, 0}, Row{"too large", 0.9, 0.05, kMinor}, Row{"too tilted", 0.3, 0.5, kAxis},
        Row{"both, upside down", 0.01, 3.14159 - 0.5, kMinor | kAxis}}) {
    const Plausible plausible(ShapeKind::kCylinder, options, origin, 0);
    Model m{ShapeKind::kCylinder, {0.3, 0, 0}, {std::sin(row.tilt), 0, std::cos(row.tilt)}, 0, row.radius};
    Model inUnits = units.Into(m);
    EXPECT_EQ(plausible.Clamp(m), row.atEnd) << row.what;
    EXPECT_EQ(plausible.In(units).Clamp(inUnits), row.atEnd) << row.what;
    EXPECT_TRUE(m.minor >= 0.1 && m.minor <= 0.5) << row.what;
    EXPECT_LT(std::acos(std::min(1.0, std::abs(m.axis.z()))), 0.1 + 1e-9) << row.what;
    EXPECT_NEAR(units.Back(inUnits).minor, m.minor, 1e-12);
    const Plausible holds(ShapeKind::kCylinder, options, origin, kMinor | kAxis);
    EXPECT_EQ(holds.Clamp(m), 0U) << "what is held is not moved";
    for (const double slack : {0.0, 1.0})
      EXPECT_EQ(plausible.Passes(m, slack), plausible.In(units).Passes(units.Into(m), slack / 4));
  }
  const Plausible plausible(ShapeKind::kSphere, options, origin, 0);
  const Model missing{ShapeKind::kSphere, {0, 0, 2}, Vector3d::UnitZ(), 0, 0.5};  // by 0.5
  EXPECT_FALSE(plausible.Passes(missing, 0.29));
  EXPECT_TRUE(plausible.Passes(missing, 0.31));
}

TEST(Search, LocalOptimisationNarrowsTheBand) {
  for (const ShapeKind kind : kAllKinds) {
    SCOPED_TRACE(static_cast<int>(kind));
    Random random;
    const Model m = KnownShape(kind, random);
    const Points points =
        Joined(PointsOn(m, 1000, 0.002, random),
               Clutter(m.center - Vector3d(2, 2, 2), m.center + Vector3d(2, 2, 2), 500, random));
    Model rough = m;
    rough.center += random.InCube(0.03);
    rough.axis = (m.axis + random.InCube(0.03)).normalized();
    adaptive::Scorer scorer(m.IsCurve(), points, {.least = 1e-7, .most = 0.25}, 5);
    const adaptive::Score before = scorer(rough);
    adaptive::Inliers inliers;
    adaptive::CopyInliers(scorer, before.tolerance, inliers);
    Budget budget;
    const adaptive::Optimised best =
        adaptive::OptimiseLocally(rough, before, 0, nullptr, scorer, inliers, budget);
    EXPECT_GT(best.score.value, 1.2 * before.value);
    EXPECT_LT(best.score.tolerance, 0.015);
    EXPECT_LT(LargestDistance(best.model, PointsOn(m, 200, 0, random)), 0.01);
    EXPECT_GT(best.refinements, 1);
  }
}

SearchTask TaskFor(ShapeKind kind, const FitOptionsBase& options) {
  SearchTask task{.kind = kind, .plausible = Plausible(kind, options, Vector3d::Zero(), 0)};
  task.bounds = {.least = 1e-7, .most = 0.25};
  return task;
}

TEST(Search, EndsForTheReasonThatItGives) {
  Random random;
  const FitOptionsBase options;
  const Model m = KnownShape(ShapeKind::kSphere, random);
  struct Row {
    const char* what;
    double onShape;
    int draws;
    StopReason why;
  };
  for (const Row& row :
       {Row{"clean", 1, 100000, StopReason::kConfident}, Row{"clutter", 0, 500, StopReason::kDrawLimit},
        Row{"few draws", 0.3, 3, StopReason::kDrawLimit}}) {
    SCOPED_TRACE(row.what);
    const int on = static_cast<int>(2000 * row.onShape);
    const Points clutter =
        Clutter(m.center - Vector3d(1, 1, 1), m.center + Vector3d(1, 1, 1), 2000 - on, random);
    Points points = Joined(PointsOn(m, on, 0.001, random), clutter);
    random.Shuffle(points);
    Budget budget({.draws = row.draws});
    RankedPoints ranked;
    Dice dice(1);
    const Sample sample = SampleOf(points);
    const SearchOutcome outcome =
        adaptive::Search(TaskFor(ShapeKind::kSphere, options), sample, ranked, dice, budget);
    EXPECT_EQ(outcome.why, row.why);
    EXPECT_LE(budget.Draws(), row.draws);
    EXPECT_EQ(budget.Draws() == row.draws, row.why == StopReason::kDrawLimit);
    if (row.onShape == 1) {
      ASSERT_FALSE(outcome.found.empty());
      EXPECT_NEAR(outcome.found[0].model.minor, m.minor, 0.001);
      EXPECT_TRUE(ranked.IsEmpty()) << "clean points are not ranked";
    }
  }
}

TEST(Search, ThePipeComesBeforeTheWall) {
  // A wall, which any large cylinder fits, with most of the points; and a pipe beside it, or across it.
  const FitOptionsBase options;
  for (const double offset : {0.5, 0.0}) {
    SCOPED_TRACE(offset);
    Random random;
    const Model wall{ShapeKind::kPlane, {0, 0, 0}, Vector3d::UnitX(), 0, 0};
    const Model pipe{ShapeKind::kCylinder, {offset, 0, 0}, Vector3d::UnitZ(), 0, 0.1};
    Points points = Joined(PointsOn(wall, 3000, 0.002, random), PointsOn(pipe, 1500, 0.002, random));
    random.Shuffle(points);
    Sample sample = SampleOf(points);
    Budget budget({.draws = 20000});
    Dice dice(1);
    const SearchTask task = TaskFor(ShapeKind::kCylinder, options);
    SearchOutcome first = adaptive::SearchNested(task, false, sample, dice, budget);
    ASSERT_FALSE(first.found.empty());
    EXPECT_TRUE(first.found[0].hasSimpler);
    const SearchOutcome outcome = adaptive::SearchRivals(std::move(first), task, false, sample, dice, budget);
    EXPECT_FALSE(outcome.found[0].hasSimpler);
    EXPECT_NEAR(outcome.found[0].model.minor, 0.1, 0.01);
    EXPECT_LT(sample.free.Count(), 2500U) << "the wall's points are taken";
    EXPECT_EQ(sample.points.size(), 4500U) << "but stay where they are";
  }
}

TEST(Search, APoleComesBeforeItsArm) {
  // Beside a wall there is an arm; across the wall the first search has found a pole. The pole comes first
  // where it is finer than the wall and scores more than the arm.
  const FitOptionsBase options;
  struct Row {
    const char* what;
    double poleScore, poleTolerance;
    std::vector<double> radii;
  };
  for (const Row& row :
       {Row{"a good pole", 1e6, 0.01, {0.2, 0.1, 0}}, Row{"a weak pole", 40, 0.01, {0.1, 0.2, 0}},
        Row{"coarser than the wall", 1e6, 0.03, {0.1, 0.2, 0}},
        Row{"a pole by chance", 20, 0.01, {0.1, 0}}}) {
    SCOPED_TRACE(row.what);
    Random random;
    const Model arm{ShapeKind::kCylinder, {0.5, 0, 0}, Vector3d::UnitZ(), 0, 0.1};
    Points points =
        PointsOn(OutputPlane({0, 0, 0}, Vector3d::UnitX()), 3000, {-1, 1}, {-1, 1}, 0.002, random);
    points = Joined(std::move(points), PointsOn(arm, 1500, 0.002, random));
    random.Shuffle(points);
    Sample sample = SampleOf(points);
    // A wall as a pipe of a large radius, and the pole.
    const Model wall{ShapeKind::kCylinder, {1000, 0, 0}, Vector3d::UnitZ(), 0, 1000};
    const Model pole{ShapeKind::kCylinder, {0, 0, 0}, Vector3d::UnitZ(), 0, 0.2};
    SearchOutcome first;
    first.found = {{wall, {.value = 5000, .tolerance = 0.02}, true},
                   {pole, {.value = row.poleScore, .tolerance = row.poleTolerance}, false}};
    Budget budget({.draws = 20000});
    Dice dice(1);
    const SearchOutcome outcome =
        adaptive::SearchRivals(first, TaskFor(ShapeKind::kCylinder, options), false, sample, dice, budget);
    ASSERT_EQ(outcome.found.size(), row.radii.size());
    for (std::size_t i = 0; i + 1 < row.radii.size(); ++i)
      EXPECT_NEAR(outcome.found[i].model.minor, row.radii[i], 0.01) << i;
    EXPECT_TRUE(outcome.found.back().hasSimpler) << "the wall comes last";
  }
}

TEST(Search, FindsTheFineShapeInACoarseOne) {
  // A slab of clutter is a plane with much noise; an exact plane in it has more points than that noise
  // leaves. The middle of a noisy plane has not.
  const FitOptionsBase options;
  const Model plane{ShapeKind::kPlane, {0, 0, 0.03}, Vector3d::UnitZ(), 0, 0};
  Random random;
  const Points slab =
      Joined(PointsOn(plane, 600, 0.0005, random), Clutter({-1, -1, -0.12}, {1, 1, 0.12}, 2000, random));
  const Points noisy = PointsOn(plane, 2600, 0.05, random);
  struct Row {
    const char* what;
    const Points& points;
    bool isNoiseKnown;
    double low, high;  // of the tolerance
  };
  for (const Row& row :
       {Row{"exact plane in a slab", slab, false, 0, 0.01}, Row{"noisy plane", noisy, false, 0.08, 0.25},
        Row{"noise is told", noisy, true, 0.08, 0.25}}) {
    SCOPED_TRACE(row.what);
    Points points = row.points;
    random.Shuffle(points);
    const Sample sample = SampleOf(points);
    Budget budget({.draws = 5000});
    Dice dice(1);
    const SearchOutcome outcome =
        adaptive::SearchNested(TaskFor(ShapeKind::kPlane, options), row.isNoiseKnown, sample, dice, budget);
    ASSERT_FALSE(outcome.found.empty());
    EXPECT_GE(outcome.found[0].score.tolerance, row.low);
    EXPECT_LE(outcome.found[0].score.tolerance, row.high);
    EXPECT_EQ(budget.DrawLimit(), 5000) << "the limit of the second search ends with it";
  }
}

}  // namespace
}  // namespace primfit::testing
