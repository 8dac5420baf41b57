// The plane's entry points end to end: what they find, what they hold, what they refuse.
#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "api/entries.h"

namespace {

using Eigen::Vector3d;
using primfit::testing::MessageOf;
using primfit::testing::Points;
using Params = FitInputParams<FitConstraintsPlane>;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

/// Points on a square of a plane, with noise along the normal, and outliers over the cube about it.
struct Scene {
  Vector3d center{0.2, -0.3, 0.5};
  Vector3d normal{0, 0, 1};
  double halfExtent = 1;
  double noise = 0.002;
  double outliers = 0;

  Points Draw(int n, unsigned seed) const {
    primfit::testing::Random random(seed);
    const int bad = static_cast<int>(outliers * n);
    const primfit::testing::Range side{-halfExtent, halfExtent};
    const Vector3d reach = Vector3d::Constant(halfExtent);
    Points points =
        primfit::testing::Joined(PointsOn(OutputPlane(center, normal), n - bad, side, side, noise, random),
                                 primfit::testing::Clutter(center - reach, center + reach, bad, random));
    random.Shuffle(points);
    return points;
  }
};

double Angle(const Vector3d& a, const Vector3d& b) { return std::asin(std::min(1.0, a.cross(b).norm())); }

/// Root mean square distance between the scene's plane and another, over the scene's square.
double Displacement(const Scene& scene, const FitOutputParamsPlane& plane) {
  const double offset = (plane.Origin() - scene.center).dot(plane.Normal());
  const double rise = scene.halfExtent * Angle(plane.Normal(), scene.normal);
  return std::sqrt(offset * offset + rise * rise / 3);
}

TEST(PlaneFromPoints, RecoversPlanesWithOutliers) {
  // The search meets a clean sample with probability 0.99, and the selection is made once, about a candidate
  // that hangs on three noisy points: the displacement is allowed the scale of the noise, not noise /
  // sqrt(n). A miss has odds of 1 in 100; more than 6 of 100 seeds have odds of 1 in 10000.
  const struct {
    int n, seeds, found;
    double allowed;  // in multiples of the noise
  } sizes[] = {{20, 100, 90, 2}, {1000, 100, 94, 0.75}, {100000, 20, 16, 0.75}, {1000000, 2, 2, 0.75}};
  for (const Vector3d& normal : {Vector3d(0, 0, 1), Vector3d(1, 0, 0), Vector3d(0.36, -0.48, 0.8)}) {
    for (const double outliers : {0.0, 0.2, 0.5}) {
      for (const auto& size : sizes) {
        if (size.n >= 100000 && normal.z() != 1) continue;
        Scene scene;
        scene.normal = normal;
        scene.outliers = outliers;
        Params params(nullptr, false, true);
        params.SetOutlierPercentage(std::max(outliers, 0.2));
        int found = 0;
        for (int run = 0; run < size.seeds; ++run) {
          const Points points = scene.Draw(size.n, static_cast<unsigned>(1000 * size.n + run));
          const primfit::ScopedSeed seed(static_cast<std::uint64_t>(run));
          const auto fit = PlaneFromPoints(points.data(), size.n, params, nullptr);
          found += Displacement(scene, fit.GetFitShape()) < size.allowed * scene.noise ? 1 : 0;
        }
        EXPECT_GE(found, size.found) << size.n << " points, outliers " << outliers << ", "
                                     << normal.transpose();
      }
    }
  }
}

TEST(PlaneFromPoints, WorksOverAllScales) {
  // Twelve decades of extent and coordinates up to 1e9; the fixed band is metres, so where it spans
  // everything any candidate is as good as the next: then only a plane near the points is asked for.
  for (const double extent : {1e-3, 1.0, 1e2, 1e5}) {
    for (const double offset : {0.0, 1e6, 1e9}) {
      Scene scene;
      scene.halfExtent = extent;
      scene.center = {offset, -offset, 0.5 * offset};
      scene.noise = 1e-3 * std::min(extent, 1.0);
      const Points points = scene.Draw(2000, 4);
      const primfit::ScopedSeed seed(1);
      const auto fit = PlaneFromPoints(points.data(), 2000, Params(nullptr, false, true), nullptr);
      // Coordinates of 1e9 are multiples of 1.2e-7.
      const double rounding = offset * 2.3e-16;
      EXPECT_LT(fit.GetFitQuality().rmsDistance, 1.2 * scene.noise + rounding) << extent << " at " << offset;
      EXPECT_LT(Angle(fit.GetFitShape().Normal(), scene.normal), 5e-3);
    }
  }
}

class Recorder : public FitProgressUpdater {
 public:
  void ReportProgress(double) override { ++calls; }
  bool StopRequested() override { return false; }
  int calls = 0;
};

TEST(PlaneFromPoints, ChecksInOrderAndSaysWhy) {
  Scene scene;
  const Points points = scene.Draw(100, 8);
  const Points holes(50, {1, kNaN, 0});
  Points off = points;
  for (Vector3d& p : off) p.z() += 50;
  const FitOutputParamsPlane plane(scene.center, scene.normal);
  const FitConstraintsPlane none(nullptr), free(&plane);
  FitConstraintsPlane both(&plane), bothOfNone(nullptr);
  both.FixOrigin();
  both.FixNormal();
  bothOfNone.FixOrigin();
  bothOfNone.FixNormal();
  Params noDraws;
  noDraws.SetOutlierPercentage(0);
  Params skipOnce(&free, true);
  skipOnce.SetOptimizeOnce();
  Params zeroError(&free, true);
  zeroError.SetOptimizeOnce();
  zeroError.SetScannerError(-1);
  Params rough;
  rough.SetScannerError(1e-5);
  const struct {
    const Vector3d* points;
    int n;
    Params params;
    const char* message;
  } rows[] = {
      {nullptr, 100, Params(nullptr, true), "FitOutputParamsPlane is not provided"},
      {nullptr, 100, Params(&none, true), "FitOutputParamsPlane is not provided"},
      {nullptr, 100, Params(&both), "Points are not provided"},
      {nullptr, 200000, Params(), "Points are not provided"},
      {points.data(), 0, Params(), "Points are not provided"},
      {points.data(), -5, Params(), "Points are not provided"},
      {holes.data(), 50, Params(&both), "Points are not provided"},
      {points.data(), 2, Params(&both), "Over constrained"},
      {points.data(), 2, Params(), "Not enough points"},
      {points.data(), 100, Params(&bothOfNone), "no exception"},  // flags of no shape are ignored
      {points.data(), 100, noDraws, "FitPlane failed"},
      {off.data(), 100, skipOnce, "FitPlane failed"},  // 50 away: too far to refine
      {points.data(), 100, zeroError, "FitPlane failed"},
      {points.data(), 100, rough, "FitPlane produced a poor fit quality"},
      {points.data(), 100, Params(), "no exception"},
  };
  for (const auto& row : rows) {
    const primfit::ScopedSeed seed(1);
    EXPECT_EQ(MessageOf([&] { PlaneFromPoints(row.points, row.n, row.params, nullptr); }), row.message)
        << "row " << &row - rows;
  }
  // The refinement alone: no search, so the updater hears nothing.
  Recorder recorder;
  PlaneFromPoints(points.data(), 100, skipOnce, &recorder);
  EXPECT_EQ(recorder.calls, 0);
  PlaneFromPoints(points.data(), 100, Params(), &recorder);
  EXPECT_GT(recorder.calls, 0);
}

TEST(PlaneFromPoints, UsesInputsWithinTheirRanges) {
  Scene scene;
  scene.outliers = 0.6;
  const Points points = scene.Draw(2000, 9);
  const auto fit = [&](double outliers, double probability, double tolerance, double scannerError) {
    Params params(nullptr, false, true);
    params.SetOutlierPercentage(outliers);
    params.SetSuccessProbability(probability);
    params.SetInlierDistanceThreshold(tolerance);
    params.SetScannerError(scannerError);
    const primfit::ScopedSeed seed(2);
    return PlaneFromPoints(points.data(), 2000, params, nullptr);
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
  EXPECT_LT(Angle(fit(0.9, 0.99, 0.012, 0.006).GetFitShape().Normal(), scene.normal), 1e-3);
}

TEST(PlaneFromPoints, SampleSizeOfAllPointsUsesThemAll) {
  Scene scene;
  scene.outliers = 0.1;
  scene.noise = 0;
  const Points points = scene.Draw(120000, 10);
  Params params(nullptr, false, true);
  params.SetSampleSize(120000);
  const auto all = PlaneFromPoints(points.data(), 120000, params, nullptr);
  EXPECT_EQ(all.GetFitQuality().GetInlierCount(), 120000) << "neither sub-sampled nor selected";
  EXPECT_EQ(all.GetFitShape().Normal(),
            PlaneFromPoints(points.data(), 120000, params, nullptr).GetFitShape().Normal());
  const auto some = PlaneFromPoints(points.data(), 120000, Params(), nullptr);
  EXPECT_LE(some.GetFitQuality().GetInlierCount(), 100000);
  EXPECT_GT(some.GetFitQuality().GetInlierCount(), 89000);
}

TEST(PlaneFromPoints, LeavesOutPointsThatAreNotFinite) {
  Scene scene;
  const Points clean = scene.Draw(1500, 12);
  Points holes;
  for (const Vector3d& p : clean) {
    holes.push_back({kNaN, p.y(), p.z()});
    holes.push_back(p);
    holes.push_back({p.x(), p.y(), std::numeric_limits<double>::infinity()});
  }
  const auto fit = [&](const Points& points) {
    const primfit::ScopedSeed seed(5);
    return PlaneFromPoints(points.data(), static_cast<int>(points.size()), Params(), nullptr);
  };
  EXPECT_EQ(fit(holes).GetFitShape().Normal(), fit(clean).GetFitShape().Normal());
  EXPECT_EQ(fit(holes).GetFitQuality().GetInlierCount(), fit(clean).GetFitQuality().GetInlierCount());
  // An organised scan of mostly holes: the subset is taken of the points, not of the holes.
  Points sparse(300000, {kNaN, kNaN, kNaN});
  for (std::size_t i = 0; i < clean.size(); ++i) sparse[200 * i + 7] = clean[i];
  EXPECT_EQ(fit(sparse).GetFitShape().Normal(), fit(clean).GetFitShape().Normal());
  EXPECT_EQ(PlaneFromPoints(sparse.data(), 300000).Normal(), PlaneFromPoints(clean.data(), 1500).Normal());
}

TEST(LeastSquaresPlane, ChecksItsPoints) {
  const Points points = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}};
  const Points holes = {{0, 0, 0}, {1, kNaN, 0}, {0, 1, 0}};
  const Points nowhere(3, {kNaN, 0, 0});
  const Vector3d above(0, 0, 1);
  const double zero[] = {0, 0, 0, 0}, broken[] = {1, 1, kNaN, kNaN};
  const char* missing = "Points are not provided";
  const char* few = "Not enough points";
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
  EXPECT_LT((front.LeastSquaresFit(points.data(), 4).Origin() - Vector3d(10.5, 0.5, 2)).norm(), 1e-15);
  EXPECT_EQ(std::abs(front.LeastSquaresFit(points.data(), 4).Normal().z()), 1);
  EXPECT_EQ(front.LeastSquaresFit(above, points.data(), 4).Origin(), above);
  EXPECT_EQ(std::abs(front.LeastSquaresFit(above, points.data(), 4).Normal().z()), 1);
  EXPECT_EQ(front.LeastSquaresFit(points.data(), 4, nullptr, above).Origin(), above);
  EXPECT_EQ(std::abs(front.LeastSquaresFit(points.data(), 4, nullptr, above).Normal().z()), 1);
}

