// The direct estimators: exact points give the shape back, degenerate ones none.
#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <memory>

#include "estimators/cone_fit.h"
#include "estimators/cylinder_fit.h"
#include "estimators/line_circle_fit.h"
#include "estimators/sphere_fit.h"
#include "estimators/torus_fit.h"
#include "support/scenes.h"

namespace primfit::testing {
namespace {

using Eigen::Vector3d;
using Estimate = std::unique_ptr<OutputShape> (*)(const Points&);

template <class Fit>
std::unique_ptr<OutputShape> By(const Points& points) {
  return std::unique_ptr<OutputShape>(Fit(static_cast<int>(points.size()), points.data()).Solve());
}
std::unique_ptr<OutputShape> LineBy(const Points& points) {
  return std::unique_ptr<OutputShape>(EstimateLine(static_cast<int>(points.size()), points.data()));
}
std::unique_ptr<OutputShape> CircleBy(const Points& points) {
  return std::unique_ptr<OutputShape>(EstimateCircle(static_cast<int>(points.size()), points.data()));
}

/// Shapes in a pose, scaled; points on them and on no other of the kind.
struct Kind {
  const char* name;
  int minimum;
  Estimate estimate;
  Points (*points)(const Pose& pose, double scale, int n, Random& random);
};

const Kind kKinds[] = {
    {"line", 2, LineBy,
     [](const Pose& p, double s, int n, Random& r) {
       return PointsOn(OutputLine(p.translation, p.rotation.col(2)), n, {-s, s}, 0, r);
     }},
    {"circle", 3, CircleBy,
     [](const Pose& p, double s, int n, Random& r) {
       return PointsOn(OutputCircle(p.translation, s, p.rotation.col(2)), n, {0, 4}, 0, r);
     }},
    {"sphere", 4, By<SphereFit>,
     [](const Pose& p, double s, int n, Random& r) {
       return PointsOn(OutputSphere(p.translation, s), n, {-1, 1.5}, kFullTurn, 0, r);
     }},
    {"cylinder", 9, By<CylinderFit>,
     [](const Pose& p, double s, int n, Random& r) {
       return PointsOn(OutputCylinder(p.translation, s, p.rotation.col(2)), n, {0, 4}, {-2 * s, s}, 0, r);
     }},
    {"cone", 9, By<ConeFit>,
     [](const Pose& p, double s, int n, Random& r) {
       return PointsOn(OutputCone(p.translation, 0.5, p.rotation.col(2)), n, kFullTurn, {s, 3 * s}, 0, r);
     }},
    {"torus", 13, By<TorusFit>,
     [](const Pose& p, double s, int n, Random& r) {
       return PointsOn(OutputTorus(p.translation, 2 * s, 0.5 * s, p.rotation.col(2)), n, kFullTurn, kFullTurn,
                       0, r);
     }},
};

TEST(DirectFits, GiveTheShapeOfExactPointsBack) {
  for (const Kind& kind : kKinds) {
    for (std::uint64_t run = 0; run < 200; ++run) {
      Random random(run);
      const double scale = run % 3 == 0 ? 1e-2 : run % 3 == 1 ? 1 : 50;
      const Pose pose = random.AnyPose(3 * scale);
      // A sample of the least size has bad luck at times; more points have none.
      const int n = run % 2 == 0 ? kind.minimum : 60;
      const auto shape = kind.estimate(kind.points(pose, scale, n, random));
      if (shape == nullptr && n == kind.minimum) continue;
      ASSERT_NE(shape, nullptr) << kind.name << " run " << run;
      for (const Vector3d& p : kind.points(pose, scale, 50, random)) {
        ASSERT_LT(std::abs(shape->Distance(p)), (n == 60 ? 1e-9 : 1e-6) * scale)
            << kind.name << " run " << run;
      }
    }
  }
}

TEST(DirectFits, FindNoShapeInDegeneratePoints) {
  Random random;
  for (int run = 0; run < 200; ++run) {
    const Pose pose = random.AnyPose(2);
    Points line, plane, one;
    for (int i = 0; i < 30; ++i) {
      line.push_back(pose * Vector3d(0, 0, random.Uniform(-1, 1)));
      plane.push_back(pose * Vector3d{random.Uniform(-1, 1), random.Uniform(-1, 1), 0});
      one.push_back(pose.translation);
    }
    // Slanted ones are degenerate only to rounding; a shape of radius 1e9 would be none that anybody wants.
    EXPECT_EQ(By<SphereFit>(plane), nullptr);
    EXPECT_EQ(By<SphereFit>(line), nullptr);
    EXPECT_EQ(CircleBy(line), nullptr);
    EXPECT_EQ(By<CylinderFit>(line), nullptr);
    EXPECT_EQ(By<ConeFit>(line), nullptr);
    EXPECT_EQ(By<TorusFit>(plane), nullptr);
    for (const Kind& kind : kKinds) {
      if (kind.estimate == LineBy) continue;  // a line passes through a single place
      EXPECT_EQ(kind.estimate(one), nullptr) << kind.name;
    }
  }
  EXPECT_EQ(EstimateLine(1, nullptr), nullptr);
  EXPECT_EQ(EstimateLine(2, nullptr), nullptr);
  EXPECT_EQ(CircleBy({{0, 0, 0}, {1, 0, 0}}), nullptr);
}

TEST(LineEstimate, PassesThroughTwoPointsAndTheirMiddle) {
  const Points points = {{1, 2, 3}, {3, 4, 3}};
  const auto shape = LineBy(points);
  const auto& line = dynamic_cast<const OutputLine&>(*shape);
  EXPECT_LT((line.Root() - Vector3d(2, 3, 3)).norm(), 1e-15);
  EXPECT_NEAR(std::abs(line.Direction().dot(Vector3d(1, 1, 0).normalized())), 1, 1e-15);
  EXPECT_NEAR(line.Normal().dot(line.Direction()), 0, 1e-15);
  const auto same = LineBy({{5, 5, 5}, {5, 5, 5}});
  EXPECT_EQ(same->Distance({5, 5, 5}), 0);
}

TEST(ConeEstimate, PlacesTheApexAlsoFarAway) {
  // The quadric has its constant 1, so the second derivative along the axis is about 2 / distance^2. Below
  // 1e-8, which clouds in millimetres reach at 14 m, the quadric's value places the apex instead of its
  // gradient.
  Random random;
  const struct {
    double distance, radius;
  } rows[] = {{1, 0.3}, {30, 0.3}, {30, 3}, {13000, 300}, {15000, 300}, {30000, 300}, {200000, 2000}};
  for (const auto& row : rows) {
    const Pose pose = random.AnyPose(1);
    const double angle = std::atan(row.radius / row.distance);
    const OutputCone truth(pose.translation - row.distance * pose.rotation.col(2), angle,
                           pose.rotation.col(2));
    const Points points = PointsOn(truth, 200, kFullTurn,
                                   {row.distance - 2 * row.radius, row.distance + 2 * row.radius}, 0, random);
    const auto shape = By<ConeFit>(points);
    ASSERT_NE(shape, nullptr) << row.distance;
    const auto& cone = dynamic_cast<const OutputCone&>(*shape);
    EXPECT_LT((cone.Apex() - truth.Apex()).norm(), 1e-6 * row.distance) << row.distance;
    EXPECT_NEAR(cone.Angle(), angle, 1e-6 * angle) << row.distance;
    EXPECT_GT(cone.Axis().dot(truth.Axis()), 0) << "points from the apex to the data";
  }
}

TEST(CylinderEstimate, AboutASeedIsTheSameCylinder) {
  Random random;
  for (int run = 0; run < 100; ++run) {
    const Pose pose = random.AnyPose(2);
    const OutputCylinder truth(pose.translation, 0.5, pose.rotation.col(2));
    const Points points = PointsOn(truth, 40, {0, 5}, {-1, 1}, 0, random);
    const Vector3d offSurface = pose.translation + random.InCube(1);
    for (const Vector3d& seed : {points[7], offSurface}) {  // a pick on the pipe is the normal case
      CylinderFitSeed fit(seed, 0.4, 40, points.data());
      const std::unique_ptr<OutputShape> shape(fit.Solve());
      ASSERT_NE(shape, nullptr);
      const auto& cylinder = dynamic_cast<const OutputCylinder&>(*shape);
      for (const Vector3d& p : points) ASSERT_LT(std::abs(cylinder.Distance(p)), 1e-9);
      EXPECT_NEAR((cylinder.Center() - seed).dot(cylinder.Axis()), 0, 1e-12);
    }
  }
}

TEST(TorusEstimate, RejectsWhatIsNoRing) {
  Random random;
  for (const double minor : {1.0, 1.2}) {  // horn and spindle
    const OutputTorus torus({1, 2, 3}, 1, minor, Vector3d(1, 2, 2).normalized());
    const auto shape = By<TorusFit>(PointsOn(torus, 300, kFullTurn, {-1.5, 1.5}, 0, random));
    if (shape != nullptr) {
      const auto& ring = dynamic_cast<const OutputTorus&>(*shape);
      EXPECT_GE(ring.MajorRadius(), ring.MinorRadius());
      EXPECT_NEAR(minor, 1, 1e-9) << "a spindle came back";
    }
  }
}

}  // namespace
}  // namespace primfit::testing
