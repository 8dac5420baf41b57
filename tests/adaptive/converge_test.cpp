// The stages of the convergence: noise, tolerance, selection, points that stand alone, and refits.
#include "adaptive/converge/converge.h"
#include "adaptive/model/refine.h"

#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <vector>

#include "adaptive/converge/inlier_selection.h"
#include "adaptive/converge/inlier_tolerance.h"
#include "adaptive/converge/isolation_grid.h"
#include "adaptive/converge/noise.h"
#include "adaptive/converge/refit.h"
#include "adaptive/known_shapes.h"
#include "adaptive/scene/plausible.h"
#include "support/gtest_support.h"

namespace primfit::testing {
namespace {

using adaptive::Budget;
using adaptive::ConvergeTask;
using adaptive::InlierSelection;
using adaptive::IsolationGrid;
using adaptive::Refit;
using adaptive::RefsOf;
using Eigen::Vector3d;

TEST(Converge, EstimatesNoiseAmongClutter) {
  struct Row {
    const char* what;
    bool curve;
    double tails;    // share of the noise that is three times as wide
    double clutter;  // share of all
    double within;   // relative error
  };
  const double sigma = 0.01;
  for (const Row& row : {Row{"normal", false, 0, 0, 0.03}, Row{"half clutter", false, 0, 0.5, 0.04},
                         Row{"much clutter", false, 0, 0.9, 0.15}, Row{"heavy tails", false, 0.2, 0, 0.05},
                         Row{"heavy tails and clutter", false, 0.2, 0.3, 0.1}, Row{"curve", true, 0, 0, 0.03},
                         Row{"curve, half clutter", true, 0, 0.5, 0.05}}) {
    Random random;
    std::vector<double> distances, weights;
    for (int i = 0; i < 20000; ++i) {
      const double s = i % 100 < 100 * row.tails ? 3 * sigma : sigma;
      weights.push_back(random.Uniform(0, 1) < row.clutter ? 0.01 : 1);
      if (weights.back() < 1)
        distances.push_back(row.curve ? 0.5 * std::sqrt(random.Uniform(0, 1)) : random.Uniform(0, 0.5));
      else
        distances.push_back(row.curve ? std::hypot(random.Gauss(s), random.Gauss(s))
                                      : std::abs(random.Gauss(s)));
    }
    const double expected = sigma * std::sqrt(1 + 8 * row.tails);
    for (const double start : {0.5 * sigma, 3 * sigma})
      EXPECT_NEAR(adaptive::EstimateNoise(row.curve, distances, start), expected, row.within * expected)
          << row.what << " from " << start;
    // Clutter that counts little is hardly there.
    EXPECT_NEAR(adaptive::EstimateNoise(row.curve, distances, sigma, weights), expected, 0.08 * expected)
        << row.what;
  }
}

TEST(Converge, NoFewPointsSpeakForAllInTheNoise) {
  const std::vector<double> trust = {1, 2, 4, 1000, 4};
  EXPECT_EQ(adaptive::NoiseWeights(trust), (std::vector<double>{0.25, 0.5, 1, 1, 1}));
  EXPECT_TRUE(adaptive::NoiseWeights({}).empty());
}

TEST(Converge, BoundsTakeInWhatTheySay) {
  for (const bool curve : {false, true}) {
    Random random;
    const double bound = adaptive::InlierBound(curve, 1);
    int out = 0;
    double all = 0, in = 0;
    const int n = 400000;
    for (int i = 0; i < n; ++i) {
      const double x = random.Gauss(1), d = curve ? std::hypot(x, random.Gauss(1)) : std::abs(x);
      all += d * d;
      out += d > bound ? 1 : 0;
      in += d > bound ? 0 : d * d;
    }
    EXPECT_NEAR(static_cast<double>(out) / n, 0.0027, 0.0005);
    EXPECT_NEAR(adaptive::VarianceInflation(curve), (all / n) / (in / (n - out)), 0.01);
  }
}

TEST(Converge, TheToleranceIsToldOrOfTheNoiseOrOfTheSteps) {
  Random random;
  const Model plane{ShapeKind::kPlane, {0, 0, 0}, Vector3d::UnitZ(), 0, 0};
  Points points = PointsOn(plane, 5000, 0.01, random);
  for (Vector3d& p : points) p = (p / 0.1).array().round() * 0.1;  // much coarser than the noise
  const adaptive::Resolution coarse(points, Vector3d::Zero(), 0);
  struct Row {
    const char* what;
    std::optional<double> noise, tolerance;
    const adaptive::Resolution* resolution;
    double expected, within;
    bool ofSteps;
  };
  for (const Row& row : {Row{"noise", {}, {}, nullptr, 0.03, 0.002, false},
                         Row{"told noise", 0.02, {}, nullptr, 0.06, 1e-12, false},
                         Row{"told tolerance", {}, 0.5, &coarse, 0.5, 0, true},
                         Row{"steps", {}, {}, &coarse, 0.125, 0.001, true}}) {
    std::vector<double> distances(points.size());
    for (double& d : distances) d = row.resolution != nullptr ? 0 : std::abs(random.Gauss(0.01));
    ConvergeTask task;
    task.points = points;
    task.noise = row.noise;
    task.tolerance = row.tolerance;
    task.resolution = row.resolution;
    const auto decided = adaptive::DecideTolerance(plane, distances, 0.01, task);
    EXPECT_NEAR(decided.tolerance, row.expected, row.within) << row.what;
    EXPECT_EQ(decided.isOfSteps, row.ofSteps) << row.what;
  }
}

TEST(Converge, NoiseOfInliersCountsDegreesOfFreedom) {
  const std::vector<double> distances = {1, 2, 2, 100, 1, 0};
  const std::vector<std::uint32_t> inliers = {0, 1, 2, 4};
  EXPECT_NEAR(adaptive::NoiseOfInliers(inliers, distances, {}, false, 0), std::sqrt(10.0 / 4), 1e-12);
  EXPECT_NEAR(adaptive::NoiseOfInliers(inliers, distances, {}, false, 2), std::sqrt(10.0 / 2), 1e-12);
  EXPECT_NEAR(adaptive::NoiseOfInliers(inliers, distances, {}, true, 0), std::sqrt(10.0 / 8), 1e-12);
  const std::vector<double> weights = {1, 0, 0, 1, 1, 1};
  EXPECT_NEAR(adaptive::NoiseOfInliers(inliers, distances, weights, false, 0), 1, 1e-12);
}

TEST(Converge, SelectionsKnowWhatChanged) {
  const std::size_t n = 1000;
  const Points points(n, Vector3d::Zero());
  std::vector<double> distances(n);
  for (std::size_t i = 0; i < n; ++i) distances[i] = static_cast<double>(i) / n;
  const IsolationGrid nobodyAlone;
  InlierSelection selection(n);
  struct Row {
    double tolerance;
    std::size_t count, changes;
    bool few;
  };
  std::vector<std::uint64_t> hashes;
  for (const Row& row : {Row{0.5, 501, 501, false}, Row{0.6, 601, 100, true}, Row{0.5, 501, 100, true},
                         Row{0.5, 501, 0, true}, Row{0, 1, 500, false}}) {
    SCOPED_TRACE(row.tolerance);
    std::vector<bool> before(n);
    for (std::size_t i = 0; i < n; ++i) before[i] = selection.Has(i);
    selection.Select(points, distances.data(), row.tolerance, nobodyAlone);
    hashes.push_back(selection.Hash());
    EXPECT_EQ(selection.Count(), row.count);
    EXPECT_EQ(selection.ChangedFew(), row.few);
    if (row.few) {
      EXPECT_EQ(selection.Changed().size(), row.changes);
      for (const std::size_t i : selection.Changed()) EXPECT_NE(selection.Has(i), before[i]);
    }
    std::size_t visited = 0;
    selection.ForEach([&](std::size_t i) { visited += distances[i] <= row.tolerance ? 1 : 1000; });
    EXPECT_EQ(visited, row.count);
  }
  EXPECT_EQ(hashes[0], hashes[2]) << "the same inliers";
  EXPECT_EQ(hashes[2], hashes[3]);
  EXPECT_NE(hashes[0], hashes[1]);
}

TEST(Converge, PointsThatStandAloneAreNoInliers) {
  Random random;
  const Model plane{ShapeKind::kPlane, {0, 0, 0}, Vector3d::UnitZ(), 0, 0};
  const Points patch = PointsOn(plane, 4000, 0.001, random);
  const Points strays = {{9, 0, 0}, {-7, 8, 0}, {4, 4, 0}, {0, -12, 0}};
  const Points points = Joined(patch, strays);
  const std::vector<double> distances(points.size(), 0.0);
  const adaptive::PointsNearShape near{.points = points, .distances = distances, .bound = 0.003};
  IsolationGrid grid;
  grid.Build(points, near);
  ASSERT_FALSE(grid.IsEmpty());
  InlierSelection selection(points.size());
  selection.Select(points, distances.data(), 0, grid);
  for (std::size_t i = patch.size(); i < points.size(); ++i) EXPECT_FALSE(selection.Has(i));
  EXPECT_GT(selection.Count(), patch.size() * 99 / 100);
  EXPECT_TRUE(grid.IsIsolated({0, 0, 40})) << "outside of all cells";
  selection.ForgetIsolated();
  grid.Clear();
  selection.Select(points, distances.data(), 0, grid);
  EXPECT_EQ(selection.Count(), points.size());
  grid.Build(std::span(patch).first(50), near);
  EXPECT_TRUE(grid.IsEmpty()) << "too few to tell";
}

TEST(Converge, SparsePointsStandAloneWhereTheyAreNoDenserOnTheSurfaceThanBesideIt) {
  constexpr double kBound = 0.01;
  struct Row {
    const char* what;
    double spread;  // of the sparse points' distances from the plane
    bool areAlone;
  };
  for (const Row& row : {Row{"the far end of a floor", 0.009, false}, Row{"clutter", 0.3, true}}) {
    SCOPED_TRACE(row.what);
    Random random;
    Points points;
    for (int i = 0; i < 4000; ++i) points.emplace_back(random.Uniform(-1, 1), random.Uniform(-1, 1), 0);
    const std::size_t dense = points.size();
    for (int i = 0; i < 400; ++i)
      points.emplace_back(random.Uniform(1, 9), random.Uniform(-4, 4),
                          random.Uniform(-row.spread, row.spread));
    std::vector<double> distances;
    Points inliers;
    for (const Vector3d& p : points) {
      distances.push_back(std::abs(p.z()));
      if (distances.back() <= kBound) inliers.push_back(p);
    }
    IsolationGrid grid;
    grid.Build(inliers, {.points = points, .distances = distances, .bound = kBound});
    const auto alone = std::count_if(inliers.begin() + static_cast<std::ptrdiff_t>(dense), inliers.end(),
                                     [&](const Vector3d& p) { return grid.IsIsolated(p); });
    const auto sparse = static_cast<double>(inliers.size() - dense);
    EXPECT_NEAR(static_cast<double>(alone) / sparse, row.areAlone ? 1 : 0, row.areAlone ? 0.2 : 0.05);
  }
}

/// A shape that is the optimum of its inliers.
Refit OptimumOf(const Model& start, const ConvergeTask& task, const InlierSelection& selection,
                adaptive::InlierCopies& copies) {
  Budget budget;
  const auto refit = adaptive::RefitOnAll({.model = start}, adaptive::CopyInliers(selection, task, copies),
                                          false, task, budget);
  EXPECT_TRUE(refit);
  return refit.value_or(Refit{});
}

TEST(Converge, AFewChangesMoveTheOptimumAsARefitDoes) {
  for (const ShapeKind kind : kAllKinds) {
    for (const bool weighted : {false, true}) {
      SCOPED_TRACE(::testing::Message() << static_cast<int>(kind) << weighted);
      Random random;
      const Model m = KnownShape(kind, random);
      const Points points = PointsOn(m, 20000, 1e-3, random);
      std::vector<double> roots(weighted ? points.size() : 0);
      for (double& root : roots) root = random.Uniform(0.5, 1);
      std::vector<double> distances(points.size(), 0.0);
      for (std::size_t i = 0; i < 30; ++i) distances[i] = 2;  // come in later
      ConvergeTask task;
      task.points = points;
      task.sqrtWeights = roots;
      adaptive::InlierCopies copies(points.size(), weighted);
      InlierSelection selection(points.size());
      selection.Select(points, distances.data(), 1, IsolationGrid());
      const Refit before = OptimumOf(m, task, selection, copies);
      for (std::size_t i = 0; i < 70; ++i) distances[i] = i < 30 ? 0 : 2;  // others go out
      selection.Select(points, distances.data(), 1, IsolationGrid());
      const auto updated = adaptive::RefitOnChanged(before, selection, task, copies);
      ASSERT_TRUE(updated);
      const Refit anew = OptimumOf(before.model, task, selection, copies);
      const Points on = PointsOn(anew.model, 200, 0, random);
      EXPECT_LT(LargestDistance(updated->model, on), 1e-8);
      EXPECT_GT(LargestDistance(before.model, on), 1e-7) << "there was something to move";
      EXPECT_GT(updated->remaining, 0);
      EXPECT_LT(updated->remaining, 1e-6);
    }
  }
}

TEST(Converge, ALargeChangeIsNoUpdate) {
  Random random;
  const Model m = KnownShape(ShapeKind::kSphere, random);
  Points points = PointsOn(m, 400, 1e-3, random);
  for (std::size_t i = 0; i < 200; ++i) points[i] += 0.01 * m.axis;
  std::vector<double> distances(points.size(), 0.0);
  for (std::size_t i = 0; i < 200; ++i) distances[i] = 2;
  ConvergeTask task;
  task.points = points;
  adaptive::InlierCopies copies(points.size(), false);
  InlierSelection selection(points.size());
  selection.Select(points, distances.data(), 1, IsolationGrid());
  const Refit before = OptimumOf(m, task, selection, copies);
  selection.Select(points, distances.data(), 2, IsolationGrid());
  ASSERT_TRUE(selection.ChangedFew());
  EXPECT_FALSE(adaptive::RefitOnChanged(before, selection, task, copies));
}

TEST(Converge, HoldsAPartAtTheEndOfItsRange) {
  Random random;
  const Model pipe = KnownShape(ShapeKind::kCylinder, random);  // of radius 0.3
  const Points points = PointsOn(pipe, 3000, 1e-3, random);
  FitOptionsBase options;
  options.radius = {0.1, 0.299};
  const adaptive::Plausible plausible(ShapeKind::kCylinder, options, Vector3d::Zero(), 0);
  ConvergeTask task;
  task.points = points;
  task.plausible = &plausible;
  task.startTolerance = 0.01;
  Budget budget;
  const auto converged = adaptive::Converge(pipe, task, budget);
  ASSERT_TRUE(converged);
  EXPECT_EQ(converged->atEnd, kMinor);
  EXPECT_EQ(converged->model.minor, 0.299);
  EXPECT_TRUE(Parallel(converged->model.axis, pipe.axis, 1e-3));
}

TEST(Converge, FindsTheOptimumOfItsOwnInliers) {
  for (const ShapeKind kind : kAllKinds) {
    SCOPED_TRACE(static_cast<int>(kind));
    Random random;
    const Model m = KnownShape(kind, random);
    const double noise = 0.002;
    const Points points =
        Joined(PointsOn(m, 4000, noise, random),
               Clutter(m.center - Vector3d(2, 2, 2), m.center + Vector3d(2, 2, 2), 2000, random));
    Model start = m;
    start.center += random.InCube(0.005);
    ConvergeTask task;
    task.points = points;
    task.startTolerance = 0.02;
    Budget budget;
    const auto converged = adaptive::Converge(start, task, budget);
    ASSERT_TRUE(converged);
    EXPECT_TRUE(converged->converged);
    EXPECT_NEAR(converged->noise, noise, 0.1 * noise);
    EXPECT_NEAR(static_cast<double>(converged->inliers.size()), 4000, 150);
    EXPECT_LT(LargestDistance(converged->model, PointsOn(m, 200, 0, random)), noise);
    // Refined once more on its inliers it stays.
    Points inliers;
    for (const std::uint32_t i : converged->inliers) inliers.push_back(points[i]);
    const auto again = adaptive::Refine(converged->model, 0, RefsOf(inliers), 50);
    ASSERT_TRUE(again);
    EXPECT_LT(LargestDistance(*again, PointsOn(converged->model, 200, 0, random)), 1e-7);
  }
}

}  // namespace
}  // namespace primfit::testing
