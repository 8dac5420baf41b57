// Whole plane fits and their stages, each result checked before it is timed.
#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>
#include <random>
#include <vector>

#include "api/working_set.h"
#include "estimators/plane_fit.h"
#include "optimize/optimizers.h"
#include "primfit/primfit.h"
#include "ransac/searches.h"
#include "shapes/kernels/batch.h"

namespace {

using Eigen::Vector3d;
using Points = std::vector<Vector3d>;

constexpr double kNoise = 0.002;

/// A square metre of the plane z = 0.3 with noise, a share of outliers in the cube about it, in survey
/// coordinates.
Points Scene(int n, double outliers) {
  std::mt19937_64 random(1);
  std::uniform_real_distribution<double> u(-0.5, 0.5);
  std::normal_distribution<double> noise(0, kNoise);
  Points points;
  for (int i = 0; i < n; ++i) {
    points.push_back(
        {u(random), u(random), random() % 1000 < 1000 * outliers ? u(random) : 0.3 + noise(random)});
    points.back() += Vector3d(500000, 4000000, 100);
  }
  return points;
}

bool IsThePlane(const Vector3d& point, const Vector3d& normal) {
  return std::abs(point.z() - 100.3) < 0.002 && std::abs(normal.z()) > 1 - 1e-5;
}

void WholeFit(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const double outliers = static_cast<double>(state.range(1)) / 100;
  const Points points = Scene(n, outliers);
  FitInputParams<FitConstraintsPlane> params;
  params.SetOutlierPercentage(std::max(outliers, 0.2));
  const auto fit = [&] {
    const primfit::ScopedSeed seed(1);
    return PlaneFromPoints(points.data(), n, params, nullptr);
  };
  const auto result = fit();
  const Vector3d normal = result.GetFitShape().Normal();
  const Vector3d middle(500000, 4000000, 0);
  const double height =
      result.GetFitShape().Origin().z() -
      (middle - result.GetFitShape().Origin()).dot(Vector3d(normal.x(), normal.y(), 0)) / normal.z();
  if (!IsThePlane({0, 0, height}, normal)) return state.SkipWithError("another plane was found");
  for (auto _ : state) benchmark::DoNotOptimize(fit());
  state.SetItemsProcessed(state.iterations() * n);
  state.counters["inliers"] = result.GetFitQuality().GetInlierCount();
  state.counters["rms_mm"] = 1000 * result.GetFitQuality().rmsDistance;
}
BENCHMARK(WholeFit)->ArgsProduct({{500, 5000, 100000, 1000000}, {0, 20, 50}})->Unit(benchmark::kMicrosecond);

/// The working frame of a scene of 100000 points with 20 % outliers, and the true plane in it.
struct Frame {
  Frame() { set.Sample(scene.data(), scene.size(), primfit::WorkingSet::kCap, true); }
  OutputPlane Truth() const { return {Vector3d(500000, 4000000, 100.3) - set.Origin(), {0, 0, 1}}; }

  Points scene = Scene(100000, 0.2);
  primfit::WorkingSet set;
};

void Working(benchmark::State& state) {
  const Points scene = Scene(static_cast<int>(state.range(0)), 0.2);
  for (auto _ : state) {
    primfit::WorkingSet set;
    set.Sample(scene.data(), scene.size(), primfit::WorkingSet::kCap, true);
    benchmark::DoNotOptimize(set.Points());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(Working)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMicrosecond);

void Estimate(benchmark::State& state) {
  const Frame frame;
  const int n = static_cast<int>(state.range(0));
  for (auto _ : state) {
    const std::unique_ptr<OutputShape> plane(PlaneFit(n, frame.set.Points()).Solve());
    benchmark::DoNotOptimize(plane.get());
  }
  state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(Estimate)->Arg(3)->Arg(100000);

void Score(benchmark::State& state) {
  const Frame frame;
  OutputPlane plane = frame.Truth();
  plane.SetDistSqrdThreshod(0.012);
  int perPoint = 0;
  for (int i = 0; i < frame.set.Count(); ++i) perPoint += plane.IsClosePoint(frame.set.Points()[i]) ? 1 : 0;
  if (primfit::CountClose(plane, frame.set.Points(), frame.set.Count()) != perPoint) {
    return state.SkipWithError("the batch count differs from the count point by point");
  }
  for (auto _ : state)
    benchmark::DoNotOptimize(primfit::CountClose(plane, frame.set.Points(), frame.set.Count()));
  state.SetItemsProcessed(state.iterations() * frame.set.Count());
}
BENCHMARK(Score)->Unit(benchmark::kMicrosecond);

void Search(benchmark::State& state) {
  const Frame frame;
  for (auto _ : state) {
    const primfit::ScopedSeed seed(1);
    RansacPlane search(frame.set.Count(), frame.set.Points(), 3, 0.99, 0.8, 0.006, 0.012);
    const std::unique_ptr<OutputShape> plane(search.Solve());
    benchmark::DoNotOptimize(plane.get());
  }
}
BENCHMARK(Search)->Unit(benchmark::kMicrosecond);

void Select(benchmark::State& state) {
  const Frame frame;
  OutputPlane plane = frame.Truth();
  Points close;
  for (auto _ : state) {
    plane.GetClosePoints(frame.set.Points(), frame.set.Count(), 0.012, close, false);
    benchmark::DoNotOptimize(close.data());
  }
  state.SetItemsProcessed(state.iterations() * frame.set.Count());
}
BENCHMARK(Select)->Unit(benchmark::kMicrosecond);

void Refine(benchmark::State& state) {
  const Frame frame;
  OutputPlane truth = frame.Truth();
  Points close;
  truth.GetClosePoints(frame.set.Points(), frame.set.Count(), 0.012, close, false);
  const int n = std::min(static_cast<int>(state.range(0)), static_cast<int>(close.size()));
  const OutputPlane start(truth.Center() + Vector3d(0, 0, 0.003), {0.004, 0, 1});
  const PlaneOptimizer optimizer(0.006, state.range(1) != 0, &start);
  for (auto _ : state) {
    const std::unique_ptr<OutputShape> plane(optimizer.Optimize(n, close.data(), nullptr));
    if (!plane) return state.SkipWithError("not refined");
    benchmark::DoNotOptimize(plane.get());
  }
  state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(Refine)
    ->ArgNames({"points", "screened"})
    ->Args({9, 0})
    ->Args({80000, 0})
    ->Args({80000, 1})
    ->Unit(benchmark::kMicrosecond);

void Quality(benchmark::State& state) {
  const Frame frame;
  OutputPlane plane = frame.Truth();
  for (auto _ : state)
    benchmark::DoNotOptimize(plane.CalculateQuality(0.006, frame.set.Count(), frame.set.Points()));
  state.SetItemsProcessed(state.iterations() * frame.set.Count());
}
BENCHMARK(Quality)->Unit(benchmark::kMicrosecond);

}  // namespace
