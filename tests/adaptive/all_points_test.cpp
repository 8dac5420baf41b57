// Least squares of all points: the optimum from nothing told, small sets, exact ones, and what is measured
// when everything is held. The optimum is judged by another refinement, written here, from random starts.
#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

#include "primfit/fit.h"
#include "support/gtest_support.h"
#include "support/scenes.h"

namespace primfit::testing {
namespace {

using Eigen::Matrix3d;
using Eigen::Vector3d;
using Eigen::VectorXd;
using std::numbers::pi;

// The numbers of a shape: a place, a direction of any length, and two sizes, of which not all are used.
using Numbers = Eigen::Matrix<double, 8, 1>;

struct Coordinates {
  double height;
  Vector3d across;
};
Coordinates About(const Numbers& x, const Vector3d& p) {
  const Vector3d axis = x.segment<3>(3).normalized(), q = p - x.head<3>();
  const double height = q.dot(axis);
  return {height, q - height * axis};
}

// Residuals of one point: its distance, and for curves the parts whose squares add up to its square.
Vector3d LineResiduals(const Numbers& x, const Vector3d& p) { return About(x, p).across; }
Vector3d ArcResiduals(const Numbers& x, const Vector3d& p) {
  const auto [height, across] = About(x, p);
  return {across.norm() - x[6], height, 0};
}
Vector3d PlaneResiduals(const Numbers& x, const Vector3d& p) { return {About(x, p).height, 0, 0}; }
Vector3d SphereResiduals(const Numbers& x, const Vector3d& p) {
  return {(p - x.head<3>()).norm() - x[6], 0, 0};
}
Vector3d CylinderResiduals(const Numbers& x, const Vector3d& p) {
  return {About(x, p).across.norm() - x[6], 0, 0};
}
Vector3d ConeResiduals(const Numbers& x, const Vector3d& p) {
  const auto [height, across] = About(x, p);
  return {across.norm() * std::cos(x[6]) - height * std::sin(x[6]), 0, 0};
}
Vector3d TorusResiduals(const Numbers& x, const Vector3d& p) {
  const auto [height, across] = About(x, p);
  return {std::hypot(across.norm() - x[7], height) - x[6], 0, 0};
}
using Residuals = Vector3d (*)(const Numbers&, const Vector3d&);

VectorXd All(Residuals residuals, const Numbers& x, const Points& points) {
  VectorXd all(3 * static_cast<Eigen::Index>(points.size()));
  for (std::size_t i = 0; i < points.size(); ++i)
    all.segment<3>(3 * static_cast<Eigen::Index>(i)) = residuals(x, points[i]);
  return all;
}

/// Levenberg-Marquardt with differences for derivatives. @return the sum of squares
double Minimise(Residuals residuals, Numbers& x, const Points& points) {
  double damping = 1e-3;
  VectorXd r = All(residuals, x, points);
  for (int step = 0; step < 200 && damping < 1e12; ++step) {
    Eigen::MatrixXd j(r.size(), 8);
    for (int i = 0; i < 8; ++i) {
      Numbers ahead = x, behind = x;
      ahead[i] += 1e-6, behind[i] -= 1e-6;
      j.col(i) = (All(residuals, ahead, points) - All(residuals, behind, points)) / 2e-6;
    }
    Eigen::MatrixXd normal = j.transpose() * j;
    normal.diagonal().array() += damping * (1e-3 + normal.diagonal().maxCoeff());
    const Numbers next = x - normal.ldlt().solve(j.transpose() * r);
    const VectorXd moved = All(residuals, next, points);
    const bool lower = moved.squaredNorm() < r.squaredNorm();
    damping *= lower ? 0.2 : 8;
    if (lower) x = next, r = moved;
  }
  return r.squaredNorm();
}

/// The least sum of squares from starts all about the points, in which no size is odd for them.
double BestOfRandomStarts(Residuals residuals, const Points& points, Random& random) {
  double best = std::numeric_limits<double>::infinity();
  for (int start = 0; start < 50; ++start) {
    Numbers x;
    x << random.InCube(1.5), random.Direction(), random.Uniform(0.1, 1), random.Uniform(0.5, 2);
    const double squares = Minimise(residuals, x, points);
    const bool isTorus = residuals == TorusResiduals;
    if (x[6] > 0 && x[6] < (isTorus ? x[7] : 100)) best = std::min(best, squares);
  }
  return best;
}

template <class S>
struct Row {
  using Shape = S;
  const char* what;
  Points (*points)(int n, double noise, Random& random);
  Residuals residuals;
  int fewest;  ///< points that a shape goes through
};

const Vector3d kPlace(0.1, 0.2, -0.3), kAxis = Vector3d(2, -1, 2) / 3;

template <class Body>
void ForEachRow(const Body& body) {
  body(Row<Line>{"line",
                 [](int n, double noise, Random& r) {
                   return PointsOn(OutputLine(kPlace, kAxis), n, {-1, 1}, noise, r);
                 },
                 LineResiduals, 2});
  body(Row<Arc>{"quarter of a circle",
                [](int n, double noise, Random& r) {
                  return PointsOn(OutputCircle(kPlace, 1, kAxis), n, {0, pi / 2}, noise, r);
                },
                ArcResiduals, 3});
  body(Row<Plane>{"plane",
                  [](int n, double noise, Random& r) {
                    return PointsOn(OutputPlane(kPlace, kAxis), n, {-1, 1}, {-1, 1}, noise, r);
                  },
                  PlaneResiduals, 3});
  body(Row<Sphere>{"cap of a sphere",
                   [](int n, double noise, Random& r) {
                     return PointsOn(OutputSphere(kPlace, 1), n, {0.6, pi / 2}, kFullTurn, noise, r);
                   },
                   SphereResiduals, 4});
  body(Row<Cylinder>{"cylinder",
                     [](int n, double noise, Random& r) {
                       return PointsOn(OutputCylinder(kPlace, 0.5, kAxis), n, kFullTurn, {-1, 1}, noise, r);
                     },
                     CylinderResiduals, 5});
  body(Row<Cylinder>{"quarter of a cylinder",
                     [](int n, double noise, Random& r) {
                       return PointsOn(OutputCylinder(kPlace, 0.5, kAxis), n, {0, pi / 2}, {-1, 1}, noise, r);
                     },
                     CylinderResiduals, 5});
  body(Row<Cone>{"narrow ring of a cone",
                 [](int n, double noise, Random& r) {
                   return PointsOn(OutputCone(kPlace, 0.4, kAxis), n, kFullTurn, {1, 1.4}, noise, r);
                 },
                 ConeResiduals, 6});
  body(Row<Cone>{"half of a cone",
                 [](int n, double noise, Random& r) {
                   return PointsOn(OutputCone(kPlace, 0.7, kAxis), n, {0, pi}, {0.5, 1.5}, noise, r);
                 },
                 ConeResiduals, 6});
  body(Row<Torus>{"torus",
                  [](int n, double noise, Random& r) {
                    return PointsOn(OutputTorus(kPlace, 1, 0.3, kAxis), n, kFullTurn, kFullTurn, noise, r);
                  },
                  TorusResiduals, 7});
  body(Row<Torus>{"quarter of a torus",
                  [](int n, double noise, Random& r) {
                    return PointsOn(OutputTorus(kPlace, 1, 0.3, kAxis), n, {0, pi / 2}, kFullTurn, noise, r);
                  },
                  TorusResiduals, 7});
}

template <class Shape>
FitResult<Shape> FitAll(const Points& points, double scale = 1, const Vector3d& offset = Vector3d::Zero()) {
  Points moved;
  for (const Vector3d& p : points) moved.push_back(scale * p + offset);
  FitOptions<Shape> options;
  options.allPoints = true;
  options.seed = 1;
  return fit<Shape>(moved, options);
}

TEST(AllPoints, AreFittedToTheGlobalOptimum) {
  // Form errors of a fiftieth and a five-hundredth, and coordinates in micrometres far from the origin.
  ForEachRow([](const auto& row) {
    using Shape = typename std::decay_t<decltype(row)>::Shape;
    Random random;
    for (const int n : {8, 12, 25, 50}) {
      for (const double noise : {0.002, 0.02}) {
        SCOPED_TRACE(std::string(row.what) + ", " + std::to_string(n) + " points, noise " +
                     std::to_string(noise));
        const Points points = row.points(n, noise, random);
        const auto got = FitAll<Shape>(points, 1e3, {1e5, -1e5, 1e5});
        const double rms = got.quality.rmsDistance / 1e3;
        const double best = BestOfRandomStarts(row.residuals, points, random);
        EXPECT_LE(rms * rms * n, best * (1 + 1e-6) + 1e-18);
        EXPECT_EQ(got.inliers.size(), static_cast<std::size_t>(n));
        EXPECT_TRUE(got.report.converged);
        EXPECT_EQ(got.report.tolerance, got.quality.maxDistance);
        const auto freedom =
            static_cast<double>(n * (row.fewest < 4 && row.residuals != PlaneResiduals ? 2 : 1)) -
            static_cast<double>(got.covariance.parameters.size());
        EXPECT_NEAR(got.report.noise, 1e3 * rms * std::sqrt(n / freedom), 1e-9 * got.report.noise);
      }
    }
  });
}

TEST(AllPoints, OfWhichThereAreOnlyEnoughAreMetAndProveNothing) {
  ForEachRow([](const auto& row) {
    using Shape = typename std::decay_t<decltype(row)>::Shape;
    SCOPED_TRACE(row.what);
    Random random;
    Points points = row.points(row.fewest, 0, random);
    const auto got = FitAll<Shape>(points);
    EXPECT_LT(got.quality.maxDistance, 1e-9);
    EXPECT_EQ(got.report.verdict, Verdict::kWeak) << got.report.reason;
    for (const FitParameter& p : got.covariance.parameters) EXPECT_TRUE(std::isinf(p.standardDeviation));
    EXPECT_EQ(MessageOf([&] { FitAll<Shape>(Points(points.begin(), points.end() - 1)); }),
              "Not enough points");
  });
}

TEST(AllPoints, AreKnownAsExactlyAsTheySay) {
  // Mean squares of 400 sets, each 1 within 4 times the root of 2 / 400 for normal noise.
  constexpr int kRuns = 400;
  Random random;
  double radius = 0, noise = 0;
  for (int run = 0; run < kRuns; ++run) {
    const Points points = PointsOn(OutputCylinder(kPlace, 0.5, kAxis), 40, kFullTurn, {-1, 1}, 0.002, random);
    const auto got = FitAll<Cylinder>(points);
    const FitParameter& last = got.covariance.parameters.back();
    EXPECT_EQ(last.kind, ParameterKind::kRadius);
    radius += std::pow((got.shape.Radius() - 0.5) / last.standardDeviation, 2) / kRuns;
    noise += std::pow(got.report.noise / 0.002, 2) / kRuns;
  }
  EXPECT_NEAR(radius, 1, 4 * std::sqrt(2.0 / kRuns));
  EXPECT_NEAR(noise, 1, 4 * std::sqrt(2.0 / (35 * kRuns)));
}

TEST(AllPoints, CountWhereverTheyAre) {
  // Four points of a square, one of them raised: the best plane passes their heights' differences evenly. The
  // hundreds at one place and the far one are no outliers here, and one of no weight is none of the points.
  const Points square = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 4}};
  FitOptions<Plane> options;
  options.allPoints = true;
  const auto tilted = fit<Plane>(square, options);
  Matrix3d scatter = Matrix3d::Zero();
  for (const Vector3d& p : square)
    scatter += (p - Vector3d(0.5, 0.5, 1)) * (p - Vector3d(0.5, 0.5, 1)).transpose();
  const double least = Eigen::SelfAdjointEigenSolver<Matrix3d>(scatter).eigenvalues()[0];
  EXPECT_NEAR(tilted.quality.rmsDistance, std::sqrt(least / 4), 1e-12);
  EXPECT_NEAR(std::max(tilted.report.largestDeviation, -tilted.report.leastDeviation),
              tilted.quality.maxDistance, 1e-12);

