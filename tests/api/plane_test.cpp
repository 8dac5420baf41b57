// What the plane's entry points do beyond what all entry points do: scales, ranges, samples, least squares.
#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <thread>
#include <vector>

#include "api/entries.h"
#include "primfit/flat.h"
#include "support/gtest_support.h"

namespace primfit::testing {
namespace {

using Eigen::Vector3d;
using Params = FitInputParams<FitConstraintsPlane>;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

/// Points on a square of a plane, with noise along the normal, and outliers over the cube about it.
struct Scene {
  Vector3d center{0.2, -0.3, 0.5};
  Vector3d normal{0, 0, 1};
  double halfExtent = 1;
  double noise = 0.002;
  double outliers = 0;

  Points Draw(int n) const {
    Random random;
    const int bad = static_cast<int>(outliers * n);
    const Range side{-halfExtent, halfExtent};
    const Vector3d reach = Vector3d::Constant(halfExtent);
    Points points = Joined(PointsOn(OutputPlane(center, normal), n - bad, side, side, noise, random),
                           Clutter(center - reach, center + reach, bad, random));
    random.Shuffle(points);
    return points;
  }
};

FitOutput<FitOutputParamsPlane> FitTo(const Points& points, const Params& params = Params(),
                                      FitProgressUpdater* updater = nullptr) {
  const ScopedSeed seed(5);
  return PlaneFromPoints(points.data(), static_cast<int>(points.size()), params, updater);
}

TEST(PlaneFromPoints, WorksOverAllScales) {
  // Twelve decades of extent and coordinates up to 1e9; the fixed band is metres, so where it spans
  // everything any candidate is as good as the next: then only a plane near the points is asked for.
  for (const double extent : {1e-3, 1.0, 1e2, 1e5}) {
    for (const double offset : {0.0, 1e6, 1e9}) {
      const Scene scene{.center = {offset, -offset, 0.5 * offset},
                        .halfExtent = extent,
                        .noise = 1e-3 * std::min(extent, 1.0)};
      const auto fit = FitTo(scene.Draw(2000), Params(nullptr, false, true));
      // Coordinates of 1e9 are multiples of 1.2e-7.
      const double rounding = offset * 2.3e-16;
      EXPECT_LT(fit.GetFitQuality().rmsDistance, 1.2 * scene.noise + rounding) << extent << " at " << offset;
      EXPECT_TRUE(Parallel(fit.GetFitShape().Normal(), scene.normal, 5e-3));
    }
  }
}

TEST(PlaneFromPoints, SkipsTheSearchWhereAsked) {
  struct Counter : FitProgressUpdater {
    void ReportProgress(double) override { ++calls; }
    bool StopRequested() override { return false; }
    int calls = 0;
  } counter;
  const Points points = Scene().Draw(100);
  Points off = points;
  for (Vector3d& p : off) p.z() += 50;
  const FitOutputParamsPlane plane(Scene().center, Scene().normal);
  const FitConstraintsPlane start(&plane);
  Params skipping(&start, true), fromStart(&start, true), once;
  skipping.SetOptimizeOnce();
  once.SetOptimizeOnce();
  FitTo(points, skipping, &counter);
  EXPECT_EQ(counter.calls, 0);
  for (const Params& searching : {Params(), fromStart, once}) {  // skipping takes both
    counter.calls = 0;
    FitTo(points, searching, &counter);
    EXPECT_GT(counter.calls, 0);
  }
  EXPECT_EQ(MessageOf([&] { FitTo(off, skipping); }), "FitPlane failed") << "50 away: too far to refine";
  skipping.SetScannerError(-1);
  EXPECT_EQ(MessageOf([&] { FitTo(points, skipping); }), "FitPlane failed") << "a tolerance of 0";
}

TEST(PlaneFromPoints, UsesInputsWithinTheirRanges) {
  const Points points = Scene{.outliers = 0.6}.Draw(2000);
  const auto fit = [&](double outliers, double probability, double tolerance, double scannerError) {
    Params params(nullptr, false, true);
    params.SetOutlierPercentage(outliers);
    params.SetSuccessProbability(probability);
    params.SetInlierDistanceThreshold(tolerance);
    params.SetScannerError(scannerError);
    return FitTo(points, params);
  };
  const auto expectSame = [](const auto& a, const auto& b) {
    EXPECT_EQ(a.GetFitShape().Normal(), b.GetFitShape().Normal());
    EXPECT_EQ(a.GetFitQuality().GetInlierCount(), b.GetFitQuality().GetInlierCount());
    EXPECT_EQ(a.GetFitQuality().histogram.Sigma(), b.GetFitQuality().histogram.Sigma());
  };
  expectSame(fit(0.95, 1, 0, 5), fit(0.9, 0.99, 0.001, 1));
  expectSame(fit(2, 7, -1, -1), fit(0.9, 0.99, 0.001, 0));
  EXPECT_EQ(fit(0.9, 0.99, 0.012, -1).GetFitQuality().histogram.Sigma(), 1e-6);
  EXPECT_EQ(fit(0.9, 0.99, 0.012, 5).GetFitQuality().histogram.Sigma(), 1);
  EXPECT_TRUE(Parallel(fit(0.9, 0.99, 0.012, 0.006).GetFitShape().Normal(), {0, 0, 1}, 1e-3));
  // A NaN counts as the least: also as no outliers, for which no sample is drawn.
  expectSame(fit(0.9, kNaN, kNaN, kNaN), fit(0.9, 0, 0.001, 0));
  EXPECT_EQ(MessageOf([&] { fit(kNaN, 0.99, 0.012, 0.006); }), "FitPlane failed");
}

TEST(PlaneFromPoints, SampleSizeOfAllPointsUsesThemAll) {
  const Points points = Scene{.noise = 0, .outliers = 0.1}.Draw(120000);
  Params params(nullptr, false, true);
  params.SetSampleSize(120000);
  const auto all = PlaneFromPoints(points.data(), 120000, params, nullptr);
  EXPECT_EQ(all.GetFitQuality().GetInlierCount(), 120000) << "neither sub-sampled nor selected";
  EXPECT_EQ(all.GetFitShape().Normal(), FitTo(points, params).GetFitShape().Normal()) << "without chance";
  const int some = FitTo(points).GetFitQuality().GetInlierCount();
  EXPECT_LE(some, 100000);
  EXPECT_GT(some, 89000);
}

TEST(PlaneFromPoints, TakesTheSubsetOfThePointsNotOfTheHoles) {
  const Points clean = Scene().Draw(1500);
  Points sparse(300000, {kNaN, kNaN, kNaN});  // an organised scan
  for (std::size_t i = 0; i < clean.size(); ++i) sparse[200 * i + 7] = clean[i];
  EXPECT_TRUE(Near(FitTo(sparse).GetFitShape().Normal(), FitTo(clean).GetFitShape().Normal(), 1e-14));
  EXPECT_TRUE(Near(PlaneFromPoints(sparse.data(), 300000).Normal(),
                   PlaneFromPoints(clean.data(), 1500).Normal(), 1e-14));
}

TEST(LeastSquaresPlane, ChecksItsPoints) {
  const Points points = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}};
  const Points holes = {{0, 0, 0}, {1, kNaN, 0}, {0, 1, 0}}, nowhere(3, {kNaN, 0, 0});
  const Vector3d above(0, 0, 1);
  const double zero[] = {0, 0, 0, 0}, broken[] = {1, 1, kNaN, kNaN};
  const char *missing = "Points are not provided", *few = "Not enough points";
  const struct {
    std::function<void()> call;
    const char* message;
  } rows[] = {
      {[&] { PlaneFromPoints(nullptr, 4); }, missing},
      {[&] { PlaneFromPoints(points.data(), 2); }, missing},
      {[&] { PlaneFromPoints(points.data(), -1); }, missing},
      {[&] { PlaneFromPoints(nowhere.data(), 3); }, missing},
      {[&] { PlaneFromPoints(holes.data(), 3); }, few},
      {[&] { PlaneFromPoints(above, points.data(), 1); }, missing},
      {[&] { PlaneFromPoints(above, nullptr, 4); }, missing},
      {[&] { PlaneFromPoints(above, points.data(), 2); }, few},
      {[&] { PlaneFromPoints(points.data(), 2, nullptr, above); }, missing},
      {[&] { PlaneFromPoints(nullptr, 4, nullptr, above); }, missing},
      {[&] { PlaneFromPoints(holes.data(), 3, nullptr, above); }, few},
      {[&] { PlaneFromPoints(points.data(), 4, broken, above); }, few},
      {[&] { PlaneFromPoints(points.data(), 4, zero, above); }, "FitPlane failed"},
      {[&] { PlaneFromPoints(points.data(), 3); }, "no exception"},
  };
  for (const auto& row : rows) EXPECT_EQ(MessageOf(row.call), row.message) << "row " << &row - rows;
}

