// The stages of a fit, each alone and for every shape: 100000 points in survey coordinates, 20 % of them
// outliers. What a stage gives is proved before it is timed.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <memory>
#include <string>

#include "api/primitives.h"
#include "api/working_set.h"
#include "primfit/fit/scoped_seed.h"
#include "scenes.h"
#include "shapes/kernels/batch.h"

namespace primfit::bench {
namespace {

using Eigen::Vector3d;
using Made = std::unique_ptr<OutputShape>;

constexpr int kPoints = 100000;
constexpr double kOutliers = 0.2;
constexpr double kScannerError = 0.006;
constexpr double kTolerance = 0.012;
constexpr std::size_t kSamples = 64;  // samples differ in how hard they are; a stage takes them in turn

/// Minimal samples of points, drawn without outliers.
std::vector<Points> SamplesOf(const Points& points, int size, std::uint64_t seed) {
  Random random(seed);
  std::vector<Points> samples(kSamples);
  for (Points& sample : samples) {
    while (static_cast<int>(sample.size()) < size) {
      const Vector3d& p = points[static_cast<std::size_t>(random.Index(static_cast<int>(points.size())))];
      if (std::find(sample.begin(), sample.end(), p) == sample.end()) sample.push_back(p);
    }
  }
  return samples;
}

/// All that the stages of one primitive work on, made once.
template <class P>
class Stages {
 public:
  using Search = typename P::Search;

  explicit Stages(const Primitive& primitive)
      : optimizer(P::MakeOptimizer(kScannerError, false, nullptr, nullptr, Vector3d::Zero())) {
    const SceneOptions options{.points = kPoints, .outliers = kOutliers, .survey = true};
    scene = MakeScene(primitive, primitive.truth, options, 1);
    set.Sample(scene.points.data(), scene.points.size(), WorkingSet::kCap, true);
    for (Vector3d& p : scene.inliers) p -= set.Origin();
    draws = SamplesOf(scene.inliers, kSampleSize, 2);
    samples = SamplesOf(scene.inliers, std::max(kSampleSize, 9), 3);
    Random random(4);
    exact = PointsOn(primitive, primitive.truth, Pose::Identity(), 2000, 0, random);
    exactDraws = SamplesOf(exact, kSampleSize, 5);
    best = RunSearch();
    if (best) best->GetClosePoints(set.Points(), set.Count(), kTolerance, close, false);
  }

  Made RunSearch() const {
    const ScopedSeed seed(1);
    Search search(set.Count(), set.Points(), kSampleSize, 0.99, 1 - kOutliers, kScannerError, kTolerance);
    if (P::RefinesInSearch(0, kScannerError)) search.SetOptimizer(&optimizer);
    return Made(search.Solve());
  }
  /// A candidate from one sample; with `refined` as the search makes it, else as it was estimated.
  Made Draw(const Points& sample, bool refined) {
    drawing.SetOptimizer(refined && P::RefinesInSearch(0, kScannerError) ? &optimizer : nullptr);
    return Made(drawing.FitShape(static_cast<int>(sample.size()), nullptr, sample.data()));
  }
  Made Refine(const Points& points, const OutputShape& start) const {
    return Made(optimizer.Optimize(static_cast<int>(points.size()), points.data(), &start));
  }
  bool Proved(const OutputShape* shape) const { return shape != nullptr && IsNear(scene, *shape); }

  static constexpr int kSampleSize = P::Constraints::kDefaultSampleSize;
  Scene scene;  // the inliers in the working frame
  WorkingSet set;
  typename P::Optimizer optimizer;
  std::vector<Points> draws, samples, exactDraws;
  Points exact;  // in the shape's own frame
  Made best;     // what the search finds
  Points close;  // to it

