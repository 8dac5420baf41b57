// Which points are close.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "shapes/kernels/batch.h"
#include "support/gtest_support.h"
#include "support/kinds.h"

namespace primfit::testing {
namespace {

using Eigen::Vector3d;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
const double kStep = std::ldexp(1.0, -40);  // small, and exact beside every number used here

/// Axis along x, integer translation: coordinates that are small multiples of a power of two stay exact.
Pose ExactPose() {
  Pose pose;
  pose.rotation << 0, 0, 1, 1, 0, 0, 0, 1, 0;
  pose.translation = {1, -2, 3};
  return pose;
}

/// A path of points whose deviation d from the shape is exact.
struct Band {
  const char* name;
  KindIndex kind;
  Vector3d (*at)(double d);
  double radius = 0;  ///< of the shapes that bound a squared distance from a centre, an axis or a circle
};
const Band kBands[] = {
    {"Line", kLine, [](double d) { return Vector3d(d, 0, 7); }},
    {"Plane", kPlane, [](double d) { return Vector3d(4, 5, d); }},
    {"Circle", kCircle, [](double d) { return Vector3d(0, kRadius + d, 0); }, kRadius},
    {"CircleFarAlongTheAxis", kCircle, [](double d) { return Vector3d(0, kRadius + d, 5); }, kRadius},
    {"Sphere", kSphere, [](double d) { return Vector3d(0, 0, kRadius + d); }, kRadius},
    {"Cylinder", kCylinder, [](double d) { return Vector3d(kRadius + d, 0, -6); }, kRadius},
    {"TorusEquator", kTorus, [](double d) { return Vector3d(kMajor + kMinor + d, 0, 0); }, kMinor},
    {"TorusTop", kTorus, [](double d) { return Vector3d(0, kMajor, kMinor + d); }, kMinor},
};

TEST(CloseBand, HoldsItsBounds) {
  const Pose pose = ExactPose();
  for (const Band& band : kBands) {
    const auto shape = Kinds()[band.kind].make(pose, 1);
    for (const double t : {0.0, 0.25, 0.5}) {
      shape->SetDistSqrdThreshod(t);
      for (const double d : {t, -t, t + kStep, -t - kStep, t - kStep, kStep - t}) {
        EXPECT_EQ(shape->IsClosePoint(pose * band.at(d)), std::abs(d) <= t)
            << band.name << " t " << t << ", d - t " << std::abs(d) - t;
      }
    }
    if (band.radius == 0) continue;
    // A tolerance above the radius opens no hole-free band: points nearer than t - r to the centre stay
    // outside.
    shape->SetDistSqrdThreshod(band.radius + 0.5);
    for (const auto& [fromCentre, close] : {std::pair(0.0, false),
                                            {0.5 - kStep, false},
                                            {0.5, true},
                                            {2 * band.radius + 0.5, true},
                                            {2 * band.radius + 0.5 + kStep, false}}) {
      EXPECT_EQ(shape->IsClosePoint(pose * band.at(fromCentre - band.radius)), close)
          << band.name << " " << fromCentre;
    }
  }
}

TEST(ConeBand, LeavesItsBoundOut) {
  OutputCone needle({1, -2, 3}, 0, {1, 0, 0});  // half-angle 0: the distance from the axis, exactly
  needle.SetDistSqrdThreshod(0.5);
  EXPECT_FALSE(needle.IsClosePoint({8, -2, 3.5}));
  EXPECT_TRUE(needle.IsClosePoint({8, -2, 3.5 - kStep}));
  needle.SetDistSqrdThreshod(0);
  EXPECT_FALSE(needle.IsClosePoint({8, -2, 3}));
}

TEST_P(EveryShape, NothingIsCloseWithoutABand) {
  const Pose pose = random.AnyPose(10);
  const auto shape = kind.make(pose, 1);
  const Vector3d on = pose * kind.at(1, 1);
  EXPECT_FALSE(shape->IsClosePoint(on));
  shape->SetDistSqrdThreshod(0.1);
  EXPECT_TRUE(shape->IsClosePoint(on));
  EXPECT_FALSE(kind.copy(*shape)->IsClosePoint(on)) << "a copy starts without a band";
  const auto assigned = kind.make({}, 3);
  kind.assign(*assigned, *shape);
  EXPECT_TRUE(assigned->IsClosePoint(on)) << "assignment takes the band along";
  EXPECT_EQ(assigned->Distance(pose.translation), shape->Distance(pose.translation));
}

TEST_P(EveryShape, NanIsNeverCloseNorIsInfinity) {
  const auto shape = kind.make(ExactPose(), 1);
  const Vector3d on = ExactPose() * kind.at(1, 1);
  for (const double t : {1e-3, 1.0, 1e6}) {
    shape->SetDistSqrdThreshod(t);
    for (const double bad : {kNan, kInfinity, -kInfinity}) {
      for (int axis = 0; axis < 3; ++axis) {
        Vector3d p = on;
        p[axis] = bad;
        EXPECT_FALSE(shape->IsClosePoint(p)) << p.transpose();
      }
    }
  }
  shape->SetDistSqrdThreshod(kNan);
  EXPECT_FALSE(shape->IsClosePoint(on));
}

/// A host's own shape: close where x > 0, and 7 away from everything.
class Own : public OutputCylinder {
 public:
  Own() : OutputCylinder({0, 0, 0}, 1, {0, 0, 1}) {}
  double Distance(const Vector3d&) const override { return 7; }
  bool IsClosePoint(const Vector3d& p) override { return p.x() > 0; }
};

TEST(OwnShape, BlocksAskItsOverriddenFunctions) {
  Own shape;
  Points points{{1, 0, 0}, {-1, 0, 0}, {2, 0, 0}};
  EXPECT_EQ(CountClose(shape, points.data(), 3), 2);
  Points close;
  EXPECT_TRUE(shape.GetClosePoints(points.data(), 3, 0.1, close, false));
  EXPECT_EQ(close, (Points{points[0], points[2]}));
  double distances[3] = {};
  Distances(shape, points.data(), 3, distances);
  EXPECT_EQ(distances[2], 7);
  EXPECT_EQ(shape.CalculateQuality(1, 3, points.data()).meanSignedDistance, 7);
  EXPECT_EQ(shape.Median(3, points.data(), 0.5), 7);
}

TEST_P(EveryShape, SelectsInInputOrderAndAnswersMissingPoints) {
  const Pose pose = random.AnyPose(10);
  const auto shape = kind.make(pose, 1);
  const Vector3d on = pose * kind.at(1, 1), also = pose * kind.at(2, 0.5),
                 off = pose * Vector3d(0.7, 0.1, 0.2);
  const Points points{off, also, Vector3d::Constant(kNan), on, also, off};
  Points out{on, on};
  EXPECT_FALSE(shape->GetClosePoints(nullptr, 6, 1, out, true));
  EXPECT_TRUE(out.empty());
  for (const int n : {0, -5}) {
    out = {on};
    EXPECT_FALSE(shape->GetClosePoints(points.data(), n, 1, out, true));
    EXPECT_TRUE(out.empty());
  }
  EXPECT_TRUE(shape->GetClosePoints(points.data(), 2, 1, out, true));
  EXPECT_EQ(out, (Points{off, also})) << "all points are asked for";
  EXPECT_FALSE(shape->IsClosePoint(on)) << "then the band is left alone";
  EXPECT_TRUE(shape->GetClosePoints(points.data(), 6, 1e-6, out, false));
  EXPECT_EQ(out, (Points{also, on, also}));
  EXPECT_TRUE(shape->IsClosePoint(on)) << "the band stays set";
  EXPECT_FALSE(shape->GetClosePoints(points.data(), 1, 1e-6, out, false));
  EXPECT_TRUE(out.empty());
}

}  // namespace
}  // namespace primfit::testing
