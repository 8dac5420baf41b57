// The search framework, on a search whose candidates the test decides, and the plane search on points.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "optimize/optimizers.h"
#include "primfit/fit/fit_error.h"
#include "primfit/fit/scoped_seed.h"
#include "primfit/fit/suppress_fitter_mt.h"
#include "ransac/searches.h"
#include "support/gtest_support.h"
#include "support/scenes.h"

namespace {

using Eigen::Vector3d;
using Points = std::vector<Vector3d>;

TEST(NumberIterations, FollowsTheFormulaAndItsEdges) {
  const struct {
    double p, w;
    int k, expected;
  } rows[] = {
      {0.99, 0.8, 2, 5},       {0.99, 0.8, 3, 6},    {0.99, 0.8, 9, 32}, {0.99, 0.8, 13, 81},
      {0.99, 0.5, 9, 2356},    {0.99, 0.1, 9, 5000}, {0.5, 0.95, 2, 0},  // ln 0.5 / ln 0.0975 rounds to 0
      {0.99, 1.0, 3, 0},                                                 // sure of any sample: none is drawn
      {0.99, 0.1, 20, 5000},    // 1 - w^k is 1: a quotient of minus infinity
      {0.99, 0.5, 2000, 5000},  // w^k underflows to 0
      {0.5, 0.1, 3, 693},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(primfit::NumberIterations(row.p, row.w, row.k), row.expected)
        << row.p << " " << row.w << " " << row.k;
  }
}

Points Line(int n) {
  Points points;
  for (int i = 0; i < n; ++i) points.push_back({1.0 * i, 0, 0});
  return points;
}

/// Calls back for every sample.
class Scripted : public RansacFit {
 public:
  using Maker = std::function<OutputShape*(int k, const int* indices, const Vector3d* points)>;
  Scripted(const Points& points, int k, double w, Maker maker, double tolerance = 0.01,
           double scannerError = 0.006)
      : RansacFit(static_cast<int>(points.size()), points.data(), k, 0.99, w, scannerError, tolerance),
        maker_(std::move(maker)) {
    RequirePoints(1);
  }
  OutputShape* MakeShape(int k, const int* indices, const Vector3d* points) override {
    return maker_(k, indices, points);
  }
  std::unique_ptr<OutputShape> Run() { return std::unique_ptr<OutputShape>(Solve()); }
  std::string Error() {
    return primfit::testing::MessageOf([this] { Run(); });
  }

 private:
  primfit::Failure PoorQuality() const override { return {primfit::FitErrorCode::kPoorQuality, "poor"}; }
  Maker maker_;
};

/// A plane across x that counts its living copies.
class Counted : public OutputPlane {
 public:
  explicit Counted(double x) : OutputPlane({x, 0, 0}, {1, 0, 0}) { ++living; }
  Counted(const Counted&) = delete;
  ~Counted() override { --living; }
  static inline int living = 0;
};

/// Candidates across x at at(0), at(1), ...; refitting fails, so that the best of them stays.
Scripted::Maker Candidates(int& made, std::function<double(int)> at) {
  return [&made, at](int, const int* indices, const Vector3d*) -> OutputShape* {
    return indices == nullptr ? nullptr : new Counted(at(made++));
  };
}

class Recorder : public FitProgressUpdater {
 public:
  explicit Recorder(int stopAt = 1 << 30) : stopAt_(stopAt) {}
  void ReportProgress(double fraction) override { reports.push_back(fraction); }
  bool StopRequested() override { return ++asked >= stopAt_; }
  std::vector<double> reports;
  int asked = 0;

