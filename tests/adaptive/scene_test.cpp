// The scene of a call: its origin, the way back to the caller's points, and what it makes on demand.
#include "adaptive/scene/scene.h"

#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <set>
#include <vector>

#include "adaptive/find_shape.h"
#include "adaptive/known_shapes.h"
#include "adaptive/scene/local_geometry.h"
#include "support/gtest_support.h"

namespace primfit::testing {
namespace {

using adaptive::Budget;
using adaptive::Dice;
using adaptive::FreePoints;
using adaptive::NeighbourSearch;
using adaptive::Sample;
using adaptive::Scene;
using Eigen::Vector3d;

const Vector3d kNan = Vector3d::Constant(std::numeric_limits<double>::quiet_NaN());

std::vector<std::uint32_t> Numbers(std::size_t n) {
  std::vector<std::uint32_t> numbers(n);
  std::iota(numbers.begin(), numbers.end(), std::uint32_t{0});
  return numbers;
}

TEST(Scene, GivesTheWayBackToEveryPointThatItTook) {
  Random random;
  const Vector3d survey(500000, 4000000, 100);
  const Points cloud = Clutter(survey, survey + Vector3d(2, 2, 2), 300, random);
  struct Row {
    const char* what;
    Points points;
    std::vector<double> weights;
    std::size_t taken, distinct, setAside;
  };
  Points gaps = cloud, twice = Joined(cloud, cloud), returns = Joined(cloud, Points(400, Vector3d(0, 0, 0)));
  for (std::size_t i = 0; i < gaps.size(); i += 3) gaps[i] = kNan;
  std::vector<double> weights(300, 1.0);
  for (std::size_t i = 0; i < 100; ++i) weights[i] = i % 2 == 0 ? 0.0 : 4.0;
  const std::vector<Row> rows = {{"all", cloud, {}, 300, 300, 0},
                                 {"points that are not finite", gaps, {}, 200, 200, 0},
                                 {"points without weight", cloud, weights, 250, 250, 0},
                                 {"each point twice", twice, {}, 600, 300, 0},
                                 {"missing returns at one place", returns, {}, 300, 300, 400}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    Budget budget;
    const Scene scene(row.points, row.weights, budget);
    EXPECT_EQ(scene.Points().size(), row.distinct);
    EXPECT_EQ(scene.SetAside(), row.setAside);
    EXPECT_LT((scene.Origin() - survey).norm(), 4) << "the origin is among the points";
    const auto copies = scene.WithCopies(Numbers(row.distinct));
    const auto given = scene.GivenIndices(copies);
    EXPECT_EQ(given.size(), row.taken);
    EXPECT_TRUE(std::is_sorted(given.begin(), given.end()));
    EXPECT_EQ(std::set<std::uint32_t>(given.begin(), given.end()).size(), row.taken);
    for (std::uint32_t i = 0; i < row.distinct; ++i) {
      for (const std::uint32_t at : scene.GivenIndices(scene.WithCopies({i})))
        EXPECT_EQ(scene.Points()[i], row.points[at] - scene.Origin());
    }
    EXPECT_DOUBLE_EQ(scene.ShareOf(Numbers(row.distinct)), 1);
  }
}

TEST(Scene, WeighsPointsByTheirWeights) {
  Random random;
  const Points cloud = Clutter({0, 0, 0}, {1, 1, 1}, 100, random);
  std::vector<double> weights(100, 3.0);
  Budget budget;
  const Scene alike(cloud, weights, budget);
  EXPECT_TRUE(alike.SqrtWeights().empty());
  EXPECT_TRUE(alike.Trust().empty());
  weights[7] = 300;
  const Scene scene(cloud, weights, budget);
  EXPECT_NEAR(scene.ShareOf(std::vector<std::uint32_t>{7}), 300.0 / (300 + 99 * 3), 1e-12);
  EXPECT_NEAR(scene.SqrtWeights()[7] / scene.SqrtWeights()[8], 10, 1e-12);
  EXPECT_EQ(scene.Trust()[7], 300);
}

/// The free points nearest to a place, found by looking at all.
std::vector<std::size_t> NearestOf(const Points& points, const FreePoints& free, const Vector3d& place,
                                   std::size_t count) {
  std::vector<std::size_t> order;
  for (std::size_t i = 0; i < points.size(); ++i) {
    if (free.Has(i)) order.push_back(i);
  }
  std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
    return (points[a] - place).squaredNorm() < (points[b] - place).squaredNorm();
  });
  order.resize(std::min(order.size(), count));
  return order;
}

TEST(Scene, PointsThatAreTakenAreNoNeighbours) {
  Random random;
  const Points points = Clutter({0, 0, 0}, {1, 1, 1}, 3000, random);
  const NeighbourSearch neighbours(points);
  FreePoints free(points.size());
  EXPECT_FALSE(neighbours.IsBuilt()) << "nobody has asked yet";
  for (const double takenBelow : {0.0, 0.5, 0.9, 0.999}) {
    free.Remove([&](std::size_t i) { return points[i].x() < takenBelow; });
    for (int query = 0; query < 50; ++query) {
      const Vector3d place = random.InCube(1);
      std::vector<std::size_t> found(16);
      found.resize(neighbours.Nearest(place, free, found));
      EXPECT_EQ(found, NearestOf(points, free, place, 16)) << takenBelow;
    }
  }
  EXPECT_TRUE(neighbours.IsBuilt());
  EXPECT_LT(free.Count(), 16U) << "the last rows have fewer neighbours than were asked for";
}

