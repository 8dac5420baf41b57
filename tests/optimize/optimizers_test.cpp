// Every optimizer with every combination of holds against the constrained optimum of an independent solver.
#include "optimize/optimizers.h"

#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <numbers>
#include <numeric>
#include <vector>

#include "fit/vector_math.h"
#include "optimize/optimum.h"
#include "optimize/surfaces.h"
#include "support/gtest_support.h"

namespace primfit::testing {
namespace {

using Eigen::Vector3d;
using Measure = std::function<double(const Vector3d&)>;

constexpr double kNoise = 0.002;

/// A run stops when the next step promises to lower the root mean square by less than tolerance / 200, or a
/// step is shorter than tolerance / 100. So it ends within about that of the optimum, and, since squared
/// deviations add, the shapes differ at the points by at most sqrt(2 rms tolerance / 200).
double RmsSlack(double tolerance) { return tolerance / 200; }
double ShapeSlack(double tolerance) { return std::sqrt(3 * kNoise * RmsSlack(tolerance)); }

double RootMeanSquare(const Points& points, const Measure& deviation) {
  double sum = 0;
  for (const Vector3d& p : points) sum += std::pow(deviation(p), 2);
  return std::sqrt(sum / static_cast<double>(points.size()));
}

/// What a refinement gave and what an independent solver finds, as deviations of points: they differ little
/// where the points are, which does not depend on the choice of an axis point.
void ExpectOptimum(const Points& points, const Measure& result, const Measure& optimum, double tolerance) {
  EXPECT_LT(RootMeanSquare(points, result), RootMeanSquare(points, optimum) + RmsSlack(tolerance));
  EXPECT_LT(RootMeanSquare(points, [&](const Vector3d& p) { return result(p) - optimum(p); }),
            ShapeSlack(tolerance));
}

const Vector3d kDirections[] = {{0, 0, 1},  {0, 0, -1},         {1, 0, 0},
                                {0, -1, 0}, {0.48, -0.6, 0.64}, {-0.36, 0.48, -0.8}};

/// Points of a part of a surface, scattered in all directions.
Points Scattered(const OutputSurface& surface, Range u, Range v, int n, Random& random) {
  Points points;
  for (int i = 0; i < n; ++i) {
    const Vector3d noise{random.Gauss(kNoise), random.Gauss(kNoise), random.Gauss(kNoise)};
    const double atU = random.Uniform(u);
    points.push_back(surface.Eval(atU, random.Uniform(v)) + noise);
  }
  return points;
}

/// A true shape and the part of the surface that is seen.
struct Seen {
  const char* name;
  KindIndex kind;
  double first, second;
  Range u, v;
};
const Seen kSeen[] = {{"plane", kPlane, 0, 0, {-1, 1}, {-1, 1}},
                      {"sphere", kSphere, 0.4, 0, {0.1, 1.5}, {0, 5}},
                      {"cylinder", kCylinder, 0.25, 0, {0, 3.5}, {-1, 1}},
                      {"cone", kCone, 0.5, 0, {0, 4}, {0.4, 1.4}},
                      {"torus", kTorus, 0.6, 0.15, {0, 3}, {0, 5}}};

class EverySurface : public ::testing::TestWithParam<Seen> {};
std::ostream& operator<<(std::ostream& out, const Seen& seen) { return out << seen.name; }
INSTANTIATE_TEST_SUITE_P(Optimizers, EverySurface, ::testing::ValuesIn(kSeen), RowName());

TEST_P(EverySurface, ReachesTheConstrainedOptimumUnderEveryHold) {
  const auto& [name, kind, first, second, u, v] = GetParam();
  const KindIndex index = kind;
  const unsigned parts = PartsOf(kind);
  Random random;
  const auto shifts = [&](double most) -> Eigen::VectorXd {
    return Eigen::VectorXd::NullaryExpr(7, [&] { return random.Uniform(-most, most); });
  };
  for (const Vector3d& axis : kDirections) {
    const Numbers<double> truth{{0.3, -0.2, 0.5}, first, second, axis};
    const Points points = Scattered(*Made(kind, truth), u, v, 400, random);
    for (unsigned held = 0; held < parts; ++held) {
      if ((held & ~parts) != 0) continue;
      SCOPED_TRACE(::testing::Message() << "held " << held << " direction " << axis.transpose());
      // What is held is off the truth, so that holding it changes the optimum; the start is off by more, and
      // 0.022 rad.
      const auto at = Moved(truth, parts, shifts(0.001));
      auto start = Moved(truth, parts & ~kAxis, shifts(0.01));
      start.axis = Eigen::AngleAxisd(0.022, axis.unitOrthogonal()) * axis;
      auto base = start;
      if (held & kPoint) base.point = at.point;
      if (held & kFirst) base.first = at.first;
      if (held & kSecond) base.second = at.second;
      if (held & kAxis) base.axis = at.axis;
      const unsigned free = parts & ~held;
      const auto optimum =
          Moved(base, free, Minimise({ParametersOf(free), 400, [&](const Eigen::VectorXd& x, int i) {
                                        return Deviation(index, Moved(base, free, x), points[i]);
                                      }}));
      for (const double tolerance : {0.006, 0.0006}) {
        const auto shape = Refined(kind, *Made(kind, start), points, tolerance, held, at);
        ASSERT_NE(shape, nullptr);
        const auto result = NumbersOf(*shape);
        const double sign = kind == kPlane && result.axis.dot(optimum.axis) < 0 ? -1 : 1;
        ExpectOptimum(
            points, [&](const Vector3d& p) { return Deviation(index, result, p); },
            [&](const Vector3d& p) { return sign * Deviation(index, optimum, p); }, tolerance);
        EXPECT_TRUE((held & kPoint) == 0 || result.point == at.point);
        EXPECT_TRUE((held & kFirst) == 0 || result.first == at.first);
        EXPECT_TRUE((held & kSecond) == 0 || result.second == at.second);
        EXPECT_TRUE((held & kAxis) == 0 || Near(result.axis, at.axis.normalized(), 1e-15));
      }
    }
  }
}

/// Points near a curve of the plane (e1, e2) at `origin`, scattered off the plane as well.
Points PlanarScene(const Vector3d& origin, const Vector3d& e1, const Vector3d& e2, Random& random,
                   const std::function<Vector3d(double)>& curve) {
  Points points;
  for (int i = 0; i < 300; ++i) {
    const Vector3d noise{random.Gauss(kNoise), random.Gauss(kNoise), random.Gauss(3 * kNoise)};
    const Vector3d local = curve(random.Uniform(0, 1)) + noise;
    points.push_back(origin + local.x() * e1 + local.y() * e2 + local.z() * e1.cross(e2));
  }
  return points;
}

TEST(LineOptimizer, ReachesTheOptimumWithinItsPlane) {
  Random random;
  for (const Vector3d& normal : kDirections) {
    const Vector3d e1 = normal.unitOrthogonal(), e2 = normal.cross(e1), origin(2, -1, 0.5);
    const Points points =
        PlanarScene(origin, e1, e2, random, [](double t) { return Vector3d(3 * t - 1, 0.1 * t, 0); });
    const OutputLine start(origin - 0.02 * e2, e1 + 0.01 * e2, normal);
    const Vector3d heldRoot = origin + 0.5 * e1 + 0.048 * e2;
    const Vector3d heldDirection =
        (e1 + 0.03 * e2 + 0.01 * normal).normalized();  // not perpendicular to the normal
    for (const int held : {0, 1, 2}) {
      SCOPED_TRACE(::testing::Message() << "held " << held << " normal " << normal.transpose());
      const Vector3d along = held == 2 ? heldDirection : start.Direction();
      const Vector3d across = start.Normal().cross(along).normalized();
      const Vector3d base = held == 1 ? heldRoot : start.Root();
      const auto deviation = [&](const Eigen::VectorXd& x, const Vector3d& p) {
        const double rho = held == 1 ? 0 : x[0], theta = held == 2 ? 0 : x[held == 0 ? 1 : 0];
        return (p - base).dot(across) * std::cos(theta) - (p - base).dot(along) * std::sin(theta) - rho;
      };
      const auto x = Minimise(
          {held == 0 ? 2 : 1, 300, [&](const Eigen::VectorXd& v, int i) { return deviation(v, points[i]); }});
      LineOptimizer optimizer(0.006, false, nullptr);
      if (held == 1) optimizer.FixRoot(heldRoot);
      if (held == 2) optimizer.FixDirection(heldDirection);
      const std::unique_ptr<OutputShape> shape(optimizer.Optimize(300, points.data(), &start));
      ASSERT_NE(shape, nullptr);
      const auto& line = dynamic_cast<const OutputLine&>(*shape);
      EXPECT_NEAR(line.Normal().dot(line.Direction()), 0, 1e-14);  // the in-plane normal
      ExpectOptimum(
          points, [&](const Vector3d& p) { return (p - line.Root()).dot(line.Normal()); },
          [&](const Vector3d& p) { return deviation(x, p); }, 0.006);
      EXPECT_TRUE(held != 1 || (line.Root() - heldRoot).norm() < 1e-15);
      EXPECT_TRUE(held != 2 || (line.Direction() - heldDirection).norm() < 1e-15);
    }
  }
}

TEST(CircleOptimizer, ReachesTheOptimumWithinItsPlane) {
  Random random;
  for (const Vector3d& normal : kDirections) {
    const Vector3d e1 = normal.unitOrthogonal(), e2 = normal.cross(e1), origin(2, -1, 0.5);
    const Points points = PlanarScene(origin, e1, e2, random, [](double t) {
      return Vector3d(0.3 * std::cos(2 * t), 0.3 * std::sin(2 * t), 0);
    });
    const OutputCircle start(origin + 0.01 * e1 - 0.008 * e2, 0.31, normal);
    for (const int held : {0, 1, 2}) {
      SCOPED_TRACE(::testing::Message() << "held " << held << " normal " << normal.transpose());
      const Vector3d base = held == 1 ? Vector3d(origin + 0.002 * e1) : start.Center();
      const auto deviation = [&](const Eigen::VectorXd& x, const Vector3d& p) {
        const double cx = held == 1 ? 0 : x[0], cy = held == 1 ? 0 : x[1];
        const double r = held == 2 ? 0.302 : 0.3 + x[held == 1 ? 0 : 2];
        return std::hypot((p - base).dot(e1) - cx, (p - base).dot(e2) - cy) - r;
      };
      const auto x =
          Minimise({held == 0   ? 3
                    : held == 1 ? 1
                                : 2,
                    300, [&](const Eigen::VectorXd& v, int i) { return deviation(v, points[i]); }});
      CircleOptimizer optimizer(0.006, false, nullptr);
      if (held == 1) optimizer.FixCenter(base);
      if (held == 2) optimizer.FixRadius(0.302);
      const std::unique_ptr<OutputShape> shape(optimizer.Optimize(300, points.data(), &start));
      ASSERT_NE(shape, nullptr);
      const auto& circle = dynamic_cast<const OutputCircle&>(*shape);
      EXPECT_NEAR((circle.Axis() - normal).norm(), 0, 1e-15);
      EXPECT_NEAR((circle.Center() - base).dot(normal), 0, 1e-14);
      const Measure result = [&](const Vector3d& p) {
        return std::hypot((p - circle.Center()).dot(e1), (p - circle.Center()).dot(e2)) - circle.Radius();
      };
      ExpectOptimum(
          points, result, [&](const Vector3d& p) { return deviation(x, p); }, 0.006);
    }
  }
}

TEST(TorusProfileOptimizer, FindsBendRadiusAndTurnThroughTheGivenSection) {
  Random random;
  for (const Vector3d& axis : kDirections) {
    const OutputTorus truth({1, 2, 3}, 0.8, 0.1, axis);
    const Points points = Scattered(truth, {0.3, 1.6}, kFullTurn, 400, random);
    const Vector3d section = truth.Center() + 0.8 * axis.unitOrthogonal();
    const Vector3d tube = axis.cross(axis.unitOrthogonal());
    const TorusProfileOptimizer optimizer(0.006, false, section, 0.1, tube);
    const OutputTorus start(truth.Center() + 0.03 * axis, 0.7, 0.12, axis);
    const std::unique_ptr<OutputShape> shape(optimizer.Optimize(400, points.data(), &start));
    ASSERT_NE(shape, nullptr);
    const auto& torus = dynamic_cast<const OutputTorus&>(*shape);
    EXPECT_EQ(torus.MinorRadius(), 0.1);
    EXPECT_NEAR((section - torus.Center()).norm(), torus.MajorRadius(), 1e-12);
    EXPECT_NEAR((section - torus.Center()).dot(torus.Axis()), 0, 1e-12);
    EXPECT_NEAR(tube.dot(torus.Axis()), 0, 1e-12);
    // 400 points determine bend radius and turn to about 2e-4 (one sigma); 2e-3 is ten of them.
    EXPECT_NEAR(torus.MajorRadius(), 0.8, 2e-3);
    EXPECT_NEAR((torus.Center() - truth.Center()).norm(), 0, 2e-3);

    // Degenerate sections: on the start's centre, or with the tube pointing away from it.
    EXPECT_EQ(
        TorusProfileOptimizer(0.006, false, start.Center(), 0.1, tube).Optimize(400, points.data(), &start),
        nullptr);
    EXPECT_EQ(TorusProfileOptimizer(0.006, false, section, 0.1, section - start.Center())
                  .Optimize(400, points.data(), &start),
              nullptr);
  }
}

TEST(Optimizer, ReturnsNullWhereThereIsNothingToRefine) {
  const Points points = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0.001}};
  const OutputPlane start({0, 0, 0}, {0.01, 0, 1});
  const OutputSphere sphere({0, 0, 0}, 1);
  const auto refined = [&](const TROptimizer& optimizer, int n, const Vector3d* p, const OutputShape* s) {
    return std::unique_ptr<OutputShape>(optimizer.Optimize(n, p, s)) != nullptr;
  };
  const PlaneOptimizer optimizer(0.006, false, nullptr);
  EXPECT_TRUE(refined(optimizer, 4, points.data(), &start));
  EXPECT_FALSE(refined(optimizer, 4, points.data(), nullptr)) << "no start shape";
  EXPECT_TRUE(refined(PlaneOptimizer(0.006, false, &start), 4, points.data(), nullptr))
      << "its own start shape";
  EXPECT_FALSE(refined(optimizer, 4, points.data(), &sphere)) << "a shape of another class";
  EXPECT_FALSE(refined(optimizer, 2, points.data(), &start)) << "fewer points than parameters";
  EXPECT_FALSE(refined(optimizer, 0, points.data(), &start));
  EXPECT_FALSE(refined(optimizer, 4, nullptr, &start));
  EXPECT_FALSE(refined(PlaneOptimizer(0, false, nullptr), 4, points.data(), &start)) << "tolerance 0";
  Points broken = points;
  broken[2].y() = std::nan("");
  EXPECT_FALSE(refined(optimizer, 4, broken.data(), &start)) << "a NaN must not reach the solver";
}