TEST(LeastSquaresPlane, PassesThroughMeanOrReference) {
  const Points points = {{10, 0, 2}, {11, 0, 2}, {10, 1, 2}, {11, 1, 2}};
  const Vector3d above(0.1, 0.2, 3);
  IFit<Params, FitOutputParamsPlane> front;
  const std::pair<FitOutputParamsPlane, Vector3d> rows[] = {
      {front.LeastSquaresFit(points.data(), 4), {10.5, 0.5, 2}},
      {front.LeastSquaresFit(above, points.data(), 4), above},
      {front.LeastSquaresFit(points.data(), 4, nullptr, above), above}};
  for (const auto& [plane, origin] : rows) {
    EXPECT_TRUE(Near(plane.Origin(), origin, 1e-15));
    EXPECT_EQ(std::abs(plane.Normal().z()), 1);
  }
}

TEST(LeastSquaresPlane, IsThatOfThePointsAtAnyScale) {
  const Vector3d normal = Vector3d(1, -2, 2) / 3, reference(1, 2, 3);
  Random random;
  const Points unit = PointsOn(OutputPlane({0.3, 0.1, -0.2}, normal), 50, {-1, 1}, {-1, 1}, 0, random);
  for (const double scale : {1e-310, 1e-300, 1e-160, 1e-120, 1.0, 1e120, 1e160, 1e300, 1.6e308}) {
    SCOPED_TRACE(scale);
    const double allowed = scale < 1e-308 ? 1e-10 : 1e-13;  // digits of a denormal
    Points points;
    for (const Vector3d& p : unit) points.push_back(0.25 * scale * p);
    EXPECT_TRUE(Parallel(PlaneFromPoints(points.data(), 50).Normal(), normal, allowed));
    EXPECT_NEAR(
        (PlaneFromPoints(points.data(), 50).Origin() / scale - 0.25 * Vector3d(0.3, 0.1, -0.2)).dot(normal),
        0, allowed);
    EXPECT_TRUE(Parallel(PlaneFromPoints(reference, points.data(), 50).Normal(), normal, allowed));
    for (const double weight : {1e-300, 1e-160, 1.0, 1e160, 1e300}) {
      const std::vector<double> weights(50, weight);
      EXPECT_TRUE(
          Parallel(PlaneFromPoints(points.data(), 50, weights.data(), reference).Normal(), normal, allowed))
          << weight;
    }
    double plane[6];
    ASSERT_EQ(QFitPlane(50, points[0].data(), plane), 0);
    EXPECT_TRUE(Parallel(Vector3d(plane + 3), normal, allowed));
    MessageOf([&] { RFitPlane(50, points[0].data(), 3, 0.99, plane); });  // may find no point near
    EXPECT_TRUE(Vector3d(plane + 3).allFinite());
  }
  // So far apart that they have no difference.
  const double corners[] = {1.7e308, 0, 0, 1.7e308, 1, 0, 1.7e308, 0, 1, -1.7e308, 0, 0};
  double plane[6];
  EXPECT_EQ(QFitPlane(4, corners, plane), 1);
}

