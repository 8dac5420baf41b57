// Who may end a fit: time limit and host are asked in every stage, and what was complete by then comes out.
#include "adaptive/model/budget.h"
#include "adaptive/model/refine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "adaptive/converge/converge.h"
#include "adaptive/find_shape.h"
#include "adaptive/scene/scene.h"
#include "primfit/fit.h"
#include "support/gtest_support.h"
#include "support/scenes.h"

namespace primfit::testing {
namespace {

using adaptive::Budget;
using Eigen::Vector3d;

/// A clock that stands still until it was asked so often, and is an hour later from then on.
class CountingClock final : public adaptive::Clock {
 public:
  explicit CountingClock(int jumpsAt) : jumpsAt_(jumpsAt) {}
  double Seconds() const override { return ++asked >= jumpsAt_ ? 3600 : 0; }
  mutable int asked = 0;

 private:
  int jumpsAt_;
};
constexpr int kNever = 1 << 30;

Points PipeAmongClutter(int n) {
  Random random;
  const Vector3d o(1, 2, 3);
  return Joined(PointsOn(OutputCylinder(o, 0.5, Vector3d::UnitZ()), n / 2, {0, 3}, {0, 2}, 0.002, random),
                Clutter(o - Vector3d(1, 1, 1), o + Vector3d(1, 1, 3), n / 2, random));
}

/// Times that the clock is asked while `stage` works on a budget, without the time at which that was made.
template <class Stage>
int AskedIn(const Stage& stage) {
  const CountingClock clock(kNever);
  Budget budget({.seconds = 60}, nullptr, clock);
  stage(budget);
  return clock.asked - 1;
}

TEST(Budget, EveryStageAsksTheClock) {
  constexpr int kPoints = 1 << 20, kPieces = kPoints / (1 << 18);
  const Points points = PipeAmongClutter(kPoints);
  const Model pipe{ShapeKind::kCylinder, {1, 2, 3}, Vector3d::UnitZ(), 0, 0.5};
  // Lower bounds by what a stage has to look at: all points once for each pass.
  EXPECT_GE(AskedIn([&](Budget& b) { adaptive::Scene(points, {}, b); }), kPieces - 1);
  EXPECT_GE(AskedIn([&](Budget& b) { adaptive::Refine(pipe, 0, adaptive::RefsOf(points), 1, b); }), kPieces);
  EXPECT_GE(AskedIn([&](Budget& b) { adaptive::SumsAt(pipe, 0, adaptive::RefsOf(points), b); }), kPieces - 1);
  adaptive::ConvergeTask task;
  task.points = points;
  task.startTolerance = 0.01;
  const int converging =
      AskedIn([&](Budget& b) { EXPECT_TRUE(adaptive::Converge(pipe, task, b)->converged); });
  EXPECT_GE(converging, 6 * kPieces);  // three selections and their optima at the least
}

/// Keeps how often a clock was asked, also when a fit throws.
struct Noted {
  ~Noted() { asked = clock.asked; }
  const CountingClock& clock;
  int& asked;
};

TEST(Budget, WhatWasCompleteComesOutWhenTheTimeIsUp) {
  const Points points = PipeAmongClutter(600000);
  int asked = 0;
  const auto run = [&](int jumpsAt) {
    const CountingClock clock(jumpsAt);
    Budget budget({.seconds = 60}, nullptr, clock);
    const Noted noted{clock, asked};
    adaptive::Scene scene(points, {}, budget);
    FitOptionsBase options;
    options.seed = 1;
    return adaptive::FindShape(ShapeKind::kCylinder, scene, options, {}, budget);
  };
  EXPECT_TRUE(run(kNever).report.converged);
  const int all = asked;
  int nothing = 0, found = 0;
  for (int at = 2; at <= all; at += std::max(1, all / 25)) {
    SCOPED_TRACE(at);
    try {
      const adaptive::Outcome out = run(at);
      ++found;
      EXPECT_FALSE(out.report.converged);
      EXPECT_EQ(out.report.stopReason, StopReason::kTimeLimit);
      EXPECT_NEAR(out.model.minor, 0.5, 0.02);
      std::vector<double> distances(out.converged.inliers.size());
      EXPECT_GT(distances.size(), 200000U);
    } catch (const FitError& error) {
      EXPECT_STREQ(error.what(), "The time limit ended the search before it found a shape");
      EXPECT_EQ(found, 0) << "nothing after something";
      ++nothing;
    }
    EXPECT_EQ(asked, at) << "the clock is not asked again";
  }
  EXPECT_GT(nothing, 0);
  EXPECT_GT(found, 5);
}

/// A host that stops when it was told so often, and holds what it was told.
struct Host : FitProgressUpdater {
  explicit Host(std::size_t calls) : stopsAt(calls) {}
  void ReportProgress(double share) override { told.push_back(share); }
  bool StopRequested() override { return told.size() >= stopsAt; }
  std::size_t stopsAt;
  std::vector<double> told;
};

TEST(Budget, ProgressNeverRunsBackAndAStopIsHeard) {
  const Points points = PipeAmongClutter(300000);
  FitOptions<BoundedCylinder> options;
  options.seed = 1;
  const auto told = [&](std::size_t stopsAt) {
    Host host(stopsAt);
    options.progress = &host;
    try {
      const auto fit = primfit::fit<BoundedCylinder>(points, options);
      EXPECT_EQ(fit.report.stopReason == StopReason::kStopped, stopsAt <= host.told.size());
      EXPECT_LE(fit.quality.maxDistance, fit.report.tolerance);
    } catch (const FitError& error) {
      EXPECT_STREQ(error.what(), "The search was stopped before it found a shape");
    }
    EXPECT_TRUE(std::is_sorted(host.told.begin(), host.told.end()));
    EXPECT_GE(host.told.front(), 0);
    EXPECT_LT(host.told.back(), 1);
    return host.told.size();
  };
  const std::size_t all = told(~std::size_t{0});
  EXPECT_GT(all, 10U);
  for (std::size_t at = 1; at <= all; at += std::max<std::size_t>(1, all / 10)) EXPECT_EQ(told(at), at);
}

TEST(Budget, AScopedLimitLeavesTheRestOfTheDraws) {
  Budget budget({.draws = 100});
  for (int i = 0; i < 7; ++i) budget.CountDraw();
  EXPECT_EQ(budget.Draws(), 7);
  for (const auto& [asked, gets] : {std::pair{20, 20}, std::pair{1000, 100}}) {
    const adaptive::ScopedDrawLimit limit(budget, asked);
    EXPECT_EQ(budget.DrawLimit(), gets);
  }
  EXPECT_EQ(budget.DrawLimit(), 100);
  EXPECT_EQ(Budget().DrawLimit(), std::numeric_limits<int>::max());
}

TEST(Budget, TellsTheLargestShareOfTheWorkSoFar) {
  Host host(~std::size_t{0});
  Budget budget({}, &host);
  for (const double share : {0.1, 0.5, 0.2, std::nan(""), 0.7, 1.5}) {
    budget.Advance(share);
    budget.Ask();
  }
  EXPECT_EQ(host.told, (std::vector<double>{0.1, 0.5, 0.5, 0.5, 0.7, 0.999}));
}

}  // namespace
}  // namespace primfit::testing