TEST(ConeOptimizer, GivesTheHalfAngleOfTheSurface) {
  Random random;
  const double pi = std::numbers::pi;
  const Numbers<double> truth{{0.3, -0.2, 0.5}, 0.5, 0, {0, 0, 1}};
  const Points points = Scattered(*Made(kCone, truth), {0, 4}, {0.4, 1.4}, 400, random);
  for (const double turns : {-3 * pi, -pi, pi, 4 * pi}) {  // one surface, the deviation's sign apart
    const OutputCone start(truth.point, 0.5 + turns, truth.axis);
    const auto shape = Refined(kCone, start, points, 0.006);
    ASSERT_NE(shape, nullptr);
    EXPECT_NEAR(NumbersOf(*shape).first, 0.5, 0.01) << turns;
    auto held = truth;
    held.first += turns;
    EXPECT_EQ(NumbersOf(*Refined(kCone, start, points, 0.006, kFirst, held)).first, held.first);
  }
  // Points on both sides of a plane: the best cone is flatter than any.
  Points flat;
  for (int i = 0; i < 100; ++i) flat.push_back({std::cos(i), std::sin(i), i % 2 == 0 ? 0.001 : -0.001});
  for (const double angle : {pi / 2 - 1e-3, pi / 2, pi / 2 + 1e-3}) {
    const auto shape = Refined(kCone, OutputCone({0, 0, 0}, angle, {0, 0, 1}), flat, 0.006);
    EXPECT_TRUE(shape == nullptr || (NumbersOf(*shape).first > 0 && NumbersOf(*shape).first < pi / 2));
  }
}

