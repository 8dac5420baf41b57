// What follows from where the scanner stood.
#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <limits>
#include <numbers>
#include <vector>

#include "primfit/fit.h"
#include "support/gtest_support.h"
#include "support/scenes.h"

namespace primfit::testing {
namespace {

using Eigen::Vector3d;

const Vector3d kSurvey(500000, 4000000, 100);

template <class Shape>
FitResult<Shape> FitFrom(const Points& points, const std::vector<Vector3d>& stations,
                         std::uint64_t seed = 1) {
  FitOptions<Shape> options;
  options.stations = stations;
  options.seed = seed;
  return fit<Shape>(points, options);
}

TEST(Stations, SayFromWhichSideASurfaceWasSeen) {
  Random random;
  const Vector3d axis = random.Direction(), across = axis.unitOrthogonal();
  // What is seen of a shape does not matter, so it is all of it: only most of the points have to face a
  // station.
  const Points ball = PointsOn(OutputSphere(kSurvey, 1), 500, {0.2, 1.5}, kFullTurn, 0.002, random);
  const Vector3d up = Vector3d::UnitZ();
  EXPECT_EQ(FitFrom<Sphere>(ball, {kSurvey + 5 * up}).report.seenFrom, SeenFrom::kOutside);
  EXPECT_EQ(FitFrom<Sphere>(ball, {kSurvey + 0.3 * up}).report.seenFrom, SeenFrom::kInside);
  EXPECT_EQ(FitFrom<Sphere>(ball, {}).report.seenFrom, SeenFrom::kUnknown);

  const OutputCylinder pipe(kSurvey, 0.5, axis);
  const Points whole = PointsOn(pipe, 800, kFullTurn, {0, 2}, 0.002, random);
  const Vector3d beside = 4 * across;
  EXPECT_EQ(FitFrom<BoundedCylinder>(whole, {kSurvey + axis}).report.seenFrom, SeenFrom::kInside);
  EXPECT_EQ(FitFrom<Cylinder>(whole, {kSurvey + beside, kSurvey - beside, kSurvey + axis.cross(beside)})
                .report.seenFrom,
            SeenFrom::kOutside)
      << "the nearest station of each point";

  const Points cone = PointsOn(OutputCone(kSurvey, 0.4, axis), 800, kFullTurn, {0.5, 1.5}, 0.002, random);
  EXPECT_EQ(FitFrom<Cone>(cone, {kSurvey + axis}).report.seenFrom, SeenFrom::kInside);
  EXPECT_EQ(FitFrom<BoundedCone>(cone, {kSurvey - 3 * axis}).report.seenFrom, SeenFrom::kOutside);

  const OutputTorus ring(kSurvey, 1, 0.3, axis);
  const Points bend = PointsOn(ring, 800, {0, 1.5}, kFullTurn, 0.002, random);
  EXPECT_EQ(FitFrom<Elbow>(bend, {ring.Eval(0.75, 0) + 0.3 * (kSurvey - ring.Eval(0.75, 0))}).report.seenFrom,
            SeenFrom::kInside)
      << "in the middle of the tube";
}

TEST(Stations, HaveANormalPointToThem) {
  Random random;
  const Vector3d normal = random.Direction();
  const Points wall = PointsOn(OutputPlane(kSurvey, normal), 600, {-1, 1}, {-1, 1}, 0.002, random);
  // One station is behind the wall, and nearer to few of the points.
  const Vector3d corner = kSurvey + 1.4 * normal.unitOrthogonal();
  for (const double side : {1.0, -1.0}) {
    for (std::uint64_t seed = 0; seed < 6; ++seed) {
      const std::vector<Vector3d> stations = {kSurvey + side * normal, corner - 0.5 * side * normal};
      const auto plane = FitFrom<Plane>(wall, stations, seed);
      EXPECT_GT(side * plane.shape.Normal().dot(normal), 0.99) << seed;
      EXPECT_EQ(plane.report.seenFrom, SeenFrom::kUnknown);
      const auto patch = FitFrom<Patch>(wall, stations, seed);
      EXPECT_GT(side * patch.shape.Normal().dot(normal), 0.99) << seed;
    }
  }
  // The turned plane is the same one, with signed distances and covariance turned along.
  std::optional<FitResult<Plane>> turned;
  const auto plain = FitFrom<Plane>(wall, {});
  for (const double side : {1.0, -1.0}) {
    auto got = FitFrom<Plane>(wall, {kSurvey + side * normal});
    if (got.shape.Normal() != plain.shape.Normal()) turned = std::move(got);
  }
  ASSERT_TRUE(turned);
  EXPECT_EQ(turned->shape.Normal(), -plain.shape.Normal());
  EXPECT_EQ(turned->shape.Origin(), plain.shape.Origin());
  EXPECT_EQ(turned->report.leastDeviation, -plain.report.largestDeviation);
  EXPECT_EQ(turned->covariance.matrix, plain.covariance.matrix);
  for (std::size_t i = 0; i < 3; ++i) {
    const FitParameter &a = turned->covariance.parameters[i], &b = plain.covariance.parameters[i];
    const double sign = a.kind == ParameterKind::kDirection ? -1 : 1;
    EXPECT_EQ(a.direction, sign * b.direction);
  }
}

TEST(Stations, LeaveAHeldNormalAndAreFinite) {
  Random random;
  const Points wall =
      PointsOn(OutputPlane({0, 0, 0}, Vector3d::UnitZ()), 300, {-1, 1}, {-1, 1}, 0.002, random);
  const FitOutputParamsPlane given({0, 0, 0}, Vector3d::UnitZ());
  FitConstraintsPlane constraints(&given);
  constraints.FixNormal();
  FitOptions<Plane> options;
  options.constraints = &constraints;
  const std::vector<Vector3d> below = {{0, 0, -5}};
  options.stations = below;
  EXPECT_EQ(fit<Plane>(wall, options).shape.Normal(), Vector3d::UnitZ());
  const std::vector<Vector3d> nowhere = {{0, std::numeric_limits<double>::quiet_NaN(), 0}};
  options.stations = nowhere;
  EXPECT_EQ(MessageOf([&] { fit<Plane>(wall, options); }), "Option stations must hold finite points");
}

}  // namespace
}  // namespace primfit::testing
