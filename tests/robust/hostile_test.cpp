// primfit::fit on what it was not made for: options beyond their range, degenerate starts, extreme numbers.
// It answers with a shape that is one, or with a text that says what is wrong.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <set>

#include "primfit/fit.h"
#include "robust/converge.h"
#include "robust/model.h"
#include "robust/search.h"
#include "support/gtest_support.h"
#include "support/scenes.h"

namespace primfit::testing {
namespace {

using Eigen::Vector3d;
using std::numbers::pi;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

Points ConePoints(Random& random) {
  return PointsOn(OutputCone({1, 2, 3}, 0.4, Vector3d::UnitZ()), 1000, kFullTurn, {0.5, 1.5}, 0.002, random);
}

TEST(Hostile, HalfAnglesBeyondAQuarterTurnAreRefused) {
  Random random;
  const Points points = ConePoints(random);
  constexpr char kRange[] =
      "Option halfAngle must be a range of radians that begins at zero or more, below a quarter turn, and "
      "ends "
      "at a quarter turn at the most";
  for (const SizeRange& range :
       {SizeRange{1.6, kInfinity}, {2, 3}, {9, kInfinity}, {35, 90}, {0, 1.6}, {-1, 1}}) {
    FitOptions<Cone> options;
    options.halfAngle = range;
    EXPECT_EQ(MessageOf([&] { fit<Cone>(points, options); }), kRange) << range.low << " " << range.high;
  }
  constexpr char kHeld[] = "A half-angle must be above zero and below a quarter turn, in radians";
  for (const double angle : {35.0, pi / 2, 2.0, 0.0, -0.4}) {
    const FitOutputParamsCone start({1, 2, 3}, angle, Vector3d::UnitZ());
    FitConstraintsCone constraints(&start);
    FitOptions<Cone> options;
    options.constraints = &constraints;
    const std::string begun = MessageOf([&] { fit<Cone>(points, options); });
    EXPECT_EQ(begun, angle > 1 ? kHeld : "no exception") << angle;  // of a start that holds nothing
    constraints.FixAngle();
    EXPECT_EQ(MessageOf([&] { fit<Cone>(points, options); }), kHeld) << angle;
  }
  FitOptions<Cone> options;
  options.halfAngle = {0.39, pi / 2};
  EXPECT_NEAR(fit<Cone>(points, options).shape.Angle(), 0.4, 0.01);
}

TEST(Hostile, NoDistanceLeavesTheBinsOfTheNoise) {
  // The quotient of the largest double below the reach rounds to one past the last bin.
  for (const double start : {0.1, 0.3, 1.0, 1e-100}) {
    const std::vector<double> distances = {std::nextafter(8 * start, 0.0), -start, -8 * start, start,
                                           start / 2};
    EXPECT_GT(robust::EstimateNoise(false, distances, start), 0) << start;
  }
}

TEST(Hostile, AStepThatLeavesTheConesIsNoShape) {
  // Points of a cone that is nearly a plane, and as many more that bend it over: an update without a look at
  // all points used to give half-angles above a quarter turn, and inliers within the tolerance of nothing.
  const auto rings = [&](double apex, double slope) {
    Points points;
    for (int i = 0; i < 400; ++i) {
      const double angle = pi * i / 200, radius = 1 + i % 2;
      points.emplace_back(radius * std::cos(angle), radius * std::sin(angle), apex + slope * radius);
    }
    return points;
  };
  const robust::Model cone{robust::Form::kCone, Vector3d::Zero(), Vector3d::UnitZ(), 0, pi / 2 - 1e-7};
  const Points on = rings(0, 1e-7), over = rings(1e-6, -3e-7);
  NormalEquations sums = robust::SumsAt(cone, robust::kAxis, robust::RefsOf(on));
  EXPECT_FALSE(robust::Updated(cone, robust::kAxis, 400, robust::RefsOf(over), robust::RefsOf({}), sums));
}

TEST(Hostile, AStartWithoutADirectionIsNoCandidate) {
  Random random;
  const Points plane =
      PointsOn(OutputPlane({1, 2, 3}, Vector3d(1, 2, 2) / 3), 500, {-1, 1}, {-1, 1}, 0.002, random);
  FitOptions<Plane> options;
  const FitOutputParamsPlane none({1, 2, 3}, Vector3d::Zero());
  for (const bool holds : {false, true}) {
    FitConstraintsPlane constraints(&none);
    if (holds) constraints.FixOrigin();
    options.constraints = &constraints;
    EXPECT_GT(fit<Plane>(plane, options).inliers.size(), 480U) << holds;
  }
  const Points points = ConePoints(random);
  const FitOutputParamsCone half({0, 0, 0}, 0.4, Vector3d::Zero());
  FitConstraintsCone constraints(&half);
  constraints.FixAngle();
  FitOptions<Cone> ofCone;
  ofCone.constraints = &constraints;
  EXPECT_TRUE(Near(fit<Cone>(points, ofCone).shape.Apex(), Vector3d(1, 2, 3), 0.01));
}

TEST(Hostile, DirectionsAndBoundsMayBeOfAnyLength) {
  Random random;
  const Points points = ConePoints(random);
  for (const double length : {1e200, 1e-200, 5e-324}) {
    FitOptions<Cone> options;
    options.axisNear = Vector3d(0, 0, length);
    options.axisWithin = 0.01;
    EXPECT_NEAR(fit<Cone>(points, options).shape.Axis().z(), 1, 1e-4) << length;
  }
  for (const auto option : {&FitOptionsBase::noise, &FitOptionsBase::tolerance}) {
    FitOptions<Cone> options;
    options.*option = 1.7e308;
    const auto found = fit<Cone>(points, options);
    EXPECT_TRUE(std::isfinite(found.report.tolerance) && std::isfinite(found.report.noise));
  }
}

TEST(Hostile, SamplesOfOrientedPointsRepeatNoPiece) {
  Random random;
  std::vector<LocalPiece> pieces(8);
  for (LocalPiece& piece : pieces) piece.place = random.InCube(1);
  robust::Dice dice(1);
  std::size_t nearest = 0;
  for (int draw = 0; draw < 1000; ++draw) {
    const auto drawn = robust::DrawPieces(pieces, 4, 16, dice);
    EXPECT_EQ(std::set<std::size_t>(drawn.begin(), drawn.end()).size(), 4U);
    const auto far = [&](std::size_t i) { return (pieces[i].place - pieces[drawn[0]].place).norm(); };
    std::size_t closer = 0;
    for (std::size_t i = 0; i < pieces.size(); ++i) closer += i != drawn[0] && far(i) < far(drawn[1]) ? 1 : 0;
    nearest += closer == 0 ? 1 : 0;
  }
  // Of 16 rivals among 7 pieces one is the nearest in 1 - (6/7)^16 = 92 % of the draws.
  EXPECT_GT(nearest, 880U);
}

}  // namespace
}  // namespace primfit::testing