TEST(TorusOptimizer, GivesNoNegativeRadius) {
  // A lemon: the arc of a circle turned about an axis beyond its centre.
  Random random;
  Points lemon;
  for (int i = 0; i < 400; ++i) {
    const double turn = random.Uniform(0, 6.2), tilt = random.Uniform(-0.6, 0.6);
    const double rho = 0.5 * std::cos(tilt) - 0.1;
    lemon.push_back({rho * std::cos(turn), rho * std::sin(turn), 0.5 * std::sin(tilt)});
  }
  EXPECT_EQ(Refined(kTorus, OutputTorus({0, 0, 0}, 0.02, 0.4, {0, 0, 1}), lemon, 0.006), nullptr);
}

TEST(Screening, KeepsFourFifthsBySignedDeviation) {
  const OutputPlane plane({0, 0, 0}, {0, 0, 1});
  const auto kept = [&](int n, bool screen, double farZ, double lastZ) {
    Points points;
    for (int i = 0; i < n; ++i) points.push_back({0.1 * i, 0, i < 10 && n == 100 ? farZ : 1e-3 * i});
    points.back().z() = lastZ;
    const Vector3d** pointers = nullptr;
    const int count = screen_samples(screen, n, points.data(), &plane, pointers);
    const std::unique_ptr<const Vector3d*[]> owner(pointers);
    std::vector<int> indices;
    for (int i = 0; i < count; ++i) indices.push_back(static_cast<int>(pointers[i] - points.data()));
    std::sort(indices.begin(), indices.end());
    return indices;
  };
  const auto range = [](int first, int last) {
    std::vector<int> indices(static_cast<std::size_t>(last - first + 1));
    std::iota(indices.begin(), indices.end(), first);
    return indices;
  };
  EXPECT_EQ(kept(20, true, 0, 5), range(0, 19)) << "20 points are never screened";
  EXPECT_EQ(kept(21, false, 0, 5), range(0, 20));
  EXPECT_EQ(kept(21, true, 0, 5), range(0, 15));
  EXPECT_EQ(kept(21, true, 0, std::nan("")), range(0, 15)) << "what is not a number goes first";
  EXPECT_EQ(kept(100, true, 10, 0.1), range(10, 89)) << "far on the positive side";
  EXPECT_EQ(kept(100, true, -10, 0.1), range(0, 79)) << "far on the negative side: they stay";
}

TEST(Screening, ReachesTheRefinement) {
  Random random;
  Points points;
  for (int i = 0; i < 500; ++i) {
    points.push_back({random.Uniform(-1, 1), random.Uniform(-1, 1), i % 6 == 0 ? 0.05 : 0});
  }
  const OutputPlane start({0, 0, 0.004}, {0.002, 0, 1});
  const std::unique_ptr<OutputShape> screened(
      PlaneOptimizer(0.006, true, &start).Optimize(500, points.data(), nullptr));
  const std::unique_ptr<OutputShape> all(
      PlaneOptimizer(0.006, false, &start).Optimize(500, points.data(), nullptr));
  EXPECT_NEAR(screened->Distance({0, 0, 0}), 0, 1e-6);
  EXPECT_LT(all->Distance({0, 0, 0}), -0.005);
}

}  // namespace
}  // namespace primfit::testing
