// Output records, constraints, input records and the two scope objects.
#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <numbers>
#include <thread>
#include <vector>

#include "fit/search_passes.h"
#include "primfit/primfit.h"
#include "support/constraints.h"
#include "support/gtest_support.h"
#include "support/scenes.h"

namespace primfit::testing {
namespace {

using Eigen::Vector3d;

TEST(Records, KeepDirectionsAtUnitLength) {
  const Vector3d o(1, 2, 3);
  const auto kept = [&](const Vector3d& d) -> Points {
    return {
        FitOutputParamsLine(o, d, 1).Direction(),           FitOutputParamsArc(o, 1, d, o, 1).XAxis(),
        FitOutputParamsArc(o, 1, o, d, 1).YAxis(),          FitOutputParamsPlane(o, d).Normal(),
        FitOutputParamsPatch(o, d, 0, nullptr, o).Normal(), FitOutputParamsCylinder(o, 1, d).Axis(),
        FitOutputParamsCylinderBounded(o, 1, d, 1).Axis(),  FitOutputParamsCone(o, 1, d).Axis(),
        FitOutputParamsConeBounded(o, 1, d, 1, 2).Axis(),   FitOutputParamsTorus(o, 3, 1, d).Axis(),
        FitOutputParamsElbow(o, 3, 1, d, 1, o).Axis(),      FitOutputParamsElbow(o, 3, 1, o, 1, d).XAxis()};
  };
  for (const double scale : {1.0, -7.0, 1e-160, 1e-300, 1e160, 1e300}) {  // squares under- and overflow
    const Vector3d unit = std::copysign(1.0, scale) * Vector3d(2, -3, 6) / 7;
    for (const Vector3d& d : kept(scale * Vector3d(2, -3, 6))) EXPECT_TRUE(Near(d, unit, 1e-15)) << scale;
  }
  for (const Vector3d& d : kept({0, 0, 0})) EXPECT_EQ(d, Vector3d(0, 0, 0));
  for (const Vector3d& d : kept({0, std::nan(""), 1})) EXPECT_TRUE(d.hasNaN());
  Random random;
  for (int i = 0; i < 2000; ++i) {  // one in four changed its last bit
    const Vector3d once = random.Direction().normalized();
    for (const Vector3d& twice : kept(once)) ASSERT_EQ(twice, once) << "a direction from record to record";
  }
}

TEST(Arc, FullCircleTakesItsFrameFromTheNormal) {
  struct {
    Vector3d normal, x, y;
  } const rows[] = {
      {{0, 0, 5}, {0, -1, 0}, {1, 0, 0}},     {{0, 0, -5}, {0, 1, 0}, {1, 0, 0}},
      {{3, 4, 0}, {-0.8, 0.6, 0}, {0, 0, 1}}, {{1e-13, 0, 1}, {0, -1, 0}, {1, 0, 0}},  // within 1e-12 of z
      {{1e-11, 0, 1}, {0, 1, 0}, {-1, 0, 0}},                                          // no longer
      {{0, 0, 1e-11}, {1, 0, 0}, {0, 1, 0}},                                           // too short to tell
      {{0, 0, 2e-10}, {0, -1, 0}, {1, 0, 0}}};                                         // long enough
  for (const auto& row : rows) {
    const FitOutputParamsArc arc({1, 2, 3}, 2, row.normal);
    EXPECT_TRUE(Near(arc.XAxis(), row.x, 1e-15)) << row.normal.transpose();
    EXPECT_TRUE(Near(arc.YAxis(), row.y, 2e-11)) << row.normal.transpose();
    EXPECT_TRUE(Near(arc.StartPoint(), Vector3d(1, 2, 3) + 2 * row.x, 1e-14));
    EXPECT_TRUE(Near(arc.EndPoint(), arc.StartPoint(), 1e-14));
    EXPECT_DOUBLE_EQ(arc.Angle(), 2 * std::numbers::pi);
  }
  Random random;
  for (int i = 0; i < 100; ++i) {
    const Vector3d normal = random.Direction();
    const FitOutputParamsArc arc({1, 2, 3}, 2, random.Uniform(0.1, 10) * normal);
    EXPECT_TRUE(Near(arc.XAxis().cross(arc.YAxis()), normal, 1e-14));
    EXPECT_TRUE(Near(arc.XAxis(), normal.unitOrthogonal(), 1e-14));
  }
}

TEST(Records, EndPointsFollowLengthAndAngle) {
  EXPECT_EQ(FitOutputParamsLine({1, 1, 1}, {0, 3, 0}, 2).EndPoint(), Vector3d(1, 3, 1));
  const FitOutputParamsArc arc({1, 1, 1}, 2, {0, 0, 4}, {0, 5, 0}, std::numbers::pi / 6);
  EXPECT_EQ(arc.StartPoint(), Vector3d(1, 1, 3));
  EXPECT_TRUE(Near(arc.EndPoint(), {1, 2, 1 + std::sqrt(3)}, 1e-15));
}

std::vector<double> LoopOf(const FitOutputParamsPatch& patch) {
  const double* loop = nullptr;
  Vector3d xAxis;
  const int count = patch.Loop(loop, xAxis);
  return {loop, loop + 2 * count};
}

TEST(Patch, OwnsItsLoop) {
  const std::vector<double> triangle{1, 2, 3, 4, 5, 6}, edge{7, 8, 9, 10};
  const auto patchOf = [](const std::vector<double>& loop, double height) {
    double* owned = std::copy(loop.begin(), loop.end(), new double[loop.size()]) - loop.size();
    return FitOutputParamsPatch({0, 0, height}, {0, 0, 2}, static_cast<int>(loop.size() / 2), owned,
                                {0, 3, 0});
  };
  FitOutputParamsPatch patch = patchOf(triangle, 1);
  FitOutputParamsPatch assigned = patchOf(edge, 2);
  {
    const FitOutputParamsPatch source = patchOf(triangle, 3);
    FitOutputParamsPatch copy(source);
    EXPECT_EQ(LoopOf(copy), triangle);
    assigned = copy;
    copy = patchOf(edge, 4);  // leaves those that copied it alone
    EXPECT_EQ(LoopOf(copy), edge);
  }
  EXPECT_EQ(LoopOf(assigned), triangle) << "outlives its source";
  EXPECT_EQ(assigned.Origin().z(), 3);
  const FitOutputParamsPatch& self = patch;
  patch = self;
  EXPECT_EQ(LoopOf(patch), triangle);
  const double* loop = nullptr;
  Vector3d xAxis;
  EXPECT_EQ(patch.Loop(loop, xAxis), 3);
  EXPECT_EQ(xAxis, Vector3d(0, 3, 0)) << "stored as given";
  const FitOutput<FitOutputParamsPatch> result(patch, FitQuality());
  patch = FitOutputParamsPatch();
  EXPECT_TRUE(LoopOf(patch).empty());
  EXPECT_EQ(LoopOf(FitOutput<FitOutputParamsPatch>(result).GetFitShape()), triangle);
}

TEST(Constraints, EachFlagIsItsOwn) {
  ForEachConstrained({1, 2, 3}, {0, 0, 1},
                     []<class C>(const char* name, int, const auto&, const PartsOf<C>& parts, auto...) {
                       for (const auto& set : parts) {
                         C constraints(nullptr);
                         (constraints.*set.first)();
                         const C copy = constraints;
                         for (const auto& asked : parts)
                           EXPECT_EQ((copy.*asked.second)(), &asked == &set) << name;
                       }
                     });
}

// The published defaults: programs rely on them by not setting anything.
TEST(InputParams, DefaultsAreThePublishedOnes) {
  const int sampleSizes[] = {2, 3, 3, 4, 9, 9, 13}, *sampleSize = sampleSizes;
  ForEachConstrained(
      {1, 2, 3}, {0, 0, 1}, [&]<class C>(const char*, int, const auto&, const PartsOf<C>&, auto...) {
        const C constraints(nullptr);
        for (const auto& input : {FitInputParams<C>(), FitInputParams<C>(&constraints)}) {
          EXPECT_EQ(input.SampleSize(), *sampleSize);
          EXPECT_EQ(input.OutlierPercentage(), 0.2);
          EXPECT_EQ(input.SuccessProbability(), 0.99);
          EXPECT_EQ(input.InlierDistanceThreshold(), 0.012);
          EXPECT_EQ(input.ScannerError(), 0.006);
          EXPECT_FALSE(input.SkipEstimator() || input.OutputAnyQuality() || input.OptimizeOnce());
        }
        const FitInputParams<C> skipping(&constraints, true);
        EXPECT_EQ(skipping.Constraints(), &constraints);
        EXPECT_TRUE(skipping.SkipEstimator() && !skipping.OutputAnyQuality());
        ++sampleSize;
      });
}

TEST(InputParams, OnlyTheSampleSizeSetterRaisesItsValue) {
  FitInputParamsBase input(1, 7, -3, -1);
  EXPECT_EQ(input.SampleSize(), 1);
  EXPECT_EQ(input.OutlierPercentage(), 7);
  EXPECT_EQ(input.SuccessProbability(), -3);
  EXPECT_EQ(input.InlierDistanceThreshold(), -1);
  for (const auto& [given, kept] : {std::pair{1, 2}, {-5, 2}, {2, 2}, {7, 7}}) {
    input.SetSampleSize(given);
    EXPECT_EQ(input.SampleSize(), kept) << given;
  }
}

TEST(SuppressFitterMT, CountsLivingScopesOfAllThreads) {
  EXPECT_EQ(SuppressionCount(), 0);
  {
    SuppressFitterMT outer;
    {
      SuppressFitterMT inner;
      EXPECT_EQ(SuppressionCount(), 2);
      inner = outer;
      EXPECT_EQ(SuppressionCount(), 2);
    }
    EXPECT_EQ(SuppressionCount(), 1);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([] {
        for (int k = 0; k < 10000; ++k) SuppressFitterMT scope;
      });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(SuppressionCount(), 1);
  }
  EXPECT_EQ(SuppressionCount(), 0);
}

std::vector<std::uint64_t> Draw(int n) {
  std::vector<std::uint64_t> numbers(static_cast<std::size_t>(n));
  for (std::uint64_t& number : numbers) EXPECT_TRUE(ScopedSeed::Next(number));
  return numbers;
}

TEST(ScopedSeed, HandsOutThePublishedSequenceOfItsGenerator) {
  const ScopedSeed seed(1234567);  // the check values of SplitMix64
  EXPECT_EQ(Draw(5),
            (std::vector<std::uint64_t>{6457827717110365317u, 3203168211198807973u, 9817491932198370423u,
                                        4593380528125082431u, 16408922859458223821u}));
}

TEST(ScopedSeed, NestsAndStaysOnItsThread) {
  std::uint64_t untouched = 42;
  EXPECT_FALSE(ScopedSeed::Next(untouched));
  EXPECT_EQ(untouched, 42u);
  const auto sequence = [](std::uint64_t seed) {
    const ScopedSeed scope(seed);
    return Draw(4);
  };
  const auto seven = sequence(7), eight = sequence(8);
  EXPECT_NE(seven, eight);
  {
    const ScopedSeed outer(7);
    std::vector<std::uint64_t> drawn = Draw(1);
    EXPECT_EQ(sequence(8), eight);
    std::thread([&] {
      std::uint64_t none = 42;
      EXPECT_FALSE(ScopedSeed::Next(none)) << "another thread has no scope";
      EXPECT_EQ(sequence(7), seven);
    }).join();
    for (const std::uint64_t number : Draw(3)) drawn.push_back(number);
    EXPECT_EQ(drawn, seven) << "the outer scope goes on where it was";
  }
  EXPECT_FALSE(ScopedSeed::Next(untouched));
}

}  // namespace
}  // namespace primfit::testing
