// The search framework, on a search whose candidates the test decides, and the plane search on points.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "optimize/optimizers.h"
#include "primfit/fit/fit_error.h"
#include "primfit/fit/scoped_seed.h"
#include "primfit/fit/suppress_fitter_mt.h"
#include "ransac/searches.h"

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

/// Calls back for every sample; counts the shapes that live.
class Scripted : public RansacFit {
 public:
  using Maker = std::function<OutputShape*(int k, const int* indices, const Vector3d* points)>;
  Scripted(const Points& points, int k, double p, double w, double scannerError, double tolerance,
           Maker maker)
      : RansacFit(static_cast<int>(points.size()), points.data(), k, p, w, scannerError, tolerance),
        maker_(std::move(maker)) {
    RequirePoints(1);
  }
  OutputShape* MakeShape(int k, const int* indices, const Vector3d* points) override {
    return maker_(k, indices, points);
  }
  std::unique_ptr<OutputShape> Run() { return std::unique_ptr<OutputShape>(Solve()); }

 private:
  const char* PoorQualityMessage() const override { return "poor"; }
  Maker maker_;
};

/// A plane that counts its living copies, across x at `x`.
class Counted : public OutputPlane {
 public:
  explicit Counted(double x) : OutputPlane({x, 0, 0}, {1, 0, 0}) { ++living; }
  Counted(const Counted&) = delete;
  ~Counted() override { --living; }
  static inline int living = 0;
};

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
    Scripted search(points, k, 0.99, 0.1, 0.006, 0.01,
                    [&](int count, const int* indices, const Vector3d* sample) {
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
    Scripted search(points, row.k, 0.99, row.w, row.scannerError, 0.01,
                    [&](int k, const int*, const Vector3d*) {
                      counts.push_back(k);
                      return new OutputPlane({0, 0, 50}, {0, 0, 1});
                    });
    search.SetUpdater(&recorder);
    if (row.expected > 0) {
      // No scoring and no selection: a shape far from every point comes back.
      EXPECT_NE(search.Run(), nullptr);
      EXPECT_EQ(counts, std::vector<int>{row.expected});
      EXPECT_EQ(recorder.asked, 0);
    } else if (row.w == 1.0) {
      EXPECT_EQ(search.Run(), nullptr) << "0 draws";
    } else {
      EXPECT_THROW(search.Run(), primfit::FitError) << "no point within the tolerance";
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
  Scripted search(points, 3, 0.99, 0.5, 0.006, 0.001,
                  [&](int k, const int* indices, const Vector3d*) -> OutputShape* {
                    if (indices == nullptr) {
                      refitted.push_back(k);
                      return nullptr;  // the refit fails: the best stays
                    }
                    const double x = made++ % 5;
                    if (firstOfBest < 0 && (x == 1 || x == 2)) firstOfBest = x;
                    return new Counted(x);
                  });
  const auto best = search.Run();
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
  Scripted search(
      points, 2, 0.99, 0.5, 0.006, 0.001, [&](int, const int* indices, const Vector3d*) -> OutputShape* {
        return indices == nullptr ? nullptr : new OutputPlane({made++ % 2 == 0 ? 0.0 : 1.0, 0, 0}, {1, 0, 0});
      });
  EXPECT_EQ(dynamic_cast<OutputPlane&>(*search.Run()).Center().x(), 0);
}

TEST(Search, SwallowsExceptionsOfCandidatesOnly) {
  const Points points = Line(20);
  int made = 0;
  Scripted search(points, 3, 0.99, 0.5, 0.006, 0.01, [&](int, const int*, const Vector3d*) -> OutputShape* {
    if (++made % 2 == 0) throw std::bad_alloc();
    return new Counted(3);
  });
  EXPECT_NE(search.Run(), nullptr);
  EXPECT_EQ(made, 35);  // 34 samples, one refit
  EXPECT_EQ(Counted::living, 0);

  /// Gives the sample's shape back, and throws on the refit.
  class Throwing : public TROptimizer {
   public:
    Throwing() : TROptimizer(0.006, false, nullptr) {}
    OutputShape* Optimize(int, const Vector3d*, const OutputShape*) const override {
      throw primfit::FitError("from the refinement");
    }
  } throwing;
  Scripted refining(points, 3, 0.99, 0.5, 0.006, 0.01,
                    [&](int, const int*, const Vector3d*) { return new Counted(3); });
  refining.SetOptimizer(&throwing);
  try {
    refining.Run();
    FAIL();
  } catch (const primfit::FitError& error) {
    EXPECT_STREQ(error.what(), "from the refinement");
  }
  EXPECT_EQ(Counted::living, 0) << "the best shape is freed on the way out";

  Scripted none(points, 3, 0.99, 0.5, 0.006, 0.01,
                [](int, const int*, const Vector3d*) { return new Counted(0.5); });
  try {
    none.Run();
    FAIL();
  } catch (const primfit::FitError& error) {
    EXPECT_STREQ(error.what(), "poor");
  }
  EXPECT_EQ(Counted::living, 0);
}

TEST(Search, EndsAtTheTenthGoodCandidateWhenAsked) {
  // 1000 points, 802 of them at x = 0 and 801 at x = 1 (shared by two planes); the threshold is 801.
  Points points(802, {0, 0, 0});
  points.insert(points.end(), 198, {1, 0, 0});
  const auto count = [&](bool earlyStop, double x, int score) {
    Points scene(static_cast<std::size_t>(score), {x, 0, 0});
    scene.resize(1000, {x + 1, 0, 0});
    int made = 0;
    Scripted search(scene, 9, 0.99, 0.8, 0.006, 0.01,
                    [&](int, const int* indices, const Vector3d*) -> OutputShape* {
                      if (indices == nullptr) return nullptr;
                      ++made;
                      return new OutputPlane({x, 0, 0}, {1, 0, 0});
                    });
    search.SetEarlyStop(earlyStop);
    search.Run();
    return made;
  };
  EXPECT_EQ(count(true, 0, 802), 10);
  EXPECT_EQ(count(true, 0, 801), 32) << "exactly the threshold does not count";
  EXPECT_EQ(count(false, 0, 802), 32);
}

TEST(Search, ReportsProgressAndStops) {
  const Points points = Line(20);
  const auto run = [&](Recorder& recorder) {
    int made = 0;
    Scripted search(points, 3, 0.99, 0.5, 0.006, 0.01,
                    [&](int, const int* indices, const Vector3d*) -> OutputShape* {
                      if (indices == nullptr) return nullptr;
                      ++made;
                      return new OutputPlane({3, 0, 0}, {1, 0, 0});
                    });
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
  Recorder stopped(5);
  EXPECT_EQ(run(stopped), 5 + workers - 1);
  EXPECT_EQ(stopped.reports.size(), 4U);
  const SuppressFitterMT outer;
  { const SuppressFitterMT inner; }
  Recorder single(5);
  EXPECT_EQ(run(single), 5);
}

TEST(Search, MakesCandidatesFromTheOptimizersOwnStart) {
  Points points = Line(20);
  const OutputPlane start({3.004, 0, 0}, {1, 0, 0});
  PlaneOptimizer optimizer(0.006, false, &start);
  optimizer.FixNormal({1, 0, 0});
  points.assign(20, {3, 0, 0});
  Scripted search(points, 3, 0.99, 0.5, 0.006, 0.01, [](int, const int*, const Vector3d*) -> OutputShape* {
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
              {3, 1.5, 0.001, nullptr}};
  for (const auto& row : rows) {
    try {
      RansacPlane(row.n, points.data(), 3, 0.99, row.w, 0.006, row.tolerance);
      EXPECT_EQ(row.message, nullptr);
    } catch (const std::exception& error) {
      EXPECT_STREQ(error.what(), row.message);
    }
  }
}

TEST(PlaneSearch, GivesTheSameBitsForOneSeedWhateverTheWorkers) {
  std::mt19937_64 random(5);
  std::uniform_real_distribution<double> u(-1, 1);
  Points points;
  for (int i = 0; i < 2000; ++i)
    points.push_back({u(random), u(random), i % 2 == 0 ? u(random) : 0.01 * u(random)});
  const auto run = [&](std::uint64_t number, bool suppress) {
    const primfit::ScopedSeed seed(number);
    const auto single = suppress ? std::make_unique<SuppressFitterMT>() : nullptr;
    const std::unique_ptr<OutputShape> shape(
        RansacPlane(2000, points.data(), 3, 0.99, 0.5, 0.006, 0.012).Solve());
    return dynamic_cast<OutputPlane&>(*shape).Normal();
  };
  EXPECT_EQ(run(7, false), run(7, true));
  std::set<double> distinct;
  for (std::uint64_t seed = 0; seed < 20; ++seed) distinct.insert(run(seed, false).x());
  EXPECT_GT(distinct.size(), 10U) << "seeds that change nothing";
  RansacPlane original(2000, points.data(), 3, 0.99, 0.5, 0.006, 0.012);
  RansacPlane copy(original);
  const primfit::ScopedSeed seed(7);
  EXPECT_EQ(dynamic_cast<OutputPlane&>(*std::unique_ptr<OutputShape>(copy.Solve())).Normal(), run(7, false));
}

}  // namespace