  Points crowd(300, Vector3d(0, 0, 1));
  for (const Vector3d& p : {Vector3d(5, 0, 1), Vector3d(0, 5, 1), Vector3d(5, 5, 1), Vector3d(9, 9, 2)})
    crowd.push_back(p);
  std::vector<double> weights(303, 1);
  weights.push_back(0);
  options.weights = weights;
  const auto level = fit<Plane>(crowd, options);
  EXPECT_EQ(level.inliers.size(), crowd.size() - 1);
  EXPECT_LT(level.quality.maxDistance, 1e-12);
}

TEST(AllPoints, AreMeasuredAboutAShapeThatIsHeldAltogether) {
  const FitOutputParamsSphere given({1, 2, 3}, 1);
  FitConstraintsSphere constraints(&given);
  constraints.FixCenter();
  constraints.FixRadius();
  FitOptions<Sphere> options;
  options.constraints = &constraints;
  const Points points = {{2.25, 2, 3}, {1, 2.5, 3}, {1, 2, 2}};
  EXPECT_EQ(MessageOf([&] { fit<Sphere>(points, options); }), "Over constrained");
  options.allPoints = true;
  const auto got = fit<Sphere>(points, options);
  EXPECT_EQ(got.shape.Center(), given.Center());
  EXPECT_EQ(got.shape.Radius(), 1);
  EXPECT_EQ(got.report.largestDeviation, 0.25);
  EXPECT_EQ(got.report.leastDeviation, -0.5);
  EXPECT_EQ(got.report.tolerance, 0.5);
  EXPECT_DOUBLE_EQ(got.report.noise, std::sqrt((0.25 * 0.25 + 0.5 * 0.5) / 3));
  EXPECT_TRUE(got.covariance.parameters.empty());
  EXPECT_EQ(got.report.verdict, Verdict::kGood) << got.report.reason;
}

}  // namespace
}  // namespace primfit::testing
