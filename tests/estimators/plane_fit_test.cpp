#include "estimators/plane_fit.h"

#include <gtest/gtest.h>

#include <Eigen/Eigenvalues>
#include <Eigen/Geometry>
#include <cmath>
#include <memory>
#include <numeric>

#include "estimators/weighted_plane_fit.h"
#include "support/gtest_support.h"
#include "support/scenes.h"

namespace primfit::testing {
namespace {

using Eigen::Vector3d;

int Size(const Points& points) { return static_cast<int>(points.size()); }

OutputPlane FitTo(const Points& points) {
  return *std::unique_ptr<OutputPlane>(PlaneFit(Size(points), points.data()).Solve());
}

Eigen::Vector4d WeightedFit(const Points& points, const double* weights) {
  Eigen::Vector4d plane;
  EXPECT_TRUE(WeightedPlaneFit(static_cast<unsigned>(points.size()), points[0].data(), sizeof(Vector3d),
                               weights, sizeof(double), plane.data()));
  return plane;
}

TEST(PlaneFit, NeedsThreePoints) {
  const Points points(5, Vector3d::Ones());
  const Vector3d center(1, 2, 3);
  for (const int n : {-1, 0, 1, 2, 5}) {
    const Vector3d* given = n == 5 ? nullptr : points.data();
    EXPECT_EQ(MessageOf([&] { PlaneFit(n, given); }), "Not enough points") << n;
    EXPECT_EQ(MessageOf([&] { PlaneFit(center, n, given); }), "Not enough points") << n;
  }
}

TEST(PlaneFit, HorizontalPointsGiveExactlyVerticalNormal) {
  for (const double height : {0.0, 7.0}) {
    const Vector3d normal =
        FitTo({{3, 0, height}, {0, 5, height}, {-1, -2, height}, {6, 1, height}}).Normal();
    EXPECT_EQ(normal.cwiseAbs(), Vector3d(0, 0, 1)) << normal.transpose();
  }
}

TEST(PlaneFit, CollinearAndEqualPointsGiveAPlaneThroughThem) {
  Random random;
  for (int i = 0; i < 500; ++i) {
    const Vector3d direction = i < 3 ? Vector3d(Vector3d::Unit(i)) : random.Direction();
    const Vector3d root = random.InCube(10);
    Points points;
    for (int k = 0; k < 20; ++k) points.push_back(root + random.Uniform(-5, 5) * direction);
    const OutputPlane plane = FitTo(points);
    EXPECT_NEAR(plane.Normal().norm(), 1, 1e-14);
    EXPECT_NEAR(plane.Normal().dot(direction), 0, 1e-13);
    const OutputPlane atPoint = FitTo(Points(4, root));
    EXPECT_NEAR(atPoint.Normal().norm(), 1, 1e-14);
    EXPECT_NEAR(atPoint.Distance(root), 0, 1e-14);
  }
}

TEST(PlaneFit, TurnsWithThePointsAlsoFarFromTheOrigin) {
  Random random;
  const Points points = PointsOn(OutputPlane({0, 0, 0}, {1, 2, 2}), 1000, {-2, 2}, {-1, 1}, 0.005, random);
  const OutputPlane plane = FitTo(points);
  const Vector3d sum = std::accumulate(points.begin(), points.end(), Vector3d(0, 0, 0));
  EXPECT_TRUE(Near(plane.Center(), sum / 1000, 1e-13));
  for (int i = 0; i < 100; ++i) {
    const Pose pose = random.AnyPose(i < 50 ? 10 : 4e6);
    const OutputPlane moved = FitTo(pose * points);
    // Rounding of the coordinates, 2^-31 at 4e6, moves the mean of squares by its average only.
    EXPECT_TRUE(Parallel(moved.Normal(), pose.rotation * plane.Normal(), i < 50 ? 1e-13 : 1e-9));
    EXPECT_TRUE(Near(moved.Center(), pose * plane.Center(), i < 50 ? 1e-12 : 1e-8));
  }
}

TEST(WeightedPlaneFit, WeighsTheCentroidLinearlyAndTheScatterSquared) {
  Random random;
  for (int i = 0; i < 200; ++i) {
    const Points points =
        PointsOn(OutputPlane(random.InCube(5), random.Direction()), 30, {-1, 1}, {-1, 1}, 0.1, random);
    std::vector<double> weights;
    for (int k = 0; k < 30; ++k) weights.push_back(random.Uniform(0, 3));
    double total = 0;
    Vector3d centroid = Vector3d::Zero();
    for (std::size_t k = 0; k < 30; ++k) centroid += weights[k] * points[k], total += weights[k];
    centroid /= total;
    Eigen::Matrix3d scatter = Eigen::Matrix3d::Zero();
    for (std::size_t k = 0; k < 30; ++k) {
      const Vector3d e = weights[k] * (points[k] - centroid);
      scatter += e * e.transpose();
    }
    const Vector3d normal = Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d>(scatter).eigenvectors().col(0);
    const Eigen::Vector4d plane = WeightedFit(points, weights.data());
    EXPECT_TRUE(Parallel(plane.head<3>(), normal, 1e-11));
    EXPECT_NEAR(plane.head<3>().dot(centroid) + plane[3], 0, 1e-13);

    for (double& w : weights) w *= 2;  // exact
    EXPECT_EQ(WeightedFit(points, weights.data()), plane);
    EXPECT_EQ(WeightedFit(points, std::vector<double>(30, 1.0).data()), WeightedFit(points, nullptr));
  }
}

TEST(WeightedPlaneFit, StepsOverWhatLiesBetweenPointsAndWeights) {
  struct Sample {
    float before;
    double weight;
    int between;
    double x, y, z;
  };
  Random random;
  const Points points = PointsOn(OutputPlane({1, 2, 3}, {1, 2, 2}), 20, {-1, 1}, {-1, 1}, 0.1, random);
  std::vector<Sample> samples;
  std::vector<double> weights;
  for (const Vector3d& p : points) {
    weights.push_back(random.Uniform(0, 2));
    samples.push_back({1e9F, weights.back(), -77, p.x(), p.y(), p.z()});
  }
  Eigen::Vector4d plane;
  WeightedPlaneFit(20, &samples[0].x, sizeof(Sample), &samples[0].weight, sizeof(Sample), plane.data());
  EXPECT_EQ(plane, WeightedFit(points, weights.data()));
}

}  // namespace
}  // namespace primfit::testing