 private:
  Points any = Points(20, Vector3d::Zero());
  Search drawing{20, any.data(), kSampleSize, 0.99, 1 - kOutliers, kScannerError, kTolerance};
};

template <class Work>
void Time(benchmark::State& state, std::size_t items, const Work& work) {
  for (auto _ : state) work();
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(items));
}

/// Times work(sample, index) over the samples in turn.
template <class Work>
void TimeInTurn(benchmark::State& state, const std::vector<Points>& samples, const Work& work) {
  std::size_t turn = 0;
  Time(state, samples.front().size(), [&] {
    benchmark::DoNotOptimize(work(samples[turn], turn).get());
    turn = (turn + 1) % samples.size();
  });
}

/// Proof: exact samples give the exact shape. Of some samples there is none, as of coplanar ones.
template <class P>
void Estimate(benchmark::State& state, Stages<P>& s) {
  int good = 0;
  for (const Points& sample : s.exactDraws) {
    const Made shape = s.Draw(sample, false);
    good += shape && RootMeanSquare(*shape, s.exact) < 1e-6 ? 1 : 0;
  }
  state.counters["exact"] = static_cast<double>(good) / kSamples;
  if (2 * good < static_cast<int>(kSamples)) return state.SkipWithError("exact points do not give the shape");
  TimeInTurn(state, s.draws, [&](const Points& sample, std::size_t) { return s.Draw(sample, false); });
}

/// Proof: the best of the samples gives the true shape.
template <class P>
void Draw(benchmark::State& state, Stages<P>& s) {
  int shapes = 0;
  double best = 1e9;
  for (const Points& sample : s.draws) {
    const Made shape = s.Draw(sample, true);
    if (!shape) continue;
    ++shapes;
    best = std::min(best, RootMeanSquare(*shape, s.scene.inliers));
  }
  state.counters["shapes"] = static_cast<double>(shapes) / kSamples;
  if (best > 3 * kNoise) return state.SkipWithError("no sample gives the shape");
  TimeInTurn(state, s.draws, [&](const Points& sample, std::size_t) { return s.Draw(sample, true); });
}

/// Proof: no sample is farther from the refined shape than from its estimate.
template <class P>
void RefineSample(benchmark::State& state, Stages<P>& s) {
  std::vector<Points> samples;
  std::vector<Made> starts;
  for (const Points& sample : s.samples) {
    Made start = s.Draw(sample, false);
    const Made refined = start ? s.Refine(sample, *start) : nullptr;
    if (!refined) continue;
    if (RootMeanSquare(*refined, sample) > 1.001 * RootMeanSquare(*start, sample) + 1e-9)
      return state.SkipWithError("a sample is farther from the refined shape");
    samples.push_back(sample);
    starts.push_back(std::move(start));
  }
  state.counters["refined"] = static_cast<double>(starts.size()) / kSamples;
  if (starts.empty()) return state.SkipWithError("no sample was refined");
  TimeInTurn(state, samples,
             [&](const Points& sample, std::size_t turn) { return s.Refine(sample, *starts[turn]); });
}

/// The refinement of the best candidate on the points close to it. Proof: the result is the true shape and no
/// farther from those points.
template <class P>
void RefineClose(benchmark::State& state, Stages<P>& s) {
  Made start;
  for (const Points& sample : s.draws) {
    Made shape = s.Draw(sample, true);
    if (shape && (!start || RootMeanSquare(*shape, s.close) < RootMeanSquare(*start, s.close)))
      start = std::move(shape);
  }
  const Made refined = start ? s.Refine(s.close, *start) : nullptr;
  if (!s.Proved(refined.get()) || RootMeanSquare(*refined, s.close) > 1.001 * RootMeanSquare(*start, s.close))
    return state.SkipWithError("the close points do not give the true shape");
  Time(state, s.close.size(), [&] { benchmark::DoNotOptimize(s.Refine(s.close, *start).get()); });
  state.counters["points"] = static_cast<double>(s.close.size());
}

/// Proof: the count of the points one by one.
template <class P>
void Score(benchmark::State& state, Stages<P>& s) {
  s.best->SetDistSqrdThreshod(kTolerance);
  const Vector3d* points = s.set.Points();
  const auto one = [&](const Vector3d& p) { return s.best->IsClosePoint(p); };
  if (CountClose(*s.best, points, kPoints) != std::count_if(points, points + kPoints, one))
    return state.SkipWithError("the count differs from that point by point");
  Time(state, kPoints, [&] { benchmark::DoNotOptimize(CountClose(*s.best, points, kPoints)); });
}

/// Proof: the points that are close one by one, in their order.
template <class P>
void Select(benchmark::State& state, Stages<P>& s) {
  const Vector3d* points = s.set.Points();
  Points close, expected;
  const auto select = [&] { s.best->GetClosePoints(points, kPoints, kTolerance, close, false); };
  select();
  std::copy_if(points, points + kPoints, std::back_inserter(expected),
               [&](const Vector3d& p) { return s.best->IsClosePoint(p); });
  if (close != expected) return state.SkipWithError("the points differ from those close one by one");
  Time(state, kPoints, [&] {
    select();
    benchmark::DoNotOptimize(close.data());
  });
}

/// Proof: the root mean square point by point.
template <class P>
void Quality(benchmark::State& state, Stages<P>& s) {
  const int n = static_cast<int>(s.close.size());
  const auto quality = [&] { return s.best->CalculateQuality(kScannerError, n, s.close.data()); };
  if (std::abs(quality().rmsDistance - RootMeanSquare(*s.best, s.close)) > 1e-12)
    return state.SkipWithError("the root mean square differs from that point by point");
  Time(state, s.close.size(), [&] { benchmark::DoNotOptimize(quality()); });
}

/// The shape that it finds is proved before any stage runs.
template <class P>
void WholeSearch(benchmark::State& state, Stages<P>& s) {
  Time(state, kPoints, [&] { benchmark::DoNotOptimize(s.RunSearch().get()); });
}

/// Every stage of one primitive, over the same points; they are made when the first of its stages runs.
template <class P>
void RegisterStages(const char* name) {
  const struct {
    const char* stage;
    void (*run)(benchmark::State&, Stages<P>&);
  } rows[] = {{"Estimate", Estimate<P>},       {"Draw", Draw<P>},         {"RefineSample", RefineSample<P>},
              {"RefineClose", RefineClose<P>}, {"Score", Score<P>},       {"Select", Select<P>},
              {"Quality", Quality<P>},         {"Search", WholeSearch<P>}};
  const auto stages = std::make_shared<std::unique_ptr<Stages<P>>>();
  for (const auto& row : rows) {
    const auto run = [=, run = row.run](benchmark::State& state) {
      if (!*stages) *stages = std::make_unique<Stages<P>>(PrimitiveNamed(name));
      if (!(*stages)->Proved((*stages)->best.get()))
        return state.SkipWithError("the true shape was not found");
      run(state, **stages);
    };
    benchmark::RegisterBenchmark((std::string(row.stage) + "/" + name).c_str(), run)
        ->Unit(benchmark::kMicrosecond);
  }
}

/// Proof: the caller's points, back from the frame; above the cap, its size.
void TakePoints(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const Primitive& plane = PrimitiveNamed("plane");
  const Scene scene = MakeScene(plane, plane.truth, {.points = n, .outliers = kOutliers, .survey = true}, 1);
  const auto take = [&](WorkingSet& set) {
    const ScopedSeed seed(1);
    set.Sample(scene.points.data(), scene.points.size(), WorkingSet::kCap, true);
  };
  WorkingSet taken;
  take(taken);
  const auto same = [&](const Vector3d& local, const Vector3d& p) {
    return (local + taken.Origin() - p).cwiseAbs().maxCoeff() < 1e-9;
  };
  const int expected = std::min(n, static_cast<int>(WorkingSet::kCap));
  if (taken.Count() != expected ||
      (expected == n && !std::equal(taken.Points(), taken.Points() + n, scene.points.begin(), same)))
    return state.SkipWithError("other points were taken");
  Time(state, scene.points.size(), [&] {
    WorkingSet set;
    take(set);
    benchmark::DoNotOptimize(set.Points());
  });
}
BENCHMARK(TakePoints)->Name("WorkingSet")->Arg(100000)->Arg(1000000)->Unit(benchmark::kMicrosecond);

int Register() {
  RegisterStages<LinePrimitive>("line");
  RegisterStages<ArcPrimitive>("arc");
  RegisterStages<PlanePrimitive>("plane");
  RegisterStages<SpherePrimitive>("sphere");
  RegisterStages<CylinderPrimitive>("cylinder");
  RegisterStages<ConePrimitive>("cone");
  RegisterStages<TorusPrimitive>("torus");
  return 0;
}

[[maybe_unused]] const int kRegistered = Register();

}  // namespace
}  // namespace primfit::bench
