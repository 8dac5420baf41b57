// What every shape owes: distance, foot point, normal and evaluation agree with each other, with a second
// formula and with a dense search, wherever the shape lies and however large it is.
#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <cmath>
#include <limits>

#include "support/gtest_support.h"
#include "support/kinds.h"

namespace primfit::testing {
namespace {

using Eigen::Vector3d;

INSTANTIATE_TEST_SUITE_P(All, EveryShape, ::testing::ValuesIn(Kinds()), RowName());

Vector3d EvalOf(const OutputShape& shape, double u, double v) {
  if (const auto* surface = dynamic_cast<const OutputSurface*>(&shape)) return surface->Eval(u, v);
  return dynamic_cast<const OutputCurve&>(shape).Eval(u);
}

/// A point in the shape's own frame. Foot points of a cone are those of the nappe on the side of its axis.
Vector3d QueryFor(const Kind& kind, Random& random) {
  Vector3d p = random.InCube(4);
  if (kind.Is(kCone)) p.z() = std::abs(p.z());
  return p;
}

/// Smallest distance from p to the shape's points: from many places, steps as long as they lead nearer.
double DenseSearch(const Kind& kind, const Vector3d& p, Random& random) {
  double least = std::numeric_limits<double>::max();
  for (int start = 0; start < 30; ++start) {
    double u = random.Uniform(kind.u), v = random.Uniform(kind.v), best = (kind.at(u, v) - p).norm();
    for (double step = 1; step > 1e-8;) {
      const double before = best;
      for (const auto& [du, dv] : {std::pair(step, 0.0), {-step, 0.0}, {0.0, step}, {0.0, -step}}) {
        const double distance = (kind.at(u + du, v + dv) - p).norm();
        if (distance < best) best = distance, u += du, v += dv;
      }
      if (best == before) step /= 2;
    }
    least = std::min(least, best);
  }
  return least;
}

TEST_P(EveryShape, DistanceIsTheLeastOverTheShape) {
  const auto shape = kind.make({}, 1);
  for (int i = 0; i < 100; ++i) {
    const Vector3d p = random.InCube(4);
    const double distance = shape->Distance(p);
    EXPECT_NEAR(distance, static_cast<double>(kind.Distance(p)), 1e-14) << p.transpose();
    EXPECT_NEAR(std::abs(distance), DenseSearch(kind, p, random), 1e-7) << p.transpose();
  }
}

TEST_P(EveryShape, FootPointLiesOnTheShapeAlongItsNormal) {
  for (int i = 0; i < 200; ++i) {
    const Pose pose = random.AnyPose(100);
    const auto shape = kind.make(pose, 1);
    const Vector3d p = pose * QueryFor(kind, random);
    const Vector3d foot = shape->ClosestPoint(p);
    const double distance = shape->Distance(p);
    EXPECT_NEAR(shape->Distance(foot), 0, 1e-12);
    EXPECT_NEAR((p - foot).norm(), std::abs(distance), 1e-12);
    if (kind.surface) {
      EXPECT_TRUE(Near(p - foot, distance * shape->EvalNormal(foot), 1e-11));
    }
  }
}

TEST_P(EveryShape, MovesAndScalesWithTheShape) {
  const auto unit = kind.make({}, 1);
  for (int i = 0; i < 200; ++i) {
    const double scale = std::pow(10, random.Uniform(-2, 3));
    const Pose pose = random.AnyPose(100 * scale);
    const auto shape = kind.make(pose, scale);
    const Vector3d local = QueryFor(kind, random);
    const Vector3d p = pose * (scale * local);
    const double tolerance = 1e-12 * scale;
    EXPECT_NEAR(shape->Distance(p), scale * unit->Distance(local), tolerance);
    EXPECT_TRUE(Near(shape->ClosestPoint(p), pose * (scale * unit->ClosestPoint(local)), tolerance));
    EXPECT_TRUE(Near(shape->EvalNormal(p), pose.rotation * kind.normal(local), 1e-11 / local.head(2).norm()));
  }
}

TEST_P(EveryShape, EvalRunsFromTheUnitOrthogonalOfTheAxis) {
  for (int i = 0; i < 100; ++i) {
    const Pose pose = random.AnyPose(100);
    const auto shape = kind.make(pose, 1);
    Eigen::Matrix3d frame = Eigen::Matrix3d::Identity();  // a sphere's parameters are those of the world
    if (!kind.Is(kSphere)) {
      frame.col(2) = pose.rotation.col(2);
      frame.col(0) = frame.col(2).unitOrthogonal();
      frame.col(1) = frame.col(2).cross(frame.col(0));
    }
    const double u = random.Uniform(kind.u), v = random.Uniform(kind.v);
    const Vector3d point = EvalOf(*shape, u, v);
    EXPECT_TRUE(Near(point, pose.translation + frame * kind.at(u, v), 1e-12));
    EXPECT_NEAR(shape->Distance(point), 0, 1e-12);
  }
}

const double kSin = std::sin(kHalfAngle);
const double kCos = std::cos(kHalfAngle);
const Vector3d kZero = Vector3d::Zero();

// Where every direction is nearest a fixed one is taken. In the frame of the table: axis z, whose unit
// orthogonal is -y.
TEST(DegenerateQuery, TakesTheFixedChoice) {
  const struct {
    const char* name;
    KindIndex kind;
    Vector3d query, foot, normal;
  } rows[] = {{"circle, centre", kCircle, kZero, {0, -kRadius, 0}, kZero},
              {"circle, axis", kCircle, {0, 0, 5}, {0, -kRadius, 0}, {0, 0, 1}},
              {"sphere, centre", kSphere, kZero, {kRadius, 0, 0}, kZero},
              {"cylinder, axis", kCylinder, {0, 0, 5}, {kRadius, 0, 5}, kZero},
              {"cone, axis", kCone, {0, 0, 5}, {0, -5 * kSin * kCos, 5 * kCos * kCos}, kZero},
              {"cone, apex", kCone, kZero, kZero, kZero},
              // Deliberate: below the apex the direction towards the upper nappe's surface is kept.
              {"cone, below the apex", kCone, {0, 0, -5}, {0, -5 * kSin * kCos, -5 - 5 * kSin * kSin}, kZero},
              {"torus, centre", kTorus, kZero, {kMajor - kMinor, 0, 0}, kZero},
              {"torus, axis", kTorus, {0, 0, 4}, {kMajor - 3.0 / 5, 0, 4.0 / 5}, {0, 0, 1}},
              {"torus, centre circle", kTorus, {0, kMajor, 0}, {0, kMajor - kMinor, 0}, kZero}};
  for (const auto& row : rows) {
    const Pose moved{Eigen::Matrix3d::Identity(), {10, 20, 30}};
    const auto shape = Kinds()[row.kind].make(moved, 1);
    const Vector3d p = moved * row.query;
    EXPECT_TRUE(Near(shape->ClosestPoint(p), moved * row.foot, 1e-14)) << row.name;
    EXPECT_TRUE(Near(shape->EvalNormal(p), row.normal, 1e-14)) << row.name;
  }
}

TEST(Cone, FootPointBelowTheApexKeepsTheUpperNappesNormal) {
  const OutputCone cone({0, 0, 0}, kHalfAngle, {0, 0, 1});
  const double distance = 3 * kCos - 2 * kSin;
  EXPECT_TRUE(
      Near(cone.ClosestPoint({3, 0, -2}), Vector3d(3 - distance * kCos, 0, -2 + distance * kSin), 1e-14));
}

TEST(DegenerateShape, ZeroDirectionStaysZeroAndStillMeasures) {
  const Vector3d c(1, 2, 3), p(4, 6, 3);
  EXPECT_EQ(OutputLine(c, kZero).Direction(), kZero);
  EXPECT_EQ(OutputLine(c, kZero).Distance(p), 5);
  EXPECT_EQ(OutputPlane(c, kZero).Distance(p), 0);
  EXPECT_EQ(OutputCircle(c, 7, kZero).Distance(p), 2);
  EXPECT_EQ(OutputCircle(c, 7, kZero).ClosestPoint(c),
            c + Vector3d(7, 0, 0));  // unit orthogonal of zero is x
  EXPECT_EQ(OutputPlane(c, kZero).Eval(2, 0), c + Vector3d(2, 0, 0));
}

TEST(Line, NormalIsTheUnitOrthogonalUnlessGiven) {
  EXPECT_EQ(OutputLine(kZero, {0, 0, 5}).Normal(), Vector3d(0, -1, 0));
  EXPECT_TRUE(Near(OutputLine(kZero, {3, 4, 0}).Normal(), Vector3d(-0.8, 0.6, 0), 1e-15));
  EXPECT_EQ(OutputLine(kZero, {0, 0, 5}, {0, 7, 0}).Normal(), Vector3d(0, 1, 0));
}

TEST(Torus, DistanceOnTheTubeCircleHasNoRootOfANegative) {
  Random random;
  for (int i = 0; i < 10000; ++i) {
    const Pose pose = random.AnyPose(1000);
    const OutputTorus torus(pose.translation, kMajor, kMinor, pose.rotation.col(2));
    const double angle = random.Uniform(kFullTurn);
    EXPECT_NEAR(torus.Distance(pose * (kMajor * Vector3d(std::cos(angle), std::sin(angle), 0))), -kMinor,
                1e-11);
  }
}

}  // namespace
}  // namespace primfit::testing