TEST(LeastSquaresPlane, ShiftedCloudGivesTheShiftedPlane) {
  Points points = Scene{.normal = Vector3d(0.36, -0.48, 0.8)}.Draw(5000, 6);
  const Vector3d shift(500000, 4000000, 100);
  for (Vector3d& p : points) p = (p * 1024).array().round() / 1024;  // representable in both places
  Points shifted = points;
  for (Vector3d& p : shifted) p += shift;
  const std::vector<double> weights(points.size(), 0.5);
  const auto near = PlaneFromPoints(points.data(), 5000), far = PlaneFromPoints(shifted.data(), 5000);
  EXPECT_LT((far.Normal() - near.Normal()).norm(), 1e-9);
  EXPECT_LT((far.Origin() - shift - near.Origin()).norm(), 1e-6);
  EXPECT_LT((PlaneFromPoints(shifted.data(), 5000, weights.data(), shift).Normal() - near.Normal()).norm(),
            1e-9);
}

TEST(LeastSquaresPlane, EachSampledPointKeepsItsWeight) {
  // Weight 1 on a tilted plane, weight 0 on a horizontal one; above the cap a shifted weight would mix them.
  std::mt19937_64 random(14);
  std::uniform_real_distribution<double> u(-1, 1);
  Points points;
  std::vector<double> weights;
  for (int i = 0; i < 250000; ++i) {
    const double x = u(random), y = u(random);
    weights.push_back(random() % 2 == 0 ? 1 : 0);
    points.push_back({x, y, weights.back() == 1 ? 0.5 * x : 0});
  }
  const auto plane = PlaneFromPoints(points.data(), 250000, weights.data(), {0, 0, 0});
  EXPECT_LT(Angle(plane.Normal(), Vector3d(-0.5, 0, 1).normalized()), 1e-12);
}

TEST(Seeds, RepeatEveryRandomChoiceInAnyThread) {
  Scene scene;
  scene.outliers = 0.4;
  const Points points = scene.Draw(150000, 15);  // sub-sampled, then searched
  const auto run = [&](std::vector<Vector3d>& normals) {
    const primfit::ScopedSeed seed(99);
    for (Vector3d& normal : normals) {
      Params params;
      params.SetOutlierPercentage(0.5);
      normal = PlaneFromPoints(points.data(), 150000, params, nullptr).GetFitShape().Normal();
      const primfit::ScopedSeed inner(1);  // nested: takes nothing from the outer sequence
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