TEST(Scene, FreePointsKeepTheirOrder) {
  FreePoints free(10);
  EXPECT_TRUE(free.AreAll());
  free.Remove([](std::size_t i) { return i % 3 == 0; });
  free.Remove([](std::size_t i) { return i == 4; });
  const std::vector<std::size_t> left = {1, 2, 5, 7, 8};
  ASSERT_EQ(free.Count(), left.size());
  for (std::size_t k = 0; k < left.size(); ++k) EXPECT_EQ(free[k], left[k]);
  for (std::size_t i = 0; i < 10; ++i)
    EXPECT_EQ(free.Has(i), std::find(left.begin(), left.end(), i) != left.end()) << i;
  free.Remove([](std::size_t) { return true; });
  EXPECT_EQ(free.Count(), 0U);
}

TEST(Scene, LocalGeometryFindsNormalsAndDirections) {
  Random random;
  const Model plane = KnownShape(ShapeKind::kPlane, random), line = KnownShape(ShapeKind::kLine, random);
  for (const Model& m : {plane, line}) {
    const Points points =
        Joined(PointsOn(m, 500, 0.0003, random),
               Clutter(m.center - Vector3d(9, 9, 9), m.center + Vector3d(9, 9, 9), 500, random));
    const NeighbourSearch neighbours(points);
    std::vector<std::size_t> at(1000);
    std::iota(at.begin(), at.end(), std::size_t{0});
    const auto local =
        adaptive::LocalGeometryAt(points, neighbours, FreePoints(points.size()), at, m.IsCurve());
    int found = 0, clutter = 0;
    for (std::size_t i = 0; i < 1000; ++i) {
      if (i < 500) found += local[i].variation < 0.01 && Parallel(local[i].direction, m.axis, 0.05) ? 1 : 0;
      if (i >= 500) clutter += local[i].variation < 0.01 ? 1 : 0;
    }
    EXPECT_GT(found, 470) << m.IsCurve();
    EXPECT_LT(clutter, 20) << m.IsCurve();
  }
}

TEST(Scene, TheSampleIsInSizesOfTheCloudAndLeadsBack) {
  for (const int n : {50, 5000, 50000}) {
    Random random;
    Points points = Clutter({100, 200, 300}, {104, 204, 304}, n, random);
    for (int i = 0; i < n / 10; ++i) points[static_cast<std::size_t>(i)] = 1e6 * random.Direction();
    Dice dice(1);
    const Sample sample = adaptive::DrawSample(points, {}, dice);
    EXPECT_EQ(sample.points.size(), std::min<std::size_t>(points.size(), 20000));
    EXPECT_TRUE(Near(sample.units.middle, {102, 202, 302}, n > 50 ? 0.2 : 1.5)) << "strays move nothing";
    EXPECT_NEAR(sample.units.size, 2, n > 50 ? 0.1 : 0.6);
    for (std::size_t k = 0; k < sample.points.size(); ++k)
      EXPECT_EQ(sample.points[k], sample.units.Into(points[sample.indices[k]]));
    if (n <= 20000) {
      EXPECT_EQ(std::set(sample.indices.begin(), sample.indices.end()).size(), points.size()) << "all, once";
    }
    const Model m = KnownShape(ShapeKind::kTorus, random);
    const Model back = sample.units.Back(sample.units.Into(m));
    EXPECT_TRUE(Near(back.center, m.center, 1e-12));
    EXPECT_NEAR(back.major, m.major, 1e-14);
    EXPECT_NEAR(sample.units.Into(m).minor, m.minor / sample.units.size, 1e-14);
    const Model cone = KnownShape(ShapeKind::kCone, random);
    EXPECT_EQ(sample.units.Into(cone).minor, cone.minor) << "an angle has no unit";
  }
}

TEST(Scene, TrustedPointsComeFirstAndKeepTheRestOfTheirTrust) {
  Random random;
  const Points points = Clutter({0, 0, 0}, {1, 1, 1}, 60000, random);
  std::vector<double> trust(points.size(), 1.0);
  for (std::size_t i = 0; i < 1000; ++i) trust[i] = 50;
  Dice dice(1);
  const Sample sample = adaptive::DrawSample(points, trust, dice);
  int trusted = 0, atFront = 0;
  double rest = 0;
  for (std::size_t k = 0; k < sample.indices.size(); ++k) {
    const bool isTrusted = sample.indices[k] < 1000;
    trusted += isTrusted ? 1 : 0;
    atFront += isTrusted && k < 2000 ? 1 : 0;
    if (!isTrusted) rest += sample.trust[k];
  }
  EXPECT_EQ(trusted, 1000) << "each is drawn for certain";
  EXPECT_GT(atFront, 600) << "of 670 that are expected";
  EXPECT_NEAR(rest, 59000, 600) << "those drawn stand for the others";
}

TEST(Scene, APlainFitBuildsNoTree) {
  struct Row {
    const char* what;
    int clutter;
    bool tree;
  };
  for (const Row& row : {Row{"clean", 0, false}, Row{"much clutter", 20000, true}}) {
    SCOPED_TRACE(row.what);
    Random random;
    const Model pipe{ShapeKind::kCylinder, {1, 2, 3}, Vector3d::UnitZ(), 0, 0.3};
    const Points points =
        Joined(PointsOn(pipe, 2000, 0.002, random), Clutter({0, 1, 3}, {2, 3, 5}, row.clutter, random));
    Budget budget;
    Scene scene(points, {}, budget);
    FitOptionsBase options;
    options.seed = 1;
    EXPECT_NEAR(adaptive::FindShape(ShapeKind::kCylinder, scene, options, {}, budget).model.minor, 0.3, 0.01);
    Dice dice(2);
    EXPECT_EQ(scene.RandomSample(dice).neighbours.IsBuilt(), row.tree);
    EXPECT_EQ(dice.Below(1000000), Dice(2).Below(1000000)) << "the sample is drawn once";
  }
}

}  // namespace
}  // namespace primfit::testing
