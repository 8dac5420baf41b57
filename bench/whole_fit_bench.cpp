// Whole fits of every primitive, each proved before it is timed: the true points are near the shape and the
// extent is the true one. The points are in survey coordinates.
#include <benchmark/benchmark.h>

#include <chrono>
#include <exception>
#include <memory>
#include <string>

#include "primfit/fit/scoped_seed.h"
#include "primfit/shapes/output_torus.h"
#include "scenes.h"

namespace primfit::bench {
namespace {

struct Case {
  const Primitive* primitive;
  int points;
  int outliers;         // per cent
  bool adaptive;        // primfit::fit, else the entry point
  bool floats = false;  // points are floats, relative to the shape: survey coordinates have no such digits
  double firstFit = 0;  // microseconds; 0 until it was run
};

double Share(const Case& row) { return row.outliers / 100.0; }

struct TimedScene : Scene {
  std::vector<Eigen::Vector3f> floats;  // the points, where these are asked for
};

/// The scene of the case in hand: benchmarks run one after another, and a million points are not kept for
/// later.
const TimedScene& SceneOf(const Case& row) {
  static const Case* current = nullptr;
  static TimedScene scene;
  if (current != &row) {
    scene = {MakeScene(*row.primitive, row.primitive->truth,
                       {.points = row.points, .outliers = Share(row), .survey = !row.floats}, 1),
             {}};
    if (row.floats) {
      for (const Eigen::Vector3d& p : scene.points) scene.floats.push_back(p.cast<float>());
    }
    current = &row;
  }
  return scene;
}

Found FitWithSeed(const Case& row, const TimedScene& scene, std::uint64_t seed) {
  const ScopedSeed scope(seed);
  if (row.floats) return row.primitive->adaptive(scene.floats);
  if (row.adaptive) return row.primitive->adaptive(scene.points);
  return row.primitive->fit(scene.points, OutlierShare(Share(row)));
}

bool IsProved(const Case& row, const Scene& scene, const Found& found) {
  return IsNear(scene, *found.shape) &&
         Reaches(found.extent, row.primitive->extent(scene.truth), row.outliers > 0);
}

/// The first seed whose fit finds the true shape, 0 for none of twenty: a search is random, and half outliers
/// leave a torus undiscovered in one run of three. The very first fit is timed.
std::uint64_t FindSeed(Case& row, const TimedScene& scene, Found& found) {
  for (std::uint64_t seed = 1; seed <= 20; ++seed) {
    const auto start = std::chrono::steady_clock::now();
    bool proved = false;
    try {
      found = FitWithSeed(row, scene, seed);
      proved = true;
    } catch (const std::exception&) {  // no acceptable fit
    }
    if (row.firstFit == 0) {
      row.firstFit =
          std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count();
    }
    if (proved && IsProved(row, scene, found)) return seed;
  }
  return 0;
}

void WholeFit(benchmark::State& state, Case& row) {
  const TimedScene& scene = SceneOf(row);
  Found found;
  const std::uint64_t seed = FindSeed(row, scene, found);
  if (seed == 0) return state.SkipWithError("the true shape was not found");
  for (int warm = 0; warm < 2; ++warm) benchmark::DoNotOptimize(FitWithSeed(row, scene, seed));
  for (auto _ : state) benchmark::DoNotOptimize(FitWithSeed(row, scene, seed));
  state.SetItemsProcessed(state.iterations() * row.points);
  state.counters["inliers"] = found.quality.GetInlierCount();
  state.counters["rms_mm"] = 1000 * found.quality.rmsDistance;
  state.counters["draws"] = found.draws;
  state.counters["first_us"] = row.firstFit;
  state.counters["seed"] = static_cast<double>(seed);
}

void Register(const Primitive& primitive, int points, int outliers, bool adaptive = false,
              bool floats = false) {
  const std::string name = std::string(adaptive ? "AdaptiveFit/" : "WholeFit/") +
                           std::string(primitive.name) + "/points:" + std::to_string(points) +
                           "/outliers:" + std::to_string(outliers) + (floats ? "/floats" : "");
  const auto row = std::make_shared<Case>(Case{&primitive, points, outliers, adaptive, floats});
  benchmark::RegisterBenchmark(name.c_str(), [row](benchmark::State& state) {
    WholeFit(state, *row);
  })->Unit(benchmark::kMicrosecond);
}

int Register() {
  for (const Primitive& primitive : Primitives()) {
    for (const int outliers : {0, 20, 50}) {
      for (const int points : {500, 1000, 5000, 100000, 1000000}) Register(primitive, points, outliers);
    }
    // Dense clutter hides a torus: the fixed pipeline's 5000 draws find none among 60 %, the adaptive fit few
    // among 80 % in its bounding box.
    const bool torus =
        dynamic_cast<const OutputTorus*>(primitive.make(primitive.truth, Pose::Identity()).get()) != nullptr;
    for (const int outliers : {0, 20, 50, 80}) {
      for (const int points : {1000, 100000}) {
        if (outliers < 80 || (points > 1000 && !torus)) Register(primitive, points, outliers, true);
      }
    }
    Register(primitive, 100000, 20, true, true);
    // Between them, to see the cost grow with the points and with the draws.
    Register(primitive, 20000, 20);
    for (const int outliers : {10, 30, 40}) Register(primitive, 5000, outliers);
    if (!torus) Register(primitive, 5000, 60);
  }
  return 0;
}

[[maybe_unused]] const int kRegistered = Register();

}  // namespace
}  // namespace primfit::bench