 private:
  int stopAt_;
};

TEST(Search, DrawsDistinctIndicesUniformly) {
  const Points points = Line(100);
  const primfit::ScopedSeed seed(1);
  for (const int k : {2, 13, 70, 99}) {
    std::vector<int> hits(points.size());
    int samples = 0;
    Scripted search(points, k, 0.1, [&](int count, const int* indices, const Vector3d* sample) {
      EXPECT_EQ(count, k);
      EXPECT_EQ(std::set<int>(indices, indices + count).size(), static_cast<std::size_t>(k));
      for (int i = 0; i < count; ++i) {
        EXPECT_EQ(sample[i], points[static_cast<std::size_t>(indices[i])]);
        ++hits[static_cast<std::size_t>(indices[i])];
      }
      ++samples;
      return nullptr;
    });
    EXPECT_EQ(search.Run(), nullptr);
    EXPECT_EQ(samples, k == 2 ? 458 : 5000);
    // Each index is in a share k / n of the samples; 6 sigma of a binomial, one in 5e8 for each of 400.
    const double share = k / 100.0, sigma = std::sqrt(samples * share * (1 - share));
    for (const int hit : hits) EXPECT_NEAR(hit, samples * share, 6 * sigma);
  }
}

TEST(Search, FitsAllPointsAtOnceWhereASampleWouldHoldThemOrNoErrorIsExpected) {
  const Points points = Line(5);
  const struct {
    int k;
    double w, scannerError;
    int expected;  // points given to the maker, 0 for a search
  } rows[] = {
      {5, 0.8, 0.006, 5}, {9, 0.8, 0.006, 5}, {3, 1.0, 0.9e-6, 5}, {3, 1.0, 1e-6, 0}, {3, 0.999, 0, 0}};
  for (const auto& row : rows) {
    std::vector<int> counts;
    Recorder recorder;
    const auto farFromAll = [&](int k, const int*, const Vector3d*) {
      counts.push_back(k);
      return new Counted(50);
    };
    Scripted search(points, row.k, row.w, farFromAll, 0.01, row.scannerError);
    search.SetUpdater(&recorder);
    if (row.expected > 0) {
      EXPECT_NE(search.Run(), nullptr) << "no scoring and no selection";
      EXPECT_EQ(counts, std::vector<int>{row.expected});
      EXPECT_EQ(recorder.asked, 0);
    } else if (row.w == 1.0) {
      EXPECT_EQ(search.Run(), nullptr) << "0 draws";
    } else {
      EXPECT_EQ(search.Error(), "poor") << "no point within the tolerance";
    }
  }
}

TEST(Search, KeepsTheFirstOfTheBestAndFreesTheOthers) {
  // Points at x = 0, 1, 2, ...; three more at 1 and 2. Candidates cycle over x = 0 .. 4.
  Points points = Line(10);
  for (const double x : {1, 1, 1, 2, 2, 2}) points.push_back({x, 0, 0});
  int made = 0;
  double firstOfBest = -1;
  std::vector<int> refitted;
  const auto make = [&](int k, const int* indices, const Vector3d*) -> OutputShape* {
    if (indices == nullptr) {
      refitted.push_back(k);
      return nullptr;  // the refit fails: the best stays
    }
    const double x = made++ % 5;
    if (firstOfBest < 0 && (x == 1 || x == 2)) firstOfBest = x;
    return new Counted(x);
  };
  const auto best = Scripted(points, 3, 0.5, make, 0.001).Run();
  ASSERT_NE(best, nullptr);
  EXPECT_EQ(dynamic_cast<Counted&>(*best).Center().x(), firstOfBest);
  EXPECT_EQ(refitted, std::vector<int>{4}) << "refitted on the points within the tolerance";
  EXPECT_EQ(Counted::living, 1);
}

TEST(Search, ScoresInAFixedBandWhateverTheTolerance) {
  // 6 points 0.011 beside plane A, 5 exactly on plane B; the tolerance of 0.001 would prefer B.
  Points points(6, {0.011, 0, 0});
  points.insert(points.end(), 5, {1, 0, 0});
  points.push_back({0, 0, 0});
  int made = 0;
  Scripted search(points, 2, 0.5, Candidates(made, [](int i) { return i % 2; }), 0.001);
  EXPECT_EQ(dynamic_cast<OutputPlane&>(*search.Run()).Center().x(), 0);
}

TEST(Search, SwallowsExceptionsOfCandidatesOnly) {
  const Points points = Line(20);
  int made = 0;
  Scripted search(points, 3, 0.5, [&](int, const int*, const Vector3d*) -> OutputShape* {
    if (++made % 2 == 0) throw std::bad_alloc();
    return new Counted(3);
  });
  EXPECT_NE(search.Run(), nullptr);
  EXPECT_EQ(made, 35);  // 34 samples, one refit
  EXPECT_EQ(Counted::living, 0);

  struct Throwing : TROptimizer {
    Throwing() : TROptimizer(0.006, false, nullptr) {}
    OutputShape* Optimize(int, const Vector3d*, const OutputShape*) const override {
      throw primfit::FitError(primfit::FitErrorCode::kOther, "from the refinement");
    }
  } throwing;
  Scripted refining(points, 3, 0.5, [](int, const int*, const Vector3d*) { return new Counted(3); });
  refining.SetOptimizer(&throwing);
  EXPECT_EQ(refining.Error(), "from the refinement");
  EXPECT_EQ(Counted::living, 0) << "the best shape is freed on the way out";
  EXPECT_EQ(Scripted(points, 3, 0.5, Candidates(made, [](int) { return 0.5; })).Error(), "poor");
  EXPECT_EQ(Counted::living, 0);
}

TEST(Search, EndsAtTheTenthGoodCandidateWhenAsked) {
  const auto count = [&](bool earlyStop, int score) {
    Points scene(static_cast<std::size_t>(score), {0, 0, 0});
    scene.resize(1000, {1, 0, 0});
    int made = 0;
    Scripted search(scene, 9, 0.8, Candidates(made, [](int) { return 0; }));
    search.SetEarlyStop(earlyStop);
    search.Run();
    return made;
  };
  EXPECT_EQ(count(true, 802), 10);
  EXPECT_EQ(count(true, 801), 32) << "exactly the threshold does not count";
  EXPECT_EQ(count(false, 802), 32);
}

TEST(Search, ReportsProgressAndStops) {
  const Points points = Line(20);
  const auto run = [&](Recorder& recorder) {
    int made = 0;
    Scripted search(points, 3, 0.5, Candidates(made, [](int) { return 3; }));
    search.SetUpdater(&recorder);
    EXPECT_NE(search.Run(), nullptr) << "the best so far";
    return made;
  };
  Recorder all;
  EXPECT_EQ(run(all), 34);
  ASSERT_EQ(all.reports.size(), 34U);
  for (int i = 0; i < 34; ++i) EXPECT_DOUBLE_EQ(all.reports[static_cast<std::size_t>(i)], i / 34.0);

  // Stopped in the first pass, each later pass makes one more iteration before it asks again.
  const int workers = static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
  Recorder stopped(5), single(5);
  EXPECT_EQ(run(stopped), 5 + workers - 1);
  EXPECT_EQ(stopped.reports.size(), 4U);
  const SuppressFitterMT outer;
  { const SuppressFitterMT inner; }
  EXPECT_EQ(run(single), 5);
}

TEST(Search, MakesCandidatesFromTheOptimizersOwnStart) {
  const Points points(20, {3, 0, 0});
  const OutputPlane start({3.004, 0, 0}, {1, 0, 0});
  PlaneOptimizer optimizer(0.006, false, &start);
  optimizer.FixNormal({1, 0, 0});
  Scripted search(points, 3, 0.5, [](int, const int*, const Vector3d*) -> OutputShape* {
    ADD_FAILURE() << "nothing is estimated";
    return nullptr;
  });
  search.SetOptimizer(&optimizer);
  EXPECT_NEAR(dynamic_cast<OutputPlane&>(*search.Run()).Distance({3, 0, 0}), 0, 1e-4);
}

TEST(PlaneSearch, ChecksInOrder) {
  const Points points = Line(5);
  const struct {
    int n;
    double w, tolerance;
    const char* message;
  } rows[] = {{2, 0.05, 0.0005, "Good Sample Rate < 0.1"},
              {2, 0.5, 0.0005, "Distance Tolerance < 0.001"},
              {2, 0.5, 0.001, "Not enough points"},
              {3, 1.5, 0.001, "no exception"}};
  for (const auto& row : rows) {
    const auto make = [&] { RansacPlane(row.n, points.data(), 3, 0.99, row.w, 0.006, row.tolerance); };
    EXPECT_EQ(primfit::testing::MessageOf(make), row.message);
  }
}

TEST(PlaneSearch, GivesTheSameBitsForOneSeedWhateverTheWorkers) {
  using primfit::testing::Random, primfit::testing::PointsOn, primfit::testing::Clutter;
  Random random;
  const Points points = primfit::testing::Joined(
      PointsOn(OutputPlane({0, 0, 0}, {0, 0, 1}), 1000, {-1, 1}, {-1, 1}, 0.005, random),
      Clutter({-1, -1, -1}, {1, 1, 1}, 1000, random));
  const auto run = [&](std::uint64_t number, bool suppress) {
    const primfit::ScopedSeed seed(number);
    const auto single = suppress ? std::make_unique<SuppressFitterMT>() : nullptr;
    RansacPlane original(2000, points.data(), 3, 0.99, 0.5, 0.006, 0.012), copy(original);
    const std::unique_ptr<OutputShape> shape(suppress ? copy.Solve() : original.Solve());
    return dynamic_cast<OutputPlane&>(*shape).Normal();
  };
  EXPECT_EQ(run(7, false), run(7, true)) << "of a copy, too";
  std::set<double> distinct;
  for (std::uint64_t seed = 0; seed < 20; ++seed) distinct.insert(run(seed, false).x());
  EXPECT_GT(distinct.size(), 10U) << "seeds that change nothing";
}

}  // namespace