TEST(LeastSquaresPlane, ShiftedCloudGivesTheShiftedPlane) {
  Points points = Scene{.normal = Vector3d(0.36, -0.48, 0.8)}.Draw(5000), shifted;
  const Vector3d shift(500000, 4000000, 100);
  for (Vector3d& p : points) {
    p = (p * 1024).array().round() / 1024;  // representable in both places
    shifted.push_back(p + shift);
  }
  const std::vector<double> weights(points.size(), 0.5);
  const auto near = PlaneFromPoints(points.data(), 5000), far = PlaneFromPoints(shifted.data(), 5000);
  const auto weighted = PlaneFromPoints(shifted.data(), 5000, weights.data(), shift);
  EXPECT_TRUE(Near(far.Normal(), near.Normal(), 1e-9));
  EXPECT_TRUE(Near(far.Origin() - shift, near.Origin(), 1e-6));
  EXPECT_TRUE(Near(weighted.Normal(), near.Normal(), 1e-9));
}

TEST(LeastSquaresPlane, EachSampledPointKeepsItsWeight) {
  // Weight 1 on a tilted plane, weight 0 on a horizontal one; above the cap a shifted weight would mix them.
  Random random;
  Points points;
  std::vector<double> weights;
  for (int i = 0; i < 250000; ++i) {
    const double x = random.Uniform(-1, 1);
    weights.push_back(random.Integer(0, 1));
    points.push_back({x, random.Uniform(-1, 1), weights.back() == 1 ? 0.5 * x : 0});
  }
  const auto plane = PlaneFromPoints(points.data(), 250000, weights.data(), {0, 0, 0});
  EXPECT_TRUE(Parallel(plane.Normal(), Vector3d(-0.5, 0, 1).normalized(), 1e-12));
}

TEST(Seeds, RepeatEveryRandomChoiceInAnyThread) {
  const Points points = Scene{.outliers = 0.4}.Draw(150000);  // sub-sampled, then searched
  const auto run = [&](std::vector<Vector3d>& normals) {
    const ScopedSeed seed(99);
    for (Vector3d& normal : normals) {
      Params params;
      params.SetOutlierPercentage(0.5);
      normal = PlaneFromPoints(points.data(), 150000, params, nullptr).GetFitShape().Normal();
      const ScopedSeed inner(1);  // nested: takes nothing from the outer sequence
      PlaneFromPoints(points.data(), 120000);
    }
  };
  std::vector<Vector3d> reference(2);
  run(reference);
  EXPECT_NE(reference[0], reference[1]) << "each fit of a scope has a seed of its own";
  std::vector<std::vector<Vector3d>> results(8, std::vector<Vector3d>(2));
  std::vector<std::thread> threads;
  for (auto& result : results) threads.emplace_back([&run, &result] { run(result); });
  for (auto& thread : threads) thread.join();
  for (const auto& result : results) EXPECT_EQ(result, reference);
}

}  // namespace
}  // namespace primfit::testing
